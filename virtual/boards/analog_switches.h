#pragma once
/// The switches of the analog board: what its lines make of the circuit.

#include "virtual/boards/analog_circuit.h"
#include "virtual/boards/analog_lines.h"

namespace vi {

/// Fills in all of the circuit that hangs on the lines alone. What the chips add (attenuation, resistances, voltages,
/// the counter ratio of 1B and 1C) is left as it is.
void analogSwitches_decode(const AnalogLines& lines, const UnitBoards& boards, AnalogCircuit* circuit);

} // namespace vi
