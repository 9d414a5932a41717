#pragma once
/// Locking to a pulsed DUT; see lock.h.

#include "device_table/device_fptrs.h"

struct MeasConfig;

/// Locks to a pulsed DUT: one attempt of 60 s at most, none without filters.
void PULSE_lock(Device* device, MeasConfig* config);
