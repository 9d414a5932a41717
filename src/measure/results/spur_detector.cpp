#include "measure/results/spur_detector.h"

#include "base/tvdebug.h"
#include "core/numbers.h"
#include "measure/run/measure.h"

#include <algorithm>
#include <cmath>

namespace {

// Candidates
constexpr double windowShare = 0.07 * 0.5; // smoothing width as a share of the trace
constexpr float deviationFactor = 2.0F;
constexpr float distanceMin = 2.5F; // dB

constexpr int32_t skirtMax = 49; // points to either side

// Repair
constexpr int repairPasses = 3; // each smooths over what the one before has repaired
constexpr double repairShare = 0.2;

constexpr float spurHeightMin = 5.0F; // dB over the repaired trace

// Comb of the synthesis
constexpr double combDirect_Hz = 400e6; // up to here the carrier itself is the spacing
constexpr double combOctave_Hz = 3e9;   // above, it is doubled to at least this
constexpr double combClock_Hz = 1e9;
constexpr int combOrders = 4;
constexpr double combFirstMultiples[] = {1, 0.5, 1.5, 2, 2.5, 3.5};
constexpr int combSinglesFrom = 3, combSinglesTo = 48; // multiples after them
constexpr float combTolerance = 0.05F;                 // of the offset

struct CombRange {
    double above_Hz, below_Hz;
    bool withEnd; // the upper end belongs to it
    double divisor;
};
constexpr CombRange combRanges[] = {
    {3.0e9, 3.9e9, false, 12}, {3.9e9, 4.1e9, false, 16}, {4.1e9, 4.5e9, true, 12},
    {4.5e9, 5.2e9, true, 16},  {5.2e9, 5.4e9, false, 24}, {5.4e9, 6.1e9, true, 16},
};

void append(int32_t* list, int32_t* found, int32_t point) {
    list[*found] = point;
    *found = std::min(*found + 1, spurEntriesMax);
}

/// Root of the squared distances' sum, divided by their number.
float localDeviation(const float* trace, const float* smoothed, int32_t from, int32_t to) {
    float sum = 0;
    for (int32_t j = from; j <= to; ++j) {
        const float distance = trace[j] - smoothed[j];
        sum += distance * distance;
    }
    return std::sqrt(sum) / static_cast<float>(to + 1 - from);
}

/// Points that stand out, replaced at once so that a spur does not raise the deviation of those behind it.
void findCandidates(int32_t count, int32_t half, float factor, float* trace, const float* smoothed, float* deviation,
                    int32_t* list, int32_t* found) {
    for (int32_t i = half; i < count; ++i) {
        deviation[i] = localDeviation(trace, smoothed, i - half, std::min(i + half, count - 1));
        const float scaled = factor * deviation[i];
        const float threshold = scaled < distanceMin ? distanceMin : scaled; // not a number stays so: no candidate
        if (threshold < std::fabs(std::trunc(trace[i] - smoothed[i]))) {
            append(list, found, i);
            trace[i] = smoothed[i];
        }
    }
    std::fill_n(deviation, half, deviation[half]); // for skirts that reach below the first candidate
}

/// Where the trace rises towards the spur at `top` from below, and stands above the smoothed trace at the mirror point.
void appendLeftSkirt(int32_t top, int32_t count, const float* original, const float* smoothed, int32_t* list,
                     int32_t* found) {
    for (int32_t j = 1; j <= skirtMax && top - j > 0 && top + j < count; ++j) {
        const int32_t p = top - j;
        const bool rises = original[p - 1] <= original[p] && original[p] <= original[p + 1];
        if (!rises || !(original[p] >= smoothed[top + j]))
            return;
        append(list, found, p);
    }
}

/// Returns the point behind the one that ended the skirt; 0 if it reached its greatest length or the end of the trace.
int32_t appendRightSkirt(int32_t top, int32_t count, const float* original, const float* smoothed, int32_t* list,
                         int32_t* found) {
    for (int32_t j = 1; j <= skirtMax && top + j + 1 < count; ++j) {
        const int32_t p = top + j;
        const bool falls = original[p - 1] >= original[p] && original[p] >= original[p + 1];
        if (!falls || !(original[p] >= smoothed[p]))
            return p + 1;
        append(list, found, p);
    }
    return 0;
}

/// Appends the skirts behind the candidates. Candidates within a skirt, and the one after it, get none of their own.
void appendSkirts(int32_t count, const float* original, const float* smoothed, int32_t* list, int32_t* found) {
    const int32_t candidates = *found;
    int32_t before = -1;
    for (int32_t k = 0; k < candidates && list[k] > before; ++k) {
        before = list[k];
        appendLeftSkirt(before, count, original, smoothed, list, found);
        const int32_t stop = appendRightSkirt(before, count, original, smoothed, list, found);
        while (k < candidates && list[k] < stop)
            ++k;
    }
}

/// Gives the points of the list what the trace around them would look like, noise included.
void repair(int32_t count, int32_t width, float* trace, float* smoothed, const float* deviation, const int32_t* list,
            int32_t found) {
    for (int pass = 0; pass < repairPasses; ++pass) {
        smooth(trace, smoothed, count, width);
        for (int32_t k = 0; k < found; ++k) {
            const int32_t point = list[k];
            const auto deviate = static_cast<double>(tvstuff_randn(0, 1.0F));
            const double level =
                static_cast<double>(smoothed[point]) + repairShare * static_cast<double>(deviation[point]) * deviate;
            if (std::isfinite(level))
                trace[point] = static_cast<float>(level);
        }
    }
}

/// Spacing of the comb, Hz.
double combSpacing(double carrier_Hz) {
    if (!(carrier_Hz > combDirect_Hz))
        return carrier_Hz;
    double f = carrier_Hz;
    while (f < combOctave_Hz)
        f *= 2;
    for (const CombRange& range : combRanges)
        if (f > range.above_Hz && (f < range.below_Hz || (range.withEnd && f == range.below_Hz)))
            return f / range.divisor;
    return f;
}

/// Whether a distance in Hz is, in whole Hz, within the tolerance of `offset`.
template <class Real> bool near(Real distance, float offset) {
    return !(static_cast<float>(std::fabs(std::trunc(distance))) / offset > combTolerance);
}

bool onMultipleOf(double spacing, float offset) {
    for (const double multiple : combFirstMultiples)
        if (near(multiple * spacing - static_cast<double>(offset), offset))
            return true;
    for (int multiple = combSinglesFrom; multiple <= combSinglesTo; ++multiple)
        if (near(static_cast<float>(multiple * spacing) - offset, offset))
            return true;
    return false;
}

/// Whether a line at `offset` may come from the synthesis: the comb's harmonics, folded at the clock, beat with it.
bool onComb(double comb, float offset) {
    for (int order = 1; order <= combOrders; ++order) {
        double x = order * comb / combClock_Hz;
        if (x > 1)
            x -= std::ceil(x) - 1; // into 0 to 1, the 1 included
        if (onMultipleOf(std::fabs(std::trunc(x * combClock_Hz - comb)), offset))
            return true;
    }
    return false;
}

} // namespace

void smooth(const float* input, float* output, int32_t count, int32_t width) {
    const int32_t half = width / 2;
    for (int32_t i = 0; i < count; ++i) {
        const int32_t from = std::max(i - half, 0);
        const int32_t to = std::min(i + half, count - 1);
        float sum = 0;
        for (int32_t j = from; j <= to; ++j)
            sum += input[j];
        output[i] = sum / static_cast<float>(to + 1 - from);
    }
}

void findSpurs(int32_t count, int32_t width, float factor, float* trace, const float* original, float* smoothed,
               float* deviation, int32_t* list, int32_t* found) {
    if (count <= 0)
        return;
    findCandidates(count, width / 2, factor, trace, smoothed, deviation, list, found);
    appendSkirts(count, original, smoothed, list, found);
    std::sort(list, list + *found);
    repair(count, width, trace, smoothed, deviation, list, *found);
}

void mergeSpurs(int32_t* list, int32_t* found, const float* original) {
    if (*found < 2)
        return;
    int32_t groups = 0;
    int32_t last = list[0];
    for (int32_t k = 1; k < *found; ++k) {
        const int32_t point = list[k];
        if (point - last > 1)
            list[++groups] = point;
        else if (original[point] > original[list[groups]])
            list[groups] = point;
        last = point;
    }
    *found = groups + 1;
}

void cleanSpurs(double comb, int32_t* list, int32_t* found, const float* frequencies, const float* trace,
                const float* original) {
    const double spacing = combSpacing(comb);
    const auto dropped = [&](int32_t point) {
        const bool high = original[point] - trace[point] >= spurHeightMin;
        return point == 0 || !high || onComb(spacing, frequencies[point]);
    };
    *found = static_cast<int32_t>(std::remove_if(list, list + *found, dropped) - list);
}

double spur_detector_bandwidth(const SpurSearch& search, double offset) {
    const auto stage = static_cast<size_t>(staging_stageOf(search.plan, offset));
    return 10 * std::log10(search.rates[stage] / search.plan.stageSamples[stage]);
}

void printSpursToConsole(const int32_t* list, int32_t count, const float* frequencies, const float* levels) {
    printd("all spurs:\n");
    for (int32_t k = 0; k < count; ++k) {
        const int32_t point = list[k];
        printd("   | spur %d (%d): %.3f kHz / %.1f dBc/Hz\n", k, point, static_cast<double>(frequencies[point]) / 1e3,
               static_cast<double>(levels[point]));
    }
}

int32_t spur_detector_detectSpurs(const SpurSearch& search, std::span<const float> frequencies, std::span<float> trace,
                                  const SpurScratch& scratch, const SpurList& list) {
    const timeval begin = measure_now();
    const auto count = static_cast<int32_t>(trace.size());
    const auto width = static_cast<int32_t>(count * windowShare);
    const auto& [points, original, smoothed, deviation] = scratch;
    std::copy_n(trace.data(), count, original);
    smooth(trace.data(), smoothed, count, width);

    int32_t found = 0;
    findSpurs(count, width, deviationFactor, trace.data(), original, smoothed, deviation, points, &found);
    mergeSpurs(points, &found, original);
    cleanSpurs(search.comb, points, &found, frequencies.data(), trace.data(), original);
    printSpursToConsole(points, found, frequencies.data(), original);
    for (int32_t k = 0; k < found; ++k) {
        list.frequency[k] = frequencies[static_cast<size_t>(points[k])];
        list.level[k] = static_cast<float>(static_cast<double>(original[points[k]]) +
                                           spur_detector_bandwidth(search, static_cast<double>(list.frequency[k])));
    }
    printd("   >> finished spur detection: %.1fms\n", measure_secondsSince(begin) * 1e3);
    return found;
}
