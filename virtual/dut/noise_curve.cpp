#include "virtual/dut/noise_curve.h"

#include <algorithm>
#include <cmath>

namespace vi {
namespace {

constexpr double levelMax_dBcHz = 300;

} // namespace

double noiseCurve_level_dBcHz(const NoiseCurve& curve, double offset_Hz) {
    const std::vector<NoisePoint>& points = curve.points;
    if (points.size() == 1 || offset_Hz >= points.back().offset_Hz)
        return points.back().level_dBcHz;
    auto upper = std::upper_bound(points.begin(), points.end(), offset_Hz,
                                  [](double offset, const NoisePoint& point) { return offset < point.offset_Hz; });
    upper = std::max(upper, points.begin() + 1); // below the table: the line through its first two points
    const NoisePoint &low = upper[-1], &high = *upper;
    const double slope = (high.level_dBcHz - low.level_dBcHz) / std::log(high.offset_Hz / low.offset_Hz);
    return std::clamp(low.level_dBcHz + slope * std::log(offset_Hz / low.offset_Hz), -levelMax_dBcHz, levelMax_dBcHz);
}

} // namespace vi
