#pragma once
/// All boards of a unit but the acquisition board, on its bus, in front of the bench: their converters read what the
/// bench says, and the bench counts with what their switches and chips make of the channels.

#include "virtual/boards/analog_board.h"
#include "virtual/boards/controller_board.h"
#include "virtual/boards/source_circuit.h"
#include "virtual/boards/supply_board.h"
#include "virtual/physics/bench.h"

#include <array>
#include <memory>

namespace vi {

/// To be built before the first transfer. Bus and bench outlive it. The boards call the bench with the bus held, and
/// the bench calls neither.
class BoardBox {
public:
    BoardBox(SpiBus& bus, Bench& bench, const UnitBoards& boards);
    BoardBox(const BoardBox&) = delete;
    BoardBox& operator=(const BoardBox&) = delete;
    ~BoardBox();

    /// Called with the bus held whenever the controller board or the supply shows something else, and now.
    void onPanel(std::function<void(const std::string& text)> changed);

    [[nodiscard]] AnalogBoard& analog(Channel channel) { return channel == channelA ? analogA_ : analogB_; }
    [[nodiscard]] ControllerBoard& controller() { return controller_; }
    [[nodiscard]] SupplyBoard& supply() { return supply_; }
    /// Nothing comes out of a unit's sources that has none.
    [[nodiscard]] SourceCircuit source(Channel channel) const;
    [[nodiscard]] ChannelWiring wiring(Channel channel) const;

private:
    using Source = WatchedBoard<SourceCircuit>;

    [[nodiscard]] AnalogInputs inputsOf(Channel channel);
    [[nodiscard]] std::unique_ptr<Source> makeSource(SpiBus& bus, Channel channel);
    void feedDut();
    void tell();
    void tell(Channel channel);
    void tellPanel() const;

    SpiBus& bus_;
    Bench& bench_;
    const UnitBoards boards_;
    DutTune tuneFed_;
    std::array<DetectorTruth, static_cast<size_t>(Detector::high) + 1> detectors_{};
    std::function<void(const std::string& text)> panelChanged_;
    ControllerBoard controller_;
    SupplyBoard supply_;
    AnalogBoard analogA_, analogB_;
    std::array<std::unique_ptr<Source>, channels> sources_;
};

} // namespace vi
