#include "measure/model_l/pn_measure_tvpnl.h"

#include "base/error_codes.h"
#include "core/abstime.h"
#include "device_table/device_fptrs.h"
#include "measure/model_l/tvpnl_capture.h"
#include "measure/model_l/tvpnl_fft.h"
#include "measure/model_l/tvpnl_spot.h"
#include "measure/model_l/tvpnl_stages.h"
#include "measure/preparation/adc_scale.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

MeasTvpnlConfig meas_tvpnl_config;
MeasTvpnlData meas_tvpnl_data;

namespace {

constexpr int32_t fftSize = 256;
constexpr float noLevel = std::numeric_limits<float>::quiet_NaN();

/// Level of a beat in dBm at 50 ohm from its amplitude in volts.
double beat_dBm(double kphi) {
    return 10 * std::log10(10 * kphi * kphi);
}

/// What is taken off at a stage, dB.
double rbwDb(double stageRate) {
    return 10 * std::log10(stageRate / (2 * fftSize));
}

double scaleDb(double stageRate) {
    return beat_dBm(meas_tvpnl_data.kphiA) + meas_tvpnl_data.gainDb + 6 + rbwDb(stageRate);
}

double levelDb(double modulus, double scale) {
    return 20 * std::log10(std::sqrt(modulus) * 3.1622776601683795) - scale;
}

/// Memory for `count` results in the place of the old ones, all without a level.
bool renew(float** array, int64_t count) {
    free(*array);
    *array = tvpnl_array<float>(count).release();
    for (int64_t i = 0; *array != nullptr && i < count; ++i)
        (*array)[i] = noLevel;
    return *array != nullptr;
}

/// Offset of a point of the trace, Hz.
double gridOffset(int32_t point) {
    const MeasTvpnlConfig& config = meas_tvpnl_config;
    const int32_t last = meas_tvpnl_data.tracePoints - 1;
    const double share = last > 0 ? static_cast<double>(point) / last : 0;
    return config.offsetMin * std::pow(config.offsetMax / config.offsetMin, share);
}

/// Plans and captures. Returns the stages, and the first failure in `error`.
int32_t plan(Device* device, int* error) {
    const int32_t stages = pn_measure_tvpnl_getNumberOfStages(meas_tvpnl_config.offsetMin);
    *error = pn_measure_tvpnl_SDgetFIRSamples(device, pn_measure_tvpnl_getNumberOfSamples(stages, 0), stages);
    return stages;
}

void printStage(int32_t stage, int32_t count, tv_abstime start, double stageRate) {
    const MeasTvpnlData& data = meas_tvpnl_data;
    printf("   %d (%s): N=2^%2d -> %4d x FFT_%d (%.3fs) [beat: %.1fdBm/%.1fdBm, gain=%.0fdB, RBW=%.1fdB, Fs=%.1f]\n",
           stage, tvpnlStages[static_cast<size_t>(stage)].name, static_cast<int>(std::log2(count)),
           tvpnl_segments(count, fftSize, tvpnlOverlap, 2), fftSize, tv_abstime_secondsSince(start),
           beat_dBm(data.kphiA), beat_dBm(data.kphiB), data.gainDb, rbwDb(stageRate), stageRate);
}

bool measureStage(Device* device, int32_t stage, double rate) {
    const MeasTvpnlConfig& config = meas_tvpnl_config;
    const MeasTvpnlData& data = meas_tvpnl_data;
    const TvpnlStage& row = tvpnlStages[static_cast<size_t>(stage)];
    const tv_abstime start = tv_abstime_now();
    const auto records = tvpnl_records(device, stage);
    if (records[0].samples == nullptr)
        return false;
    TvpnlSpectrum result;
    const int32_t bins = pn_measure_tvpnl_SDfft2(device, records[0].samples, records[1].samples, records[0].count,
                                                 fftSize, tvpnlOverlap, &result);
    if (bins == 0)
        return false;
    const double stageRate = tvpnl_stageRate(rate, stage), scale = scaleDb(stageRate);
    for (int32_t i = 0; i < data.tracePoints; ++i) {
        // In single precision a point between two stages is that offset, and the ends are within the range.
        const float single = data.traceFreq[i];
        const double f = static_cast<double>(single);
        if (f < row.lowest || f > row.highest || single < static_cast<float>(config.offsetMin) ||
            single > static_cast<float>(config.offsetMax))
            continue;
        const int32_t bin = tvpnl_binOf(f, stageRate / fftSize, bins);
        data.trace[i] = static_cast<float>(levelDb(std::abs(result[static_cast<size_t>(bin)]), scale));
    }
    printStage(stage, records[0].count, start, stageRate);
    return true;
}

} // namespace

int pn_measure_tvpnl_init(Device* device, void*) {
    MeasTvpnlData& data = meas_tvpnl_data;
    for (float* array : {data.trace, data.traceFreq, data.spotLevel, data.sinTable, data.cosTable, data.windowTable})
        free(array);
    data = {};
    return Device_getPnMeasurePtr && Device_getPnMeasurePtr(device) != nullptr ? 0 : scpi::undefinedHeader;
}

int pn_measure_tvpnl_measurePhaseNoise(Device* device) {
    const MeasTvpnlConfig& config = meas_tvpnl_config;
    MeasTvpnlData& data = meas_tvpnl_data;
    int error = 0;
    const int32_t stages = plan(device, &error);
    data.tracePoints = 0;
    const int64_t points = static_cast<int64_t>(config.pointsPerDecade) * stages + 1;
    const bool hasFrequencies = renew(&data.traceFreq, points);
    if (!renew(&data.trace, points) || !hasFrequencies)
        return scpi::outOfMemory;
    data.tracePoints = static_cast<int32_t>(points);
    for (int32_t i = 0; i < data.tracePoints; ++i)
        data.traceFreq[i] = static_cast<float>(gridOffset(i));
    const double rate = Device_getPhaseNoiseSamplingFrequency(device);
    for (int32_t stage = 0; stage < stages; ++stage)
        if (!measureStage(device, stage, rate))
            error = scpi::executionError;
    return error;
}

int pn_measure_tvpnl_SDmeasureSpotPhaseNoise(Device* device) {
    MeasTvpnlData& data = meas_tvpnl_data;
    int error = 0;
    const int32_t stages = plan(device, &error);
    data.spotStages = 0;
    if (!pn_measure_tvpnl_preCalcSinCosHann(device, fftSize, meas_tvpnl_config.spotFrequency) ||
        !renew(&data.spotLevel, stages))
        return scpi::outOfMemory;
    data.spotStages = stages;
    const double rate = Device_getPhaseNoiseSamplingFrequency(device);
    for (int32_t stage = 0; stage < stages; ++stage) {
        const auto records = tvpnl_records(device, stage);
        std::complex<double> result;
        if (records[0].samples == nullptr ||
            !pn_measure_tvpnl_SDfft_spot(device, records[0].samples, records[1].samples, records[0].count, fftSize,
                                         tvpnlOverlap, &result)) {
            error = scpi::executionError;
            continue;
        }
        data.spotLevel[stage] = static_cast<float>(levelDb(std::abs(result), scaleDb(tvpnl_stageRate(rate, stage))));
    }
    return error;
}

double pn_measure_tvpnl_gainDb(double ifGainDb) {
    constexpr double taken = 6;
    const MeasTvpnlData& data = meas_tvpnl_data;
    return ifGainDb + 10 * std::log10(data.kphiB / data.kphiA) + 10 * std::log10(2.0) - taken;
}

uint32_t pn_measure_tvpnl_getAdcChannel(Device* device) {
    return Device_isPhaseNoiseAlgBoardASelected(device) != 0 ? 0 : 1;
}

int32_t pn_measure_tvpnl_getFFTSize() {
    return fftSize;
}

double pn_measure_tvpnl_adc2volt(uint32_t count) {
    return adc2volt(count);
}

double pn_measure_tvpnl_adc2absvolt(uint32_t count) {
    return adc2absvolt(count);
}

uint32_t pn_measure_tvpnl_volt2adc(double volts) {
    return volt2adc(volts);
}

void pn_measure_tvpnl_adc2volt_array(double* out, const uint16_t* samples, int32_t count, const float* window) {
    adc2volt_array(out, samples, count, window);
}

void pn_measure_tvpnl_volt2adc_array(uint16_t* out, const double* volts, int32_t count) {
    volt2adc_array(out, volts, count);
}
