#pragma once
/// Single figures over the published trace: integrated phase noise, RMS phase, residual FM and RMS jitter.
///
/// The trace is the single sideband level L(f) in dBc/Hz. With sum the integral of 10^(L/10) over the function range,
/// the mean square phase is 2 sum rad^2, as both sidebands carry it.

#include "measure/results/trace.h"

struct MeasSettings;

/// The numbers are those that the test set and the commands know.
enum StatisticsMode : int {
    statisticsJitter = 0,       // RMS jitter, s
    statisticsIntegral = 1,     // integrated phase noise, dBc
    statisticsMillidegrees = 2, // RMS phase
    statisticsMilliradians = 3, // RMS phase
    statisticsResidualFm = 4,   // RMS frequency deviation, Hz
};

inline constexpr double statisticsUnknown = -1.0; // there is nothing to compute the figure from

/// Where functions of the trace are computed, Hz: the function range, cut to the trace.
struct FunctionRange {
    float lo;
    float hi;
};
/// False, with `range` untouched, if there is no trace: fewer than two points, or a run without a save so far. `lo` may
/// lie above `hi`. A limit that is no number counts as the end of the trace.
[[nodiscard]] bool statistics_range(const TraceView& trace, const MeasSettings& settings, FunctionRange* range);

/// The figure `mode` of `trace` over the function range of `settings`.
///
/// Integrates by trapezoids in linear power over the whole segments between neighbouring points from `lo` on and ending
/// below `hi`: the segment that reaches `hi` does not count. Without any segment the sum is 0: minus infinity in dBc, 0
/// in the other modes. statisticsUnknown without a trace, for jitter also without a known carrier, and for another
/// mode. A level in the range that is no number makes the figure none either.
///
/// With spurOmission off the spurs of the list count too. A segment is split at each spur that stands spurThreshold dB
/// or more above the interpolated floor x: the line adds 10^(level/10), and takes the place of half a hertz of noise on
/// either side of it, also where a piece is narrower than that. A lower spur adds nothing, and the noise between it and
/// the last split does not count. Spurs below the first segment are not counted.
///
/// Residual FM weighs each power by the square of its frequency: phase of offset f and RMS value phi deviates the
/// frequency by f phi RMS. A segment or a piece of a split one weighs at its centre, a line at its own offset: a line
/// of peak deviation b f, that is of level 10 log10(b^2 / 4), gives a mean square of b^2 f^2 / 2.
[[nodiscard]] double calculateStatistics(const TraceView& trace, const MeasSettings& settings, int mode);
