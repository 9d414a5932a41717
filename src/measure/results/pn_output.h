#pragma once
/// What stands around a trace: the output grid, the correction of what the measurement's loop takes out of the noise,
/// smoothing and the spot level. All work on the arrays of meas_data.

#include "device_table/device_fptrs.h"
#include "measure/run/meas_data.h"

#include <cstdint>

/// Points of the output grid: `pointsPerDecade` a stage, 1 to pointsPerDecadeMax, and one more.
[[nodiscard]] int32_t pn_output_pointCount(int32_t pointsPerDecade, int32_t stageCount);

/// Prepares a run of the configuration in force on `plan`: clears the sums, the counts and the last error, marks all
/// levels as unknown, and makes the grid anew if it changed: equal ratios from the plan's start offset to offsetMax
/// inclusive, ascending. A stop below the start counts as the start.
void prepareOutputArrays(const StagingPlan* plan) REQUIRES(meas_data.resultMutex);

/// Raises spectrumData by what the loop of channel A (loopWnA, loopZetaA) suppressed, from the lowest offset up to the
/// first point whose correction is 0.1 dB or less.
void deembed(Device* device) REQUIRES(meas_data.resultMutex);
/// The correction at one offset, dB: the inverse of the loop's second-order high-pass with natural frequency `wn`
/// (rad/s) and damping `z` at `offset` (Hz), with the high-pass corners of analog board 1C if `is1C`.
[[nodiscard]] double pn_output_loopCorrection(double offset, double wn, double z, bool is1C, double ifGain);

/// Smooths spectrumData in place if smoothing is on: a centred moving average over smoothingAperture percent of the
/// trace that narrows toward both ends.
void applySmoothing() REQUIRES(meas_data.resultMutex);

inline constexpr double levelUnknown = -1000.0; // dBc/Hz: outside the trace, or not measured yet

/// Mean of the seven points around `offset` (Hz), of fewer at the upper end. levelUnknown outside the trace.
[[nodiscard]] double pn_output_levelAt(double offset) REQUIRES(meas_data.resultMutex);
/// The same at spotFrequency.
[[nodiscard]] double pn_measure_getSpotSpectrumData_noMutex(Device* device) REQUIRES(meas_data.resultMutex);

/// Low-pass at a tenth of the sample rate over `count` samples in place: a linear-phase filter of 21 taps, renormalised
/// at both ends. More than 32768 samples stay as they are. One thread at a time.
void lowPass10Percent(uint16_t* samples, int32_t count);
