#pragma once
/// What somebody in front of the unit would see and hear, as text: a line each for lamps, fan, temperature, RF, the
/// low-frequency generator, the function output, the input relay, the outputs of the DUT supply, and an oscillator on
/// them.

#include "virtual/boards/controller_board.h"
#include "virtual/boards/supply_board.h"

#include <string>

namespace vi {

[[nodiscard]] std::string panelRecord_text(const ControllerCircuit& controller, double temperature_degC,
                                           const SupplyCircuit& supply, const std::string& oscillator);

} // namespace vi
