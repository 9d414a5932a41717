#pragma once
/// What makes a unit unlike its sisters: the true values of its parts, drawn from its serial number. The boards behave
/// so; the factory has measured it and says so in the unit's calibration file.

#include "virtual/boards/unit_boards.h"

#include <cstddef>

namespace vi {

inline constexpr size_t supplyOutputs = 2;

/// One output of the DUT supply. Its volts are a straight line of the DAC's count. Its ADC counts an offset, which
/// grows with the output voltage, and the current.
struct SupplyTruth {
    double dacAtZero, dacPerVolt;
    double adcAtZero, adcPerVolt, adcPerAmpere;
    double limit_A; // of the output current
};
[[nodiscard]] SupplyTruth unitTruth_supply(const UnitBoards& boards, size_t output);
/// 0 below the count of 0 V.
[[nodiscard]] double supply_voltsOf(const SupplyTruth& truth, double dacCount);
[[nodiscard]] double supply_adcCount(const SupplyTruth& truth, double volts, double amperes);

} // namespace vi
