// The sweep of an oscillator, parameter by parameter.

#include "base/error_codes.h"
#include "measure/settings/config_accessors.h"
#include "measure/settings/staging.h"

#include <algorithm>

namespace {

constexpr int notSelected = 3; // what the switches answer while another configuration is selected
constexpr int32_t unselectedPoints = 3;
constexpr double unselectedVoltage = 3.0;

bool vcoSelected() {
    return selected_config == measurementModeVCO;
}

bool vcoActive() {
    return measurement_mode == measurementModeVCO;
}

template <class T> int setVoltage(Shared<T>& field, T value) {
    if (!vcoSelected())
        return scpi::illegalParameterValue;
    field = value;
    return 0;
}

int setSwitch(Shared<uint32_t>& field, uint32_t value) {
    if (!vcoSelected())
        return notSelected;
    field = value;
    return 0;
}

int getSwitch(const Shared<uint32_t>& field) {
    return vcoSelected() && field != 0;
}

int followPlan(Device* device) {
    return vcoActive() ? config_staging(device) : 0;
}

double limitedPnOffset(double offset) {
    if (offset == 0)
        return 0;
    if (!(offset > pnOffsetLimits.min))
        return pnOffsetLimits.min;
    return std::min(offset, pnOffsetLimits.max);
}

} // namespace

// clang-format off

double  configVCO_getVoltageStart(Device*) { return vcoSelected() ? configVCO.voltageStart.get() : unselectedVoltage; }
int     configVCO_setVoltageStart(Device*, double voltage) { return setVoltage(configVCO.voltageStart, voltage); }
double  configVCO_getVoltageStop(Device*) { return vcoSelected() ? configVCO.voltageStop.get() : unselectedVoltage; }
int     configVCO_setVoltageStop(Device*, double voltage) { return setVoltage(configVCO.voltageStop, voltage); }
int32_t configVCO_getVoltagePoints(Device*) { return vcoSelected() ? configVCO.voltagePoints.get() : unselectedPoints; }
int     configVCO_setVoltagePoints(Device*, int32_t points) { return setVoltage(configVCO.voltagePoints, points); }
int     configVCO_isFrequencyEnabled(Device*) { return getSwitch(configVCO.frequencyEnabled); }
int     configVCO_enableFrequency(Device*) { return setSwitch(configVCO.frequencyEnabled, 1); }
int     configVCO_disableFrequency(Device*) { return setSwitch(configVCO.frequencyEnabled, 0); }
int     configVCO_isPowerEnabled(Device*) { return getSwitch(configVCO.powerEnabled); }
int     configVCO_enablePower(Device*) { return setSwitch(configVCO.powerEnabled, 1); }
int     configVCO_disablePower(Device*) { return setSwitch(configVCO.powerEnabled, 0); }
int     configVCO_isKVCOEnabled(Device*) { return getSwitch(configVCO.kvcoEnabled); }
int     configVCO_enableKVCO(Device*) { return setSwitch(configVCO.kvcoEnabled, 1); }
int     configVCO_disableKVCO(Device*) { return setSwitch(configVCO.kvcoEnabled, 0); }
int     configVCO_isKPushEnabled(Device*) { return getSwitch(configVCO.kPushEnabled); }
int     configVCO_enableKPush(Device*) { return setSwitch(configVCO.kPushEnabled, 1); }
int     configVCO_disableKPush(Device*) { return setSwitch(configVCO.kPushEnabled, 0); }
int     configVCO_isISupplyEnabled(Device*) { return getSwitch(configVCO.iSupplyEnabled); }
int     configVCO_enableISupply(Device*) { return setSwitch(configVCO.iSupplyEnabled, 1); }
int     configVCO_disableISupply(Device*) { return setSwitch(configVCO.iSupplyEnabled, 0); }
int     configVCO_isPhaseNoiseEnabled(Device*) { return getSwitch(configVCO.phaseNoiseEnabled); }
int     configVCO_enablePhaseNoise(Device*) { return setSwitch(configVCO.phaseNoiseEnabled, 1); }
int     configVCO_disablePhaseNoise(Device*) { return setSwitch(configVCO.phaseNoiseEnabled, 0); }

// clang-format on

const tv_time* configVCO_getTuneDelay(Device*) {
    static tv_time delay;
    delay = configVCO.tuneDelay;
    return &delay;
}

int configVCO_setTuneDelay(Device*, const tv_time* delay) {
    if (!(*delay >= tuneDelayLimits.min && *delay <= tuneDelayLimits.max))
        return notSelected;
    configVCO.tuneDelay = *delay;
    return 0;
}

int configVCO_setReference(Device* device, int reference) {
    const auto code = static_cast<uint32_t>(reference);
    if (code > referenceExternal)
        return scpi::illegalParameterValue;
    return config_changeReference(device, &configVCO.config, code, vcoActive());
}

int configVCO_setOffsetMin(Device* device, double offset) {
    config_storeOffsetMin(&configVCO.config, offset);
    return followPlan(device);
}

int configVCO_setOffsetMax(Device* device, double offset) {
    config_storeOffsetMax(&configVCO.config, offset);
    return followPlan(device);
}

int configVCO_setCorrelations(Device* device, int32_t correlations) {
    configVCO.config.correlations = correlations;
    return followPlan(device);
}

int configVCO_setSpotFrequency(Device* device, double offset) {
    configVCO.config.spotFrequency = offset;
    return vcoActive() ? configHW_move(device, sideSpotFrequency) : 0;
}

double configVCO_getPnOffset(Device*, int32_t number) {
    if (number < 1 || number > vcoPnOffsets)
        return -1;
    return configVCO.pnOffset[number - 1];
}

int configVCO_setPnOffsets(Device*, double offset1, double offset2, double offset3, double offset4) {
    const double offsets[vcoPnOffsets] = {offset1, offset2, offset3, offset4};
    for (int i = 0; i < vcoPnOffsets; ++i)
        configVCO.pnOffset[i] = limitedPnOffset(offsets[i]);
    return 0;
}

int configVCO_getNumberOfUsedOffsets(Device*) {
    return static_cast<int>(
        std::ranges::count_if(configVCO.pnOffset, [](const Shared<double>& offset) { return offset > 0; }));
}
