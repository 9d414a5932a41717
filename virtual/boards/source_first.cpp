#include "virtual/boards/source_first.h"

#include <utility>

namespace vi {
namespace {

/// A line's name says what it does while it is high.
enum Line : unsigned {
    ocxoToOutput = 0, // in the place of the DDS
    times2 = 1,
    clock500MHz = 4,
    crystalPower = 5,
    dividerIn = 7,
    clock3GHz = 8,
    furtherTimes2 = 9,
    ocxoPower = 10,
};
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
    if (lines_.line(ocxoPower))
        return SourceReference::ocxo10MHzTimes100;
    return lines_.line(crystalPower) ? SourceReference::crystal100MHz : SourceReference::none;
}

/// Both clocks at once are as useless as none.
double FirstSource::clock_Hz() const {
    if (reference() == SourceReference::none || lines_.line(clock3GHz) == lines_.line(clock500MHz))
        return 0;
    return lines_.line(clock3GHz) ? 3e9 : 500e6;
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
