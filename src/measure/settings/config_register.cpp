// What this layer publishes in the device table.

#include "identity/device_variants.h"
#include "measure/preparation/frequency_search.h"
#include "measure/preparation/sensitivity.h"
#include "measure/results/allan_variance.h"
#include "measure/results/test_set.h"
#include "measure/run/measure.h"
#include "measure/run/pn_measure.h"
#include "measure/settings/config_accessors.h"
#include "measure/settings/staging.h"

namespace {

constexpr SlotRegistrar fill{"measure"};

template <const Limits& limits, class Value = double> Value lowest(Device*) {
    return static_cast<Value>(limits.min);
}
template <const Limits& limits, class Value = double> Value highest(Device*) {
    return static_cast<Value>(limits.max);
}
/// The same for parameters with a number; the limits hold for all.
template <const Limits& limits> double lowestOfEach(Device*, int32_t) {
    return limits.min;
}
template <const Limits& limits> double highestOfEach(Device*, int32_t) {
    return limits.max;
}

const Limits& boardGainLimits() {
    return device_config_usesTVPNX_ALG_1C() ? ifGainLimits1C : ifGainLimits;
}
double lowestGain(Device*) {
    return boardGainLimits().min;
}
double highestGain(Device*) {
    return boardGainLimits().max;
}

void registerLimits() {
    fill(Automeasure_config_getMinFrequency, lowest<frequencyLimits>);
    fill(Automeasure_config_getMaxFrequency, highest<frequencyLimits>);
    fill(Automeasure_config_getMinPower, lowest<powerLimits>);
    fill(Automeasure_config_getMaxPower, highest<powerLimits>);
    fill(Automeasure_config_getMinOffsetMin, lowest<offsetMinLimits>);
    fill(Automeasure_config_getMaxOffsetMin, highest<offsetMinLimits>);
    fill(Automeasure_config_getMinOffsetMax, lowest<offsetMaxLimits>);
    fill(Automeasure_config_getMaxOffsetMax, highest<offsetMaxLimits>);
    fill(Automeasure_config_getMinSpotFrequency, lowest<spotFrequencyLimits>);
    fill(Automeasure_config_getMaxSpotFrequency, highest<spotFrequencyLimits>);
    fill(Automeasure_config_getMinIterations, lowest<iterationsLimits, int32_t>);
    fill(Automeasure_config_getMaxIterations, highest<iterationsLimits, int32_t>);
    fill(Automeasure_config_getMinCorrelations, lowest<correlationsLimits, int32_t>);
    fill(Automeasure_config_getMaxCorrelations, highest<correlationsLimits, int32_t>);
    fill(Automeasure_config_getMinPointsPerDecade, lowest<pointsPerDecadeLimits, int32_t>);
    fill(Automeasure_config_getMaxPointsPerDecade, highest<pointsPerDecadeLimits, int32_t>);
    fill(Automeasure_config_getMinAttenuation, lowest<attenuationLimits>);
    fill(Automeasure_config_getMaxAttenuation, highest<attenuationLimits>);
    fill(Automeasure_config_getMinIFgain, lowestGain);
    fill(Automeasure_config_getMaxIFgain, highestGain);
    fill(Automeasure_config_getMinKphi, lowest<kphiLimits>);
    fill(Automeasure_config_getMaxKphi, highest<kphiLimits>);
    fill(Automeasure_config_getMinLoopBandwidth, lowest<loopBandwidthLimits>);
    fill(Automeasure_config_getMaxLoopBandwidth, highest<loopBandwidthLimits>);
    fill(Automeasure_getMinSpurThreshold, lowest<spurThresholdLimits>);
    fill(Automeasure_getMaxSpurThreshold, highest<spurThresholdLimits>);
    fill(Automeasure_getMinSmoothingAperture, lowest<smoothingApertureLimits>);
    fill(Automeasure_getMaxSmoothingAperture, highest<smoothingApertureLimits>);
    fill(Automeasure_configPN_getMinReferenceSens, lowestOfEach<referenceSensLimits>);
    fill(Automeasure_configPN_getMaxReferenceSens, highestOfEach<referenceSensLimits>);
    fill(Automeasure_configVCO_getMinVoltageStart, lowest<voltageLimits>);
    fill(Automeasure_configVCO_getMaxVoltageStart, highest<voltageLimits>);
    fill(Automeasure_configVCO_getMinVoltageStop, lowest<voltageLimits>);
    fill(Automeasure_configVCO_getMaxVoltageStop, highest<voltageLimits>);
    fill(Automeasure_configVCO_getMinVoltagePoints, lowest<voltagePointsLimits, int32_t>);
    fill(Automeasure_configVCO_getMaxVoltagePoints, highest<voltagePointsLimits, int32_t>);
}

void registerConfiguration() {
    fill(Automeasure_config_reset, config_reset);
    fill(Automeasure_config_selectConfiguration, config_selectConfiguration);
    fill(Automeasure_config_getMeasurementMode, config_getMeasurementMode);
    fill(Automeasure_config_setMeasurementMode, config_setMeasurementMode);
    fill(Automeasure_config_resetDetectFlags, config_resetDetectFlags);
    fill(Automeasure_config_getFrequency, config_getFrequency);
    fill(Automeasure_config_setFrequency, config_setFrequency);
    fill(Automeasure_config_getFrequencyRaw, config_getFrequencyRaw);
    fill(Automeasure_config_isAutoFrequency, config_isAutoFrequency);
    fill(Automeasure_config_enableAutoFrequency, config_enableAutoFrequency);
    fill(Automeasure_config_disableAutoFrequency, config_disableAutoFrequency);
    fill(Automeasure_config_getRedoFrequency, config_getRedoFrequency);
    fill(Automeasure_config_setRedoFrequency, config_setRedoFrequency);
    fill(Automeasure_config_getPower, config_getPower);
    fill(Automeasure_config_setPower, config_setPower);
    fill(Automeasure_config_getPowerRaw, config_getPowerRaw);
    fill(Automeasure_config_getKphi, config_getKphi);
    fill(Automeasure_config_getKphi_converted, config_getKphi_converted);
    fill(Automeasure_config_getPulseStatus, config_getPulseStatus);
    fill(Automeasure_config_enablePulse, config_enablePulse);
    fill(Automeasure_config_disablePulse, config_disablePulse);
    fill(Automeasure_config_getVCODUTType, config_getVCODUTType);
    fill(Automeasure_config_setVCODUTType, config_setVCODUTType);
    fill(Automeasure_configPN_getFrequency, configPN_getFrequency);
    fill(Automeasure_configPN_setFrequency, configPN_setFrequency);
    fill(Automeasure_configPN_isAutoFrequency, configPN_isAutoFrequency);
    fill(Automeasure_configPN_enableAutoFrequency, configPN_enableAutoFrequency);
    fill(Automeasure_configPN_disableAutoFrequency, configPN_disableAutoFrequency);
    fill(Automeasure_configPN_getRedoFrequency, configPN_getRedoFrequency);
    fill(Automeasure_configPN_setRedoFrequency, configPN_setRedoFrequency);
    fill(Automeasure_configPN_enableFreqInit, configPN_enableFreqInit);
    fill(Automeasure_configPN_disableFreqInit, configPN_disableFreqInit);
    fill(Automeasure_configPN_resetDetectFlags, configPN_resetDetectFlags);
    fill(Automeasure_configPN_getOffsetMin, configPN_getOffsetMin);
    fill(Automeasure_configPN_setOffsetMin, configPN_setOffsetMin);
    fill(Automeasure_configPN_getOffsetMax, configPN_getOffsetMax);
    fill(Automeasure_configPN_setOffsetMax, configPN_setOffsetMax);
    fill(Automeasure_configPN_getSpotFrequency, configPN_getSpotFrequency);
    fill(Automeasure_configPN_setSpotFrequency, configPN_setSpotFrequency);
    fill(Automeasure_configPN_getIterations, configPN_getIterations);
    fill(Automeasure_configPN_setIterations, configPN_setIterations);
    fill(Automeasure_configPN_getCorrelations, configPN_getCorrelations);
    fill(Automeasure_configPN_setCorrelations, configPN_setCorrelations);
    fill(Automeasure_configPN_getPointsPerDecade, configPN_getPointsPerDecade);
    fill(Automeasure_configPN_setPointsPerDecade, configPN_setPointsPerDecade);
    fill(Automeasure_configPN_setMeasurementMethod, configPN_setMeasurementMethod);
    fill(Automeasure_configBB_setMeasurementMethod, configBB_setMeasurementMethod);
    fill(Automeasure_configPN_getAttenuation, configPN_getAttenuation);
    fill(Automeasure_configPN_setAttenuation, configPN_setAttenuation);
    fill(Automeasure_configPN_isAutoAttenuation, configPN_isAutoAttenuation);
    fill(Automeasure_configPN_enableAutoAttenuation, configPN_enableAutoAttenuation);
    fill(Automeasure_configPN_disableAutoAttenuation, configPN_disableAutoAttenuation);
    fill(Automeasure_configPN_getRedoAttenuation, configPN_getRedoAttenuation);
    fill(Automeasure_configPN_setRedoAttenuation, configPN_setRedoAttenuation);
    fill(Automeasure_configPN_getIFgain, configPN_getIFgain);
    fill(Automeasure_configPN_setIFgain, configPN_setIFgain);
    fill(Automeasure_configPN_isAutoIFgain, configPN_isAutoIFgain);
    fill(Automeasure_configPN_enableAutoIFgain, configPN_enableAutoIFgain);
    fill(Automeasure_configPN_disableAutoIFgain, configPN_disableAutoIFgain);
    fill(Automeasure_configPN_getRedoIFgain, configPN_getRedoIFgain);
    fill(Automeasure_configPN_setRedoIFgain, configPN_setRedoIFgain);
    fill(Automeasure_configPN_setKphi, configPN_setKphi);
    fill(Automeasure_configPN_isAutoKphi, configPN_isAutoKphi);
    fill(Automeasure_configPN_enableAutoKphi, configPN_enableAutoKphi);
    fill(Automeasure_configPN_disableAutoKphi, configPN_disableAutoKphi);
    fill(Automeasure_configPN_getRedoKphi, configPN_getRedoKphi);
    fill(Automeasure_configPN_setRedoKphi, configPN_setRedoKphi);
    fill(Automeasure_configPN_getLoopBandwidth, configPN_getLoopBandwidth);
    fill(Automeasure_configPN_setLoopBandwidth, configPN_setLoopBandwidth);
    fill(Automeasure_configPN_isAutoLoopBW, configPN_isAutoLoopBW);
    fill(Automeasure_configPN_enableAutoLoopBW, configPN_enableAutoLoopBW);
    fill(Automeasure_configPN_disableAutoLoopBW, configPN_disableAutoLoopBW);
    fill(Automeasure_configPN_isSmoothingEnabled, configPN_isSmoothingEnabled);
    fill(Automeasure_configPN_enableSmoothing, configPN_enableSmoothing);
    fill(Automeasure_configPN_disableSmoothing, configPN_disableSmoothing);
    fill(Automeasure_configPN_getSmoothingAperture, configPN_getSmoothingAperture);
    fill(Automeasure_configPN_setSmoothingAperture, configPN_setSmoothingAperture);
    fill(Automeasure_configPN_isSpurOmissionEnabled, configPN_isSpurOmissionEnabled);
    fill(Automeasure_configPN_enableSpurOmission, configPN_enableSpurOmission);
    fill(Automeasure_configPN_disableSpurOmission, configPN_disableSpurOmission);
    fill(Automeasure_configPN_getSpurThreshold, configPN_getSpurThreshold);
    fill(Automeasure_configPN_setSpurThreshold, configPN_setSpurThreshold);
    fill(Automeasure_configPN_setFunctionRange, configPN_setFunctionRange);
    fill(Automeasure_configPN_setReference, configPN_setReference);
    fill(Automeasure_configPN_getReferenceSens, configPN_getReferenceSens);
    fill(Automeasure_configPN_setReferenceSens, configPN_setReferenceSens);
    fill(Automeasure_configPN_setReferenceVoltage, configPN_setReferenceVoltage);
    fill(Automeasure_configVCO_getVoltageStart, configVCO_getVoltageStart);
    fill(Automeasure_configVCO_setVoltageStart, configVCO_setVoltageStart);
    fill(Automeasure_configVCO_getVoltageStop, configVCO_getVoltageStop);
    fill(Automeasure_configVCO_setVoltageStop, configVCO_setVoltageStop);
    fill(Automeasure_configVCO_getVoltagePoints, configVCO_getVoltagePoints);
    fill(Automeasure_configVCO_setVoltagePoints, configVCO_setVoltagePoints);
    fill(Automeasure_configVCO_getTuneDelay, configVCO_getTuneDelay);
    fill(Automeasure_configVCO_setTuneDelay, configVCO_setTuneDelay);
    fill(Automeasure_configVCO_setReference, configVCO_setReference);
    fill(Automeasure_configVCO_getPnOffset, configVCO_getPnOffset);
    fill(Automeasure_configVCO_setPnOffsets, configVCO_setPnOffsets);
    fill(Automeasure_configVCO_getNumberOfUsedOffsets, configVCO_getNumberOfUsedOffsets);
    fill(Automeasure_configVCO_isFrequencyEnabled, configVCO_isFrequencyEnabled);
    fill(Automeasure_configVCO_enableFrequency, configVCO_enableFrequency);
    fill(Automeasure_configVCO_disableFrequency, configVCO_disableFrequency);
    fill(Automeasure_configVCO_isPowerEnabled, configVCO_isPowerEnabled);
    fill(Automeasure_configVCO_enablePower, configVCO_enablePower);
    fill(Automeasure_configVCO_disablePower, configVCO_disablePower);
    fill(Automeasure_configVCO_isKVCOEnabled, configVCO_isKVCOEnabled);
    fill(Automeasure_configVCO_enableKVCO, configVCO_enableKVCO);
    fill(Automeasure_configVCO_disableKVCO, configVCO_disableKVCO);
    fill(Automeasure_configVCO_isKPushEnabled, configVCO_isKPushEnabled);
    fill(Automeasure_configVCO_enableKPush, configVCO_enableKPush);
    fill(Automeasure_configVCO_disableKPush, configVCO_disableKPush);
    fill(Automeasure_configVCO_isISupplyEnabled, configVCO_isISupplyEnabled);
    fill(Automeasure_configVCO_enableISupply, configVCO_enableISupply);
    fill(Automeasure_configVCO_disableISupply, configVCO_disableISupply);
    fill(Automeasure_configVCO_isPhaseNoiseEnabled, configVCO_isPhaseNoiseEnabled);
    fill(Automeasure_configVCO_enablePhaseNoise, configVCO_enablePhaseNoise);
    fill(Automeasure_configVCO_disablePhaseNoise, configVCO_disablePhaseNoise);
}

void registerRun() {
    fill(Device_initImmediate, measure_startMeasurement);
    fill(Device_abort, measure_stopMeasurement);
    fill(Automeasure_setTestSetDefinition, configPN_setTestSetDefinition);
    fill(Automeasure_getTestSetDefinition, configPN_getTestSetDefinition);
    fill(Automeasure_getTestSet, configPN_getTestSet);
    fill(Automeasure_config_searchForDUT, pn_measure_execfrequencySearch);
    fill(Automeasure_execSensitivity, pn_measure_measureSensitivity);
    fill(Automeasure_preparePnMeas, measure_startMeasurement);
    fill(Automeasure_getPreparePnMeasStatus, pn_measure_getMeasStatus);
    fill(Automeasure_waitForMeasurement, pn_measure_waitForMeasurement);
    fill(Automeasure_timedWaitForMeasurement, pn_measure_timedWaitForMeasurement);
    fill(Automeasure_triggerPreliminaryResult, pn_measure_triggerPreliminaryResult);
    fill(Automeasure_getPreliminaryAverageCount, pn_measure_getPreliminaryAverageCount);
    fill(Automeasure_getPreliminaryCorrelationCount, pn_measure_getPreliminaryCorrelationCount);
    fill(Automeasure_getStageFromOffset, config_getStageFromOffset);
    fill(Automeasure_getLastMeasurementTimeMs, pn_measure_getLastTimeMs);
    fill(Automeasure_getLockTimeMs, pn_measure_getLockTimeMs);
    fill(Automeasure_printTimes, pn_measure_printPnTimes);
    fill(Automeasure_printPnMeasInfo, pn_measure_printPnMeasInfo);
    fill(Automeasure_getPnSpectrumFreq, pn_measure_getSpectrumFreq);
    fill(Automeasure_getPnSpectrumData, pn_measure_getSpectrumData);
    fill(Automeasure_getPnSpectrumPowerData, pn_measure_getSpectrumPowerData);
    fill(Automeasure_getPnSpotSpectrumFreq, pn_measure_getSpotSpectrumFreq);
    fill(Automeasure_getPnSpotSpectrumData, pn_measure_getSpotSpectrumData);
    fill(Automeasure_getSpurFreq, pn_measure_getSpurFreq);
    fill(Automeasure_getSpurData, pn_measure_getSpurData);
    fill(Automeasure_getFunctionIntegral, pn_measure_getFunctionIntegral);
    fill(Automeasure_getFunctionJitter, pn_measure_getFunctionJitter);
    fill(Automeasure_calculateAVariance, pn_measure_calculateAVariance);
    fill(Automeasure_getFunctionAVarianceTau, pn_measure_getFunctionAVarianceTau);
    fill(Automeasure_getFunctionAVarianceSigma, pn_measure_getFunctionAVarianceSigma);
}

} // namespace

void registerAutomeasureFunctions() {
    registerLimits();
    registerConfiguration();
    registerRun();
}
