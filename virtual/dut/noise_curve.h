#pragma once
/// Phase noise over offset frequency, as a table states it: straight lines in log f between the points, the first slope
/// continued below, the last level held above. A table of one point is flat.

#include <vector>

namespace vi {

struct NoisePoint {
    double offset_Hz;
    double level_dBcHz; // single sideband, L(f)
};

struct NoiseCurve {
    std::vector<NoisePoint> points; // at least one; offsets above 0 and ascending
};

/// L(f) in dBc/Hz at an offset above 0 Hz. Held within +-300 dBc/Hz, where a steep first slope may lead.
[[nodiscard]] double noiseCurve_level_dBcHz(const NoiseCurve& curve, double offset_Hz);

} // namespace vi
