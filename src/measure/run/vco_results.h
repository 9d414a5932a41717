#pragma once
/// What commands read of a sweep: copies of its columns as far as it has come.

#include "device_table/device_fptrs.h"

#include <cstdint>

/// Forgets the last sweep, for one of `points` points or fewer: start values in so many entries, no error, one point to
/// be shown.
void prepareVCOOutputArrays(int32_t points);

// The columns, copied for the caller under the lock: a transfer out of them sees one state of the sweep, until the same
// query is made again. Each fills `data` and returns the size in bytes, of as many points as getIteration says: at
// least one, which holds its start value before it is measured.

int vco_measure_getVoltage(Device* device, const float** data);      // V
int vco_measure_getVCOFrequency(Device* device, const float** data); // Hz
int vco_measure_getVCOPower(Device* device, const float** data);     // dBm
int vco_measure_getKVCO(Device* device, const float** data);         // Hz/V
int vco_measure_getKPush(Device* device, const float** data);        // Hz/V
int vco_measure_getISupply(Device* device, const float** data);      // A
/// Noise at spot offset `number`, 1 to 4, dBc/Hz; null and 0 bytes for another.
int vco_measure_getPNOffset(Device* device, const float** data, int32_t number);
/// Points that are shown. It follows the sweep when a client waits for the next point, and at its end, also an early
/// one.
int vco_measure_getIteration(Device* device);
