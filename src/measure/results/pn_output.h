#pragma once
/// What stands around a trace: the output grid, the correction of what the measurement's loop takes out of the noise,
/// smoothing and the spot level.

#include "measure/results/trace.h"

#include <cstdint>

/// Points of the output grid: `pointsPerDecade` a stage, 1 to pointsPerDecadeMax, and one more.
[[nodiscard]] int32_t pn_output_pointCount(int32_t pointsPerDecade, int32_t stageCount);
/// Fills `frequency` with equal ratios from `first` to `last` (Hz) inclusive.
void pn_output_makeGrid(std::span<float> frequency, double first, double last);

/// What a trace was measured through.
struct MeasuringLoop {
    double wn;     // natural frequency, rad/s
    double zeta;   // damping as designed
    double ifGain; // dB
    bool is1C;     // analog board 1C, which has high-passes of its own
};
/// Raises `level` by what the loop suppressed, from the lowest offset up to the first point whose correction is 0.1 dB
/// or less.
void deembed(std::span<const float> frequency, std::span<float> level, const MeasuringLoop& loop);
/// The correction at one offset, dB: the inverse of the loop's second-order high-pass with natural frequency `wn`
/// (rad/s) and damping `z` at `offset` (Hz), with the high-pass corners of analog board 1C if `is1C`.
[[nodiscard]] double pn_output_loopCorrection(double offset, double wn, double z, bool is1C, double ifGain);

/// Smooths `level` in place: a centred moving average over `aperture` percent of the trace that narrows toward both
/// ends.
void applySmoothing(std::span<float> level, double aperture);

/// Mean of the seven points around `offset` (Hz), of fewer at the upper end. levelUnknown outside the trace.
[[nodiscard]] double pn_output_levelAt(const TraceView& trace, double offset);

/// Low-pass at a tenth of the sample rate over `count` samples in place: a linear-phase filter of 21 taps, renormalised
/// at both ends. More than 32768 samples stay as they are. One thread at a time.
void lowPass10Percent(uint16_t* samples, int32_t count);
