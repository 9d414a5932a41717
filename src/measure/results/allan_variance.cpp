#include "measure/results/allan_variance.h"

#include "base/error_codes.h"
#include "base/tvdebug.h"
#include "measure/results/statistics.h"
#include "measure/settings/measurement_configuration.h"
#include "numeric/tvmath.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <span>

namespace {

constexpr double tauStep = 1.1;

/// A point of the spectrum within the range.
struct Band {
    double frequency; // Hz
    double power;     // 10^(L/10) times the width up to the next point
};
std::array<Band, tracePointsMax> bandsInRange GUARDED_BY(meas_data.resultMutex);

int32_t makeTauGrid(const FunctionRange& range) REQUIRES(meas_data.resultMutex) {
    double tau = 1 / static_cast<double>(range.hi);
    const double end = 1 / static_cast<double>(range.lo);
    int32_t count = 0;
    for (; tau < end && count < aVariancePointsMax; tau *= tauStep)
        meas_data.aVarianceTau[count++] = static_cast<float>(tau);
    return count;
}

std::span<const Band> gatherBands(const FunctionRange& range) REQUIRES(meas_data.resultMutex) {
    size_t count = 0;
    for (int32_t i = 0; i + 1 < meas_data.pointCount; ++i) {
        const float f = meas_data.spectrumFreq[i];
        if (f < range.lo || f > range.hi)
            continue;
        const double power = std::pow(10.0, static_cast<double>(meas_data.spectrumData[i]) / 10);
        const double width = static_cast<double>(meas_data.spectrumFreq[i + 1]) - static_cast<double>(f);
        bandsInRange[count++] = {static_cast<double>(f), power * width};
    }
    return {bandsInRange.data(), count};
}

double deviation(std::span<const Band> bands, double carrier, double tau) {
    double sum = 0;
    for (const Band& band : bands) {
        const double sine = std::sin(tvmath_pi * band.frequency * tau);
        sum += band.power * (sine * sine) * (sine * sine);
    }
    return 2 * std::sqrt(sum) / (tvmath_pi * carrier * tau);
}

} // namespace

int pn_measure_calculateAVariance(Device*) {
    int32_t count = 0;
    {
        MutexLock lock(meas_data.resultMutex);
        const double carrier = meas_data.carrier;
        FunctionRange range;
        if (!(carrier > 0) || !statistics_range(&range) || !(range.lo > 0 && range.hi > 0))
            return scpi::measurementFailed;
        count = makeTauGrid(range);
        const std::span<const Band> bands = gatherBands(range);
        for (int32_t i = 0; i < count; ++i) {
            const auto tau = static_cast<double>(meas_data.aVarianceTau[i]);
            meas_data.aVarianceSigma[i] = static_cast<float>(deviation(bands, carrier, tau));
        }
        meas_data.aVarianceCount = count;
    }
    if (count > 0)
        printd("---> AVar done. Generated %i values.\n", count);
    return 0;
}
