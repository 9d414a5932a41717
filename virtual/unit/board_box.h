#pragma once
/// All boards of a unit but the acquisition board, on its bus: what their converters find there is what the bench says,
/// and what their switches and chips make of it will be what the bench counts with.

#include "virtual/boards/analog_board.h"
#include "virtual/boards/controller_board.h"
#include "virtual/boards/supply_board.h"
#include "virtual/physics/bench.h"

namespace vi {

/// To be built before the first transfer. Bus and bench outlive it. The boards call the bench with the bus held, and
/// the bench calls neither.
class BoardBox {
public:
    BoardBox(SpiBus& bus, Bench& bench, const UnitBoards& boards);
    BoardBox(const BoardBox&) = delete;
    BoardBox& operator=(const BoardBox&) = delete;
    ~BoardBox();

    [[nodiscard]] AnalogBoard& analog(Channel channel) { return channel == channelA ? analogA_ : analogB_; }
    [[nodiscard]] ControllerBoard& controller() { return controller_; }
    [[nodiscard]] SupplyBoard& supply() { return supply_; }

private:
    [[nodiscard]] AnalogInputs inputsOf(Channel channel);

    SpiBus& bus_;
    Bench& bench_;
    ControllerBoard controller_;
    SupplyBoard supply_;
    AnalogBoard analogA_, analogB_;
};

} // namespace vi
