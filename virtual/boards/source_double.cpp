#include "virtual/boards/source_double.h"

#include <utility>

namespace vi {
namespace {

/// A line's name says what it does while it is high.
enum ControlLine : unsigned { ocxoOn = 5, powerOn = 6, rfOn = 7 };
enum PathLine : unsigned {
    multiplier1 = 1,
    multiplier2 = 2,
    divider1 = 3, // divide by two each, each behind the one before
    divider2 = 4,
    divider3 = 5,
    loopOn = 6,
    loopRf = 7,
};

constexpr size_t lineBytes = 1;
constexpr double clock_Hz = 1e9;
constexpr double adc_V = 3.3, dac_V = 5;
constexpr double vcoDivider = 4.7, tuneDivider = 4.545;
// The VCO's tuning; its rails lie beyond.
constexpr double lowest_Hz = 3e9, lowest_V = 1, slope_HzPerV = 3e9 / 11.5, rail_V = 15.5;
constexpr double brokenGoal_V = 100;

double vcoAt_Hz(double tune_V) {
    return lowest_Hz + slope_HzPerV * (tune_V - lowest_V);
}

} // namespace

DoubleSource::DoubleSource(SpiBus& bus, uint32_t firstAddress, SourceInputs inputs, const std::string& name)
    : WatchedBoard(bus), inputs_(std::move(inputs)), control_(lineBytes), path_(lineBytes),
      vcoTuneAdc_(adc_V, [this] { return vco_.tune_V() / vcoDivider; }),
      tuneAdc_(adc_V, [this] { return inputs_.tune_V() / tuneDivider; }), vcoDac_(14),
      lockStatus_(lineBytes, [this] { return uint64_t{vco_.locked()}; }), furtherStatus_(lineBytes, [] { return 0; }),
      vco_(0, rail_V) {
    attach(firstAddress, control_, name + ".control");
    attach(firstAddress + 1, path_, name + ".path");
    attach(firstAddress + 2, vcoTuneAdc_, name + ".vco_adc");
    attach(firstAddress + 3, vcoDac_, name + ".vco_dac");
    attach(firstAddress + 4, dds_, name + ".dds", Taking::atIoUpdate);
    attach(firstAddress + 5, tuneAdc_, name + ".ocxo_adc");
    attach(firstAddress + 6, lockStatus_, name + ".status1");
    attach(firstAddress + 7, furtherStatus_, name + ".status2");
    update();
}

bool DoubleSource::clocked() const {
    return control_.line(powerOn) && control_.line(ocxoOn);
}

double DoubleSource::dds_Hz() const {
    return clocked() ? dds_.output_Hz(clock_Hz) : 0;
}

void DoubleSource::settle() {
    constexpr double multipliers[] = {12, 16, 24, 0}; // by the lines 2, 1
    wanted_Hz_ = dds_Hz() * multipliers[size_t{path_.line(multiplier2)} * 2 + size_t{path_.line(multiplier1)}];
    const bool closed = path_.line(loopOn) && wanted_Hz_ > 0;
    double goal_V = 0;
    if (closed)
        goal_V = inputs_.vcoBroken() ? brokenGoal_V : lowest_V + (wanted_Hz_ - lowest_Hz) / slope_HzPerV;
    vco_.settle(closed, goal_V, vcoDac_, dac_V);
}

SourceCircuit DoubleSource::decode() const {
    SourceCircuit circuit;
    circuit.reference = clocked() ? SourceReference::crystal100MHz : SourceReference::none;
    circuit.vcoTune_V = vco_.tune_V();
    circuit.locked = vco_.locked();
    circuit.usesVco = path_.line(loopOn);
    if (!control_.line(rfOn))
        return circuit;
    if (!circuit.usesVco) {
        circuit.output_Hz = dds_Hz();
        return circuit;
    }
    double divider = 1;
    for (const unsigned line : {divider1, divider2, divider3}) {
        if (!path_.line(line))
            break;
        divider *= 2;
    }
    const double vco_Hz = vco_.locked() ? wanted_Hz_ : vcoAt_Hz(vco_.tune_V());
    circuit.output_Hz = control_.line(powerOn) && path_.line(loopRf) ? vco_Hz / divider : 0;
    return circuit;
}

} // namespace vi
