#include "measure/settings/config_inforce.h"

#include "base/tvdebug.h"
#include "measure/preparation/adc_scale.h"
#include "measure/settings/config_accessors.h"
#include "measure/settings/config_hw.h"

#include <cmath>

int config_setFrequency(Device* device, double frequency) {
    frequency = limited(frequency, setting_limits<&MeasConfig::frequency>());
    configPNPtr->frequency = frequency;
    configPNPtr->frequencyRaw = frequency;
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
    return configPNPtr->frequencyRaw;
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
