#pragma once
/// Settings of the sweep of an oscillator whose rules do not fit a row, on configVCO. Setters return 0 or an error
/// number and store nothing then.

#include "measure/settings/measurement_configuration.h"

// clang-format off

const tv_time* configVCO_getTuneDelay(Device* device);           // of the moment of the call
int     configVCO_setTuneDelay(Device* device, const tv_time* delay); // 3 outside 0 to 10000000
int     configVCO_setReference(Device* device, int reference);
double  configVCO_getPnOffset(Device* device, int32_t number); // 1 to 4, else -1
int     configVCO_setPnOffsets(Device* device, double offset1, double offset2, double offset3, double offset4);
int     configVCO_getNumberOfUsedOffsets(Device* device);

// clang-format on
