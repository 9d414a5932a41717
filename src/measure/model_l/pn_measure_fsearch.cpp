#include "measure/model_l/pn_measure_fsearch.h"

#include "base/error_codes.h"
#include "core/abstime.h"
#include "device_table/device_fptrs.h"
#include "measure/model_l/pn_measure_tvpnl.h"
#include "measure/model_l/tvpnl_capture.h"
#include "measure/model_l/tvpnl_fft.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace {

constexpr int32_t beatLength = 4096;
constexpr uint32_t beatChannels = 2, beatDivider = 32;
constexpr double narrowest_Hz = 1000;
constexpr uint64_t settle_us = 10'000, tune_us = 100'000;
constexpr double searchTune_V = 2.5, tuneEnds_V[] = {0, 5};
constexpr int openLoop = 1;

/// The first failure.
void note(int* error, int result) {
    if (*error == 0 && result < 0)
        *error = result;
}

int prepare(Device* device) {
    int error = 0;
    for (const int result :
         {Device_selectPhaseNoiseAlgBoardA(device), Device_enableRf(device), Device_setLnaGain(device, 0),
          Device_setTotalStepAttenuation(device, 0), Device_setTuneOutputVoltage(device, searchTune_V),
          Device_setReferenceSourceInternal(device), Device_setChargePumpPolarity(device, 0),
          Device_selectPnLoopMode(device, openLoop), Device_setAm(device, 1), Device_setBb(device, 1),
          Device_setPn(device, 0)})
        note(&error, result);
    return error;
}

int setFrequency(Device* device, double hertz) {
    tvfreq frequency;
    double2tvfreq(&hertz, &frequency);
    return Device_setFrequency(device, &frequency);
}

double limit(const tvfreq* frequency) {
    double hertz = 0;
    if (frequency != nullptr)
        tvfreq2double(frequency, &hertz);
    return hertz;
}

} // namespace

int pn_measure_fsearch_frequencySearch(Device* device, double* frequency) {
    int error = prepare(device);
    double low = limit(Device_getFrequencyMin(device)), high = limit(Device_getFrequencyMax(device));
    while (high - low > narrowest_Hz) {
        const double middle = (low + high) / 2;
        note(&error, setFrequency(device, middle));
        tvstuff_delay_us(settle_us);
        (Device_getStatus(device) != 0 ? high : low) = middle;
    }
    const double found = (low + high) / 2;
    note(&error, setFrequency(device, found));
    double beats[2];
    for (size_t end = 0; end < 2; ++end) {
        note(&error, Device_setTuneOutputVoltage(device, tuneEnds_V[end]));
        tvstuff_delay_us(tune_us);
        note(&error, pn_measure_checkBeat(device, 0, &beats[end]));
    }
    *frequency = found + beats[1] / 2 - beats[0] / 2;
    return error;
}

int pn_measure_checkBeat(Device* device, int, double* beat) {
    *beat = 0;
    const TvpnlRecord record =
        tvpnl_capture(device, beatLength, beatChannels, beatDivider)[pn_measure_tvpnl_getAdcChannel(device)];
    if (record.count < beatLength) {
        printf("  ERROR: %d samples of a beat of %d\n", record.count, beatLength);
        return scpi::executionError;
    }
    TvpnlTransform transform(beatLength);
    if (!transform)
        return scpi::executionError;
    pn_measure_tvpnl_adc2volt_array(transform.input(), record.samples, beatLength, nullptr);
    transform.run();
    const std::complex<double>* const bins = transform.output();
    const auto* const strongest = std::max_element(
        bins + 1, bins + beatLength / 2 + 1, [](const auto& a, const auto& b) { return std::norm(a) < std::norm(b); });
    *beat = static_cast<double>(strongest - bins) * Device_getPhaseNoiseSamplingFrequency(device) / beatLength;
    printf("pn_measure_checkBeat(): max %lf at %lf Hz (excluding DC tap)\n", std::abs(*strongest), *beat);
    return 0;
}
