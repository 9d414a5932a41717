#include "virtual/slot_adapter.h"

#include "device/device_fptrs.h"
#include "measure/measurement_configuration.h"
#include "measure/pn_measure.h"
#include "scpi/error_codes.h"

#include <algorithm>
#include <cmath>
#include <numbers>

using namespace vi;

namespace {

constexpr double countsPerVolt = 1 / 2.44140625e-05;
constexpr int runGain_dB = 32; // leaves the strong close-in noise of a free-running DUT room in the ADC

// Power detector, straight through 2000 counts at 0 dBm and 4000 at 10 dBm.
constexpr double detectorZero_counts = 2000, detectorSlope_countsPerdB = 200, detectorMax_counts = 16383;

constexpr uint32_t lastStage = stagesMax - 1;

Bench* bench = nullptr;

// ---- spectra --------------------------------------------------------------------------------------------------------

uint32_t getFdStages(Device*) {
    return bench_fdSettings(bench).stages;
}

int setFdStages(Device*, uint32_t stages) {
    bench_setFdStages(bench, stages);
    return 0;
}

uint32_t getFdSamplesCount(Device*, int32_t stage) {
    const auto number = static_cast<uint32_t>(stage);
    return number < stagesMax ? bench_fdSettings(bench).points[number] : 0;
}

int setFdSamplesCount(Device*, int32_t stage, uint32_t points) {
    bench_setFdPoints(bench, static_cast<uint32_t>(stage), points);
    return 0;
}

uint32_t getFdCorrelations(Device*, int32_t stage) {
    const auto number = static_cast<uint32_t>(stage);
    return number < stagesMax ? bench_fdSettings(bench).correlations[number] : 0;
}

int setFdCorrelations(Device*, int32_t stage, uint32_t correlations) {
    bench_setFdCorrelations(bench, static_cast<uint32_t>(stage), correlations);
    return 0;
}

double getFdSamplingFreq(Device*, int32_t stage) {
    return bench_fdSampleRate_Hz(bench, static_cast<uint32_t>(stage));
}

double getBaseSampleFrequency(Device*) {
    return bench_baseSampleRate_Hz(bench);
}

template <FdChannel channel> int setFdChannel(Device*) {
    bench_setFdChannel(bench, channel);
    return 0;
}

template <FdChannel channel> int isFdChannel(Device*) {
    return bench_fdSettings(bench).channel == channel;
}

int capture(Device*) {
    bench_startCapture(bench);
    return 0;
}

int getFdBuffer(Device*, uint32_t stage, const void** data) {
    const std::span<const SpectrumPoint> points = bench_fetchStage(bench, std::min(stage, lastStage));
    *data = points.data();
    return static_cast<int>(points.size_bytes());
}

int getFdBufferSize(Device*, uint32_t stage) {
    return static_cast<int>(bench_fdBufferedPoints(bench, std::min(stage, lastStage)));
}

int abortCapture(Device*) {
    bench_stopCapture(bench);
    return 0;
}

// ---- analog path ----------------------------------------------------------------------------------------------------

int getLnaGain(Device*) {
    return bench_ifGain_dB(bench);
}

int setLnaGain(Device*, int gain_dB) {
    bench_setIfGain(bench, gain_dB);
    return 0;
}

uint32_t getPrescaler(Device*) {
    return bench_prescaler(bench);
}

int getReferenceSelection(Device*) {
    return bench->boards.hasSourcePair ? static_cast<int>(bench_reference(bench)) : -1;
}

int setReferenceSelection(Device*, int selection) {
    if (!bench->boards.hasSourcePair)
        return scpi::undefinedHeader;
    if (selection < 0 || selection > 3)
        return scpi::illegalParameterValue;
    bench_setReference(bench, static_cast<Reference>(selection));
    return 0;
}

// ---- level, and what a run finds out before its captures ------------------------------------------------------------

const tvpow* getPower(Device*) {
    static tvpow level;
    level = static_cast<tvpow>(bench_readLevel_dBm(bench));
    return &level;
}

const tvpow* getPowerRaw(Device*) {
    static tvpow counts;
    const double reading = detectorZero_counts + detectorSlope_countsPerdB * bench_readLevel_dBm(bench);
    counts = static_cast<tvpow>(std::clamp(std::round(reading), 0.0, detectorMax_counts));
    return &counts;
}

void findCarrier(Device* device, MeasConfig* config) {
    const bool search = config->autoFrequency != 0 && config_doFrequency(device);
    if (!search && config->frequency > 0)
        return;
    const double carrier_Hz = bench_countCarrier_Hz(bench);
    config->frequency = carrier_Hz > 0 ? carrier_Hz : -1;
}

void closeLoops(MeasConfig* config) {
    const LockState lock = bench_closeLoops(
        bench, {std::max(0.0, config->frequency.get()), config->autoLoopBW != 0 ? 0 : config->loopBandwidth.get()});
    if (config->autoLoopBW != 0)
        config->loopBandwidth = lock.loop.wn_rad_s / (2 * std::numbers::pi);
    meas_data.loopWnA = meas_data.loopWnB = lock.loop.wn_rad_s;
    meas_data.loopZetaA = meas_data.loopZetaB = lock.loop.filterDamping;
    meas_data.locked = lock.locked;
    config->kphiA = lock.detectorSlope[channelA] * countsPerVolt;
    // One channel alone has nothing to say of the other.
    config->kphiB =
        config->measurementMethod == methodCrossCorrelation ? lock.detectorSlope[channelB] * countsPerVolt : 0;
}

void setGain(Device* device, MeasConfig* config) {
    const bool adjust = config->autoIFgain != 0 && config_doIFgain(device);
    config->ifGain = bench_setIfGain(bench, adjust ? runGain_dB : static_cast<int>(config->ifGain));
}

const tvpow* quicklyGetPower(Device* device) {
    static tvpow level; // of the measurement thread
    level = static_cast<tvpow>(bench_readLevel_dBm(bench));
    MeasConfig* config = configPNPtr;
    findCarrier(device, config);
    closeLoops(config);
    setGain(device, config);
    return &level;
}

} // namespace

void virtual_adapter_install(Bench& installed) {
    bench = &installed;

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

    Device_getLnaGain = getLnaGain;
    Device_setLnaGain = setLnaGain;
    Device_getPrescaler = getPrescaler;
    Device_getInternalReferenceSelection = getReferenceSelection;
    Device_setInternalReferenceSelection = setReferenceSelection;

    Device_getPower = getPower;
    Device_getPowerFixed = getPower;
    Device_getPowerRaw = getPowerRaw;
    Device_quicklyGetPower = quicklyGetPower;
}
