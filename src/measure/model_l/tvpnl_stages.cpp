#include "measure/model_l/tvpnl_stages.h"

#include "measure/model_l/pn_measure_tvpnl.h"
#include "numeric/circle.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace {

constexpr double decimation = 8; // from stage to stage
constexpr int32_t samplesLog2Max = 31;

/// A difference of offsets in whole hertz.
double wholeHertz(double difference) {
    return std::abs(std::trunc(difference));
}

} // namespace

int32_t pn_measure_tvpnl_getNumberOfStages(double offsetMin) {
    if (!(offsetMin > 0))
        return static_cast<int32_t>(tvpnlStages.size());
    const double stages = std::trunc(6 - std::log10(offsetMin));
    return static_cast<int32_t>(std::clamp(stages, 1.0, static_cast<double>(tvpnlStages.size())));
}

uint32_t pn_measure_tvpnl_getNumberOfSamples(int32_t stages, int32_t) {
    const double segments = std::ceil((std::max(meas_tvpnl_config.iterations, 1) - 1) / 3.0 + 1);
    const double log2 = std::ceil(std::log2(pn_measure_tvpnl_getFFTSize() * segments)) + 3 * (stages - 1);
    return uint32_t{1} << std::clamp(static_cast<int32_t>(log2), 0, samplesLog2Max);
}

double tvpnl_stageRate(double rate, int32_t stage) {
    return rate / std::pow(decimation, stage);
}

int32_t tvpnl_segments(int32_t count, int32_t length, int32_t overlap, int32_t spared) {
    const int32_t step = length / overlap;
    if (count < length || step < 1)
        return 0;
    const int32_t whole = (count - length) / step + 1;
    return std::max(std::min({meas_tvpnl_config.iterations, count / step - spared, whole}), 0);
}

int32_t tvpnl_binOf(double offset, double binWidth, int32_t bins) {
    const double bin = std::trunc(offset / binWidth - 1);
    if (!(bin >= 0))
        return 0;
    if (bin >= bins - 1)
        return bins - 1;
    const bool lowerIsNearer = wholeHertz(offset - (bin + 1) * binWidth) < wholeHertz(offset - (bin + 2) * binWidth);
    return static_cast<int32_t>(bin) + (lowerIsNearer ? 0 : 1);
}

void getWindowingWeights(float* weights, int32_t length) {
    for (int32_t i = 0; i < length; ++i) {
        const auto cos1 = static_cast<float>(std::cos(circle_rad * i / (length - 1)));
        const float cos2 = 2 * cos1 * cos1 - 1;
        const float cos3 = 4 * cos1 * cos1 * cos1 - 3 * cos1;
        weights[i] = static_cast<float>((0.35875 - 0.48829 * static_cast<double>(cos1) +
                                         0.14128 * static_cast<double>(cos2) - 0.01168 * static_cast<double>(cos3)) *
                                        1.9689);
    }
}
