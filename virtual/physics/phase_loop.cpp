#include "virtual/physics/phase_loop.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace vi {
namespace {

constexpr double twoPi = 2 * std::numbers::pi;

constexpr double stepPhase_rad = 0.1;        // the fastest motion of the loop in a step
constexpr double averagedBeyond = 20;        // natural frequencies
constexpr double averagedStep = 0.02;        // change of the beat in an averaged step, relative
constexpr int stepsMax = 500'000;            // of one call
constexpr int stepsBetweenLooks = 8;         // at whether the loop has settled
constexpr double settledPhase_rad = 1e-6;    // from its rest
constexpr double settledRate = 1e-6;         // of the phase, in natural frequencies
constexpr double lockedPhase_rad = 0.7;      // from its rest
constexpr double lockedRate = 0.7;           // of the phase, in natural frequencies
constexpr double averagedPullShare = 0.5;    // of the beat that the filter's direct path may have
constexpr double averagedStepFloor_s = 1e-9; // so that a step always ends

/// The parts of the equations that the circuit fixes.
struct Rates {
    double pull_HzPerV; // 2 pi sensitivity: rad/s per volt
    double direct;      // of the mixer's volts at the tune port
    double fromMixer;   // integrator, V/s per volt of the mixer
    double fromAid;     // integrator, V/s
    double directAid_V; // of the aid at the tune port
    double wn;          // rad/s

    explicit Rates(const LoopCircuit& c)
        : pull_HzPerV(twoPi * c.sensitivity_HzPerV), direct(tuneLoad * c.r2_ohm / c.r1_ohm),
          fromMixer(1 / (c.r1_ohm * c.c_F)), fromAid(c.aidOn ? (aidMiddle_V - c.aid_V) / (c.r3_ohm * c.c_F) : 0),
          directAid_V(tuneLoad * c.r2_ohm * c.c_F * fromAid), wn(loop_naturalFrequency_rad_s(c)) {}
};

struct State {
    double phase, integrator;
};

double withinRails(const LoopCircuit& c, double volts) {
    return std::clamp(volts, 0.0, c.rail_V);
}

State slopeOf(const LoopCircuit& c, const Rates& rates, const State& s, double time) {
    const double v = c.slope_V * std::sin(s.phase);
    const double tune = withinRails(c, s.integrator + rates.direct * v + rates.directAid_V);
    double climb = v * rates.fromMixer + rates.fromAid;
    if ((s.integrator <= 0 && climb < 0) || (s.integrator >= c.rail_V && climb > 0))
        climb = 0;
    return {twoPi * (c.offset_Hz + c.drift_HzPerS * time) - rates.pull_HzPerV * (tune - c.middle_V), climb};
}

State moved(const State& s, const State& slope, double time) {
    return {s.phase + slope.phase * time, s.integrator + slope.integrator * time};
}

void rungeKutta(const LoopCircuit& c, const Rates& rates, State* s, double time) {
    const State a = slopeOf(c, rates, *s, 0);
    const State b = slopeOf(c, rates, moved(*s, a, time / 2), time / 2);
    const State d = slopeOf(c, rates, moved(*s, b, time / 2), time / 2);
    const State e = slopeOf(c, rates, moved(*s, d, time), time);
    s->phase += time / 6 * (a.phase + 2 * b.phase + 2 * d.phase + e.phase);
    s->integrator =
        withinRails(c, s->integrator + time / 6 * (a.integrator + 2 * b.integrator + 2 * d.integrator + e.integrator));
}

/// Rate of the phase as the integrator alone would have it, rad/s.
double slowRate(const LoopCircuit& c, const Rates& rates, double integrator, double time) {
    return twoPi * (c.offset_Hz + c.drift_HzPerS * time) -
           rates.pull_HzPerV * (integrator + rates.directAid_V - c.middle_V);
}

/// Means over a period of phase' = rate - direct pull sin(phase), for |rate| above the pull.
State averagedSlope(const LoopCircuit& c, const Rates& rates, double integrator, double time) {
    const double rate = slowRate(c, rates, integrator, time);
    const double pull = rates.pull_HzPerV * rates.direct * c.slope_V;
    const double mean = std::copysign(std::sqrt(std::max(0.0, rate * rate - pull * pull)), rate);
    const double meanSine = pull / (rate + mean); // (rate - mean)/pull without its cancellation
    double climb = c.slope_V * meanSine * rates.fromMixer + rates.fromAid;
    if ((integrator <= 0 && climb < 0) || (integrator >= c.rail_V && climb > 0))
        climb = 0;
    return {mean, climb};
}

bool averages(const LoopCircuit& c, const Rates& rates, double integrator) {
    const double rate = std::abs(slowRate(c, rates, integrator, 0));
    return rate > averagedBeyond * rates.wn && averagedPullShare * rate > rates.pull_HzPerV * rates.direct * c.slope_V;
}

/// An averaged step of at most `rest` seconds; returns its length.
double averagedAdvance(const LoopCircuit& c, const Rates& rates, State* s, double rest) {
    const State start = averagedSlope(c, rates, s->integrator, 0);
    const double change = std::abs(twoPi * c.drift_HzPerS - rates.pull_HzPerV * start.integrator);
    const double rate = std::abs(slowRate(c, rates, s->integrator, 0));
    double time = rest;
    if (change * time > averagedStep * rate)
        time = std::min(rest, std::max(averagedStep * rate / change, averagedStepFloor_s));
    const State middle = averagedSlope(c, rates, withinRails(c, s->integrator + start.integrator * time / 2), time / 2);
    *s = {s->phase + middle.phase * time, withinRails(c, s->integrator + middle.integrator * time)};
    return time;
}

/// Volts of the mixer at which nothing moves but with the drift.
double restingMixer_V(const LoopCircuit& c, const Rates& rates) {
    const double climb = c.sensitivity_HzPerV > 0 ? c.drift_HzPerS / c.sensitivity_HzPerV : 0;
    return (climb - rates.fromAid) / rates.fromMixer;
}

double restingTune_V(const LoopCircuit& c) {
    return c.sensitivity_HzPerV > 0 ? c.middle_V + c.offset_Hz / c.sensitivity_HzPerV : INFINITY;
}

/// True, with the state, if there is a steady state.
bool restingState(const LoopCircuit& c, State* rest) {
    const Rates rates(c);
    const double v = restingMixer_V(c, rates), tune = restingTune_V(c);
    const double integrator = tune - rates.direct * v - rates.directAid_V;
    if (!c.closed || c.slipping || std::abs(v) >= c.slope_V || tune < 0 || tune > c.rail_V || integrator < 0 ||
        integrator > c.rail_V)
        return false;
    *rest = {std::asin(v / c.slope_V), integrator};
    return true;
}

double distance(double phase, double rest) {
    return std::abs(std::remainder(phase - rest, twoPi));
}

bool near(const PhaseLoop& loop, double phase_rad, double rate) {
    State rest{};
    if (!restingState(loop.circuit, &rest))
        return false;
    const Rates rates(loop.circuit);
    const State slope = slopeOf(loop.circuit, rates, {loop.phase_rad, loop.integrator_V}, 0);
    return distance(loop.phase_rad, rest.phase) < phase_rad && std::abs(slope.phase) < rate * rates.wn;
}

void settle(PhaseLoop* loop) {
    State rest{};
    loop->settled = restingState(loop->circuit, &rest);
    if (loop->settled) {
        loop->phase_rad = rest.phase;
        loop->integrator_V = rest.integrator;
    }
}

/// Follows a drift, up to the rails.
void advanceSettled(PhaseLoop* loop, double seconds) {
    LoopCircuit& c = loop->circuit;
    c.offset_Hz += c.drift_HzPerS * seconds;
    settle(loop);
    if (!loop->settled)
        loop->integrator_V = withinRails(c, restingTune_V(c));
}

void integrate(PhaseLoop* loop, double seconds) {
    LoopCircuit& c = loop->circuit;
    const Rates rates(c);
    const double fastest = rates.wn * (1 + 2 * loop_damping(c));
    State s{loop->phase_rad, loop->integrator_V};
    for (int step = 0; step < stepsMax && seconds > 0; ++step) {
        double time;
        if (averages(c, rates, s.integrator)) {
            time = averagedAdvance(c, rates, &s, seconds);
        } else {
            const double pull = rates.pull_HzPerV * rates.direct * c.slope_V;
            const double rate = std::abs(slowRate(c, rates, s.integrator, 0)) + pull;
            time = std::min(seconds, stepPhase_rad / std::max({fastest, rate, 1e-3}));
            rungeKutta(c, rates, &s, time);
        }
        c.offset_Hz += c.drift_HzPerS * time;
        seconds -= time;
        if (step % stepsBetweenLooks == 0) {
            loop->phase_rad = std::remainder(s.phase, twoPi);
            loop->integrator_V = s.integrator;
            if (near(*loop, settledPhase_rad, settledRate)) {
                advanceSettled(loop, seconds);
                return;
            }
        }
    }
    c.offset_Hz += c.drift_HzPerS * std::max(0.0, seconds);
    loop->phase_rad = std::remainder(s.phase, twoPi);
    loop->integrator_V = s.integrator;
}

} // namespace

void loop_change(PhaseLoop* loop, const LoopCircuit& circuit) {
    if (circuit == loop->circuit)
        return;
    loop->circuit = circuit;
    loop->settled = false;
    if (!circuit.closed)
        loop->integrator_V = circuit.rest_V;
    loop->integrator_V = withinRails(circuit, loop->integrator_V);
}

void loop_advance(PhaseLoop* loop, double seconds) {
    if (!(seconds > 0))
        return;
    LoopCircuit& c = loop->circuit;
    if (!c.closed || c.slope_V <= 0 || c.slipping) {
        const double change = c.drift_HzPerS * seconds;
        const double rate = loop_beat_Hz(*loop) + change / 2;
        loop->phase_rad = std::remainder(loop->phase_rad + twoPi * std::remainder(rate * seconds, 1.0), twoPi);
        c.offset_Hz += change;
        if (c.closed)
            loop->integrator_V = withinRails(c, loop->integrator_V + Rates(c).fromAid * seconds);
        return;
    }
    if (loop->settled)
        advanceSettled(loop, seconds);
    else
        integrate(loop, seconds);
}

double loop_steps(const PhaseLoop& loop, double seconds) {
    const LoopCircuit& c = loop.circuit;
    if (loop.settled || !c.closed || c.slope_V <= 0 || c.slipping)
        return 1;
    const Rates rates(c);
    const double rate = std::abs(slowRate(c, rates, loop.integrator_V, 0));
    return seconds / stepPhase_rad * std::max(rate, rates.wn * (1 + 2 * loop_damping(c)));
}

double loop_mixer_V(const PhaseLoop& loop) {
    return loop.circuit.slope_V * std::sin(loop.phase_rad);
}

double loop_tune_V(const PhaseLoop& loop) {
    const LoopCircuit& c = loop.circuit;
    if (!c.closed)
        return withinRails(c, c.rest_V);
    const Rates rates(c);
    return withinRails(c, loop.integrator_V + rates.direct * loop_mixer_V(loop) + rates.directAid_V);
}

double loop_beat_Hz(const PhaseLoop& loop) {
    const LoopCircuit& c = loop.circuit;
    if (c.closed && c.slipping) // on average over the noise
        return slowRate(c, Rates(c), loop.integrator_V, 0) / twoPi;
    return c.offset_Hz - c.sensitivity_HzPerV * (loop_tune_V(loop) - c.middle_V);
}

bool loop_locked(const PhaseLoop& loop) {
    return loop.settled || (loop.circuit.slope_V > 0 && near(loop, lockedPhase_rad, lockedRate));
}

double loop_pull_Hz(const LoopCircuit& c) {
    return c.sensitivity_HzPerV * tuneLoad * c.r2_ohm / c.r1_ohm * c.slope_V;
}

double loop_naturalFrequency_rad_s(const LoopCircuit& c) {
    return std::sqrt(twoPi * c.sensitivity_HzPerV * c.slope_V / (c.r1_ohm * c.c_F));
}

double loop_damping(const LoopCircuit& c) {
    return tuneLoad * c.r2_ohm * c.c_F * loop_naturalFrequency_rad_s(c) / 2;
}

std::complex<double> loop_error(double wn_rad_s, double damping, double offset_Hz) {
    const std::complex<double> jw(0, twoPi * offset_Hz);
    return jw * jw / (jw * jw + 2 * damping * wn_rad_s * jw + wn_rad_s * wn_rad_s);
}

} // namespace vi
