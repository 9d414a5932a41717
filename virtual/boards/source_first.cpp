#include "virtual/boards/source_first.h"

#include <utility>

namespace vi {
namespace {

/// A line's name says what it does while it is high.
enum Line : unsigned {
    ocxoToOutput = 0, // in the place of the DDS
    times2 = 1,
    multiplierIn = 3, // the OCXO's, which stands in the crystal's place
    clockDivider = 4,
    referencePower = 5,
    ocxoPower = 6,
    dividerIn = 7,
    dividedToDds = 8,
    furtherTimes2 = 9,
    amplifierPower = 10,
    crystalToPll = 11,
};
/// Lines of the reference, which go together: with any other pattern no clock gets through.
constexpr uint32_t both = 1 << referencePower | 1 << amplifierPower;
constexpr uint32_t referenceLines = both | 1 << multiplierIn | 1 << ocxoPower | 1 << crystalToPll;
constexpr uint32_t ocxo = both | 1 << multiplierIn | 1 << ocxoPower, crystal = both | 1 << crystalToPll;
constexpr size_t lineBytes = 3;
constexpr double tuneAdc_V = 3.3, tuneDivider = 4.545;
constexpr double ocxo_Hz = 10e6;
constexpr uint32_t dividerId = 0;

} // namespace

FirstSource::FirstSource(SpiBus& bus, uint32_t firstAddress, SourceInputs inputs, const std::string& name)
    : WatchedBoard(bus), inputs_(std::move(inputs)), lines_(lineBytes),
      tuneAdc_(tuneAdc_V, [this] { return inputs_.tune_V() / tuneDivider; }), divider_(dividerId) {
    attach(firstAddress, lines_, name + ".lines", Taking::atIoUpdate);
    attach(firstAddress + 1, tuneAdc_, name + ".ref_adc");
    attach(firstAddress + 2, dds_, name + ".dds", Taking::atIoUpdate);
    attach(firstAddress + 3, divider_, name + ".divider");
    update();
}

SourceReference FirstSource::reference() const {
    switch (lines_.lines() & referenceLines) {
    case ocxo: return SourceReference::ocxo10MHzTimes100;
    case crystal: return SourceReference::crystal100MHz;
    default: return SourceReference::none;
    }
}

/// 3 GHz straight, or a sixth of it: the divider and its switch go together.
double FirstSource::clock_Hz() const {
    if (reference() == SourceReference::none || lines_.line(dividedToDds) != lines_.line(clockDivider))
        return 0;
    return lines_.line(dividedToDds) ? 500e6 : 3e9;
}

void FirstSource::settle() {
    if (dds_.calibrations() != calibrations_)
        calibratedFor_Hz_ = clock_Hz();
    calibrations_ = dds_.calibrations();
}

SourceCircuit FirstSource::decode() const {
    SourceCircuit circuit;
    circuit.reference = reference();
    if (lines_.line(ocxoToOutput)) {
        circuit.output_Hz = circuit.reference == SourceReference::ocxo10MHzTimes100 ? ocxo_Hz : 0;
        return circuit;
    }
    const double clock = clock_Hz();
    circuit.output_Hz = clock == calibratedFor_Hz_ ? dds_.output_Hz(clock) : 0;
    circuit.output_Hz *= lines_.line(times2) ? (lines_.line(furtherTimes2) ? 4 : 2) : 1;
    if (lines_.line(dividerIn))
        circuit.output_Hz = divider_.powered() ? circuit.output_Hz / divider_.ratio() : 0;
    return circuit;
}

} // namespace vi
