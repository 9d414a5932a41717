// The record in force, parameter by parameter.

#include "base/tvdebug.h"
#include "measure/preparation/adc_scale.h"
#include "measure/settings/config_accessors.h"

#include <cmath>

double config_getFrequency(Device*) {
    return configPNPtr->frequency;
}

int config_setFrequency(Device* device, double frequency) {
    frequency = limited(frequency, frequencyLimits);
    configPNPtr->frequency = frequency;
    if (measurement_mode == measurementModePN)
        return configHW_move(device, sideFrequency);
    if (measurement_mode == measurementModeTransient) {
        printd("config_setFrequency: IN TRANSIENT MODE: only selected chan !\n");
        tvfreq exact;
        double2tvfreq(&frequency, &exact);
        return Device_setFrequencyOneChannel(device, &exact);
    }
    return 0;
}

double config_getFrequencyRaw(Device*) {
    return configPNPtr->frequency; // the counter's value: a run corrects no time base
}

int config_isAutoFrequency(Device*) {
    return configPNPtr->autoFrequency != 0;
}

int config_enableAutoFrequency(Device*) {
    configPNPtr->autoFrequency = 1;
    return 0;
}

int config_disableAutoFrequency(Device*) {
    configPNPtr->autoFrequency = 0;
    return 0;
}

int config_getRedoFrequency(Device*) {
    return static_cast<int>(configPNPtr->redoFrequency.get());
}

int config_setRedoFrequency(Device*, int redo) {
    MeasConfig* config = configPNPtr;
    config->redoFrequency = static_cast<uint32_t>(redo);
    if (redo == redoAlways) // a new DUT frequency invalidates the detector constants
        config->redoKphi = redoAlways;
    return 0;
}

int config_setPoints(Device*, int32_t points) {
    MeasConfig* config = configPNPtr;
    config->points = points;
    config->gridChanged = 1;
    return 0;
}

double config_getPower(Device*) {
    return configPNPtr->power;
}

int config_setPower(Device*, double power) {
    configPNPtr->power = power;
    return 0;
}

double config_getPowerRaw(Device*) {
    return configPNPtr->powerRaw;
}

double config_getKphi(Device*) {
    return configPNPtr->kphiA;
}

double config_getKphi_converted(Device*) {
    return std::trunc(configPNPtr->kphiA) * adcVoltsPerCount;
}

int config_getPulseStatus(Device*) {
    return configPN.pulseEnabled != 0;
}

int config_enablePulse(Device* device) {
    configPN.pulseEnabled = 1;
    return configHW_move(device, sidePulse);
}

int config_disablePulse(Device* device) {
    configPN.pulseEnabled = 0;
    return configHW_move(device, sidePulse);
}

int config_getVCODUTType(Device*) {
    return configVCO.dutType;
}

int config_setVCODUTType(Device*, int type) {
    configVCO.dutType = type;
    return 0;
}
