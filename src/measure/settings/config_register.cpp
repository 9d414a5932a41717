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
    Automeasure_config_getMinFrequency = lowest<frequencyLimits>;
    Automeasure_config_getMaxFrequency = highest<frequencyLimits>;
    Automeasure_config_getMinPower = lowest<powerLimits>;
    Automeasure_config_getMaxPower = highest<powerLimits>;
    Automeasure_config_getMinOffsetMin = lowest<offsetMinLimits>;
    Automeasure_config_getMaxOffsetMin = highest<offsetMinLimits>;
    Automeasure_config_getMinOffsetMax = lowest<offsetMaxLimits>;
    Automeasure_config_getMaxOffsetMax = highest<offsetMaxLimits>;
    Automeasure_config_getMinSpotFrequency = lowest<spotFrequencyLimits>;
    Automeasure_config_getMaxSpotFrequency = highest<spotFrequencyLimits>;
    Automeasure_config_getMinIterations = lowest<iterationsLimits, int32_t>;
    Automeasure_config_getMaxIterations = highest<iterationsLimits, int32_t>;
    Automeasure_config_getMinCorrelations = lowest<correlationsLimits, int32_t>;
    Automeasure_config_getMaxCorrelations = highest<correlationsLimits, int32_t>;
    Automeasure_config_getMinPointsPerDecade = lowest<pointsPerDecadeLimits, int32_t>;
    Automeasure_config_getMaxPointsPerDecade = highest<pointsPerDecadeLimits, int32_t>;
    Automeasure_config_getMinAttenuation = lowest<attenuationLimits>;
    Automeasure_config_getMaxAttenuation = highest<attenuationLimits>;
    Automeasure_config_getMinIFgain = lowestGain;
    Automeasure_config_getMaxIFgain = highestGain;
    Automeasure_config_getMinKphi = lowest<kphiLimits>;
    Automeasure_config_getMaxKphi = highest<kphiLimits>;
    Automeasure_config_getMinLoopBandwidth = lowest<loopBandwidthLimits>;
    Automeasure_config_getMaxLoopBandwidth = highest<loopBandwidthLimits>;
    Automeasure_getMinSpurThreshold = lowest<spurThresholdLimits>;
    Automeasure_getMaxSpurThreshold = highest<spurThresholdLimits>;
    Automeasure_getMinSmoothingAperture = lowest<smoothingApertureLimits>;
    Automeasure_getMaxSmoothingAperture = highest<smoothingApertureLimits>;
    Automeasure_configPN_getMinReferenceSens = lowestOfEach<referenceSensLimits>;
    Automeasure_configPN_getMaxReferenceSens = highestOfEach<referenceSensLimits>;
    Automeasure_configVCO_getMinVoltageStart = lowest<voltageLimits>;
    Automeasure_configVCO_getMaxVoltageStart = highest<voltageLimits>;
    Automeasure_configVCO_getMinVoltageStop = lowest<voltageLimits>;
    Automeasure_configVCO_getMaxVoltageStop = highest<voltageLimits>;
    Automeasure_configVCO_getMinVoltagePoints = lowest<voltagePointsLimits, int32_t>;
    Automeasure_configVCO_getMaxVoltagePoints = highest<voltagePointsLimits, int32_t>;
}

void registerConfiguration() {
    Automeasure_config_reset = config_reset;
    Automeasure_config_selectConfiguration = config_selectConfiguration;
    Automeasure_config_getMeasurementMode = config_getMeasurementMode;
    Automeasure_config_setMeasurementMode = config_setMeasurementMode;
    Automeasure_config_resetDetectFlags = config_resetDetectFlags;
    Automeasure_config_getFrequency = config_getFrequency;
    Automeasure_config_setFrequency = config_setFrequency;
    Automeasure_config_getFrequencyRaw = config_getFrequencyRaw;
    Automeasure_config_isAutoFrequency = config_isAutoFrequency;
    Automeasure_config_enableAutoFrequency = config_enableAutoFrequency;
    Automeasure_config_disableAutoFrequency = config_disableAutoFrequency;
    Automeasure_config_getRedoFrequency = config_getRedoFrequency;
    Automeasure_config_setRedoFrequency = config_setRedoFrequency;
    Automeasure_config_getPower = config_getPower;
    Automeasure_config_setPower = config_setPower;
    Automeasure_config_getPowerRaw = config_getPowerRaw;
    Automeasure_config_getKphi = config_getKphi;
    Automeasure_config_getKphi_converted = config_getKphi_converted;
    Automeasure_config_getPulseStatus = config_getPulseStatus;
    Automeasure_config_enablePulse = config_enablePulse;
    Automeasure_config_disablePulse = config_disablePulse;
    Automeasure_config_getVCODUTType = config_getVCODUTType;
    Automeasure_config_setVCODUTType = config_setVCODUTType;
    Automeasure_configPN_getFrequency = configPN_getFrequency;
    Automeasure_configPN_setFrequency = configPN_setFrequency;
    Automeasure_configPN_isAutoFrequency = configPN_isAutoFrequency;
    Automeasure_configPN_enableAutoFrequency = configPN_enableAutoFrequency;
    Automeasure_configPN_disableAutoFrequency = configPN_disableAutoFrequency;
    Automeasure_configPN_getRedoFrequency = configPN_getRedoFrequency;
    Automeasure_configPN_setRedoFrequency = configPN_setRedoFrequency;
    Automeasure_configPN_enableFreqInit = configPN_enableFreqInit;
    Automeasure_configPN_disableFreqInit = configPN_disableFreqInit;
    Automeasure_configPN_resetDetectFlags = configPN_resetDetectFlags;
    Automeasure_configPN_getOffsetMin = configPN_getOffsetMin;
    Automeasure_configPN_setOffsetMin = configPN_setOffsetMin;
    Automeasure_configPN_getOffsetMax = configPN_getOffsetMax;
    Automeasure_configPN_setOffsetMax = configPN_setOffsetMax;
    Automeasure_configPN_getSpotFrequency = configPN_getSpotFrequency;
    Automeasure_configPN_setSpotFrequency = configPN_setSpotFrequency;
    Automeasure_configPN_getIterations = configPN_getIterations;
    Automeasure_configPN_setIterations = configPN_setIterations;
    Automeasure_configPN_getCorrelations = configPN_getCorrelations;
    Automeasure_configPN_setCorrelations = configPN_setCorrelations;
    Automeasure_configPN_getPointsPerDecade = configPN_getPointsPerDecade;
    Automeasure_configPN_setPointsPerDecade = configPN_setPointsPerDecade;
    Automeasure_configPN_setMeasurementMethod = configPN_setMeasurementMethod;
    Automeasure_configBB_setMeasurementMethod = configBB_setMeasurementMethod;
    Automeasure_configPN_getAttenuation = configPN_getAttenuation;
    Automeasure_configPN_setAttenuation = configPN_setAttenuation;
    Automeasure_configPN_isAutoAttenuation = configPN_isAutoAttenuation;
    Automeasure_configPN_enableAutoAttenuation = configPN_enableAutoAttenuation;
    Automeasure_configPN_disableAutoAttenuation = configPN_disableAutoAttenuation;
    Automeasure_configPN_getRedoAttenuation = configPN_getRedoAttenuation;
    Automeasure_configPN_setRedoAttenuation = configPN_setRedoAttenuation;
    Automeasure_configPN_getIFgain = configPN_getIFgain;
    Automeasure_configPN_setIFgain = configPN_setIFgain;
    Automeasure_configPN_isAutoIFgain = configPN_isAutoIFgain;
    Automeasure_configPN_enableAutoIFgain = configPN_enableAutoIFgain;
    Automeasure_configPN_disableAutoIFgain = configPN_disableAutoIFgain;
    Automeasure_configPN_getRedoIFgain = configPN_getRedoIFgain;
    Automeasure_configPN_setRedoIFgain = configPN_setRedoIFgain;
    Automeasure_configPN_setKphi = configPN_setKphi;
    Automeasure_configPN_isAutoKphi = configPN_isAutoKphi;
    Automeasure_configPN_enableAutoKphi = configPN_enableAutoKphi;
    Automeasure_configPN_disableAutoKphi = configPN_disableAutoKphi;
    Automeasure_configPN_getRedoKphi = configPN_getRedoKphi;
    Automeasure_configPN_setRedoKphi = configPN_setRedoKphi;
    Automeasure_configPN_getLoopBandwidth = configPN_getLoopBandwidth;
    Automeasure_configPN_setLoopBandwidth = configPN_setLoopBandwidth;
    Automeasure_configPN_isAutoLoopBW = configPN_isAutoLoopBW;
    Automeasure_configPN_enableAutoLoopBW = configPN_enableAutoLoopBW;
    Automeasure_configPN_disableAutoLoopBW = configPN_disableAutoLoopBW;
    Automeasure_configPN_isSmoothingEnabled = configPN_isSmoothingEnabled;
    Automeasure_configPN_enableSmoothing = configPN_enableSmoothing;
    Automeasure_configPN_disableSmoothing = configPN_disableSmoothing;
    Automeasure_configPN_getSmoothingAperture = configPN_getSmoothingAperture;
    Automeasure_configPN_setSmoothingAperture = configPN_setSmoothingAperture;
    Automeasure_configPN_isSpurOmissionEnabled = configPN_isSpurOmissionEnabled;
    Automeasure_configPN_enableSpurOmission = configPN_enableSpurOmission;
    Automeasure_configPN_disableSpurOmission = configPN_disableSpurOmission;
    Automeasure_configPN_getSpurThreshold = configPN_getSpurThreshold;
    Automeasure_configPN_setSpurThreshold = configPN_setSpurThreshold;
    Automeasure_configPN_setFunctionRange = configPN_setFunctionRange;
    Automeasure_configPN_setReference = configPN_setReference;
    Automeasure_configPN_getReferenceSens = configPN_getReferenceSens;
    Automeasure_configPN_setReferenceSens = configPN_setReferenceSens;
    Automeasure_configPN_setReferenceVoltage = configPN_setReferenceVoltage;
    Automeasure_configVCO_getVoltageStart = configVCO_getVoltageStart;
    Automeasure_configVCO_setVoltageStart = configVCO_setVoltageStart;
    Automeasure_configVCO_getVoltageStop = configVCO_getVoltageStop;
    Automeasure_configVCO_setVoltageStop = configVCO_setVoltageStop;
    Automeasure_configVCO_getVoltagePoints = configVCO_getVoltagePoints;
    Automeasure_configVCO_setVoltagePoints = configVCO_setVoltagePoints;
    Automeasure_configVCO_getTuneDelay = configVCO_getTuneDelay;
    Automeasure_configVCO_setTuneDelay = configVCO_setTuneDelay;
    Automeasure_configVCO_setReference = configVCO_setReference;
    Automeasure_configVCO_getPnOffset = configVCO_getPnOffset;
    Automeasure_configVCO_setPnOffsets = configVCO_setPnOffsets;
    Automeasure_configVCO_getNumberOfUsedOffsets = configVCO_getNumberOfUsedOffsets;
    Automeasure_configVCO_isFrequencyEnabled = configVCO_isFrequencyEnabled;
    Automeasure_configVCO_enableFrequency = configVCO_enableFrequency;
    Automeasure_configVCO_disableFrequency = configVCO_disableFrequency;
    Automeasure_configVCO_isPowerEnabled = configVCO_isPowerEnabled;
    Automeasure_configVCO_enablePower = configVCO_enablePower;
    Automeasure_configVCO_disablePower = configVCO_disablePower;
    Automeasure_configVCO_isKVCOEnabled = configVCO_isKVCOEnabled;
    Automeasure_configVCO_enableKVCO = configVCO_enableKVCO;
    Automeasure_configVCO_disableKVCO = configVCO_disableKVCO;
    Automeasure_configVCO_isKPushEnabled = configVCO_isKPushEnabled;
    Automeasure_configVCO_enableKPush = configVCO_enableKPush;
    Automeasure_configVCO_disableKPush = configVCO_disableKPush;
    Automeasure_configVCO_isISupplyEnabled = configVCO_isISupplyEnabled;
    Automeasure_configVCO_enableISupply = configVCO_enableISupply;
    Automeasure_configVCO_disableISupply = configVCO_disableISupply;
    Automeasure_configVCO_isPhaseNoiseEnabled = configVCO_isPhaseNoiseEnabled;
    Automeasure_configVCO_enablePhaseNoise = configVCO_enablePhaseNoise;
    Automeasure_configVCO_disablePhaseNoise = configVCO_disablePhaseNoise;
}

void registerRun() {
    Device_initImmediate = measure_startMeasurement;
    Device_abort = measure_stopMeasurement;
    Automeasure_setTestSetDefinition = configPN_setTestSetDefinition;
    Automeasure_getTestSetDefinition = configPN_getTestSetDefinition;
    Automeasure_getTestSet = configPN_getTestSet;
    Automeasure_config_searchForDUT = pn_measure_execfrequencySearch;
    Automeasure_execSensitivity = pn_measure_measureSensitivity;
    Automeasure_preparePnMeas = measure_startMeasurement;
    Automeasure_getPreparePnMeasStatus = pn_measure_getMeasStatus;
    Automeasure_waitForMeasurement = pn_measure_waitForMeasurement;
    Automeasure_timedWaitForMeasurement = pn_measure_timedWaitForMeasurement;
    Automeasure_triggerPreliminaryResult = pn_measure_triggerPreliminaryResult;
    Automeasure_getPreliminaryAverageCount = pn_measure_getPreliminaryAverageCount;
    Automeasure_getPreliminaryCorrelationCount = pn_measure_getPreliminaryCorrelationCount;
    Automeasure_getStageFromOffset = config_getStageFromOffset;
    Automeasure_getLastMeasurementTimeMs = pn_measure_getLastTimeMs;
    Automeasure_getLockTimeMs = pn_measure_getLockTimeMs;
    Automeasure_printTimes = pn_measure_printPnTimes;
    Automeasure_printPnMeasInfo = pn_measure_printPnMeasInfo;
    Automeasure_getPnSpectrumFreq = pn_measure_getSpectrumFreq;
    Automeasure_getPnSpectrumData = pn_measure_getSpectrumData;
    Automeasure_getPnSpectrumPowerData = pn_measure_getSpectrumPowerData;
    Automeasure_getPnSpotSpectrumFreq = pn_measure_getSpotSpectrumFreq;
    Automeasure_getPnSpotSpectrumData = pn_measure_getSpotSpectrumData;
    Automeasure_getSpurFreq = pn_measure_getSpurFreq;
    Automeasure_getSpurData = pn_measure_getSpurData;
    Automeasure_getFunctionIntegral = pn_measure_getFunctionIntegral;
    Automeasure_getFunctionJitter = pn_measure_getFunctionJitter;
    Automeasure_calculateAVariance = pn_measure_calculateAVariance;
    Automeasure_getFunctionAVarianceTau = pn_measure_getFunctionAVarianceTau;
    Automeasure_getFunctionAVarianceSigma = pn_measure_getFunctionAVarianceSigma;
}

} // namespace

void registerAutomeasureFunctions() {
    registerLimits();
    registerConfiguration();
    registerRun();
}
