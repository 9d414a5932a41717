#pragma once
/// The arrays of a run in meas_data: their memory, their grid, and the view of them that results are computed from.

#include "measure/results/trace.h"
#include "measure/settings/measurement_configuration.h"

/// Takes the arrays from the pool, once at the start. False if it could not give them.
[[nodiscard]] bool traceArrays_take();

/// Prepares a run of `config` on `plan`: clears the sums, the counts and the last error, marks all levels as unknown,
/// and makes the grid anew if it changed: equal ratios from the plan's start offset to offsetMax inclusive, ascending.
/// A stop below the start counts as the start.
void prepareOutputArrays(const StagingPlan& plan, MeasConfig* config) REQUIRES(meas_data.resultMutex);

/// The published trace.
[[nodiscard]] TraceView traceArrays_view() REQUIRES(meas_data.resultMutex);
/// The offsets and the levels of all points, to be worked on.
[[nodiscard]] std::span<float> traceArrays_frequency() REQUIRES(meas_data.resultMutex);
[[nodiscard]] std::span<float> traceArrays_level() REQUIRES(meas_data.resultMutex);
