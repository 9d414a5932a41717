#include "virtual/boards/source_pair.h"

#include <utility>

namespace vi {
namespace {

/// A line's name says what it does while it is high.
enum Line : unsigned {
    dividerA3 = 1, // divide by two each, each behind the one before
    doubledRf = 14,
    pllRf = 5,
    toHighOutput = 6, // of the VCO; the DDS goes to the low one
    loopSupply = 7,
    dividerA1 = 8,
    dividerA2 = 9,
    loopOpen = 10,
    detectorSupply = 13,
    undoubled = 15,
    ddsAmplifier = 16,
    dividerB0 = 22,
    dividerB1 = 23,
};

/// Lines of the reference: power, multipliers and switches, which go together. With any other pattern no clock gets
/// through.
constexpr unsigned referenceLines[] = {0, 2, 3, 11, 12, 18, 19, 20, 21};
constexpr struct {
    SourceReference reference;
    uint32_t high;
} references[] = {
    {SourceReference::ocxo10MHzTimes100, 1 << 0 | 1 << 3 | 1 << 12 | 1 << 18},
    {SourceReference::crystal100MHz, 1 << 11 | 1 << 18 | 1 << 21},
    {SourceReference::resonator1GHz, 1 << 20},
    {SourceReference::lowNoisePll, 1 << 2 | 1 << 3 | 1 << 12 | 1 << 18 | 1 << 19 | 1 << 21},
};

constexpr size_t lineBytes = 3;
constexpr double clock_Hz = 1e9, pllReference_Hz = 10e6;
constexpr double referenceUnlocked = 20e-6; // how far its oscillator stands off without a lock
constexpr double fullLevel_dBm = 5;         // of the ADF5355

// Tune nodes: 0 to 15 V, of the reference's loop 0 to 5 V.
constexpr double adc_V = 5, dac_V = 5, tuneAdc_V = 3.3;
constexpr double tuneDivider = 4.545, vcoDivider = 3;
constexpr double vcoRail_V = 15, referenceRail_V = 5;
constexpr double referenceGoal_V = 2.32; // also where the OCXO's own tuning stands

// The VCO in the band that the chip has chosen for a frequency: there in the middle, relative per volt beside it.
constexpr double bandMiddle_V = 7.5, bandSlope_PerV = 0.0045;
constexpr double brokenGoal_V = 100; // beyond any rail

} // namespace

PairSource::PairSource(SpiBus& bus, uint32_t firstAddress, SourceInputs inputs, const std::string& name)
    : WatchedBoard(bus), inputs_(std::move(inputs)), lines_(lineBytes),
      tuneAdc_(tuneAdc_V, [this] { return inputs_.tune_V() / tuneDivider; }),
      referenceTuneAdc_(adc_V,
                        [this] {
                            const bool ocxo = reference() == SourceReference::ocxo10MHzTimes100;
                            return ocxo ? referenceGoal_V : referenceLoop_.tune_V();
                        }),
      vcoTuneAdc_(adc_V, [this] { return vco_.tune_V() / vcoDivider; }), referenceDac_(14), vcoDac_(14),
      vco_(0, vcoRail_V), referenceLoop_(0, referenceRail_V) {
    attach(firstAddress, lines_, name + ".lines", Taking::atIoUpdate);
    attach(firstAddress + 1, tuneAdc_, name + ".ref_adc");
    attach(firstAddress + 2, pll_, name + ".pll");
    attach(firstAddress + 3, referenceTuneAdc_, name + ".ref_tune_adc");
    attach(firstAddress + 4, referenceDac_, name + ".ref_dac");
    attach(firstAddress + 5, vcoTuneAdc_, name + ".vco_adc");
    attach(firstAddress + 6, dds_, name + ".dds", Taking::atIoUpdate);
    attach(firstAddress + 7, vcoDac_, name + ".vco_dac");
    update();
}

SourceReference PairSource::reference() const {
    uint32_t high = 0;
    for (const unsigned line : referenceLines)
        high |= uint32_t{lines_.line(line)} << line;
    for (const auto& known : references)
        if (known.high == high)
            return known.reference;
    return SourceReference::none;
}

double PairSource::dds_Hz() const {
    const SourceReference from = reference();
    if (from == SourceReference::none || !lines_.line(ddsAmplifier))
        return 0;
    const bool off = from == SourceReference::lowNoisePll && !referenceLoop_.locked();
    return dds_.output_Hz(clock_Hz * (off ? 1 + referenceUnlocked : 1));
}

bool PairSource::ddsToLoop() const {
    return lines_.line(loopSupply) && lines_.line(detectorSupply);
}

double PairSource::vcoAt_Hz(double tune_V) const {
    return pll_.tunedFromOutside() ? pll_.outputA_Hz(pllReference_Hz) * (1 + bandSlope_PerV * (tune_V - bandMiddle_V))
                                   : 0;
}

void PairSource::settle() {
    referenceLoop_.settle(reference() == SourceReference::lowNoisePll, referenceGoal_V, referenceDac_, dac_V);

    uint32_t a = 1;
    for (const unsigned line : {dividerA1, dividerA2, dividerA3}) {
        if (!lines_.line(line))
            break;
        a *= 2;
    }
    constexpr uint32_t bs[] = {1, 3, 2, 4}; // by the lines B1, B0
    const uint32_t b = bs[size_t{lines_.line(dividerB1)} * 2 + size_t{lines_.line(dividerB0)}];
    const double middle_Hz = vcoAt_Hz(bandMiddle_V);
    wanted_Hz_ = dds_Hz() * a * b;
    const bool closed = ddsToLoop() && !lines_.line(loopOpen) && middle_Hz > 0 && wanted_Hz_ > 0;
    double goal_V = 0;
    if (closed)
        goal_V = inputs_.vcoBroken() ? brokenGoal_V : bandMiddle_V + (wanted_Hz_ / middle_Hz - 1) / bandSlope_PerV;
    vco_.settle(closed, goal_V, vcoDac_, dac_V);
}

SourceCircuit PairSource::decode() const {
    SourceCircuit circuit;
    circuit.reference = reference();
    circuit.vcoTune_V = vco_.tune_V();
    circuit.locked = vco_.locked();
    circuit.usesVco = lines_.line(loopSupply) || lines_.line(detectorSupply);
    circuit.port = circuit.usesVco && lines_.line(toHighOutput) ? SourcePort::high : SourcePort::low;
    if (!circuit.usesVco) {
        circuit.output_Hz = dds_Hz();
        return circuit;
    }
    circuit.level_dB = pll_.outputA_dBm() - fullLevel_dBm;
    const double vco_Hz = vco_.locked() ? wanted_Hz_ : vcoAt_Hz(vco_.tune_V());
    if (lines_.line(undoubled))
        circuit.output_Hz = lines_.line(pllRf) ? vco_Hz : 0;
    else
        circuit.output_Hz = lines_.line(doubledRf) ? 2 * vco_Hz : 0;
    return circuit;
}

} // namespace vi
