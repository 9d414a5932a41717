#pragma once
/// Spurs: discrete lines in the noise of a trace. Points that stand out of a smoothed copy of the trace are widened to
/// their skirts, neighbours are joined to one spur, what is too low or lies on the comb of the instrument's own
/// synthesis is dropped, and all of these points get a level that the noise around them might have.
///
/// All levels are in dBc/Hz and all offsets in Hz, but for the level of a listed spur, which is in dBc. A level
/// that is not finite (a point without data) is no spur, and there is none within a smoothing width of it.

#include "measure/results/trace.h"

inline constexpr int32_t spurEntriesMax = spursMax - 1; // what a list counts up to; a further entry is lost

/// Memory of a search.
struct SpurScratch {
    int32_t* points;  // of the spurs, spursMax entries
    float* original;  // the trace as it came in, tracePointsMax
    float* smoothed;  // tracePointsMax
    float* deviation; // local deviation at each point, dB, tracePointsMax
};

/// What the trace was measured with.
struct SpurSearch {
    double comb; // Hz, carrier of the synthesis: that of the DUT behind the prescaler
    const StagingPlan& plan;
    std::span<const double> rates; // samples per second, of each stage of the plan
};

/// Where the list goes: spursMax entries each.
struct SpurList {
    float* frequency; // Hz
    float* level;     // dBc
};

/// Finds the spurs of a trace of at most tracePointsMax points, replaces them in `trace`, writes them to `list` and
/// returns their number. The replacement draws from tvstuff_randn: after the same seed the same trace gives the same
/// result.
[[nodiscard]] int32_t spur_detector_detectSpurs(const SpurSearch& search, std::span<const float> frequencies,
                                                std::span<float> trace, const SpurScratch& scratch,
                                                const SpurList& list);

// The steps.

/// Mean over `width` / 2 points to either side, as many as there are. `output` is not `input`.
void smooth(const float* input, float* output, int32_t count, int32_t width);

/// Fills `list` with the points of all spurs and their skirts, ascending, a point possibly more than once, and replaces
/// them in `trace`. A spur's distance from the smoothed trace, in whole dB, exceeds 2.5 dB and `factor` times the local
/// deviation: the root of the squared distances' sum, divided by their number. `original` equals `trace` at the start,
/// and `smoothed` is its smoothed copy, which is overwritten, as `deviation` is.
void findSpurs(int32_t count, int32_t width, float factor, float* trace, const float* original, float* smoothed,
               float* deviation, int32_t* list, int32_t* found);

/// Joins points of an ascending list that lie side by side to the highest of them, the first of equals.
void mergeSpurs(int32_t* list, int32_t* found, const float* original);

/// Drops spurs that stand less than 5 dB above the repaired `trace`, those within 5 % of the comb that the synthesis at
/// the carrier `comb` has, and the point 0. A comb spacing below 1 Hz, which most carriers have among theirs, takes all
/// spurs below 1 Hz with it.
void cleanSpurs(double comb, int32_t* list, int32_t* found, const float* frequencies, const float* trace,
                const float* original);

/// What turns a density at `offset` (Hz) into the level of a line, dB: 10 log10 of the bandwidth of a point in its
/// stage, sample rate / record length.
[[nodiscard]] double spur_detector_bandwidth(const SpurSearch& search, double offset);

/// Prints the points of `list` on the debug channel.
void printSpursToConsole(const int32_t* list, int32_t count, const float* frequencies, const float* levels);
