// Slots of the acquisition board: spectra and samples.

#include "device/device_fptrs.h"
#include "scpi/error_codes.h"
#include "virtual/clock.h"
#include "virtual/slot_adapter_unit.h"

#include <algorithm>

using namespace vi;

namespace slot_adapter {
namespace {

constexpr uint32_t lastStage = stagesMax - 1;
constexpr uint32_t dividerMax = 2'000'000;

// After the samples are taken: exchange of commands, and the way of a pair to the processor.
constexpr uint64_t recordCommand_ns = 1'000'000, recordTransfer_ns = 800;

Bench* bench() {
    return Access()->bench;
}

// ---- spectra --------------------------------------------------------------------------------------------------------

uint32_t getFdStages(Device*) {
    return bench_fdSettings(bench()).stages;
}

int setFdStages(Device*, uint32_t stages) {
    bench_setFdStages(bench(), stages);
    return 0;
}

uint32_t getFdSamplesCount(Device*, int32_t stage) {
    const auto number = static_cast<uint32_t>(stage);
    return number < stagesMax ? bench_fdSettings(bench()).points[number] : 0;
}

int setFdSamplesCount(Device*, int32_t stage, uint32_t points) {
    bench_setFdPoints(bench(), static_cast<uint32_t>(stage), points);
    return 0;
}

uint32_t getFdCorrelations(Device*, int32_t stage) {
    const auto number = static_cast<uint32_t>(stage);
    return number < stagesMax ? bench_fdSettings(bench()).correlations[number] : 0;
}

int setFdCorrelations(Device*, int32_t stage, uint32_t correlations) {
    bench_setFdCorrelations(bench(), static_cast<uint32_t>(stage), correlations);
    return 0;
}

double getFdSamplingFreq(Device*, int32_t stage) {
    return bench_fdSampleRate_Hz(bench(), static_cast<uint32_t>(stage));
}

double getBaseSampleFrequency(Device*) {
    return bench_baseSampleRate_Hz(bench());
}

template <FdChannel channel> int setFdChannel(Device*) {
    bench_setFdChannel(bench(), channel);
    return 0;
}

template <FdChannel channel> int isFdChannel(Device*) {
    return bench_fdSettings(bench()).channel == channel;
}

int capture(Device*) {
    bench_startCapture(bench());
    return 0;
}

int getFdBuffer(Device*, uint32_t stage, const void** data) {
    const std::span<const SpectrumPoint> points = bench_fetchStage(bench(), std::min(stage, lastStage));
    *data = points.data();
    return static_cast<int>(points.size_bytes());
}

int getFdBufferSize(Device*, uint32_t stage) {
    return static_cast<int>(bench_fdBufferedPoints(bench(), std::min(stage, lastStage)));
}

int abortCapture(Device*) {
    bench_stopCapture(bench());
    return 0;
}

// ---- samples --------------------------------------------------------------------------------------------------------

uint32_t getSamples(Device*) {
    return Access()->samples;
}

int setSamples(Device*, uint32_t pairs) {
    Access()->samples = pairs == 0 ? 0 : std::clamp(pairs, 2U, samplePairsMax) & ~1U;
    return 0;
}

uint32_t getDivider(Device*) {
    return Access()->divider;
}

int setDivider(Device*, uint32_t divider) {
    Access()->divider = std::clamp(divider, 1U, dividerMax);
    return 0;
}

uint32_t getChannels(Device*) {
    return Access()->sampleChannels;
}

int setChannels(Device*, uint32_t count) {
    Access()->sampleChannels = count == 1 ? 1 : 2;
    return 0;
}

int captureSamples(Device*, uint32_t) {
    const Unit now = *Access(); // the lock is not held while the samples come
    if (now.samples == 0)
        return 0;
    if (!bench_record(now.bench, now.samples, now.divider))
        return scpi::timeOutError;
    clock_take(recordCommand_ns + now.samples * recordTransfer_ns);
    return 0;
}

int getSampleBuffer(Device*, uint32_t channel, uint32_t segment, uint16_t** data) {
    if (segment != 0)
        return 0;
    const std::span<uint16_t> samples = bench_samples(bench(), channel != 0 ? channelB : channelA);
    *data = samples.data();
    return static_cast<int>(samples.size_bytes());
}

int getSampleBufferSize(Device*, uint32_t segment) {
    return segment == 0 ? static_cast<int>(bench_samples(bench(), channelA).size()) : 0;
}

} // namespace

void installAcquisition() {
    Device_getFdStages = getFdStages;
    Device_setFdStages = setFdStages;
    Device_getFdSamplesCount = getFdSamplesCount;
    Device_setFdSamplesCount = setFdSamplesCount;
    Device_getFdCorrelations = getFdCorrelations;
    Device_setFdCorrelations = setFdCorrelations;
    Device_getFdSamplingFreq = getFdSamplingFreq;
    Device_getBaseSampleFrequency = getBaseSampleFrequency;
    Device_setFdChannelAOnly = setFdChannel<FdChannel::aOnly>;
    Device_setFdChannelBOnly = setFdChannel<FdChannel::bOnly>;
    Device_setFdChannelCrosscorrelation = setFdChannel<FdChannel::cross>;
    Device_isFdChannelAOnly = isFdChannel<FdChannel::aOnly>;
    Device_isFdChannelBOnly = isFdChannel<FdChannel::bOnly>;
    Device_isFdChannelCrosscorrelation = isFdChannel<FdChannel::cross>;
    Device_capturePhaseNoiseFdSamples = capture;
    Device_getPhaseNoiseFdBuffer = getFdBuffer;
    Device_getPhaseNoiseFdBufferSize = getFdBufferSize;
    Device_abort_local = abortCapture;

    Device_getPhaseNoiseSamples = getSamples;
    Device_setPhaseNoiseSamples = setSamples;
    Device_getPhaseNoiseDivider = getDivider;
    Device_setPhaseNoiseDivider = setDivider;
    Device_getPhaseNoiseChannels = getChannels;
    Device_setPhaseNoiseChannels = setChannels;
    Device_getFilteredSamples = captureSamples;
    Device_getPhaseNoiseFbuffer = getSampleBuffer;
    Device_getFNSize = getSampleBufferSize;
}

} // namespace slot_adapter
