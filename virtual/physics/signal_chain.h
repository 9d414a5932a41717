#pragma once
/// From the carrier to the ADC, both channels: prescaler, mixer against a reference of its own, phase-locked loop, IF
/// gain. The channels are unequal on purpose: detector slope, gain, noise and tuning of B differ from A's.
///
/// With h = k G E / p the two-sided densities at the ADC are |h|^2 (L_dut + p^2 L_ref) + n for a channel's own spectrum
/// and h_A conj(h_B) L_dut for the cross spectrum, L the single-sideband noise as a ratio per Hz.

#include "virtual/boards/unit_truth.h"
#include "virtual/draw/spectrum_draw.h"
#include "virtual/dut/dut.h"

#include <array>
#include <complex>
#include <cstdint>

namespace vi {

enum Channel { channelA = 0, channelB = 1 };
inline constexpr int channels = 2;

/// What drives a mixer: a source board on one of its references, or the oscillator at the reference input.
enum class Reference { ocxo10MHzTimes100 = 0, crystal100MHz = 1, resonator1GHz = 2, lowNoisePll = 3, external = 4 };

/// What a channel's spectrum depends on.
struct ChannelChain {
    bool carrier; // the loop holds the mixer on the carrier; else only the noise behind the mixer is left
    double mixer_Hz;
    uint32_t prescaler;
    Reference reference;
    double slope_V; // of the mixer, per rad
    double ifGain_dB;
    const IfTruth* ifTruth;   // what it has over its nominal gain; null: nothing
    size_t ifStage;           // of its gain
    double ifBandwidth_Hz;    // of the filter in force; 0: none
    double wn_rad_s, damping; // of the loop in force
    double highPass_Hz;       // of the IF chain: lets f/(f + highPass_Hz) through; 0: none
    double highPass2_Hz;      // one more

    friend bool operator==(const ChannelChain&, const ChannelChain&) = default;
};
using SignalChain = std::array<ChannelChain, channels>;

/// Slope of a mixer in V/rad with a carrier so far above the level that switches it, at 0 dB IF gain and before what
/// the IF chain deviates from its nominal gain.
[[nodiscard]] double chain_mixerSlope(double mixer_Hz, double drive_dB, Channel channel);
/// The IF chain's true gain, a ratio.
[[nodiscard]] double chain_ifGain(double ifGain_dB, Channel channel);
/// What an IF chain has over its nominal gain, a ratio; 1 without a truth.
[[nodiscard]] double chain_ifExcess(const IfTruth* truth, size_t stage, double offset_Hz);
/// What a filter of the IF chain lets through: within 0.1 dB up to its bandwidth, falling steeply beyond. 1 without
/// one.
[[nodiscard]] double chain_ifFilter(double bandwidth_Hz, double offset_Hz);
/// Tuning sensitivity of a source board at 100 MHz, Hz/V; proportional to its frequency.
[[nodiscard]] double chain_sensitivity_HzPerV(Reference reference, Channel channel);
inline constexpr double sensitivityStated_Hz = 100e6;

/// Noise of what drives the channel's mixer there as a ratio per Hz, single sideband.
[[nodiscard]] double chain_referenceNoise(Reference reference, Channel channel, const Dut& dut, double mixer_Hz,
                                          double offset_Hz);
/// Noise behind the mixer at the ADC, two-sided, V^2/Hz.
[[nodiscard]] double chain_background(double ifGain_dB, Channel channel);

/// What remains of the phase noise at the mixer inside the loop, rad^2, offsets up to 50 MHz.
[[nodiscard]] double chain_phaseErrorVariance(const ChannelChain& chain, Channel channel, const Dut& dut);

/// Fills `stage` for `points` (at least 2) points from 0 Hz to half of the sample rate.
void chain_expect(const SignalChain& chain, const Dut& dut, double sampleRate_Hz, uint32_t points,
                  StageExpectation* stage);

/// A line that gets into both IF chains alike, behind the mixers: amplitude at the ADC at 0 dB IF gain.
inline constexpr double pickup_Hz = 40e3, pickup_V = 0.05;

} // namespace vi
