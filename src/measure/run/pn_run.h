#pragma once
/// The phase noise run: the spine from INIT to the last result.

#include "device_table/device_fptrs.h"

#include <cstdint>

struct MeasConfig;

/// What INIT does before the run begins, so that nobody reads the trace of an earlier run behind it.
void pn_measure_forgetTrace();
/// One whole run of `config` on the calling thread, which becomes the owner of it. Stores its result in lastError and
/// returns it: 0, also after an abort, or a run failure of base/error_codes.h. A failed step leaves the hardware as it
/// is. Only the captures of the correlation act on a stop request; the steps before them run to their end.
int32_t pnMeasureFull(Device* device, MeasConfig* config);
