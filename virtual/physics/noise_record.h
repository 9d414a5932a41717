#pragma once
/// Phase noise of both channels as a function of time, with the spectra and the coherence that the curves ask for.

#include "virtual/draw/large_vector.h"
#include "virtual/draw/random.h"

#include <algorithm>
#include <array>
#include <bit>
#include <complex>
#include <cstdint>
#include <span>
#include <vector>

namespace vi {

/// Phase noise at an offset: densities (single sideband, 1/Hz) of what both channels have in common and of what each
/// has alone, the share of the common part that gets to each channel, and what the channel's loop lets through.
struct NoiseAtOffset {
    double common;
    std::array<double, 2> own, share;
    std::array<std::complex<double>, 2> error;
};

/// Phases of the channels, rad: channel A's is the real part, B's the imaginary part. It may be drawn anew, into the
/// memory that it has, and may have room for more values than were drawn last.
struct NoiseRecord {
    LargeVector<std::complex<float>> values;
};

/// Length of the transform that holds `samples`.
[[nodiscard]] constexpr uint32_t noiseRecord_length(uint32_t samples) {
    return std::bit_ceil(std::max(samples, 4U));
}

/// The lines of the spectrum from `first` up to the next band's first.
struct NoiseBand {
    uint32_t first;
    NoiseAtOffset noise;
};

/// `samples` phases, at least 2, at the rate. `bands` ascend from line 1; the lines lie rate / length apart. Nothing
/// slower than the record is in it, and nothing faster than half of the rate. A seed gives the same phases everywhere,
/// but for the rounding of the transform, which chooses its steps by the processor.
void noiseRecord_drawBands(RandomStream& stream, uint32_t samples, double rate_Hz, std::span<const NoiseBand> bands,
                           NoiseRecord* record);

/// The same with the densities that `at(offset_Hz)` tells; it is asked at ascending offsets some three percent apart.
template <class At>
void noiseRecord_draw(RandomStream& stream, uint32_t samples, double rate_Hz, At at, NoiseRecord* record) {
    constexpr double finest = 1.03;
    const uint32_t length = noiseRecord_length(samples);
    std::vector<NoiseBand> bands;
    for (uint32_t k = 1; k < length / 2; k = std::max(k + 1, static_cast<uint32_t>(k * finest + 1)))
        bands.push_back({k, at(k * rate_Hz / length)});
    noiseRecord_drawBands(stream, samples, rate_Hz, bands, record);
}

/// Puts the sums of value k times exp(+2 pi i k t / length) for each t in the place of the first `length` values: a
/// power of two of them.
void noiseRecord_transform(LargeVector<std::complex<float>>& values, uint32_t length);

} // namespace vi
