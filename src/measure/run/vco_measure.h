#pragma once
/// The sweep of an oscillator that the instrument supplies and tunes: at each tune voltage frequency, tuning
/// sensitivity, level, supply current, noise at up to four offsets, and supply pushing.

#include "device_table/device_fptrs.h"

#include <cstdint>

/// One whole sweep as set at INIT, on the run's thread. Results come point by point (vco_results.h); the sensitivity of
/// a point comes with the point behind it, as a central difference, that of the first and the last from one side.
///
/// Returns 0, also after a stop request, which counts before each point; the tune output is left
/// at the first point's voltage then (at the old one without a point), and on only if it was before; the boards before
/// 2D close its relay with each voltage, though. -131272 if the oscillator is not found: tune output and supply stay as
/// they are. A phase noise run that fails costs its point the
/// noise only; the code of the last one is that of the sweep for whoever waits.
///
/// An oscillator that hardly tunes needs a longer gate: the sweep starts again with it, once. The supply is on from the
/// start and stays on.
int32_t vcoMeasureFull(Device* device);

/// Pushing in Hz/V, without sign, of the oscillator whose frequency the record in force holds: raises the first supply
/// output by 0.2 V over `supplyVoltage` and takes it back. The second argument is not used.
double testKPush(Device* device, int unused, double supplyVoltage);
