#pragma once
/// An oscillator that the instrument supplies and tunes. Its tune port follows with two lags: the settling, and the
/// much slower drift after a step, for a share of it.

#include <cstdint>
#include <vector>

namespace vi {

struct TunePoint {
    double tune_V, value;
};

/// A figure over the tune voltage: cubics through the points that rise and fall with them and never overshoot, beyond
/// them as at the ends. One point is a constant.
using TuneCurve = std::vector<TunePoint>; // ascending
[[nodiscard]] double tuneCurve_at(const TuneCurve& curve, double tune_V);

struct Oscillator {
    TuneCurve frequency_Hz; // at `supply_V`
    double pushing_HzPerV;
    double supply_V; // nominal
    TuneCurve current_A;
    TuneCurve level_dBm; // at the instrument's input
    double settle_s;
    double driftShare, drift_s;
    double gapFrom_V, gapTo_V; // it stands from here to below there
    double jumpAt_V, jump_Hz;  // from here on it is so much higher
};

/// Below this share of its supply it stands; above that one it would not live long.
inline constexpr double supplyShareMin = 0.6, supplyShareMax = 1.2;

/// What the oscillator hangs on, and how far it has followed.
struct OscillatorState {
    double tune_V = 0, supply_V = 0;       // at its ports
    double settling_V = 0, drifting_V = 0; // by how much it lags behind, at `since_ns`
    uint64_t since_ns = 0;
};

/// New voltages at its ports from a moment on.
void oscillator_feed(const Oscillator& oscillator, OscillatorState* state, double tune_V, double supply_V,
                     uint64_t now_ns);
/// It oscillates at a moment.
[[nodiscard]] bool oscillator_runs(const Oscillator& oscillator, const OscillatorState& state, uint64_t when_ns);
/// Its frequency, were it running: the mean from one moment to another, as a counter has it.
[[nodiscard]] double oscillator_frequency_Hz(const Oscillator& oscillator, const OscillatorState& state,
                                             uint64_t start_ns, uint64_t end_ns);
[[nodiscard]] double oscillator_level_dBm(const Oscillator& oscillator, const OscillatorState& state, uint64_t when_ns);
/// What it draws from a supply of so many volts.
[[nodiscard]] double oscillator_current_A(const Oscillator& oscillator, const OscillatorState& state, double supply_V);

} // namespace vi
