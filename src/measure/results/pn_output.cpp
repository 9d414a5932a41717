#include "measure/results/pn_output.h"

#include "base/tvdebug.h"
#include "identity/device_variants.h"
#include "measure/settings/measurement_configuration.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace {

constexpr double circle = 6.283185308; // two pi of all formulas here

// De-embedding
constexpr double dampingFactor = 0.8;             // the tune port loads the loop filter
constexpr double limitFactor = 10;                // offsets in Hz below this times wn in rad/s may need a correction
constexpr double smallestCorrection = 0.1;        // dB
constexpr double corner1C = 6.283185308;          // rad/s: a high-pass of board 1C at 1 Hz
constexpr double cornerHighGain1C = 2.5132741232; // rad/s: one more at 0.4 Hz
constexpr double highGain1C = 40;                 // dB, above which it is in the path
constexpr int32_t reportEvery = 80;               // points between two lines on the debug channel

constexpr int32_t spotPoints = 7;

/// What the grid in hand was made for.
struct Grid {
    double offsetMin;
    double offsetMax;
    int32_t pointCount;
    bool operator==(const Grid&) const = default;
};
Grid gridInHand GUARDED_BY(meas_data.resultMutex){};

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

void makeGrid(const Grid& grid) REQUIRES(meas_data.resultMutex) {
    const double ratio = grid.offsetMax / grid.offsetMin;
    for (int32_t i = 0; i < grid.pointCount; ++i)
        meas_data.spectrumFreq[i] =
            static_cast<float>(grid.offsetMin * std::pow(ratio, static_cast<double>(i) / (grid.pointCount - 1)));
    gridInHand = grid;
}

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

void prepareOutputArrays(const StagingPlan* plan) {
    MeasConfig* config = configPNPtr;
    const bool changed = config->gridChanged.exchange(0) != 0;
    const Grid grid = {
        .offsetMin = plan->offsetMin,
        .offsetMax = std::fmax(config->offsetMax, plan->offsetMin),
        .pointCount = pn_output_pointCount(config->pointsPerDecade, plan->stageCount),
    };
    meas_data.pointCount = grid.pointCount;
    meas_data.preliminaryAverageCount = 0;
    meas_data.lastError = 0;
    // A client that asked before the run came this far keeps its place.
    if (meas_data.previewTrigger == 0)
        meas_data.previewTarget = 0;
    std::fill_n(meas_data.accumRe, grid.pointCount, 0.0);
    std::fill_n(meas_data.accumIm, grid.pointCount, 0.0);
    std::fill_n(meas_data.spectrumData, grid.pointCount, static_cast<float>(levelUnknown));
    std::fill_n(meas_data.spectrumPowerData, grid.pointCount, static_cast<float>(levelUnknown));
    if (changed || gridInHand != grid)
        makeGrid(grid);
}

double pn_output_loopCorrection(double offset, double wn, double z, bool is1C, double ifGain) {
    const double wn2 = wn * wn;
    const double w = circle * offset;
    const double w2 = w * w;
    double high = std::sqrt(w2 * w2 + wn2 * wn2 + 2 * (2 * z * z - 1) * wn2 * w2) / w2;
    if (is1C) {
        high *= (w + corner1C) / w;
        if (ifGain > highGain1C)
            high *= (w + cornerHighGain1C) / w;
    }
    return 20 * std::log10(high);
}

void deembed(Device*) {
    const double wn = meas_data.loopWnA;
    const double z = dampingFactor * meas_data.loopZetaA;
    const double ifGain = configPNPtr->ifGain;
    const bool is1C = device_config_usesTVPNX_ALG_1C();
    const double limit = limitFactor * wn;
    printd("   deembed: go!   wn=%.1f Hz   z=%.1f\n", wn, z);
    double correction = INFINITY;
    for (int32_t i = 0; i < meas_data.pointCount && correction > smallestCorrection; ++i) {
        const auto offset = static_cast<double>(meas_data.spectrumFreq[i]);
        if (!(offset < limit))
            break;
        correction = pn_output_loopCorrection(offset, wn, z, is1C, ifGain);
        meas_data.spectrumData[i] = static_cast<float>(static_cast<double>(meas_data.spectrumData[i]) + correction);
        if (i % reportEvery == 0)
            printd("   deembed subS: f=%.2f Hz, corr=%.1f dB  zeta=%.1f  fn=%.1f \n", offset, correction, z, wn / 6.28);
    }
}

void applySmoothing() {
    const MeasConfig* config = configPNPtr;
    if (config->smoothing == 0)
        return;
    const int32_t points = meas_data.pointCount;
    const int32_t half = smoothingHalfWidth(config->smoothingAperture, points);
    float* y = meas_data.spectrumData;
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

double pn_output_levelAt(double offset) {
    const int32_t points = meas_data.pointCount;
    const float* frequencies = meas_data.spectrumFreq;
    const float* last = frequencies + points;
    if (points == 0 || !(offset >= static_cast<double>(frequencies[0])) || !(offset <= static_cast<double>(last[-1])))
        return levelUnknown;
    if (points == 1)
        return 0;
    const float* above = std::lower_bound(frequencies + 1, last, offset, [](float frequency, double value) {
        return static_cast<double>(frequency) < value;
    });
    const int32_t first = std::max(static_cast<int32_t>(above - frequencies) - spotPoints / 2, 0);
    const int32_t end = std::min(first + spotPoints, points);
    double sum = 0;
    for (int32_t i = first; i < end; ++i)
        sum += static_cast<double>(meas_data.spectrumData[i]);
    return sum / (end - first);
}

double pn_measure_getSpotSpectrumData_noMutex(Device*) {
    return pn_output_levelAt(configPNPtr->spotFrequency);
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
