#include "virtual/dut/oscillator.h"

#include <algorithm>
#include <cmath>

namespace vi {
namespace {

constexpr double secondsPerTick = 1e-9;

/// Slope of the chord from point i to the next.
double chord(const TuneCurve& curve, size_t i) {
    return (curve[i + 1].value - curve[i].value) / (curve[i + 1].tune_V - curve[i].tune_V);
}

/// At an end: of the parabola through three points, held so that the cubic stays between its points.
double endSlope(double length, double lengthNext, double slope, double slopeNext) {
    const double end = ((2 * length + lengthNext) * slope - length * slopeNext) / (length + lengthNext);
    if (end * slope <= 0)
        return 0;
    return slope * slopeNext <= 0 && std::abs(end) > 3 * std::abs(slope) ? 3 * slope : end;
}

/// Slope of the curve at point i: the weighted harmonic mean of its chords (Fritsch and Butland, 1984).
double slopeAt(const TuneCurve& curve, size_t i) {
    const size_t last = curve.size() - 1;
    if (last == 1)
        return chord(curve, 0);
    const auto length = [&curve](size_t k) { return curve[k + 1].tune_V - curve[k].tune_V; };
    if (i == 0)
        return endSlope(length(0), length(1), chord(curve, 0), chord(curve, 1));
    if (i == last)
        return endSlope(length(last - 1), length(last - 2), chord(curve, last - 1), chord(curve, last - 2));
    const double left = chord(curve, i - 1), right = chord(curve, i);
    if (left * right <= 0)
        return 0;
    const double weightLeft = 2 * length(i) + length(i - 1), weightRight = length(i) + 2 * length(i - 1);
    return (weightLeft + weightRight) / (weightLeft / left + weightRight / right);
}

/// Mean of exp(-t/tau) from one time to another.
double meanDecay(double start_s, double end_s, double tau_s) {
    if (tau_s <= 0)
        return 0;
    if (!(end_s > start_s))
        return std::exp(-start_s / tau_s);
    const double span = (end_s - start_s) / tau_s;
    return -std::exp(-start_s / tau_s) * std::expm1(-span) / span;
}

/// The tune voltage as the oscillator has followed it.
double tuneMean_V(const Oscillator& oscillator, const OscillatorState& state, uint64_t start_ns, uint64_t end_ns) {
    const auto since = [&state](uint64_t when_ns) {
        return when_ns > state.since_ns ? double(when_ns - state.since_ns) * secondsPerTick : 0;
    };
    const double start_s = since(start_ns), end_s = since(end_ns);
    return state.tune_V - state.settling_V * meanDecay(start_s, end_s, oscillator.settle_s) -
           state.drifting_V * meanDecay(start_s, end_s, oscillator.drift_s);
}

double tuneAt_V(const Oscillator& oscillator, const OscillatorState& state, uint64_t when_ns) {
    return tuneMean_V(oscillator, state, when_ns, when_ns);
}

} // namespace

double tuneCurve_at(const TuneCurve& curve, double tune_V) {
    if (!(tune_V > curve.front().tune_V))
        return curve.front().value;
    if (tune_V >= curve.back().tune_V)
        return curve.back().value;
    const auto next = std::upper_bound(curve.begin(), curve.end(), tune_V,
                                       [](double volts, const TunePoint& point) { return volts < point.tune_V; });
    const auto i = size_t(next - curve.begin()) - 1;
    const double length = curve[i + 1].tune_V - curve[i].tune_V;
    const double t = (tune_V - curve[i].tune_V) / length, u = 1 - t;
    return curve[i].value * u * u * (1 + 2 * t) + curve[i + 1].value * t * t * (3 - 2 * t) +
           length * t * u * (u * slopeAt(curve, i) - t * slopeAt(curve, i + 1));
}

void oscillator_feed(const Oscillator& oscillator, OscillatorState* state, double tune_V, double supply_V,
                     uint64_t now_ns) {
    const double passed_s = now_ns > state->since_ns ? double(now_ns - state->since_ns) * secondsPerTick : 0;
    const double step_V = tune_V - state->tune_V;
    state->settling_V =
        state->settling_V * meanDecay(passed_s, passed_s, oscillator.settle_s) + (1 - oscillator.driftShare) * step_V;
    state->drifting_V =
        state->drifting_V * meanDecay(passed_s, passed_s, oscillator.drift_s) + oscillator.driftShare * step_V;
    state->tune_V = tune_V;
    state->supply_V = supply_V;
    state->since_ns = std::max(now_ns, state->since_ns);
}

bool oscillator_runs(const Oscillator& oscillator, const OscillatorState& state, uint64_t when_ns) {
    const double tune_V = tuneAt_V(oscillator, state, when_ns);
    return state.supply_V >= supplyShareMin * oscillator.supply_V &&
           !(tune_V >= oscillator.gapFrom_V && tune_V < oscillator.gapTo_V);
}

double oscillator_frequency_Hz(const Oscillator& oscillator, const OscillatorState& state, uint64_t start_ns,
                               uint64_t end_ns) {
    const double tune_V = tuneMean_V(oscillator, state, start_ns, end_ns);
    return tuneCurve_at(oscillator.frequency_Hz, tune_V) + (tune_V >= oscillator.jumpAt_V ? oscillator.jump_Hz : 0) +
           oscillator.pushing_HzPerV * (state.supply_V - oscillator.supply_V);
}

double oscillator_level_dBm(const Oscillator& oscillator, const OscillatorState& state, uint64_t when_ns) {
    return tuneCurve_at(oscillator.level_dBm, tuneAt_V(oscillator, state, when_ns));
}

double oscillator_current_A(const Oscillator& oscillator, const OscillatorState& state, double supply_V) {
    return tuneCurve_at(oscillator.current_A, state.tune_V) * supply_V / oscillator.supply_V;
}

} // namespace vi
