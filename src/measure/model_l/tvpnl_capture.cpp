#include "measure/model_l/tvpnl_capture.h"

#include "base/error_codes.h"
#include "device_table/device_fptrs.h"

#include <cmath>
#include <cstdio>

namespace {

constexpr uint32_t bothChannels = 2;
constexpr uint32_t stageDivider = 2; // at which the rate is that of stage 0

int capture(Device* device, uint32_t samples, uint32_t channels, uint32_t divider, int32_t stages) {
    slot_carryOn({Device_setPhaseNoiseSamples(device, samples), // stored; the capture tells
                  Device_setPhaseNoiseChannels(device, channels), Device_setPhaseNoiseDivider(device, divider)});
    const int error = Device_getFilteredSamples(device, static_cast<uint32_t>(stages));
    if (error != 0)
        printf("  ERROR: the capture of %u samples failed with %d\n", samples, error);
    return error < 0 ? error : 0;
}

TvpnlRecord fetch(Device* device, uint32_t channel, uint32_t stage) {
    uint16_t* samples = nullptr;
    const int bytes = Device_getPhaseNoiseFbuffer(device, channel, stage, &samples);
    if (samples == nullptr || bytes < static_cast<int>(sizeof *samples))
        return {};
    return {samples, bytes / static_cast<int32_t>(sizeof *samples)};
}

} // namespace

int pn_measure_tvpnl_SDgetFIRSamples(Device* device, uint32_t samples, int32_t stages) {
    const int error = capture(device, samples, bothChannels, stageDivider, stages);
    const uint32_t valid = Device_getPhaseNoiseValidSamplesCount(device);
    if (valid != samples)
        printf("  ERROR: Measured 2^%.0f = %d, valid = %d\n", std::log2(samples), static_cast<int>(samples),
               static_cast<int>(valid));
    return error != 0 || valid != samples ? scpi::executionError : 0;
}

std::array<TvpnlRecord, 2> tvpnl_records(Device* device, int32_t stage) {
    std::array<TvpnlRecord, 2> records;
    for (uint32_t channel = 0; channel < 2; ++channel)
        records[channel] = fetch(device, channel, static_cast<uint32_t>(stage));
    if (records[0].count == records[1].count && records[0].count > 0)
        return records;
    printf("  ERROR: %d samples of A and %d of B at stage %d\n", records[0].count, records[1].count, stage);
    return {};
}

std::array<TvpnlRecord, 2> tvpnl_capture(Device* device, uint32_t samples, uint32_t channels, uint32_t divider) {
    constexpr int32_t firstStageOnly = 1;
    if (capture(device, samples, channels, divider, firstStageOnly) != 0)
        return {};
    return tvpnl_records(device, 0);
}
