#include "measure/results/statistics.h"

#include "measure/results/pn_output.h"
#include "measure/settings/measurement_configuration.h"
#include "numeric/tvmath.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double circle = 6.283185308;  // two pi of all figures here
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
    int32_t next;
    int32_t count;
    double threshold; // dB

    [[nodiscard]] bool below(double f) const REQUIRES(meas_data.resultMutex) {
        return next < count && static_cast<double>(meas_data.spurFreq[next]) < f;
    }
};

Spurs spursFrom(double f) REQUIRES(meas_data.resultMutex) {
    const MeasConfig* config = configPNPtr;
    Spurs spurs = {
        .next = 0,
        .count = config->spurOmission != 0 ? 0 : meas_data.spurCount,
        .threshold = config->spurThreshold,
    };
    while (spurs.below(f))
        ++spurs.next;
    return spurs;
}

/// Power of a segment that holds at least one spur; passes its spurs.
double splitSegment(Stretch segment, Spurs* spurs, int mode) REQUIRES(meas_data.resultMutex) {
    double power = 0;
    Stretch rest = segment;
    for (; spurs->below(segment.f1); ++spurs->next) {
        const auto f = static_cast<double>(meas_data.spurFreq[spurs->next]);
        const auto level = static_cast<double>(meas_data.spurData[spurs->next]);
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

double integrate(const FunctionRange& range, int mode) REQUIRES(meas_data.resultMutex) {
    const float* frequencies = meas_data.spectrumFreq;
    const float* end = frequencies + meas_data.pointCount;
    const float* f = std::lower_bound(frequencies, end, range.lo);
    if (f == end)
        return 0;
    const float* level = meas_data.spectrumData + (f - frequencies);
    Spurs spurs = spursFrom(static_cast<double>(*f));
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

bool statistics_range(FunctionRange* range) {
    const int32_t points = meas_data.pointCount;
    // A save gives all points a level.
    if (points < 2 || meas_data.spectrumData[0] == static_cast<float>(levelUnknown))
        return false;
    const MeasConfig* config = configPNPtr;
    *range = {
        .lo = tvmath_maxf(static_cast<float>(config->functionRangeStart), meas_data.spectrumFreq[0]),
        .hi = tvmath_minf(static_cast<float>(config->functionRangeStop), meas_data.spectrumFreq[points - 1]),
    };
    return true;
}

double calculateStatistics(Device*, int mode) {
    FunctionRange range;
    if (!statistics_range(&range))
        return statisticsUnknown;
    const double frequency = meas_data.carrier;
    const double sum = integrate(range, mode);
    const double rms = std::sqrt(2 * sum); // rad; in residual FM Hz
    switch (mode) {
    case statisticsJitter: return frequency > 0 ? rms / (circle * frequency) : statisticsUnknown;
    case statisticsIntegral: return 10 * std::log10(sum);
    case statisticsMillidegrees: return rms * 360 / circle * 1000;
    case statisticsMilliradians: return rms * 1000;
    case statisticsResidualFm: return rms;
    default: return statisticsUnknown;
    }
}
