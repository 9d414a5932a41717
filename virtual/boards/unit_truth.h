#pragma once
/// What makes a unit unlike its sisters: the true values of its parts, drawn from its serial number. The boards behave
/// so; the factory has measured it and says so in the unit's calibration file.

#include "virtual/boards/analog_circuit.h"

#include <array>
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

/// A power detector over the carrier's frequency: counts of its ADC at a level at the detector, straight lines between
/// the points.
struct DetectorTruth {
    static constexpr size_t points = 60;
    std::array<double, points> frequency_Hz, atZero, perdB;
};
[[nodiscard]] DetectorTruth unitTruth_detector(const UnitBoards& boards, Detector detector);
[[nodiscard]] double detector_count(const DetectorTruth& truth, double carrier_Hz, double level_dBm);

/// What a channel's IF chain has more than its nominal gain, over the offset, by gain stage; straight lines between the
/// points, and beyond them as at the ends. Stage 0 is nominal at low offsets: the phase detectors are calibrated there.
struct IfTruth {
    static constexpr size_t points = 25, stages = 6;
    std::array<double, points> offset_Hz;
    std::array<std::array<double, points>, stages> excess_dB;
};
/// Groups of carriers that take different ways: below 2 GHz, from there on, below with the preamplifier.
inline constexpr size_t ifGroups = 3;
[[nodiscard]] size_t if_group(double carrier_Hz, bool preamplifier);
[[nodiscard]] IfTruth unitTruth_if(const UnitBoards& boards, size_t channel, size_t group);
[[nodiscard]] double if_excess_dB(const IfTruth& truth, size_t stage, double offset_Hz);
/// Stage of a gain.
[[nodiscard]] size_t if_stage(const UnitBoards& boards, double gain_dB);
/// Stages that a board has.
[[nodiscard]] size_t if_stages(const UnitBoards& boards);

/// What the time base makes of a frequency: it reads that much too high, relative, up or down.
[[nodiscard]] double unitTruth_timeBase(const UnitBoards& boards);

} // namespace vi
