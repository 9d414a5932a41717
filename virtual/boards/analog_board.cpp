#include "virtual/boards/analog_board.h"

#include "virtual/boards/analog_switches.h"

#include <utility>

namespace vi {
namespace {

constexpr double adcReference_V = 5;
constexpr double tuneDivider = 4;       // in front of the tune ADC
constexpr double aidReference_V = 5;    // across the acquisition driver's potentiometer
constexpr double resistors_ohm = 100e3; // of the filter and of the loop supply
constexpr double potentiometers_ohm = 20e3;
constexpr double referenceAmplifierGain_dB = 15;

// Loop supply: a regulator with its feedback divider.
constexpr double regulator_V = 1.189;
constexpr double regulatorTop_ohm = 10e3, regulatorBottom_ohm = 6800;

// DUT tune: amplifier behind the 14-bit DAC; span of the 16-bit one.
constexpr double tuneDac14_V = 5 * 3.9 * 1.252666667;
constexpr double tuneDac16Min_V = -5.25, tuneDac16Span_V = 26.25;
constexpr double pulseDac_V = 5;

constexpr uint32_t no = 255; // not fitted

/// Voltage at a wiper, with A on ground and B on `top_V`.
double wiper_V(const Ad5293Chain& chain, size_t chip, double nominal_ohm, double top_V) {
    return top_V * (1 - chain.wiperToB_ohm(chip) / nominal_ohm);
}

} // namespace

AnalogBoard::AnalogBoard(SpiBus& bus, const UnitBoards& boards, uint32_t firstAddress, AnalogInputs inputs,
                         const std::string& name)
    : WatchedBoard(bus), boards_(boards), inputs_(std::move(inputs)),
      lines_(analogWiring_of(boards.analog) == AnalogWiring::w1 ? 5 : 6),
      powerAdc_(adcReference_V,
                [this] {
                    const PowerDetector& power = circuit().power;
                    const bool reads = power.powered && power.detector != Detector::none;
                    return reads ? inputs_.detector_V(power.detector) : 0;
                }),
      tuneAdc_(adcReference_V, [this] { return circuit().tuneAtAdc ? inputs_.tune_V() / tuneDivider : 0; }),
      counterPll_(Adf4xxxModel::Kind::adf4106, spiPlain), r1AndR2_({resistors_ohm, resistors_ohm}),
      r3AndAid_({resistors_ohm, potentiometers_ohm}), calibration_({potentiometers_ohm}), loopSupply_({resistors_ohm}),
      dac14_(14) {
    const struct {
        SpiChip* chip;
        const char* name;
        uint32_t place[5]; // above the first address, by AnalogWiring
    } chips[] = {
        // clang-format off
        // chip               1B/1C 2A 2B 2C 2D
        {&lines_, "lines", {0,  0,  0,  0,  0}},
        {&dutAttenuator_, "dut_attenuator", {1,  no, no, no, no}},
        {&powerAdc_, "power_adc", {2,  1,  1,  1,  1}},
        {&tuneAdc_, "tune_adc", {no, 2,  2,  2,  2}},
        {&counterPll_, "counter_pll", {4,  no, no, no, no}},
        {&r1AndR2_, "r1", {8,  3,  3,  3,  3}},
        {&r3AndAid_, "r3", {9,  4,  4,  4,  4}},
        {&calibration_, "calibration", {10, 5,  5,  5,  5}},
        {&loopSupply_, "loop_supply", {11, 6,  6,  6,  6}},
        {&referenceAttenuator_, "ref_attenuator", {12, no, no, no, no}},
        {&dac14_, "dut_tune", {no, 7,  7,  7,  7}},
        {&dac16_, "dut_tune16", {no, no, no, no, 8}},
        // clang-format on
    };
    for (const auto& [chip, chipName, place] : chips)
        if (const uint32_t own = place[static_cast<size_t>(analogWiring_of(boards.analog))]; own != no)
            attach(firstAddress + own, *chip, name + "." + chipName);
    update();
}

AnalogCircuit AnalogBoard::decode() const {
    AnalogCircuit circuit;
    const AnalogLines lines(analogWiring_of(boards_.analog), lines_.lines());
    decodeLoop(&circuit.loop);
    analogSwitches_decode(lines, boards_, &circuit);
    if (analogWiring_of(boards_.analog) == AnalogWiring::w1)
        decodeFirst(lines, &circuit);
    circuit.dutTune = dutTune(lines.high(AnalogLine::dutTuneOut));
    if (boards_.analog == AnalogRevision::r2D)
        circuit.pulse.threshold_V = pulseDac_V * dac14_.ratio();
    return circuit;
}

/// The attenuators of 1B and 1C, the one for the DUT behind the detector's tap, and their counter's PLL, of which one
/// divider shows at the output pin.
void AnalogBoard::decodeFirst(const AnalogLines& lines, AnalogCircuit* circuit) const {
    circuit->dut.gain_dB -= dutAttenuator_.attenuation_dB();
    circuit->counter.path.gain_dB = circuit->dut.gain_dB;
    if (circuit->reference == MixerReference::externalAmplified)
        circuit->referenceGain_dB = referenceAmplifierGain_dB - referenceAttenuator_.attenuation_dB();
    const bool rfInput = lines.high(AnalogLine::counterSelect);
    const double out_Hz = counterPll_.muxOut_Hz(rfInput ? 0 : 1, rfInput ? 1 : 0); // of 1 Hz at the input in use
    circuit->counter.ratio = lines.high(AnalogLine::counterPower) && out_Hz != 0 ? 1 / out_Hz : 0;
}

void AnalogBoard::decodeLoop(LoopFilter* loop) const {
    loop->r1_ohm = r1AndR2_.wiperToA_ohm(0);
    loop->r2_ohm = r1AndR2_.wiperToA_ohm(1);
    loop->r3_ohm = r3AndAid_.wiperToA_ohm(0);
    loop->aid_V = wiper_V(r3AndAid_, 1, potentiometers_ohm, aidReference_V);
    loop->supply_V = regulator_V * (1 + (regulatorTop_ohm + loopSupply_.wiperToB_ohm(0)) / regulatorBottom_ohm);
    loop->calibration_V = wiper_V(calibration_, 0, potentiometers_ohm, loop->supply_V);
}

DutTune AnalogBoard::dutTune(bool relayClosed) const {
    if (!relayClosed)
        return {};
    if (boards_.analog != AnalogRevision::r2D)
        return {true, dac14_.output() == DacOutput::driven ? tuneDac14_V * dac14_.ratio() : 0};
    switch (dac16_.output()) {
    case Ad5760Model::Output::driven: return {true, tuneDac16Min_V + tuneDac16Span_V * dac16_.ratio()};
    case Ad5760Model::Output::weakGround: return {true, 0};
    default: return {};
    }
}

} // namespace vi
