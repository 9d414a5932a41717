#pragma once
/// Start, mode and reset of the measurement's settings, and the detect flags that tell which automatic steps a run
/// repeats.

#include "measure/settings/measurement_configuration.h"

/// Once at the start: fills the slots of this layer, takes the arrays of meas_data from the pool and resets. Returns 0,
/// or -321 if the pool could not give them.
[[nodiscard]] int initMeasurementConfiguration(Device* device);

/// *RST: every setting to its default and the hardware with it. A run in progress is stopped first. Results of the last
/// run stay readable. Returns 0.
int config_reset(Device* device);

/// Stores the mode and moves the hardware to it. A run in progress is stopped first, as by ABORt. An unknown number is
/// stored and changes nothing else. Returns 0, also when a step failed.
int config_setMeasurementMode(Device* device, int mode);
int config_getMeasurementMode(Device* device);
int config_selectConfiguration(Device* device, int mode);

/// Arms the automatic steps: each runs in the next run unless its redo code is "never". Returns 0.
int config_resetDetectFlags(Device* device); // of the record in force
int configPN_resetDetectFlags(Device* device);
int configVCO_resetDetectFlags(Device* device);

/// Tells whether the run shall do the step, and uses up the flag: "always" keeps it, anything else clears it.
[[nodiscard]] bool config_doFrequency(MeasConfig* config);
[[nodiscard]] bool config_doAttenuation(MeasConfig* config);
[[nodiscard]] bool config_doKphi(MeasConfig* config);
[[nodiscard]] bool config_doIFgain(MeasConfig* config);
