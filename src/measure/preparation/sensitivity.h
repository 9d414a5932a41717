#pragma once
/// Tuning sensitivity of an external reference, which the instrument cannot know by itself.

#include "device_table/device_fptrs.h"

/// Tunes the reference of each channel from 0 V to the top of its range (referenceVoltage1 at A, referenceVoltage2 at
/// B) with the loops open, and takes what the beat with the DUT moves by: refSensA, with a cross-correlation refSensB
/// too, Hz/V. A beat that cannot be measured gives a wrong sensitivity and no error.
///
/// Returns 0; -191 outside mode 0; -224 with the normal reference, which is not external. While a run is on it waits
/// for its end, as INIT does. Both references stay at the top of their range.
int pn_measure_measureSensitivity(Device* device);
