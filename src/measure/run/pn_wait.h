#pragma once
/// How clients wait for a run and ask for preliminary results.

#include "device_table/device_fptrs.h"

// Waits, as measure.h says of those that may leave a record. Both give the code of the last run and clear it; at once
// when no run is on. With `whole` not 0 they wait for the end of the run in progress; with 0 for a save at iteration
// `average` (from 1; 0: the next save there is) or for the end of the run. -393416 when `timeoutMs` ran out; the run
// goes on and its own code stays for the next wait.

int pn_measure_waitForMeasurement(Device* device, int whole, int average);
int pn_measure_timedWaitForMeasurement(Device* device, int whole, int average, int timeoutMs);
/// The same in a sweep: with `whole` 0 they wait for its next point. That is the third or a later one, or the last.
int vco_measure_waitForMeasurement(Device* device, int whole);
int vco_measure_timedWaitForMeasurement(Device* device, int whole, int timeoutMs);
/// Asks for a preliminary result without waiting for it. Returns 0.
int pn_measure_triggerPreliminaryResult(Device* device);

int pn_measure_getPreliminaryAverageCount(Device* device);
int pn_measure_getPreliminaryCorrelationCount(Device* device);
