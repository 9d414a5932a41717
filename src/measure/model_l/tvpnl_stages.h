#pragma once
/// Stages of the model L, and which of a stage's bins an offset is read from.

#include <array>
#include <cstdint>

struct TvpnlStage {
    double lowest, highest; // offsets that it serves, Hz
    const char* name;
};

inline constexpr std::array<TvpnlStage, 6> tvpnlStages{{
    {100000, 2000000, "100k   -1M     "},
    {10000, 100000, " 10k   - 100k  "},
    {1000, 10000, "  1k   -  10k  "},
    {100, 1000, "   100 -   1k  "},
    {10, 100, "    10 -    100"},
    {1, 10, "     1 -     10"},
}};

inline constexpr int32_t tvpnlOverlap = 3; // a segment starts a third of its length behind the one before

/// Stages that reach down to `offsetMin`, 1 to 6. Those of an offset between two decades end above it.
[[nodiscard]] int32_t pn_measure_tvpnl_getNumberOfStages(double offsetMin);

/// Samples of a capture at the rate of stage 0 in which the last of `stages` finds its segments; a power of two, 2^31
/// at most.
[[nodiscard]] uint32_t pn_measure_tvpnl_getNumberOfSamples(int32_t stages, int32_t unused);

/// Rate of a stage from that of stage 0.
[[nodiscard]] double tvpnl_stageRate(double rate, int32_t stage);

/// Segments that a record of `count` samples gives when `spared` of its steps are left alone: at most `iterations`, and
/// none that reaches beyond the record.
[[nodiscard]] int32_t tvpnl_segments(int32_t count, int32_t length, int32_t overlap, int32_t spared);

/// The bin, `binWidth` apart, that the level at `offset` is taken from, of `bins`. Bin i is held to stand at (i + 1)
/// widths, while its centre is at i; so the level is that of the offset `tvpnl_binOf` x `binWidth`, half to one and a
/// half widths lower (up to one below 100 Hz, where differences count in whole hertz).
[[nodiscard]] int32_t tvpnl_binOf(double offset, double binWidth, int32_t bins);

/// Blackman-Harris window of unit power, in single precision.
void getWindowingWeights(float* weights, int32_t length);
