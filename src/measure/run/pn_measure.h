#pragma once
/// The phase noise run: the spine from INIT to the last result, the correlation stage loop, and what a client reads
/// and waits for.

#include "device_table/device_fptrs.h"
#include "measure/run/meas_data.h"

#include <cstdint>

/// What INIT does before the run begins, so that nobody reads the trace of an earlier run behind it.
void pn_measure_forgetTrace();
/// One whole run of the configuration in force, on the measurement thread. Stores its result in lastError and returns
/// it: 0, also after an abort, or a run failure of base/error_codes.h. A failed step leaves the hardware as it is. Only
/// the captures of the correlation act on a stop request; the steps before them run to their end.
int32_t pnMeasureFull(Device* device);

/// The loop over iterations, captures and stages. Takes its settings once at the start: what a client changes meanwhile
/// counts for the next run. A stop request ends it; a capture that it cuts short counts for nothing. The trace is then
/// the last that an iteration ended with; in the first iteration what its captures gave, or none.
void measurePhaseNoise(Device* device);

// Waits, as measure.h says of those that may leave a record. Both give the code of the last run and clear it; at once
// when no run is on. With `whole` not 0 they wait for
// the end of the run in progress; with 0 for a save at iteration `average` (from 1; 0: the next save there is) or for
// the end of the run. -393416 when `timeoutMs` ran out; the run goes on and its own code stays for the next wait.

int pn_measure_waitForMeasurement(Device* device, int whole, int average);
int pn_measure_timedWaitForMeasurement(Device* device, int whole, int average, int timeoutMs);
/// Asks for a preliminary result without waiting for it. Returns 0.
int pn_measure_triggerPreliminaryResult(Device* device);

// Results. The arrays are those of the last save, copied for the caller under the lock: a transfer out of them sees one
// save, until the same query is made again. Each fills `data` and returns the size in bytes; 0 bytes before a run has
// its grid.

int pn_measure_getSpectrumData(Device* device, const float** data);      // dBc/Hz
int pn_measure_getSpectrumPowerData(Device* device, const float** data); // dBc/Hz before spur removal and smoothing
int pn_measure_getSpectrumFreq(Device* device, const float** data);      // Hz
int pn_measure_getSpurData(Device* device, const float** data);          // dBc
int pn_measure_getSpurFreq(Device* device, const float** data);          // Hz
// Allan deviation, as computed last; 0 bytes before.
int pn_measure_getFunctionAVarianceTau(Device* device, const float** data); // averaging times, s
int pn_measure_getFunctionAVarianceSigma(Device* device, const float** data);
double pn_measure_getSpotSpectrumData(Device* device); // at spotFrequency, dBc/Hz; -1000 outside the trace
double pn_measure_getSpotSpectrumFreq(Device* device); // Hz
double pn_measure_getFunctionIntegral(Device* device); // phase noise over the function range, dBc; see statistics.h
double pn_measure_getFunctionJitter(Device* device);   // RMS jitter, s; see statistics.h
int pn_measure_getPreliminaryAverageCount(Device* device);
int pn_measure_getPreliminaryCorrelationCount(Device* device);

/// 0 if the loops are locked, else -1; outside mode 0 what the device says.
int pn_measure_getMeasStatus(Device* device);
int pn_measure_getLastTimeMs(Device* device);
int pn_measure_getLockTimeMs(Device* device);
/// Both write a report into `text` of reportTextSize bytes and return 0: the phase times of the last run in ms;
/// settings and state of the run. While a run is on, the second shows the sensitivities that it read last, as reading
/// them would move the board selection under the run.
int pn_measure_printPnTimes(Device* device, char* text);
int pn_measure_printPnMeasInfo(Device* device, char* text);
