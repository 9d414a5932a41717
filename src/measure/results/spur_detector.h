#pragma once
/// Spurs: discrete lines in the noise of a trace. Points that stand out of a smoothed copy of the trace are widened to
/// their skirts, neighbours are joined to one spur, what is too low or lies on the comb of the instrument's own
/// synthesis is dropped, and all of these points get a level that the noise around them might have.
///
/// All levels are in dBc/Hz and all offsets in Hz, but for the level of a spur in meas_data, which is in dBc. A level
/// that is not finite (a point without data) is no spur, and there is none within a smoothing width of it.

#include "device_table/device_fptrs.h"
#include "measure/run/meas_data.h"

#include <cstdint>

inline constexpr int32_t spurEntriesMax = spursMax - 1; // what a list counts up to; a further entry is lost

// Scratch of the measurement thread, from the pool.
inline constinit int32_t* SPURS = nullptr;  // points of the spurs, spursMax entries
inline constinit float* ORIGINAL = nullptr; // the trace as it came in, tracePointsMax
inline constinit float* SMOOTHED = nullptr; // tracePointsMax
inline constinit float* __std = nullptr;    // local deviation at each point, dB, tracePointsMax

/// Finds the spurs of `trace`, which has `count` points at `frequencies` (at most tracePointsMax count), replaces them
/// there and writes the list into meas_data. The replacement draws from tvstuff_randn: after the same seed the same
/// trace gives the same result. `trace` is not one of the arrays above.
void spur_detector_detectSpurs(Device* device, float* trace, const float* frequencies, int32_t count)
    REQUIRES(meas_data.resultMutex);

/// The same for the trace of meas_data.
void spurDetection(Device* device) REQUIRES(meas_data.resultMutex);

// The steps.

/// Mean over `width` / 2 points to either side, as many as there are. `output` is not `input`.
void smooth(const float* input, float* output, int32_t count, int32_t width);

/// Fills `list` with the points of all spurs and their skirts, ascending, a point possibly more than once, and replaces
/// them in `trace`. A spur's distance from the smoothed trace, in whole dB, exceeds 2.5 dB and `factor` times the local
/// deviation: the root of the squared distances' sum, divided by their number. `original` equals `trace` at the start,
/// and `smoothed` is its smoothed copy, which is overwritten.
void findSpurs(int32_t count, int32_t width, float factor, const float* frequencies, float* trace,
               const float* original, float* smoothed, int32_t* list, int32_t* found);

/// Joins points of an ascending list that lie side by side to the highest of them, the first of equals.
void mergeSpurs(int32_t* list, int32_t* found, const float* original);

/// Drops spurs that stand less than 5 dB above the repaired `trace`, those within 5 % of the comb that the synthesis at
/// this carrier has, and the point 0. A comb spacing below 1 Hz, which most carriers have among theirs, takes all spurs
/// below 1 Hz with it.
void cleanSpurs(Device* device, int32_t* list, int32_t* found, const float* frequencies, const float* trace,
                const float* original);

/// Turns the levels of the list in meas_data from densities into those of lines: + 10 log10 of the bandwidth of a point
/// in their stage, sample rate / record length.
void spur_detector_adjustForRBW(Device* device) REQUIRES(meas_data.resultMutex);

/// Prints the points of `list` on the debug channel.
void printSpursToConsole(const int32_t* list, int32_t count, const float* frequencies, const float* levels);
