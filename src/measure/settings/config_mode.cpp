#include "measure/settings/config_mode.h"

#include "base/error_codes.h"
#include "measure/preparation/both_boards.h"
#include "measure/preparation/loop_modes.h"
#include "measure/run/measure.h"
#include "measure/run/trace_arrays.h"
#include "measure/run/vco_results.h"
#include "measure/settings/config_accessors.h"
#include "measure/settings/config_hw.h"
#include "measure/settings/config_register.h"
#include "measure/settings/staging.h"

namespace {

// What Device_setPath takes.
constexpr int pathPhaseNoise = 3;
constexpr int pathTransient = 5;
// Channel numbers of the operations on one channel
constexpr int channelA = 1;
constexpr int channelB = 2;

constexpr double restingTune_V = 7.0; // middle of the sources' tuning range
constexpr tv_time resetCounterGate_s = 0.1;
constexpr tv_time vcoCounterGate_s = 0.05;

// A change of mode and a reset leave the settings as they say, also where a board does not answer: the run tells.

void openLoop(Device* device) {
    slot_carryOn({Device_selectPnLoopMode(device, loopOpen), Device_setTuneOutputVoltage(device, restingTune_V)});
}

void enterPN(Device* device) {
    slot_carryOn({Device_setPath(device, pathPhaseNoise), Device_setLnaGain(device, 0)});
    measureFullPnWithEverything = 1;
    configPNPtr = &configPN;
    configHW_setReference(device, configPN.reference);
    configHW_setAttenuation(device, configPN.attenuation);
    configHW_setSpotFrequency(device, configPN.spotFrequency);
    if (configPN.autoFrequency == 0)
        configHW_setFrequency(device);
    if (configPN.reference == referenceExternal)
        configHW_setReferenceVoltage(device, configPN.referenceVoltage1, configPN.referenceVoltage2);
    configPN.gridChanged = 1;
}

void enterAPN(Device* device) {
    slot_carryOn({Device_setPath(device, pathPhaseNoise), Device_setLnaGain(device, 0)});
    configPNPtr = &configAPN;
    measureFullPnWithEverything = 0;
    configHW_setReference(device, referenceExternal);
    configHW_setAttenuation(device, 0);
    configHW_setReferenceVoltage(device, configPN.referenceVoltage1, configPN.referenceVoltage2);
}

void enterBB(Device* device) {
    measureFullPnWithEverything = 0;
    slot_carryOn(Device_disableRf(device));
}

void enterTransient(Device* device) {
    slot_carryOn(Device_setPath(device, pathTransient));
    configHW_setReference(device, referenceNormal);
    slot_carryOn({Device_disableRfOneChannel(device, channelA), Device_enableRfOneChannel(device, channelB)});
    measureFullPnWithEverything = 0;
    selectBoardB(device);
    slot_carryOn({Device_setTuneOutputVoltage(device, restingTune_V), Device_selectPnLoopMode(device, loopOpen)});
    selectBoardA(device);
}

void enterVCO(Device* device) {
    slot_carryOn(Device_setPath(device, pathPhaseNoise));
    measureFullPnWithEverything = 0;
    configPNPtr = &configVCO.config;
    configHW_setReference(device, configVCO.config.reference);
    configHW_setAttenuation(device, configVCO.config.attenuation);
    slot_carryOn(Device_setCounterTimeout(device, vcoCounterGate_s));
}

void arm(MeasConfig* config) {
    config->doFrequency = config->redoFrequency != redoNever;
    config->doAttenuation = config->redoAttenuation != redoNever;
    config->doKphi = config->redoKphi != redoNever;
    config->doIFgain = config->redoIFgain != redoNever;
    config->firstSearch = 0;
    configPNPtr->freqInit = 0;
}

bool useUp(Shared<uint32_t>* flag, uint32_t redo) {
    return flag->exchange(redo == redoAlways) != 0;
}

/// The settings of `config` back to their defaults; what was measured stays, but for the detector constants.
void restoreSettings(MeasConfig* config) {
    setting_restore(config);
    static_cast<RunState&>(*config) = RunState{};
    MutexLock lock(meas_data.testSetMutex);
    config->testSetCount = 0;
    if (config->testSetDefinition != nullptr)
        config->testSetDefinition[0] = {testSetEnd, -1};
}

void forgetRun() {
    constexpr double unknown = -1;
    for (Shared<double>* value : {&meas_data.loopR1A, &meas_data.loopR1B, &meas_data.loopR2A, &meas_data.loopR2B,
                                  &meas_data.loopWnA, &meas_data.loopWnB, &meas_data.loopZetaA, &meas_data.loopZetaB})
        *value = unknown;
    meas_data.inputAttenuation = unknown;
    for (Shared<uint32_t>* setting : {&meas_data.beatSamples, &meas_data.beatDivider, &meas_data.beatChannels})
        *setting = 0;
    MutexLock lock(meas_data.resultMutex);
    meas_data.stopRequested = 0;
    meas_data.previewTrigger = 0;
    meas_data.previewTarget = 0;
    meas_data.vcoPreliminaryTrigger = 0;
}

} // namespace

int initMeasurementConfiguration(Device* device) {
    registerAutomeasureFunctions();
    for (MeasConfig* config : {&configPN, &configAPN, &configVCO.config})
        setting_restore(config);
    setting_restore(&configVCO);
    setting_restore(&configBB);
    measureFullPnWithEverything = 1;
    if (!traceArrays_take())
        return scpi::outOfMemory;
    prepareVCOOutputArrays(vcoPointsMax);
    configPN_setIFgain(device, 0);
    return config_reset(device);
}

int config_reset(Device* device) {
    if (measure_isRunInTheWay())
        return measure_afterStop(device, [](Device* d, const Waiting&, bool) { return config_reset(d); });
    configPNPtr = &configPN;
    config_setMeasurementMode(device, measurementModePN);
    selected_config = measurementModePN;
    configPN.measurementMethod = methodCrossCorrelation;
    configPN_setReference(device, referenceNormal);

    selectBoardB(device);
    openLoop(device);
    selectBoardA(device);
    openLoop(device);
    slot_carryOn(Device_setCounterTimeout(device, resetCounterGate_s));
    configPN_setIFgain(device, 0);
    configPN_setAttenuation(device, 0);

    restoreSettings(&configPN);
    config_staging(device);
    setting_restore(&configVCO);
    restoreSettings(&configVCO.config);
    forgetRun();
    return 0;
}

int config_setMeasurementMode(Device* device, int mode) {
    if (measure_isRunInTheWay())
        return measure_afterStop(
            device,
            [](Device* d, const Waiting& waiting, bool) { return config_setMeasurementMode(d, waiting.argument); },
            mode);
    measurement_mode = static_cast<uint32_t>(mode);
    switch (mode) {
    case measurementModePN: enterPN(device); break;
    case measurementModeAPN: enterAPN(device); break;
    case measurementModeBB: enterBB(device); break;
    case measurementModeTransient: enterTransient(device); break;
    case measurementModeVCO: enterVCO(device); break;
    default: break;
    }
    return 0;
}

int config_getMeasurementMode(Device*) {
    return static_cast<int>(measurement_mode.get());
}

int config_selectConfiguration(Device*, int mode) {
    selected_config = static_cast<uint32_t>(mode);
    return 0;
}

int config_resetDetectFlags(Device*) {
    arm(configPNPtr);
    return 0;
}

int configPN_resetDetectFlags(Device*) {
    arm(&configPN);
    return 0;
}

int configVCO_resetDetectFlags(Device*) {
    arm(&configVCO.config);
    return 0;
}

bool config_doFrequency(MeasConfig* config) {
    return useUp(&config->doFrequency, config->redoFrequency);
}

bool config_doAttenuation(MeasConfig* config) {
    return useUp(&config->doAttenuation, config->redoAttenuation);
}

bool config_doKphi(MeasConfig* config) {
    return useUp(&config->doKphi, config->redoKphi);
}

bool config_doIFgain(MeasConfig* config) {
    return useUp(&config->doIFgain, config->redoIFgain);
}
