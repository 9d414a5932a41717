#include "measure/model_l/tvpnl_beat.h"

#include "base/error_codes.h"
#include "device_table/device_fptrs.h"
#include "measure/model_l/pn_measure_fsearch.h"
#include "measure/preparation/adc_scale.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numbers>
#include <span>

namespace {

constexpr uint32_t beatSamples = 0x40000, beatChannels = 2, beatDivider = 2;
constexpr double slopeReach_rad = 10 * std::numbers::pi / 180; // to either side of a crossing

using Samples = std::span<const uint16_t>;

Samples samplesOf(const TvpnlRecord& record) {
    return {record.samples, static_cast<size_t>(record.count)};
}

TvpnlSwing swingOf(Samples samples) {
    const auto [low, high] = std::minmax_element(samples.begin(), samples.end());
    double sum = 0;
    for (const uint16_t sample : samples)
        sum += sample;
    const double meanCount = sum / static_cast<double>(samples.size());
    return {adc2volt(*low), adc2volt(*high), meanCount * adcVoltsPerCount - adcCentre_V};
}

/// Crossings of the mean, as positions in samples, each behind a swing to half of the amplitude on either side: noise
/// around a crossing makes no others. `visit(position, rising)`.
template <class Visit> void forCrossings(Samples samples, const TvpnlSwing& swing, Visit visit) {
    const double half = (swing.max - swing.min) / 4;
    int side = 0;      // of the last swing
    double before = 0; // the last sample
    double crossing = -1;
    for (size_t i = 0; i < samples.size(); ++i) {
        const double v = adc2volt(samples[i]) - swing.mean;
        if (i > 0 && (before < 0) != (v < 0))
            crossing = static_cast<double>(i) - v / (v - before);
        if (std::abs(v) >= half) {
            const int now = v > 0 ? 1 : -1;
            if (side == -now)
                visit(crossing, now > 0);
            side = now;
        }
        before = v;
    }
}

/// Slope of the beat around its crossings, V/rad: least squares through each crossing. 0 with less than two crossings,
/// or none whose surroundings hold a sample.
double slopeOf(Samples samples, const TvpnlSwing& swing) {
    double first = -1, last = -1;
    int crossings = 0;
    forCrossings(samples, swing, [&](double at, bool) {
        first = crossings++ == 0 ? at : first;
        last = at;
    });
    if (crossings < 2)
        return 0;
    const double perSample_rad = std::numbers::pi * (crossings - 1) / (last - first);
    const double reach = slopeReach_rad / perSample_rad;
    double products = 0, squares = 0;
    forCrossings(samples, swing, [&](double at, bool rising) {
        const auto begin = static_cast<size_t>(std::max(std::ceil(at - reach), 0.0));
        const auto end = static_cast<size_t>(std::max(std::floor(at + reach) + 1, 0.0));
        for (size_t i = begin; i < std::min(end, samples.size()); ++i) {
            const double phase = (static_cast<double>(i) - at) * perSample_rad * (rising ? 1 : -1);
            products += phase * (adc2volt(samples[i]) - swing.mean);
            squares += phase * phase;
        }
    });
    return squares > 0 ? products / squares : 0;
}

TvpnlKphi kphiOf(Samples samples) {
    const TvpnlSwing swing = swingOf(samples);
    double power = 0;
    for (const uint16_t sample : samples) {
        const double v = adc2volt(sample) - swing.mean;
        power += v * v;
    }
    return {std::sqrt(2 * power / static_cast<double>(samples.size())), (swing.max - swing.min) / 2,
            slopeOf(samples, swing)};
}

} // namespace

std::array<TvpnlRecord, 2> pn_measure_tvpnl_getBeat(Device* device) {
    return tvpnl_capture(device, beatSamples, beatChannels, beatDivider);
}

bool pn_measure_tvpnl_isBeatSaturated(Device* device, const TvpnlRecord& beat) {
    const int lowest = Device_getPhaseNoiseSampleMin(device), highest = Device_getPhaseNoiseSampleMax(device);
    const double tenth = (highest - lowest) / 10.0;
    const Samples samples = samplesOf(beat);
    return std::any_of(samples.begin(), samples.end(),
                       [&](uint16_t sample) { return sample < lowest + tenth || sample > highest - tenth; });
}

int pn_measure_tvpnl_adjustInputAttenuation(Device* device) {
    int error = 0;
    int32_t low = 0, high = 63, step = 31;
    const auto set = [&](int32_t steps) {
        error = std::min(error, Device_setTotalStepAttenuation(device, static_cast<uint32_t>(steps)));
    };
    while (low < high) { // `high` is not saturated, or the end
        set(step);
        const auto beat = pn_measure_tvpnl_getBeat(device);
        if (beat[0].samples == nullptr)
            error = scpi::executionError;
        const bool saturated = std::any_of(beat.begin(), beat.end(), [&](const TvpnlRecord& record) {
            return pn_measure_tvpnl_isBeatSaturated(device, record);
        });
        (saturated ? low : high) = saturated ? step + 1 : step;
        step = (low + high) / 2;
    }
    set(high);
    printf("  attenuation: %.1fdB\n", high * 0.5);
    return error;
}

int pn_measure_tvpnl_kPhi(Device* device, std::array<TvpnlKphi, 2>* kphi) {
    *kphi = {};
    const auto beat = pn_measure_tvpnl_getBeat(device);
    if (beat[0].samples == nullptr)
        return scpi::executionError;
    int error = 0;
    for (size_t channel = 0; channel < 2; ++channel) {
        TvpnlKphi& found = (*kphi)[channel];
        found = kphiOf(samplesOf(beat[channel]));
        printf("  kphi %c: %.4fV/rad (amplitude), %.4fV/rad (peak to peak), %.4fV/rad (slope)\n",
               channel == 0 ? 'A' : 'B', found.amplitude, found.peakToPeak, found.slope);
        if (found.slope <= 0)
            error = scpi::executionError;
    }
    return error;
}

int pn_measure_tvpnl_measureP2PValue(Device* device, std::array<TvpnlSwing, 2>* swings) {
    const MeasTvpnlData& data = meas_tvpnl_data;
    *swings = {};
    const auto records = tvpnl_capture(device, data.beatSamples, data.beatChannels, data.beatDivider);
    if (records[0].samples == nullptr)
        return scpi::executionError;
    for (size_t channel = 0; channel < 2; ++channel)
        (*swings)[channel] = swingOf(samplesOf(records[channel]));
    return 0;
}

int pn_measure_tvpnl_measureDutFrequency(Device* device, double* frequency, std::array<TvpnlKphi, 2>* kphi) {
    int error = pn_measure_fsearch_frequencySearch(device, frequency);
    for (const int result : {pn_measure_tvpnl_adjustInputAttenuation(device), pn_measure_tvpnl_kPhi(device, kphi)})
        error = error == 0 ? result : error;
    return error;
}
