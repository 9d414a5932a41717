#include "virtual/boards/supply_board.h"

#include <algorithm>
#include <utility>

namespace vi {
namespace {

constexpr uint32_t linesAddress = 232;
constexpr uint32_t dacAddresses[] = {235, 233}, adcAddresses[] = {236, 234}; // by output
constexpr const char* dacNames[] = {"supply.dac1", "supply.dac2"};
constexpr const char* adcNames[] = {"supply.adc1", "supply.adc2"};
constexpr unsigned enableLines[] = {1, 0}, relayLow = 7;

constexpr size_t lineBytes = 1, wordBytes = 2;
constexpr double steps = 16384, reference_V = 5; // of DACs and ADCs
constexpr double middleOfStep = 0.5;

} // namespace

bool SupplyBoard::EmptyPlace::send(std::span<const uint8_t> frame, uint32_t mode) {
    return frame.size() == wordBytes && mode == spiClockPhase;
}

bool SupplyBoard::EmptyPlace::receive(std::span<uint8_t> frame, uint32_t mode, uint32_t /*board*/) {
    std::fill(frame.begin(), frame.end(), uint8_t{0xFF});
    return frame.size() == wordBytes && mode == spiClockPhase;
}

SupplyBoard::SupplyBoard(SpiBus& bus, const UnitBoards& boards, SupplyLoad load_A)
    : WatchedBoard(bus), truth_{unitTruth_supply(boards, 0), unitTruth_supply(boards, 1)}, load_A_(std::move(load_A)),
      lines_(lineBytes), dacs_{Ad5640Model(14), Ad5640Model(14)}, adcs_{Ad7940Model(reference_V,
                                                                                    [this] { return adcInput_V(0); }),
                                                                        Ad7940Model(reference_V,
                                                                                    [this] { return adcInput_V(1); })} {
    const bool fitted = boards.supply == SupplyBoards::low5V || boards.supply == SupplyBoards::high12V;
    attach(linesAddress, lines_, "supply.lines");
    for (size_t i = 0; i < supplyOutputs; ++i) {
        attach(dacAddresses[i], fitted ? static_cast<SpiChip&>(dacs_[i]) : empty_, fitted ? dacNames[i] : "");
        attach(adcAddresses[i], fitted ? static_cast<SpiChip&>(adcs_[i]) : empty_, fitted ? adcNames[i] : "");
    }
    update();
}

SupplyCircuit SupplyBoard::decode() const {
    SupplyCircuit circuit;
    circuit.inputHigh = !lines_.line(relayLow);
    for (size_t i = 0; i < supplyOutputs; ++i) {
        const bool driven = dacs_[i].output() == DacOutput::driven;
        const double count = driven ? steps * dacs_[i].ratio() : 0;
        circuit.outputs[i] = {lines_.line(enableLines[i]), supply_voltsOf(truth_[i], count)};
    }
    return circuit;
}

SupplyBoard::Delivered SupplyBoard::deliver(size_t output) const {
    const SupplyOutput& out = circuit().outputs[output];
    if (!out.enabled)
        return {0, 0};
    const double amperes = load_A_(output, out.set_V), limit_A = truth_[output].limit_A;
    return amperes > limit_A ? Delivered{0, limit_A} : Delivered{out.set_V, amperes};
}

double SupplyBoard::adcInput_V(size_t output) const {
    const Delivered now = deliver(output);
    return (supply_adcCount(truth_[output], now.volts, now.amperes) + middleOfStep) * reference_V / steps;
}

} // namespace vi
