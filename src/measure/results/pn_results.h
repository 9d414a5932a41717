#pragma once
/// What commands read of a run: copies of its arrays, and figures of the published trace by the settings in force.

#include "device_table/device_fptrs.h"

// The arrays are those of the last save, copied for the caller under the lock: a transfer out of them sees one
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

/// Computes averaging times and deviations of the published trace over the function range; see allan_variance.h.
/// Returns 0, or -327880 if there is no trace (see statistics_range), no range above 0 Hz or no known carrier; the
/// arrays then keep the last result.
int pn_measure_calculateAVariance(Device* device);
