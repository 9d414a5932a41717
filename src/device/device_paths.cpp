// DUT path, IF chain, gain, attenuation and prescaler of the analog boards.

#include "base/error_codes.h"
#include "base/tvdebug.h"
#include "device/device_operations.h"
#include "device/forward.h"
#include "device_table/device_fptrs.h"
#include "identity/device_variants.h"

namespace {

constexpr SlotRegistrar fill{"device"};
constexpr auto selected = &Device::selectedAlg;

enum Path { pathAsIs = 1, pathBaseband = 2, pathPhaseNoise = 3, pathTransient = 5 };

constexpr uint32_t phaseNoiseChannel = 1; // of TVPNX_ALG_setIFMuxPath

int invalidPath() {
    printd("TVPNX_ALG: invalid measurement selected (BB/PN/TRAN)\n");
    return scpi::illegalParameterValue;
}

bool hasTransientPath(const Device* device) {
    return device->selectedAlg->algVersion > TVPNX_ALG_1C;
}

void setTransient(Device* device, int on) {
    for (TVPNX_ALG* const board : {&device->algA, &device->algB})
        alg_carryOn(TVPNX_ALG_enableTRAN(board, on)); // a board without the mode measures without it
}

// Only codes are refused: each revision has the filters, and one without a counter has none to switch.

int setPath(Device* device, int path) {
    if (device_config_usesTVPNX_ALG_2A())
        alg_carryOn(TVPNX_ALG_disableFrequencyCounter(device->selectedAlg));
    switch (path) {
    case pathAsIs: return 0;
    case pathBaseband: alg_carryOn(TVPNX_ALG_setIFMuxBBIn(device->selectedAlg)); return 0;
    case pathPhaseNoise:
        alg_carryOn(TVPNX_ALG_setIFMuxPath(device->selectedAlg, phaseNoiseChannel));
        setTransient(device, 0);
        alg_carryOn(TVPNX_ALG_disableFrequencyCounter(&device->algA));
        return 0;
    case pathTransient:
        if (!hasTransientPath(device))
            return 0;
        setTransient(device, 1);
        slot_carryOn(Device_setLnaGain(device, 0)); // the path has been changed by then
        alg_carryOn(TVPNX_ALG_enableFrequencyCounter(&device->algA));
        return 0;
    default: return invalidPath();
    }
}

int setPathOneChannel(Device* device, int channel, int path) {
    constexpr int channelA = 1;
    switch (path) {
    case pathAsIs: return 0;
    case pathBaseband: alg_carryOn(TVPNX_ALG_setIFMuxBBIn(device->selectedAlg)); return 0;
    case pathPhaseNoise: alg_carryOn(TVPNX_ALG_setIFMuxPath(device->selectedAlg, phaseNoiseChannel)); return 0;
    case pathTransient:
        if (hasTransientPath(device))
            alg_carryOn(TVPNX_ALG_enableFrequencyCounter(channel == channelA ? &device->algA : &device->algB));
        return 0;
    default: return invalidPath();
    }
}

constexpr int (*ifPaths[])(TVPNX_ALG*) = {TVPNX_ALG_setIFMuxDC, TVPNX_ALG_setIFMuxBP5M, TVPNX_ALG_setIFMuxBPxM,
                                          TVPNX_ALG_setIFMuxBP50M}; // from 1

int setIFPath(Device* device, int path) {
    if (path < 1 || path > static_cast<int>(std::size(ifPaths))) {
        printd("TVPNX_ALG: invalid IF path selected (DC, BP5M, BP20M, BP50M)\n");
        return scpi::illegalParameterValue;
    }
    return ifPaths[path - 1](device->selectedAlg);
}

template <auto operation> int onBoth(Device* device) {
    return onBothChannels(device, [device] { return operation(device->selectedAlg); });
}

int setLnaGain(Device* device, int gain) {
    return onBothChannels(device, [&] { return TVPNX_ALG_setIFGain(device->selectedAlg, gain); });
}

int setAttenuation(Device* device, uint32_t steps) {
    onBothChannels(device, [&] { return TVPNX_ALG_setDUTAttenuation(device->selectedAlg, steps); });
    return 0; // also where the boards have no attenuator
}

int getDefaultGainStages(Device*) {
    return device_config_usesTVPNX_ALG_1C() ? 4 : 6;
}

int configPulse(Device* device) {
    const int on = Automeasure_config_getPulseStatus(device) != 0 ? 1 : 0;
    for (TVPNX_ALG* const board : {&device->algA, &device->algB})
        alg_carryOn(TVPNX_ALG_enablePULSE(board, on)); // a board without the mode measures without it
    return 0;
}

} // namespace

void device_registerPaths() {
    fill(Device_setPath, setPath);
    fill(Device_setPathOneChannel, setPathOneChannel);
    fill(Device_setIFPath, setIFPath);
    forward<selected, TVPNX_ALG_getIFMuxPath>(fill, Device_getIFPath);
    forward<selected, TVPNX_ALG_setIFMuxPath>(fill, Device_selectHP);
    fill(Device_enablePreamplifier, onBoth<TVPNX_ALG_enablePreamplifier>);
    fill(Device_disablePreamplifier, onBoth<TVPNX_ALG_disablePreamplifier>);
    forward<selected, TVPNX_ALG_isPreamplifierEnabled>(fill, Device_isPreamplifierEnabled);
    forward<selected, TVPNX_ALG_enableFMDiscriminator>(fill, Device_enableFMDiscriminator);
    forward<selected, TVPNX_ALG_disableFMDiscriminator>(fill, Device_disableFMDiscriminator);
    forward<selected, TVPNX_ALG_isFMDiscriminatorEnabled>(fill, Device_isFMDiscriminatorEnabled);
    forward<selected, TVPNX_ALG_getPrescaler>(fill, Device_getPrescaler);
    forward<selected, TVPNX_ALG_setPrescaler>(fill, Device_setPrescaler);
    forward<selected, TVPNX_ALG_enableAutoPrescaler>(fill, Device_enableAutoPrescaler);
    forward<selected, TVPNX_ALG_disableAutoPrescaler>(fill, Device_disableAutoPrescaler);
    forward<selected, TVPNX_ALG_isAutoPrescaler>(fill, Device_isAutoPrescaler);
    forward<selected, TVPNX_ALG_setCounter>(fill, Device_setMuxDivider);
    forward<selected, TVPNX_ALG_getIFGain>(fill, Device_getLnaGain);
    fill(Device_setLnaGain, setLnaGain);
    forward<selected, TVPNX_ALG_getIFGainList>(fill, Device_getLnaGainList);
    fill(Device_getDefaultGainStages, getDefaultGainStages);
    forward<selected, TVPNX_ALG_getDUTAttenuation>(fill, Device_getTotalStepAttenuation);
    fill(Device_setTotalStepAttenuation, setAttenuation);
    fill(Device_configPulse, configPulse);
}
