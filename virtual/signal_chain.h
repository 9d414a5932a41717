#pragma once
/// From the carrier to the ADC, both channels: prescaler, mixer against a reference of its own, phase-locked loop, IF
/// gain. The channels are unequal on purpose: detector slope, gain, noise and loop of B differ from A's.
///
/// With h = k G E / p the two-sided densities at the ADC are |h|^2 (L_dut + p^2 L_ref) + n for a channel's own spectrum
/// and h_A conj(h_B) L_dut for the cross spectrum, L the single-sideband noise as a ratio per Hz.

#include "virtual/dut.h"
#include "virtual/spectrum_draw.h"

#include <cstdint>

namespace vi {

enum Channel { channelA = 0, channelB = 1 };
inline constexpr int channels = 2;

/// The reference that both source boards run on.
enum class Reference { ocxo10MHzTimes100 = 0, crystal100MHz = 1, resonator1GHz = 2, lowNoisePll = 3 };

/// Type-2 loop, channel A. The tune port loads the filter: the damping in force is 0.8 of the filter's.
struct Loop {
    double wn_rad_s;
    double filterDamping;
};

struct SignalChain {
    uint32_t prescaler;
    Reference reference;
    int ifGain_dB;
    Loop loop;
};

/// Slope of the mixer with its prescaler in front, volts at the ADC per radian, at 0 dB IF gain.
[[nodiscard]] double chain_detectorSlope(const SignalChain& chain, const Dut& dut, Channel channel);

/// What remains of the phase noise at the mixer inside the loop of channel A, rad^2, offsets up to 50 MHz.
[[nodiscard]] double chain_phaseErrorVariance(const SignalChain& chain, const Dut& dut);

/// Fills `stage` for `points` (at least 2) points from 0 Hz to half of the sample rate. Without a carrier (`carrier`
/// false) only the noise behind the mixer is left.
void chain_expect(const SignalChain& chain, const Dut& dut, bool carrier, double sampleRate_Hz, uint32_t points,
                  StageExpectation* stage);

} // namespace vi
