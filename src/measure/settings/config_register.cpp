#include "measure/settings/config_register.h"

#include "measure/preparation/frequency_search.h"
#include "measure/preparation/sensitivity.h"
#include "measure/results/pn_results.h"
#include "measure/results/test_set.h"
#include "measure/run/measure.h"
#include "measure/run/pn_report.h"
#include "measure/run/pn_wait.h"
#include "measure/run/vco_results.h"
#include "measure/settings/config_accessors.h"
#include "measure/settings/config_hw.h"
#include "measure/settings/config_mode.h"
#include "measure/settings/staging.h"

#include <type_traits>

namespace {

constexpr SlotRegistrar fill{"measure"};

template <class Signature> void fillIfNamed(Slot<Signature>* slot, typename Slot<Signature>::Function function) {
    if (slot != nullptr)
        fill(*slot, function);
}

/// Where the accessors in the slots `own` of a row work.
template <class Record> struct OwnOf {
    static_assert(std::is_base_of_v<Record, MeasConfig>);
    using Where = PhaseNoise;
};
template <> struct OwnOf<VcoSettings> { using Where = Sweep; };
template <> struct OwnOf<BasebandConfig> { using Where = Baseband; };

template <class Where, auto field, class T> void fillAccess(const NumberAccess<T>& slots, int (*setBy)(Device*, T)) {
    fillIfNamed(slots.get, setting_get<Where, field>);
    fillIfNamed(slots.set, setBy != nullptr ? setBy : setting_set<Where, field>);
}
template <auto field, class Record, class T> void fillSlots(const Number<Record, T>& row) {
    fillAccess<typename OwnOf<Record>::Where, field>(row.slots.own, row.setBy);
    if constexpr (std::is_base_of_v<Record, MeasConfig>)
        fillAccess<InForce, field>(row.slots.inForce, row.inForceSetBy);
    fillIfNamed(row.slots.min, setting_min<field>);
    fillIfNamed(row.slots.max, setting_max<field>);
}

template <class Where, auto field> void fillAccess(const SwitchAccess& slots) {
    fillIfNamed(slots.is, setting_is<Where, field>);
    fillIfNamed(slots.enable, setting_switch<Where, field, 1>);
    fillIfNamed(slots.disable, setting_switch<Where, field, 0>);
}
template <auto field, class Record> void fillSlots(const Switch<Record>& row) {
    fillAccess<typename OwnOf<Record>::Where, field>(row.slots.own);
    if constexpr (std::is_base_of_v<Record, MeasConfig>)
        fillAccess<InForce, field>(row.slots.inForce);
}

template <class Where, auto field> void fillChoice(const NumberAccess<int>& slots, int (*setBy)(Device*, int)) {
    fillIfNamed(slots.get, setting_chosen<Where, field>);
    fillIfNamed(slots.set, setBy != nullptr ? setBy : setting_choose<Where, field>);
}
template <auto field, class Record> void fillSlots(const Choice<Record>& row) {
    fillChoice<typename OwnOf<Record>::Where, field>(row.slots.own, row.setBy);
    if constexpr (std::is_base_of_v<Record, MeasConfig>)
        fillChoice<InForce, field>(row.slots.inForce, nullptr);
}

template <auto field, class Record, size_t count> void fillSlots(const NumberList<Record, count>&) {}

template <class Record> void fillSlotsOf() {
    setting_forEach(
        static_cast<const Record*>(nullptr), []<auto field> { fillSlots<field>(rowOf<field>); });
}

void registerSettings() {
    fillSlotsOf<MeasSettings>();
    fillSlotsOf<Detected>();
    fillSlotsOf<VcoSettings>();
    fillSlotsOf<BasebandConfig>();
}

/// The limits hold for every channel.
double leastSensitivity(Device*, int32_t) {
    return referenceSensLimits.min;
}
double greatestSensitivity(Device*, int32_t) {
    return referenceSensLimits.max;
}

/// Operations on settings that take more than one value, and those on all settings.
void registerConfiguration() {
    fill(Automeasure_config_reset, config_reset);
    fill(Automeasure_config_selectConfiguration, config_selectConfiguration);
    fill(Automeasure_config_getMeasurementMode, config_getMeasurementMode);
    fill(Automeasure_config_setMeasurementMode, config_setMeasurementMode);
    fill(Automeasure_config_resetDetectFlags, config_resetDetectFlags);
    fill(Automeasure_config_getFrequencyRaw, config_getFrequencyRaw);
    fill(Automeasure_config_getPowerRaw, config_getPowerRaw);
    fill(Automeasure_config_getKphi, config_getKphi);
    fill(Automeasure_config_getKphi_converted, config_getKphi_converted);
    fill(Automeasure_configPN_resetDetectFlags, configPN_resetDetectFlags);
    fill(Automeasure_configPN_setFunctionRange, configPN_setFunctionRange);
    fill(Automeasure_configPN_getReferenceSens, configPN_getReferenceSens);
    fill(Automeasure_configPN_setReferenceSens, configPN_setReferenceSens);
    fill(Automeasure_configPN_setReferenceVoltage, configPN_setReferenceVoltage);
    fill(Automeasure_configVCO_getTuneDelay, configVCO_getTuneDelay);
    fill(Automeasure_configVCO_setTuneDelay, configVCO_setTuneDelay);
    fill(Automeasure_configVCO_setReference, configVCO_setReference);
    fill(Automeasure_configVCO_getPnOffset, configVCO_getPnOffset);
    fill(Automeasure_configVCO_setPnOffsets, configVCO_setPnOffsets);
    fill(Automeasure_configVCO_getNumberOfUsedOffsets, configVCO_getNumberOfUsedOffsets);
    fill(Automeasure_configPN_getMinReferenceSens, leastSensitivity);
    fill(Automeasure_configPN_getMaxReferenceSens, greatestSensitivity);
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

void registerSweep() {
    fill(Automeasure_waitForVCOMeasurement, vco_measure_waitForMeasurement);
    fill(Automeasure_timedWaitForVCOMeasurement, vco_measure_timedWaitForMeasurement);
    fill(Automeasure_getVCOIteration, vco_measure_getIteration);
    fill(Automeasure_getVoltage, vco_measure_getVoltage);
    fill(Automeasure_getVCOFrequency, vco_measure_getVCOFrequency);
    fill(Automeasure_getVCOPower, vco_measure_getVCOPower);
    fill(Automeasure_getKVCO, vco_measure_getKVCO);
    fill(Automeasure_getKPush, vco_measure_getKPush);
    fill(Automeasure_getISupply, vco_measure_getISupply);
    fill(Automeasure_getVcoPnOffset, vco_measure_getPNOffset);
}

} // namespace

void registerAutomeasureFunctions() {
    registerSettings();
    registerConfiguration();
    registerRun();
    registerSweep();
}
