#pragma once
/// The correlation stage loop of a phase noise run: from the captures to the trace.

#include "device_table/device_fptrs.h"

struct MeasConfig;

/// The loop over iterations, captures and stages. `config` is the run's own: what a client changes meanwhile counts for
/// the next run. A stop request ends it; a capture that it cuts short counts for nothing. The trace is then
/// the last that an iteration ended with; in the first iteration what its captures gave, or none. So it is after a
/// capture that failed on the bus; the result is then measurementFailed, else 0.
[[nodiscard]] int32_t measurePhaseNoise(Device* device, MeasConfig* config);
