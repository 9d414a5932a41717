#include "virtual/boards/analog_lines.h"

#include <array>

namespace vi {
namespace {

using enum AnalogLine;

constexpr uint8_t no = 255; // the board has no such line
constexpr size_t wirings = 5;
constexpr unsigned registerBits = 48;

struct Wire {
    AnalogLine line;
    std::array<uint8_t, wirings> bit; // by AnalogWiring
};
// clang-format off
constexpr Wire wires[] = {
    // line                  1B/1C 2A  2B  2C  2D
    {dividerPower,            {1,  0,  0,  0,  0}},
    {dividerSelectA,          {2,  1,  1,  1,  1}},
    {dividerSelectB,          {3,  2,  2,  2,  2}},
    {inputSwitchA,            {4,  no, no, no, no}},
    {inputSwitchB,            {5,  no, no, no, no}},
    {outputSwitchA,           {7,  no, no, no, no}},
    {outputSwitchB,           {6,  no, no, no, no}},
    {amplifierPower,          {9,  no, no, no, no}},
    {amplifierIn,             {no, 5,  5,  5,  5}},
    {lowAmplifierIn,          {no, no, 32, 32, 32}},
    {dutMuxA0,                {no, 10, 10, 10, 10}},
    {dutMuxA1,                {no, 8,  8,  8,  8}},
    {sourceToMixer,           {38, no, no, no, no}},
    {referenceSwitch,         {37, no, no, no, no}},
    {referenceAmplifierPower, {39, no, no, no, no}},
    {externalReference,       {no, 33, no, no, no}},
    {externalToAmplified,     {no, 11, no, no, no}},
    {referenceMux,            {no, 31, 31, 31, 31}},
    {ifMuxEnable,             {no, 28, 28, 28, 28}},
    {ifMuxA0,                 {no, 27, 27, 27, 27}},
    {ifMuxA1,                 {no, 26, 26, 26, 26}},
    {mixerToIf,               {16, no, no, no, no}},
    {filtersIn,               {14, no, no, no, no}},
    {basebandAmplifierOff,    {no, 29, 29, 29, 29}},
    {filterEnable,            {no, 12, 12, 12, 12}},
    {filterA0,                {13, 14, 14, 14, 14}},
    {filterA1,                {12, 13, 13, 13, 13}},
    {off5MHz,                 {17, 22, 22, 22, 22}},
    {on20MHz,                 {18, 25, 25, 25, 25}},
    {on50MHz,                 {19, 24, 24, 24, 24}},
    {bandAmplifier,           {no, 23, 23, 23, 23}},
    {bandAmplifierBypass,     {no, no, no, no, 17}},
    {vga1,                    {30, 16, 16, 16, 16}},
    {vga2,                    {31, 18, 18, 18, 18}},
    {acCoupling,              {no, 20, 20, 20, no}},
    {fmDiscriminator,         {no, 17, no, no, no}},
    {pulseGate,               {no, no, no, no, 33}},
    {counterPower,            {21, 4,  4,  4,  4}},
    {counterAmplifier,        {no, no, 38, 38, 38}},
    {counterSelect,           {22, 3,  3,  3,  3}},
    {counterBypass0,          {no, 6,  6,  6,  6}},
    {counterBypass1,          {no, 7,  7,  7,  7}},
    {counterBypass2,          {no, 9,  9,  9,  9}},
    {counterFurther,          {no, no, 11, 11, 11}},
    {ifToAdc,                 {no, 15, 15, 15, 15}},
    {detectorPower,           {24, 35, no, no, no}},
    {detectDut,               {no, 34, no, no, no}},
    {detectReference,         {no, 36, no, no, no}},
    {detectAdl6010,           {no, 37, no, no, no}},
    {detectAm,                {no, 38, no, no, no}},
    {detectLow,               {no, no, 36, 36, 36}},
    {detectHigh,              {no, no, 34, 34, 34}},
    {lowDetectorPower,        {no, no, 37, 37, 37}},
    {middleDetectorPower,     {no, no, 35, 35, 35}},
    {highDetectorPower,       {no, no, no, no, 20}},
    {bridge1,                 {27, 40, 40, 40, 40}},
    {bridge2,                 {28, 39, 39, 39, 39}},
    {bridge3,                 {29, 41, 41, 41, 41}},
    {bridge4,                 {26, 42, 42, 42, 42}},
    {calibrationOut,          {32, no, no, no, no}},
    {loopOut,                 {33, no, no, no, no}},
    {loadSource,              {35, no, no, no, no}},
    {loadExternal,            {34, no, no, no, no}},
    {loopToSource,            {no, 43, 43, 43, 43}},
    {loopToExternal,          {no, 44, 44, 44, 44}},
    {calibrationToSource,     {no, 46, 46, 46, 46}},
    {calibrationToExternal,   {no, 45, 45, 45, 45}},
    {tuneAdcIn,               {no, 47, no, no, no}},
    {dutTuneOut,              {no, no, 47, 47, 47}},
};
// clang-format on

consteval bool wiresFit() {
    if (std::size(wires) != static_cast<size_t>(AnalogLine::count))
        return false;
    for (size_t i = 0; i < std::size(wires); ++i)
        if (static_cast<size_t>(wires[i].line) != i)
            return false;
    for (size_t wiring = 0; wiring < wirings; ++wiring) {
        uint64_t taken = 0;
        for (const Wire& wire : wires) {
            const uint8_t bit = wire.bit[wiring];
            if (bit == no)
                continue;
            if (bit >= registerBits || (taken >> bit & 1) != 0)
                return false;
            taken |= uint64_t{1} << bit;
        }
    }
    return true;
}
static_assert(wiresFit(), "a row is missing or out of order, or two lines of a board share a bit");

constexpr uint8_t bitOf(AnalogLine line, AnalogWiring wiring) {
    return wires[static_cast<size_t>(line)].bit[static_cast<size_t>(wiring)];
}

} // namespace

bool AnalogLines::has(AnalogLine line) const {
    return bitOf(line, wiring_) != no;
}

bool AnalogLines::high(AnalogLine line) const {
    return has(line) && (bits_ >> bitOf(line, wiring_) & 1) != 0;
}

} // namespace vi
