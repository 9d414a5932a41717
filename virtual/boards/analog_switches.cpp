#include "virtual/boards/analog_switches.h"

#include "virtual/boards/analog_paths.h"

#include <limits>

namespace vi {
namespace {

using enum AnalogLine;

constexpr std::array filters1{IfFilter::band50MHz, IfFilter::dc, IfFilter::band20MHz, IfFilter::band5MHz};
constexpr std::array filters2{IfFilter::dc, IfFilter::band50MHz, IfFilter::band20MHz, IfFilter::band5MHz};
constexpr std::array capacitors_F{1e-8, 2e-7, 9.4e-7, 3.76e-6}; // in series, each with a switch across it
constexpr double modifiedCapacitor4_F = 3.3e-6;
constexpr AnalogParts revisions[] = {
    {0, -14, 26, 14, 26, filters1, 1},  // 1B
    {0, -14, 20, 14, 26, filters1, 1},  // 1C
    {0, 0, 24, 12, 20, filters2, 1},    // 2A
    {30e9, 0, 24, 12, 20, filters2, 4}, // 2B
    {5e9, 0, 24, 12, 20, filters2, 4},  // 2C
    {5e9, 0, 24, 12, 20, filters2, 8},  // 2D
};

// Mixers: which one the IF chain listens to, and what drives it.

void firstMixer(const AnalogSetup& board, AnalogCircuit* circuit) {
    const bool amplified = board.high(referenceSwitch);
    circuit->dut = analogPath_first(board);
    if (board.high(sourceToMixer))
        circuit->reference = MixerReference::source;
    else if (!amplified)
        circuit->reference = MixerReference::external;
    else if (board.high(referenceAmplifierPower))
        circuit->reference = MixerReference::externalAmplified;
    circuit->ifChain.input = board.high(mixerToIf) ? IfInput::mixer : IfInput::baseband;
}

/// Address 0 of the IF mux is the baseband input. Returns the address of the mixer, 0 if it is none.
size_t laterIfMux(const AnalogSetup& board, IfChain* chain) {
    if (!board.high(ifMuxEnable))
        return 0;
    const size_t address = board.lines.address(ifMuxA1, ifMuxA0);
    if (address != 0)
        chain->input = IfInput::mixer;
    else if (!board.high(basebandAmplifierOff))
        chain->input = IfInput::baseband;
    return address;
}

/// The mixers of 2A, at the ends of the direct, the amplifier and the divider way. The source goes to one of the last
/// two, an external reference to the first two or to the second alone. The baseband amplifier, while it is on, takes
/// their place.
void secondMixer(const AnalogSetup& board, AnalogCircuit* circuit) {
    constexpr struct {
        DutPath way;
        bool source[2];   // reaches it with the reference mux low, high
        bool external[2]; // with the reference led to the amplified way alone or not
    } mixers[] = {
        {DutPath::direct, {false, false}, {true, false}},
        {DutPath::amplifier, {true, false}, {true, true}},
        {DutPath::divider, {false, true}, {false, false}},
    };
    const size_t address = laterIfMux(board, &circuit->ifChain);
    if (address == 0)
        return;
    if (!board.high(basebandAmplifierOff))
        circuit->ifChain.input = IfInput::baseband;
    const auto& mixer = mixers[address - 1];
    circuit->dut = analogPath_second(board, mixer.way);
    if (board.high(externalReference))
        circuit->reference =
            mixer.external[board.high(externalToAmplified)] ? MixerReference::external : MixerReference::none;
    else
        circuit->reference = mixer.source[board.high(referenceMux)] ? MixerReference::source : MixerReference::none;
}

void laterMixer(const AnalogSetup& board, AnalogCircuit* circuit) {
    switch (laterIfMux(board, &circuit->ifChain)) {
    case 1:
        circuit->dut = analogPath_high(board, true);
        circuit->reference = MixerReference::external;
        break;
    case 2:
        circuit->dut = analogPath_low(board);
        circuit->reference = board.high(referenceMux) ? MixerReference::external : MixerReference::sourceLow;
        break;
    case 3:
        circuit->dut = analogPath_high(board, false);
        circuit->reference = MixerReference::sourceHigh;
        break;
    default: break;
    }
}

// IF chain.

/// The filter that is selected, if it has its supplies.
IfFilter filter(const AnalogSetup& board) {
    if (board.lines.has(filtersIn) && !board.high(filtersIn))
        return IfFilter::bypass;
    if (!board.lines.highOrAbsent(filterEnable))
        return IfFilter::none;
    const IfFilter selected = board.parts.filters[board.lines.address(filterA1, filterA0)];
    const bool amplifier = board.lines.highOrAbsent(bandAmplifier);
    switch (selected) {
    case IfFilter::band5MHz: return amplifier && !board.high(off5MHz) ? selected : IfFilter::none;
    case IfFilter::band20MHz: return amplifier && board.high(on20MHz) ? selected : IfFilter::none;
    case IfFilter::band50MHz: return amplifier && board.high(on50MHz) ? selected : IfFilter::none;
    default: return selected;
    }
}

void decodeIf(const AnalogSetup& board, IfChain* chain) {
    chain->filter = filter(board);
    const bool band = chain->filter >= IfFilter::band5MHz;
    constexpr double bandwidths_Hz[] = {0, 50e6, 50e6, 5e6, 20e6, 50e6}; // by filter; unfiltered, the stages end it
    chain->bandwidth_Hz = bandwidths_Hz[static_cast<size_t>(chain->filter)];
    chain->gain_dB = board.parts.ifOffset_dB + (board.high(vga1) ? board.parts.vga1_dB : 0) +
                     (board.high(vga2) ? board.parts.vga2_dB : 0) +
                     (band && !board.high(bandAmplifierBypass) ? board.parts.bandAmplifier_dB : 0);
    chain->acCoupled = board.high(acCoupling);
    chain->fmDiscriminator = board.high(fmDiscriminator);
}

// Counter chain. That of 1B and 1C is the PLL chip's.

void decodeCounter(const AnalogSetup& board, const AnalogCircuit& circuit, CounterChain* counter) {
    const bool first = !board.lines.has(ifToAdc);
    const bool later = board.lines.has(counterAmplifier);
    const bool selected = board.high(counterSelect);
    if (first)
        counter->path = circuit.dut;
    else if (later)
        counter->path = selected ? analogPath_high(board, false) : analogPath_low(board);
    else
        counter->path = analogPath_secondCounter(board, selected);
    counter->atAdc = !board.lines.highOrAbsent(ifToAdc);
    if (!board.high(counterPower) || !board.lines.highOrAbsent(counterAmplifier) || first)
        return;
    counter->gain_dB = (board.high(vga1) ? board.parts.vga1_dB : 0) + (board.high(vga2) ? board.parts.vga2_dB : 0);
    counter->ratio = board.high(counterFurther) ? board.parts.counterFurther : 1;
    for (const AnalogLine bypass : {counterBypass0, counterBypass1, counterBypass2})
        counter->ratio *= board.high(bypass) ? 1 : 4;
}

// Power detectors.

/// 1B and 1C have one, at the direct way. On 2A four share a line to the ADC: two that are let onto it read nothing.
void earlyDetector(const AnalogSetup& board, PowerDetector* power) {
    constexpr struct {
        AnalogLine line;
        Detector detector;
    } selectors[] = {{detectDut, Detector::dut},
                     {detectReference, Detector::reference},
                     {detectAdl6010, Detector::adl6010},
                     {detectAm, Detector::am}};
    const bool second = board.lines.has(detectDut);
    power->powered = board.high(detectorPower);
    power->detector = second ? Detector::none : Detector::dut;
    size_t selected = 0;
    for (const auto& [line, detector] : selectors)
        if (board.high(line)) {
            power->detector = detector;
            ++selected;
        }
    if (selected > 1)
        power->detector = Detector::none;
    if (second && power->detector != Detector::none && power->detector != Detector::reference)
        power->path = analogPath_second(board, DutPath::direct);
    if (!second)
        power->path = analogPath_firstDetector(board);
}

void laterDetector(const AnalogSetup& board, PowerDetector* power) {
    if (board.high(detectLow)) {
        *power = {Detector::low, board.high(lowDetectorPower), analogPath_low(board)};
    } else if (!board.high(detectHigh)) {
        *power = {Detector::middle, board.high(middleDetectorPower), analogPath_highLine(board)};
    } else {
        *power = {Detector::high, board.lines.highOrAbsent(highDetectorPower), analogPath_highInput(board)};
    }
}

// Loop.

double capacitance_F(const AnalogSetup& board) {
    constexpr AnalogLine bridges[] = {bridge1, bridge2, bridge3, bridge4};
    double inverse = 0;
    for (size_t i = 0; i < std::size(bridges); ++i) {
        const bool modified = i == 3 && board.boards.modifiedLoop;
        if (!board.high(bridges[i]))
            inverse += 1 / (modified ? modifiedCapacitor4_F : capacitors_F[i]);
    }
    return inverse != 0 ? 1 / inverse : std::numeric_limits<double>::infinity();
}

TuneDrive drive(bool calibration, bool loop) {
    if (calibration)
        return loop ? TuneDrive::both : TuneDrive::calibration;
    return loop ? TuneDrive::loop : TuneDrive::none;
}

void decodeLoop(const AnalogSetup& board, LoopFilter* loop) {
    loop->capacitance_F = capacitance_F(board);
    if (board.lines.has(loopToSource)) {
        loop->source = drive(board.high(calibrationToSource), board.high(loopToSource));
        loop->external = drive(board.high(calibrationToExternal), board.high(loopToExternal));
        return;
    }
    const TuneDrive common = drive(board.high(calibrationOut), board.high(loopOut));
    loop->source = board.high(loadSource) ? common : TuneDrive::none;
    loop->external = board.high(loadExternal) ? common : TuneDrive::none;
}

} // namespace

void analogSwitches_decode(const AnalogLines& lines, const UnitBoards& boards, AnalogCircuit* circuit) {
    const AnalogSetup board{lines, boards, revisions[static_cast<size_t>(boards.analog)]};
    const bool later = boards.hasHighInput;
    const bool second = boards.analog == AnalogRevision::r2A;
    (later ? laterMixer : second ? secondMixer : firstMixer)(board, circuit);
    (later ? laterDetector : earlyDetector)(board, &circuit->power);
    decodeIf(board, &circuit->ifChain);
    decodeCounter(board, *circuit, &circuit->counter);
    decodeLoop(board, &circuit->loop);
    circuit->tuneAtAdc = later || board.high(tuneAdcIn);
    circuit->pulse.on = board.high(pulseGate);
}

} // namespace vi
