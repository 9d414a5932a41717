#pragma once
/// Status, times and reports of the last run.

#include "device_table/device_fptrs.h"

/// 0 if the loops are locked, else -1; outside mode 0 what the device says.
int pn_measure_getMeasStatus(Device* device);
int pn_measure_getLastTimeMs(Device* device);
int pn_measure_getLockTimeMs(Device* device);
/// Both write a report into `text` of reportTextSize bytes and return 0: the phase times of the last run in ms;
/// settings and state of the run. While a run is on, the second shows the sensitivities that it read last, as reading
/// them would move the board selection under the run.
int pn_measure_printPnTimes(Device* device, char* text);
int pn_measure_printPnMeasInfo(Device* device, char* text);
