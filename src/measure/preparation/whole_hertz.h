#pragma once
/// Frequencies as the hardware is commanded during a run.

#include "numeric/tvtypes.h"

/// `frequency` (Hz) cut to whole hertz; beyond the range of tvfreq its ends, 0 for NaN.
[[nodiscard]] inline tvfreq wholeHertz(double frequency) {
    tvfreq exact;
    double2tvfreq(&frequency, &exact);
    return {exact.intPart, 0};
}
