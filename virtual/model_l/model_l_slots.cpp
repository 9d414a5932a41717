// The model L's operations in the device table. The instrument that is passed along is the bench.

#include "device_table/device_fptrs.h"
#include "virtual/model_l/model_l_bench.h"

#include <algorithm>

namespace vi {
namespace {

constexpr SlotRegistrar fill{"virtual_model_l"};
constexpr int badValue = -224, outOfRange = -222;
constexpr uint32_t attenuationMax = 63, dividerMax = 2'000'000;

ModelLBench& of(Device* device) {
    return *reinterpret_cast<ModelLBench*>(device);
}
ModelLChannel& selected(Device* device) {
    return of(device).channels[of(device).selected];
}

tvfreq frequency(double hertz) {
    tvfreq result;
    double2tvfreq(&hertz, &result);
    return result;
}

/// Takes a value, or refuses it.
template <class Value> int take(bool fits, Value* place, Value value) {
    if (!fits)
        return outOfRange;
    *place = value;
    return 0;
}

int accept(Device*, int) {
    return 0; // paths that this bench has not: the signal comes one way
}

void registerAnalog() {
    fill(Device_selectPhaseNoiseAlgBoardA, [](Device* device) { return int(of(device).selected = 0); });
    fill(Device_selectPhaseNoiseAlgBoardB, [](Device* device) { return of(device).selected = 1, 0; });
    fill(Device_isPhaseNoiseAlgBoardASelected, [](Device* device) { return int(of(device).selected == 0); });
    fill(Device_setLnaGain,
         [](Device* device, int gain) { return take(gain >= 0 && gain <= 60, &of(device).ifGain_dB, gain); });
    fill(Device_setTotalStepAttenuation,
         [](Device* device, uint32_t steps) { return take(steps <= attenuationMax, &of(device).attenuation, steps); });
    fill(Device_setTuneOutputVoltage,
         [](Device* device, double volts) { return take(volts >= 0 && volts <= 15, &selected(device).tune_V, volts); });
    fill(Device_setChargePumpPolarity,
         [](Device* device, int polarity) { return selected(device).risesWithTune = polarity != 0, 0; });
    fill(Device_setResistance, [](Device* device, int index, double ohm) {
        if (index < 1 || index > 3)
            return badValue;
        return take(ohm > 0, &selected(device).resistance_ohm[size_t(index - 1)], ohm);
    });
    fill(Device_selectLoopC,
         [](Device* device, uint32_t number) { return take(number <= 4, &selected(device).capacitor, number); });
    fill(Device_selectPnLoopMode, [](Device* device, int mode) {
        if (mode < 1 || mode > 3)
            return badValue;
        return modelL_setLoopMode(&of(device), of(device).selected, mode), 0;
    });
    fill(Device_getFmSensitivity, [](Device* device) { return modelL_fineSensitivity(of(device).selected); });
}

void registerCarrier() {
    fill(Device_enableRf, [](Device* device) { return of(device).rfOn = true, 0; });
    fill(Device_setReferenceSourceInternal, [](Device*) { return 0; }); // it has no other
    fill(Device_getFrequencyMin, [](Device*) -> const tvfreq* {
        static const tvfreq lowest = frequency(modelLFrequencyMin_Hz);
        return &lowest;
    });
    fill(Device_getFrequencyMax, [](Device*) -> const tvfreq* {
        static const tvfreq highest = frequency(modelLFrequencyMax_Hz);
        return &highest;
    });
    fill(Device_setFrequency, [](Device* device, const tvfreq* asked) {
        double hertz = 0;
        tvfreq2double(asked, &hertz);
        for (ModelLChannel& channel : of(device).channels)
            channel.hold = ModelLHold::none;
        return take(hertz >= modelLFrequencyMin_Hz && hertz <= modelLFrequencyMax_Hz, &of(device).frequency_Hz, hertz);
    });
    fill(Device_getStatus, [](Device* device) { return int(modelL_dutIsBelow(of(device))); });
    for (auto* path : {&Device_setAm, &Device_setBb, &Device_setPn})
        fill(*path, accept);
}

void registerRecords() {
    fill(Device_getPnMeasurePtr, [](Device* device) -> void* { return device; });
    fill(Device_getPhaseNoiseSamplingFrequency, [](Device* device) { return modelLBaseRate_Hz / of(device).divider; });
    fill(Device_getPhaseNoiseSampleMin, [](Device*) { return 0; });
    fill(Device_getPhaseNoiseSampleMax, [](Device*) { return 65535; });
    fill(Device_setPhaseNoiseSamples,
         [](Device* device, uint32_t samples) { return take(samples >= 4, &of(device).samples, samples); });
    fill(Device_setPhaseNoiseChannels,
         [](Device* device, uint32_t channels) { return of(device).channelsAsked = channels, 0; });
    fill(Device_setPhaseNoiseDivider, [](Device* device, uint32_t divider) {
        return take(divider >= 1 && divider <= dividerMax, &of(device).divider, divider);
    });
    fill(Device_getFilteredSamples,
         [](Device* device, uint32_t stages) { return modelL_capture(&of(device), stages); });
    fill(Device_getPhaseNoiseValidSamplesCount, [](Device* device) { return of(device).valid; });
    fill(Device_getPhaseNoiseFbuffer, [](Device* device, uint32_t channel, uint32_t stage, uint16_t** samples) {
        std::vector<uint16_t>& record = modelL_record(&of(device), channel, stage);
        *samples = record.empty() ? nullptr : record.data();
        return int(record.size() * sizeof(uint16_t));
    });
}

} // namespace

void modelL_registerSlots() {
    registerAnalog();
    registerCarrier();
    registerRecords();
}

Device* modelL_device(ModelLBench* bench) {
    return reinterpret_cast<Device*>(bench);
}

} // namespace vi
