#include "device/device_acquisition.h"

#include "acquisition/adfpga_capture.h"
#include "acquisition/adfpga_link.h"
#include "base/error_codes.h"
#include "device/device.h"
#include "device_table/device_fptrs.h"

#include <cmath>

namespace {

constexpr SlotRegistrar fill{"acquisition"};

/// The slot passes its arguments on to `operation` of the board.
template <auto operation, class Result, class... Arguments> void forward(Slot<Result(Device*, Arguments...)>& slot) {
    fill(slot, [](Device* device, Arguments... arguments) -> Result {
        return static_cast<Result>(operation(device->adfpga, arguments...));
    });
}

/// The same for what writes into the capture buffers or needs the stream: refused while the board is busy.
template <auto operation, class... Arguments> void unlessBusy(Slot<int(Device*, Arguments...)>& slot) {
    fill(slot, [](Device* device, Arguments...) -> int {
        return device_acquisitionIsBusy(device) ? scpi::settingsConflict : operation(device->adfpga);
    });
}

void registerSpectra() {
    forward<TVPN_ADFPGA_getFdStages>(Device_getFdStages);
    forward<TVPN_ADFPGA_setFdStages>(Device_setFdStages);
    forward<TVPN_ADFPGA_getFdSamplesCount>(Device_getFdSamplesCount);
    forward<TVPN_ADFPGA_setFdSamplesCount>(Device_setFdSamplesCount);
    forward<TVPN_ADFPGA_getFdCorrelations>(Device_getFdCorrelations);
    forward<TVPN_ADFPGA_setFdCorrelations>(Device_setFdCorrelations);
    forward<TVPN_ADFPGA_getFdSamplingFreq>(Device_getFdSamplingFreq);
    forward<TVPN_ADFPGA_isFdChannelAOnly>(Device_isFdChannelAOnly);
    forward<TVPN_ADFPGA_isFdChannelBOnly>(Device_isFdChannelBOnly);
    forward<TVPN_ADFPGA_isFdChannelCrosscorrelation>(Device_isFdChannelCrosscorrelation);
    forward<TVPN_ADFPGA_setFdChannelAOnly>(Device_setFdChannelAOnly);
    forward<TVPN_ADFPGA_setFdChannelBOnly>(Device_setFdChannelBOnly);
    forward<TVPN_ADFPGA_setFdChannelCrosscorrelation>(Device_setFdChannelCrosscorrelation);
    unlessBusy<TVPN_ADFPGA_captureFdSamples>(Device_capturePhaseNoiseFdSamples);
    forward<TVPN_ADFPGA_getFdBuffer>(Device_getPhaseNoiseFdBuffer);
    forward<TVPN_ADFPGA_getFdBufferSize>(Device_getPhaseNoiseFdBufferSize);
}

int setChannels(Device* device, uint32_t channels) {
    return channels == 1 ? TVPN_ADFPGA_setTdChannelAOnly(device->adfpga) : TVPN_ADFPGA_setTdChannelBoth(device->adfpga);
}

// All samples of a capture lie in segment 0.

int getSamples(Device* device, uint32_t channel, uint32_t segment, uint16_t** samples) {
    *samples = nullptr;
    if (segment != 0)
        return 0;
    return TVPN_ADFPGA_getTdBuffer(device->adfpga, channel, samples);
}

int getSegmentSize(Device* device, uint32_t segment) {
    return segment == 0 ? static_cast<int>(TVPN_ADFPGA_getTdBufferSize(device->adfpga, adfpga_channelA)) : 0;
}

void registerSamples() {
    forward<TVPN_ADFPGA_getBaseSampleFrequency>(Device_getBaseSampleFrequency);
    forward<TVPN_ADFPGA_getTdSamplesCount>(Device_getPhaseNoiseSamples);
    forward<TVPN_ADFPGA_setTdSamplesCount>(Device_setPhaseNoiseSamples);
    forward<TVPN_ADFPGA_getTdDivider>(Device_getPhaseNoiseDivider);
    forward<TVPN_ADFPGA_setTdDivider>(Device_setPhaseNoiseDivider);
    forward<TVPN_ADFPGA_isTdChannelBoth>(Device_getPhaseNoiseChannels);
    fill(Device_setPhaseNoiseChannels, setChannels);
    unlessBusy<TVPN_ADFPGA_captureTdSamples>(Device_getFilteredSamples);
    fill(Device_getPhaseNoiseFbuffer, getSamples);
    fill(Device_getFNSize, getSegmentSize);
    forward<TVPN_ADFPGA_getValidSscBytes>(Device_getPhaseNoiseValidSamplesCount);
    unlessBusy<TVPN_ADFPGA_startHMode>(Device_phaseNoiseSampling_startHMode);
    forward<TVPN_ADFPGA_getHBytes>(Device_phaseNoiseSampling_getHBytes);
    forward<TVPN_ADFPGA_handler>(Device_phaseNoiseSampling_handler);
    forward<TVPN_ADFPGA_endHMode>(Device_phaseNoiseSampling_endHMode);
    fill(Device_phaseNoiseSampling_cancel, [](Device* device) {
        TVPN_ADFPGA_cancelSsc(device->adfpga);
        return 0;
    });
    forward<TVPN_ADFPGA_setFpgaBytes>(Device_setFpgaBytes);
    forward<TVPN_ADFPGA_fpgaCommandsImmediate>(Device_fpgaCommandsImmediate);
}

template <int internal> int setReference(Device* device) {
    return TVPN_ADFPGA_setRefInternal(device->adfpga, internal);
}

void registerCounters() {
    forward<TVPN_ADFPGA_getCounterMinimum>(Device_getCounterMinimum);
    forward<TVPN_ADFPGA_setCounterMinimum>(Device_setCounterMinimum);
    forward<TVPN_ADFPGA_getCounterTimeout>(Device_getCounterTimeout);
    forward<TVPN_ADFPGA_setCounterTimeout>(Device_setCounterTimeout);
    forward<TVPN_ADFPGA_getRefInternal>(Device_isReferenceSource10MInternal);
    forward<TVPN_ADFPGA_isRefExternalLocked>(Device_isReferenceSource10MLocked);
    fill(Device_setReferenceSource10MInternal, setReference<1>);
    fill(Device_setReferenceSource10MExternal, setReference<0>);
}

int complete(Device* device, const tv_time* seconds) {
    constexpr double usPerSecond = 1e6, longest_us = 1e15; // 30 years
    const auto timeout_us = static_cast<uint64_t>(std::fmin(std::fmax(*seconds * usPerSecond, 0), longest_us));
    return TVPN_ADFPGA_joinTransferTask_timeout(device->adfpga, nullptr, timeout_us) == 0;
}

int resetFpga(Device* device) {
    return TVPN_ADFPGA_resetFpga(device->adfpga, 1);
}

void registerControl() {
    forward<TVPN_ADFPGA_abort>(Device_abort_local);
    forward<TVPN_ADFPGA_getResetCount>(Device_getResetCount);
    fill(Device_complete, complete);
    fill(Device_resetFpga, resetFpga);
}

} // namespace

bool device_acquisitionIsBusy(Device* device) {
    return hardware_blocksOut != 0 ||
           (!hardware_isRunThread && TVPN_ADFPGA_joinTransferTask_timeout(device->adfpga, nullptr, 0) != 0);
}

void registerAcquisitionFunctions() {
    registerSpectra();
    registerSamples();
    registerCounters();
    registerControl();
    device_registerFvst();
}
