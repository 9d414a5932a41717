#pragma once
/// Phase noise of both channels as a function of time, with the spectra and the coherence that the curves ask for.

#include "virtual/random.h"

#include <array>
#include <cmath>
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

/// Phase of channel A as the real part and of channel B as the imaginary part of each entry, rad, `samples` entries
/// (at least 2) at the rate. `at(offset_Hz)` tells the densities; it is called at ascending offsets some three percent
/// apart. Nothing slower than the record is in it, and nothing faster than half of the rate.
template <class At>
std::vector<std::complex<double>> noiseRecord_draw(RandomStream& stream, uint32_t samples, double rate_Hz, At at);

/// In place, length a power of two, sign +1 in the exponent, unscaled.
void noiseRecord_transform(std::span<std::complex<double>> values);

/// Length of the transform that holds `samples`.
[[nodiscard]] uint32_t noiseRecord_length(uint32_t samples);

template <class At>
std::vector<std::complex<double>> noiseRecord_draw(RandomStream& stream, uint32_t samples, double rate_Hz, At at) {
    using Complex = std::complex<double>;
    constexpr double finest = 1.03;
    const uint32_t length = noiseRecord_length(samples);
    const double spacing_Hz = rate_Hz / length;
    std::vector<Complex> values(length);
    NoiseAtOffset noise{};
    double known_Hz = 0;
    const auto draw = [&](double density) {
        const double deviation = std::sqrt(density * spacing_Hz / 2);
        const double re = random_normal(stream), im = random_normal(stream);
        return Complex(deviation * re, deviation * im);
    };
    for (uint32_t k = 1; k < length / 2; ++k) {
        const double offset_Hz = k * spacing_Hz;
        if (offset_Hz > known_Hz * finest) {
            noise = at(offset_Hz);
            known_Hz = offset_Hz;
        }
        const Complex common = draw(noise.common), ownA = draw(noise.own[0]), ownB = draw(noise.own[1]);
        const Complex a = noise.error[0] * (noise.share[0] * common - ownA);
        const Complex b = noise.error[1] * (noise.share[1] * common - ownB);
        const Complex i(0, 1);
        values[k] = a + i * b;
        values[length - k] = std::conj(a) + i * std::conj(b);
    }
    noiseRecord_transform(values);
    values.resize(samples);
    return values;
}

} // namespace vi
