#include "measure/results/allan_variance.h"

#include "numeric/tvmath.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace {

constexpr double tauStep = 1.1;

/// A point of the spectrum within the range.
struct Band {
    double frequency; // Hz
    double power;     // 10^(L/10) times the width up to the next point
};
std::array<Band, tracePointsMax> bandsInRange; // static because of the small stacks

size_t makeTauGrid(const FunctionRange& range, std::span<float> grid) {
    double tau = 1 / static_cast<double>(range.hi);
    const double end = 1 / static_cast<double>(range.lo);
    size_t count = 0;
    for (; tau < end && count < grid.size(); tau *= tauStep)
        grid[count++] = static_cast<float>(tau);
    return count;
}

std::span<const Band> gatherBands(const TraceView& trace, const FunctionRange& range) {
    size_t count = 0;
    for (size_t i = 0; i + 1 < trace.frequency.size(); ++i) {
        const float f = trace.frequency[i];
        if (f < range.lo || f > range.hi)
            continue;
        const double power = std::pow(10.0, static_cast<double>(trace.level[i]) / 10);
        const double width = static_cast<double>(trace.frequency[i + 1]) - static_cast<double>(f);
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

int32_t allanDeviation(const TraceView& trace, const FunctionRange& range, std::span<float> tau,
                       std::span<float> sigma) {
    const size_t count = makeTauGrid(range, tau);
    const std::span<const Band> bands = gatherBands(trace, range);
    for (size_t i = 0; i < count; ++i)
        sigma[i] = static_cast<float>(deviation(bands, trace.carrier, static_cast<double>(tau[i])));
    return static_cast<int32_t>(count);
}
