#pragma once
/// The hardware side of the settings, on both boards and for the record in force. Each returns 0 or the first failure.

#include "measure/settings/measurement_configuration.h"

/// Moves a side of the hardware to what the record in force says. While a run is on it waits for the end of that
/// (0), unless the run itself moves it.
int configHW_move(Device* device, HardwareSide side);
/// Moves the `sides` that a run made wait, on its thread.
void configHW_moveWaiting(Device* device, uint32_t sides);

int configHW_setReference(Device* device, uint32_t reference);
/// Stores the code of a reference in `config` and, if that is the record of the active mode, moves the boards to it. A
/// failure of that is returned and leaves the code that stood there.
int config_changeReference(Device* device, MeasConfig* config, uint32_t reference, bool active);
/// `attenuation` in dB, cut to half-dB steps.
int configHW_setAttenuation(Device* device, double attenuation);
int configHW_setSpotFrequency(Device* device, double spotFrequency);
int configHW_setFrequency(Device* device);
/// Supply and top tune voltage of the two external references, V.
int configHW_setReferenceVoltage(Device* device, double voltage1, double voltage2);
/// Stores the sensitivity (Hz/V) of channel 1 or 2; -224 for another channel.
int configHW_setReferenceSens(Device* device, int32_t channel, double sensitivity);
/// Rounds `gain` (dB) to a gain that the boards have, stores it and moves the boards to it; -224 outside 0 to 50 (1C)
/// or 60.
int configHW_setIFgain(Device* device, double gain);
