#pragma once
/// Operations on the record in force whose rules do not fit a row.

#include "measure/settings/measurement_configuration.h"

// clang-format off

int     config_setFrequency(Device* device, double frequency); // held to its limits; one channel in the transient mode
double  config_getFrequencyRaw(Device* device);
double  config_getPowerRaw(Device* device);
double  config_getKphi(Device* device);           // of channel A, ADC counts
double  config_getKphi_converted(Device* device); // of channel A, V, from whole counts

// clang-format on
