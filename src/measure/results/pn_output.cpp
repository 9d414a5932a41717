#include "measure/results/pn_output.h"

#include "base/tvdebug.h"
#include "numeric/circle.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace {

// De-embedding
constexpr double dampingFactor = 0.8;             // the tune port loads the loop filter
constexpr double limitFactor = 10;                // offsets in Hz below this times wn in rad/s may need a correction
constexpr double smallestCorrection = 0.1;        // dB
constexpr double corner1C = circle_rad;           // rad/s: a high-pass of board 1C at 1 Hz
constexpr double cornerHighGain1C = 2.5132741232; // rad/s: one more at 0.4 Hz
constexpr double highGain1C = 40;                 // dB, above which it is in the path
constexpr int32_t reportEvery = 80;               // points between two lines on the debug channel

constexpr int32_t spotPoints = 7;

constexpr int tapCount = 21;
constexpr std::array<double, tapCount> FILTER_TAPS = [] {
    constexpr double half[] = {
        -0.05301018365131711, -0.01854654066815328, -0.012987435714716455, -9.957325483575241e-05,
        0.01985187049142429,  0.0453240537591354,   0.07370708657120852,   0.10137235737208547,
        0.12467042720004382,  0.14020037863681242,  0.14565030734120032,
    };
    std::array<double, tapCount> taps{};
    for (int i = 0; i <= tapCount / 2; ++i)
        taps[i] = taps[tapCount - 1 - i] = half[i];
    return taps;
}();
constexpr int32_t filterSamplesMax = 32768;
std::array<uint16_t, filterSamplesMax> dataOut;

/// Half of the window of applySmoothing, at most what fits to both sides of a point of the trace.
int32_t smoothingHalfWidth(double aperture, int32_t pointCount) {
    const double width = std::trunc(aperture * 0.01 * pointCount);
    const auto limited = static_cast<int32_t>(width > 0 ? std::fmin(width, pointCount) : 0);
    return std::min(limited / 2, (pointCount - 1) / 2); // an even width grows by one, an odd one stays
}

} // namespace

int32_t pn_output_pointCount(int32_t pointsPerDecade, int32_t stageCount) {
    return std::clamp(pointsPerDecade, 1, pointsPerDecadeMax) * stageCount + 1;
}

void pn_output_makeGrid(std::span<float> frequency, double first, double last) {
    const double ratio = last / first;
    const auto intervals = static_cast<double>(frequency.size() - 1);
    for (size_t i = 0; i < frequency.size(); ++i)
        frequency[i] = static_cast<float>(first * std::pow(ratio, static_cast<double>(i) / intervals));
}

double pn_output_loopCorrection(double offset, double wn, double z, bool is1C, double ifGain) {
    const double wn2 = wn * wn;
    const double w = circle_rad * offset;
    const double w2 = w * w;
    double high = std::sqrt(w2 * w2 + wn2 * wn2 + 2 * (2 * z * z - 1) * wn2 * w2) / w2;
    if (is1C) {
        high *= (w + corner1C) / w;
        if (ifGain > highGain1C)
            high *= (w + cornerHighGain1C) / w;
    }
    return 20 * std::log10(high);
}

void deembed(std::span<const float> frequency, std::span<float> level, const MeasuringLoop& loop) {
    const double z = dampingFactor * loop.zeta;
    const double limit = limitFactor * loop.wn;
    printd("   deembed: go!   wn=%.1f Hz   z=%.1f\n", loop.wn, z);
    double correction = INFINITY;
    for (size_t i = 0; i < frequency.size() && correction > smallestCorrection; ++i) {
        const auto offset = static_cast<double>(frequency[i]);
        if (!(offset < limit))
            break;
        correction = pn_output_loopCorrection(offset, loop.wn, z, loop.is1C, loop.ifGain);
        level[i] = static_cast<float>(static_cast<double>(level[i]) + correction);
        if (i % reportEvery == 0)
            printd("   deembed subS: f=%.2f Hz, corr=%.1f dB  zeta=%.1f  fn=%.1f \n", offset, correction, z,
                   loop.wn / 6.28);
    }
}

void applySmoothing(std::span<float> level, double aperture) {
    const auto points = static_cast<int32_t>(level.size());
    const int32_t half = smoothingHalfWidth(aperture, points);
    float* y = level.data();
    double sum = 0;
    int32_t count = 0;
    // In place: the window takes out what it has already smoothed, which makes the filter slightly recursive.
    for (int32_t i = 0; i < points; ++i) {
        if (i > points - 1 - half) {
            sum -= static_cast<double>(y[2 * i - points] + y[2 * i - points - 1]);
            count -= 2;
        } else if (i > half) {
            sum += static_cast<double>(y[i + half] - y[i - half - 1]);
        } else {
            sum += static_cast<double>(y[2 * i]);
            ++count;
            if (i > 0) {
                sum += static_cast<double>(y[2 * i - 1]);
                ++count;
            }
        }
        y[i] = static_cast<float>(sum / count);
    }
}

double pn_output_levelAt(const TraceView& trace, double offset) {
    const std::span<const float> frequencies = trace.frequency;
    if (frequencies.empty() || !(offset >= static_cast<double>(frequencies.front())) ||
        !(offset <= static_cast<double>(frequencies.back())))
        return levelUnknown;
    if (frequencies.size() == 1)
        return 0;
    const auto above =
        std::lower_bound(frequencies.begin() + 1, frequencies.end(), offset,
                         [](float frequency, double value) { return static_cast<double>(frequency) < value; });
    const auto points = static_cast<int32_t>(frequencies.size());
    const int32_t first = std::max(static_cast<int32_t>(above - frequencies.begin()) - spotPoints / 2, 0);
    const int32_t end = std::min(first + spotPoints, points);
    double sum = 0;
    for (int32_t i = first; i < end; ++i)
        sum += static_cast<double>(trace.level[static_cast<size_t>(i)]);
    return sum / (end - first);
}

void lowPass10Percent(uint16_t* samples, int32_t count) {
    if (count > filterSamplesMax) {
        printd("  skipping 10%% lowpass filter because dataset is too large (%d)\n", count);
        return;
    }
    constexpr int32_t centre = tapCount / 2;
    for (int32_t i = 0; i < count; ++i) {
        double weight = 0;
        double value = 0;
        const int32_t from = std::max(centre - i, 0);
        const int32_t to = std::min(count - 1 - i + centre, tapCount - 1);
        for (int32_t k = from; k <= to; ++k) {
            weight += FILTER_TAPS[k];
            value += FILTER_TAPS[k] * samples[i + k - centre];
        }
        const double filtered = value / weight;
        dataOut[i] = static_cast<uint16_t>(std::clamp(filtered, 0.0, 65535.0));
    }
    std::copy_n(dataOut.begin(), std::max(count, 0), samples);
}
