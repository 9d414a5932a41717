// Which lines operations move, and that they move no other: those that no carrier, counter or detector would miss.

#include "tests/boards/alg_rig.h"

#include <cstring>
#include <initializer_list>

namespace {

using Lines = std::vector<unsigned>;
using Versions = std::vector<Version>;
using Board = TVPNX_ALG;

const Versions first = {v1B, v1C}, only2A = {v2A}, from2A = {v2A, v2B, v2C, v2D}, from2B = {v2B, v2C, v2D},
               from2C = {v2C, v2D}, narrow = {v2B, v2C}, only2B = {v2B}, only2D = {v2D};

struct Row {
    const char* what;
    Versions versions;
    int (*operation)(Board*);
    Lines set;
    Lines clear;
};

uint64_t maskOf(const Lines& lines) {
    uint64_t mask = 0;
    for (const unsigned line : lines)
        mask |= uint64_t{1} << line;
    return mask;
}

/// A path with amplifiers bypassed.
template <uint32_t path, bool low, bool mid> int bypassed(Board* b) {
    b->dutPath = path;
    b->preampOffLow = low ? 1 : 0;
    b->preampOffMid = mid ? 1 : 0;
    return TVPNX_ALG_setDUTPath(b);
}
/// Tune switches of a state; the refresh is that of the tune source.
template <bool internal, bool loop, bool open> int tune(Board* b) {
    b->referenceInternal = internal;
    TVPNX_ALG_setOpenMode(b, open);
    return loop ? TVPNX_ALG_setRefTuneSourceLoop(b) : TVPNX_ALG_setRefTuneSourceCalibration(b);
}
template <int32_t gain, bool pulse = false, bool transient = false> int ifGain(Board* b) {
    b->pulseMode = pulse;
    b->tranMode = transient;
    return TVPNX_ALG_setIFGain(b, gain);
}
template <int64_t frequency> int power(Board* b) {
    uint32_t word = 0;
    b->dutFrequency = {frequency, 0};
    return TVPNX_ALG_getDutPowerAdcValue(b, &word);
}
template <int64_t frequency> int powerThird(Board* b) {
    TVPNX_ALG_setDetectorQuestion(
        b, [](const void*) { return true; }, nullptr);
    return power<frequency>(b);
}
int tuneAdc(Board* b) {
    return TVPNX_ALG_getTuneAdcValue(b) < 0;
}
int offsetAdc(Board* b) {
    return TVPNX_ALG_getOffsetAdcValue(b) < 0;
}

} // namespace

TEST(AlgLines, EachOperationMovesItsLinesAndNoOther) {
    const Row rows[] = {
        {"BB", first, TVPNX_ALG_setIFMuxBBIn, {17, 12}, {16, 18, 19, 13, 14}},
        {"5M", from2A, TVPNX_ALG_setIFMuxBP5M, {13, 14, 23}, {22, 24, 25}},
        {"20M", from2A, TVPNX_ALG_setIFMuxBPxM, {13, 22, 23, 25}, {14, 24}},
        {"50M", from2A, TVPNX_ALG_setIFMuxBP50M, {14, 22, 23, 24}, {13, 25}},
        {"BB", only2A, TVPNX_ALG_setIFMuxBBIn, {}, {30, 29}},
        {"BB", from2B, TVPNX_ALG_setIFMuxBBIn, {}, {26, 27, 29}},
        {"FM on", only2A, TVPNX_ALG_enableFMDiscriminator, {17}, {}},
        {"FM off", only2A, TVPNX_ALG_disableFMDiscriminator, {}, {17}},

        {"both bypassed", from2B, bypassed<0, true, true>, {}, {0, 1, 2, 32}},
        {"both bypassed", from2B, bypassed<1, true, true>, {}, {0, 1, 2, 10, 8, 5}},
        {"the low one", only2B, bypassed<1, true, false>, {}, {0, 1, 2, 10, 8, 5}},
        {"the low one", from2C, bypassed<1, true, false>, {5}, {0, 1, 2, 10, 8}},
        {"the middle one", from2C, bypassed<1, false, true>, {}, {0, 1, 2, 10, 8, 5}},

        {"counter on", from2B, TVPNX_ALG_enableFrequencyCounter, {4, 38, 16, 18}, {15}},
        {"counter off", from2B, TVPNX_ALG_disableFrequencyCounter, {15}, {4, 38, 16, 18}},

        {"internal, loop", from2A, tune<true, true, false>, {43, 45}, {44, 46}},
        {"internal, open", from2A, tune<true, false, true>, {46}, {43, 44, 45}},
        {"internal, calibration", from2A, tune<true, false, false>, {45}, {43, 44, 46}},
        {"external, loop", from2A, tune<false, true, false>, {44}, {43, 45, 46}},
        {"external, calibration", from2A, tune<false, false, true>, {45}, {43, 44, 46}},
        {"source", first, TVPNX_ALG_setRefTuneSourceCalibration, {32}, {33}},
        {"source", first, TVPNX_ALG_setRefTuneSourceLoop, {33}, {32}},
        {"source", first, TVPNX_ALG_setRefTuneSourceNone, {}, {32, 33}},
        {"load", first, TVPNX_ALG_setRefTuneLoadInt, {35}, {34}},
        {"load", first, TVPNX_ALG_setRefTuneLoadExt, {34}, {35}},
        {"load", first, TVPNX_ALG_setRefTuneLoadIntExt, {34, 35}, {}},
        {"load", first, TVPNX_ALG_setRefTuneLoadNone, {}, {34, 35}},
        {"reference", from2B, TVPNX_ALG_setRefExternalAttAMP, {}, {}},
        {"DUT tune on", from2B, TVPNX_ALG_enableDutTuneVoltage, {47}, {}},
        {"DUT tune off", from2B, TVPNX_ALG_disableDutTuneVoltage, {}, {47}},
        {"DUT tune", narrow, with<TVPNX_ALG_setDutTuneVoltage, 5>, {47}, {}},
        {"DUT tune", only2D, with<TVPNX_ALG_setDutTuneVoltage, 5>, {}, {}},
        {"tune ADC", only2A, tuneAdc, {47}, {}},
        {"tune ADC", from2B, tuneAdc, {}, {}},
        {"offset ADC", only2A, offsetAdc, {}, {47}},

        {"detector DUT", only2A, TVPNX_ALG_setPD_DUT, {34}, {36, 37, 38}},
        {"detector REF", only2A, TVPNX_ALG_setPD_REF, {36}, {34, 37, 38}},
        {"detector ADL6010", only2A, TVPNX_ALG_setPD_ADL6010, {37}, {34, 36, 38}},
        {"detector AM", only2A, TVPNX_ALG_setPD_AM, {38}, {34, 36, 37}},
        {"middle", narrow, power<2'020'020'000>, {}, {35, 37, 34, 36}},
        {"middle", narrow, power<9'900'019'999>, {}, {35, 37, 34, 36}},
        {"middle", only2D, power<2'020'020'000>, {35}, {37, 20, 34, 36}},
        {"middle", only2D, power<4'999'999'999>, {35}, {37, 20, 34, 36}},
        {"high", only2D, power<5'000'000'000>, {34, 20}, {35, 37, 36}},
        {"high, third", only2D, powerThird<2'020'020'000>, {20, 34}, {36}},

        // Gains: amplifiers, filter (channel 0 DC, channel 1 at 100 MHz the 50 MHz band).
        {"gain", only2D, ifGain<5, false, true>, {22}, {16, 18, 13, 14, 23, 24, 25}},
        {"gain", only2D, ifGain<16>, {14, 22, 23, 24}, {16, 18, 13, 25, 17}},
        {"gain", only2D, ifGain<15, true>, {17, 37, 36, 18, 22}, {35, 20, 34, 16, 13, 14, 23, 24, 25}},
    };
    constexpr uint64_t all = (uint64_t{1} << 48) - 1;
    for (const Row& row : rows)
        for (const Version version : row.versions) {
            SCOPED_TRACE(std::string(row.what) + " on version " + std::to_string(version));
            AlgRig low(version);
            low.setLines(0);
            EXPECT_EQ(row.operation(&low.board), 0);
            EXPECT_EQ(low.lines(), maskOf(row.set));
            AlgRig high(version);
            const uint64_t ones = high.first ? all >> 8 : all;
            high.setLines(ones);
            EXPECT_EQ(row.operation(&high.board), 0);
            EXPECT_EQ(high.lines(), ones & ~maskOf(row.clear));
        }
}

TEST(AlgLines, NoTwoTuneSourcesMeetAndTheVoltageChangesWhileTheSwitchesAreOpen) {
    AlgRig rig(v2C);
    TVPNX_ALG_setCalTuneVoltage(&rig.board, 4);
    TVPNX_ALG_setExternalTuneVoltage(&rig.board, 1);
    tune<true, true, false>(&rig.board);
    std::vector<int> switches;
    std::string order;
    rig.bus.intercept([&](const vi::SpiTransfer& transfer) {
        order += transfer.address == rig.base ? 'L' : 'V';
        if (transfer.address == rig.base)
            switches.push_back(transfer.frame[5] >> 3 & 0xF); // lines 43 to 46
        return true;
    });
    tune<true, false, true>(&rig.board);
    EXPECT_EQ(order, "LVL");
    EXPECT_EQ(switches, (std::vector<int>{0, 8})) << "both open, then the calibration driver alone";
}

TEST(AlgLines, ALostTransferIsMadeUpByTheNextChangeAndASettledBoardSendsNothing) {
    AlgRig rig(v2B);
    rig.setLines(0);
    rig.bus.failTransfers(0, 2); // the bus tries twice
    EXPECT_EQ(TVPNX_ALG_setIFMuxDC(&rig.board), 0);
    EXPECT_EQ(rig.lines(), 0U) << "the frame was lost";
    EXPECT_EQ(TVPNX_ALG_setVGA_Gain_State(&rig.board, 0), 0);
    EXPECT_EQ(rig.lines(), maskOf({22})) << "though the amplifiers' lines did not change";

    const uint64_t transfers = rig.bus.transfers();
    TVPNX_ALG_setIFMuxDC(&rig.board);
    EXPECT_EQ(rig.bus.transfers(), transfers);
    SRI_clearBit(&rig.board.sri, 22); // as the device does with lines of its own
    TVPNX_ALG_setIFMuxDC(&rig.board);
    EXPECT_EQ(rig.lines(), maskOf({22}));

    rig.bus.failTransfers(0, 2);
    EXPECT_EQ(TVPNX_ALG_getDeviceStatus(&rig.board), -200);
    EXPECT_EQ(TVPNX_ALG_getDeviceStatus(&rig.board), 0);
}
