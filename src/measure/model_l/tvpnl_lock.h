#pragma once
/// Loops of the model L: their filters, and the way into lock.

#include "device_table/slot.h"

/// Filters of the phase-locked loops, which catch: the carrier's frequency decides.
void pn_measure_tvpnl_calcPllParams(Device* device);
/// Filters of the loops in quadrature, from each board's tuning sensitivity, its detector and the wanted bandwidth.
void pn_measure_tvpnl_calcQuadParams(Device* device);

/// True when the loops are locked.
bool pn_measure_tvpnl_lockInPLL(Device* device);
bool pn_measure_tvpnl_lockInQUAD(Device* device);

/// Looks up to six times whether both channels stand still: swings below their detector constant around a mean below
/// 0.1 V; with `checkRange` also within +-0.9 V.
bool pn_measure_tvpnl_waitForLock(Device* device, int checkRange, int unused);
