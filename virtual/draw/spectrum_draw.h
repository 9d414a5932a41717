#pragma once
/// What the acquisition board delivers for a stage, drawn from its exact distribution.
///
/// A point is the average over n records of X conj(Y), or of |X|^2. X and Y are circular complex normal with densities
/// Sxx, Syy and cross density Sxy, plus, at a discrete line, a phasor of fixed amplitude and of a phase that both
/// channels share. The average of the products is drawn at once, whatever n is: sum |X|^2 is gamma, and given X the sum
/// of X conj(Y) is normal around conj(Sxy)/Sxx times it.

#include "virtual/draw/random.h"

#include <complex>
#include <cstdint>
#include <span>
#include <vector>

namespace vi {

/// One point as the board sends it: V^2/Hz, two-sided.
struct SpectrumPoint {
    float re, im;
};
static_assert(sizeof(SpectrumPoint) == 8);

/// A discrete line where it stands out of the noise at a point.
struct LineAtPoint {
    uint32_t point;
    std::complex<double> x, y; // amplitude in both channels, V/sqrt(Hz)
};

/// Expectations of one stage, an entry a point.
struct StageExpectation {
    std::vector<double> sxx, syy;     // noise densities, V^2/Hz
    std::vector<double> sxyRe, sxyIm; // noise cross density <X conj(Y)>, V^2/Hz
    std::vector<double> spread;       // sqrt(Sxx Syy - |Sxy|^2), V^2/Hz
    std::vector<LineAtPoint> lines;
};

/// `records` at least 1; `out` as long as the expectation.
void spectrum_drawCross(RandomStream& stream, const StageExpectation& stage, uint32_t records,
                        std::span<SpectrumPoint> out);

enum class DrawChannel { x, y };

/// The own spectrum of one channel; imaginary parts 0.
void spectrum_drawOwn(RandomStream& stream, const StageExpectation& stage, DrawChannel channel, uint32_t records,
                      std::span<SpectrumPoint> out);

/// Amplitude of a line `points` points away from a point, relative to one that stands on it: the four-term
/// Blackman-Harris window (92 dB).
[[nodiscard]] double window_response(double points);
/// Equivalent noise bandwidth of the window as the board scales it, in points.
inline constexpr double windowNoiseBandwidth_points = 2.0;

} // namespace vi
