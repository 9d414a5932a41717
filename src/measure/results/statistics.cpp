#include "measure/results/statistics.h"

#include "measure/settings/measurement_configuration.h"
#include "numeric/circle.h"
#include "numeric/tvmath.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double halfLineBand_Hz = 0.5; // of noise on either side, whose place a line takes

/// A stretch of the spectrum: offsets in Hz and powers of its ends in 1/Hz.
struct Stretch {
    double f0, p0;
    double f1, p1;
};

double linear(float level) {
    return std::pow(10.0, static_cast<double>(level / 10.0F));
}

/// What power at offset `f` counts for in `mode`.
double weight(int mode, double f) {
    return mode == statisticsResidualFm ? f * f : 1;
}

/// Noise of a stretch that a line has taken `taken` hertz of.
double noise(const Stretch& part, double taken, int mode) {
    return 0.5 * (part.p0 + part.p1) * (part.f1 - part.f0 - taken) * weight(mode, 0.5 * (part.f0 + part.f1));
}

/// The spurs of the list that count, and how far the integration has passed them.
struct Spurs {
    std::span<const float> frequency;
    std::span<const float> level;
    double threshold; // dB
    size_t next = 0;

    [[nodiscard]] bool below(double f) const {
        return next < frequency.size() && static_cast<double>(frequency[next]) < f;
    }
};

Spurs spursFrom(double f, const TraceView& trace, const MeasSettings& settings) {
    Spurs spurs{.frequency = {}, .level = {}, .threshold = settings.spurThreshold};
    if (settings.spurOmission == 0) {
        spurs.frequency = trace.spurFrequency;
        spurs.level = trace.spurLevel;
    }
    while (spurs.below(f))
        ++spurs.next;
    return spurs;
}

/// Power of a segment that holds at least one spur; passes its spurs.
double splitSegment(Stretch segment, Spurs* spurs, int mode) {
    double power = 0;
    Stretch rest = segment;
    for (; spurs->below(segment.f1); ++spurs->next) {
        const auto f = static_cast<double>(spurs->frequency[spurs->next]);
        const auto level = static_cast<double>(spurs->level[spurs->next]);
        const double floor =
            ((segment.f1 - f) * segment.p0 + segment.p1 * (f - segment.f0)) / (segment.f1 - segment.f0);
        rest = {f, floor, segment.f1, segment.p1};
        if (level - 10 * std::log10(floor) < spurs->threshold)
            continue;
        power += std::pow(10.0, level / 10) * weight(mode, f);
        power += noise({segment.f0, segment.p0, f, floor}, halfLineBand_Hz, mode);
        segment = rest;
    }
    return power + noise(rest, halfLineBand_Hz, mode);
}

double integrate(const TraceView& trace, const MeasSettings& settings, const FunctionRange& range, int mode) {
    const float* frequencies = trace.frequency.data();
    const float* end = frequencies + trace.frequency.size();
    const float* f = std::lower_bound(frequencies, end, range.lo);
    if (f == end)
        return 0;
    const float* level = trace.level.data() + (f - frequencies);
    Spurs spurs = spursFrom(static_cast<double>(*f), trace, settings);
    double sum = 0;
    double p0 = linear(*level);
    for (; f + 1 < end && f[1] < range.hi; ++f) {
        const double p1 = linear(*++level);
        const Stretch segment = {static_cast<double>(f[0]), p0, static_cast<double>(f[1]), p1};
        sum += spurs.below(segment.f1) ? splitSegment(segment, &spurs, mode) : noise(segment, 0, mode);
        p0 = p1;
    }
    return std::max(sum, 0.0); // what lines take from pieces narrower than half a hertz may be more than there is
}

} // namespace

bool statistics_range(const TraceView& trace, const MeasSettings& settings, FunctionRange* range) {
    // A save gives all points a level.
    if (trace.level.size() < 2 || trace.level.front() == static_cast<float>(levelUnknown))
        return false;
    *range = {
        .lo = tvmath_maxf(static_cast<float>(settings.functionRangeStart), trace.frequency.front()),
        .hi = tvmath_minf(static_cast<float>(settings.functionRangeStop), trace.frequency.back()),
    };
    return true;
}

double calculateStatistics(const TraceView& trace, const MeasSettings& settings, int mode) {
    FunctionRange range;
    if (!statistics_range(trace, settings, &range))
        return statisticsUnknown;
    const double sum = integrate(trace, settings, range, mode);
    const double rms = std::sqrt(2 * sum); // rad; in residual FM Hz
    switch (mode) {
    case statisticsJitter: return trace.carrier > 0 ? rms / (circle_rad * trace.carrier) : statisticsUnknown;
    case statisticsIntegral: return 10 * std::log10(sum);
    case statisticsMillidegrees: return rms * 360 / circle_rad * 1000;
    case statisticsMilliradians: return rms * 1000;
    case statisticsResidualFm: return rms;
    default: return statisticsUnknown;
    }
}
