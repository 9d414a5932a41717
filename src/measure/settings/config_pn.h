#pragma once
/// Phase noise settings whose rules do not fit a row, on configPN, and that of configBB. Setters return 0 or a negative
/// error number and store nothing then. Writing a parameter while its mode is active also moves the hardware.

#include "measure/settings/measurement_configuration.h"

// clang-format off

int     configPN_setMeasurementMethod(Device* device, int method); // -224 for 0 and 1 with the normal reference
int     configPN_setIFgain(Device* device, double gain); // -224 outside mode 0; success ends the automatic gain
int     configPN_setKphi(Device* device, double kphi); // of the selected board
int     configPN_setFunctionRange(Device* device, float start, float stop);
int     configPN_setReference(Device* device, int reference); // -224 for an unknown code
double  configPN_getReferenceSens(Device* device, int32_t channel); // -1 for another channel than 1 and 2
int     configPN_setReferenceSens(Device* device, int32_t channel, double sensitivity); // -224 unless 0 < it < 100000
int     configPN_setReferenceVoltage(Device* device, int32_t channel, double voltage);  // -224 unless 3 <= it <= 20

int     configBB_setMeasurementMethod(Device* device, int method); // -224 for 1

// clang-format on

/// Stores the start or stop offset (Hz) of a record, held to what the parameter may be. An offset that is set at or
/// beyond the other one takes it along, a decade away or as far as its range goes: whichever of the two comes first,
/// both stand as they were set in the end. Only a start at 50 MHz leaves no room for a stop above it.
void config_storeOffsetMin(MeasSettings* config, double offset);
void config_storeOffsetMax(MeasSettings* config, double offset);
