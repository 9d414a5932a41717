#pragma once
/// The measurement loop of one channel in the time domain: mixer, active filter with its acquisition aid, tuned source.
///
///   d(phase)/dt      = 2 pi (offset - sensitivity (V - middle))
///   d(integrator)/dt = v/(R1 C) + (2.5 V - aid)/(R3 C)                      v = slope sin(phase)
///   V                = integrator + 0.8 R2 (v/R1 + (2.5 V - aid)/R3)
///
/// The terms of the aid are there with the aid on; its current goes the way of the mixer's, through R2 and C, so that a
/// loop that holds against it still holds when it goes. Integrator and V stay between 0 V and the rail. Linearised, a
/// loop of second order and type 2: wn^2 = K/(R1 C) and damping 0.8 R2 C wn/2 with K = 2 pi sensitivity slope; 0.8, as
/// the tune port loads the filter.

#include <complex>

namespace vi {

inline constexpr double tuneLoad = 0.8;
inline constexpr double aidMiddle_V = 2.5; // at this voltage the acquisition aid drives nothing

/// What the boards have set up. Resistances and capacitance are above 0.
struct LoopCircuit {
    bool closed;               // else the tune voltage is `rest_V`, and the integrator follows it
    double offset_Hz;          // carrier behind its prescaler less the source at its middle
    double drift_HzPerS;       // of `offset_Hz`
    double sensitivity_HzPerV; // of the source
    double middle_V;           // tune voltage at which the source stands where it was set
    double rail_V;
    double rest_V;
    double slope_V; // of the mixer, per rad; 0 without carrier or source
    double r1_ohm, r2_ohm, r3_ohm, c_F;
    bool aidOn;
    double aid_V;
    bool slipping; // noise throws the phase about: no lock, and on average the mixer drives nothing

    friend bool operator==(const LoopCircuit&, const LoopCircuit&) = default;
};

struct PhaseLoop {
    LoopCircuit circuit;
    double phase_rad; // at the mixer, 0 in quadrature
    double integrator_V;
    bool settled; // stands in its steady state; nothing to integrate until the circuit changes
};

/// Puts `circuit` in force at the present moment.
void loop_change(PhaseLoop* loop, const LoopCircuit& circuit);

/// Lets time pass. Costs nothing while the loop is open or settled; a beat beyond 20 natural frequencies is averaged
/// over its periods. A loop that finds no rest is followed for half a million steps a call at most, and stands still
/// for what remains.
void loop_advance(PhaseLoop* loop, double seconds);

/// Steps that so much time would take, about.
[[nodiscard]] double loop_steps(const PhaseLoop& loop, double seconds);

[[nodiscard]] double loop_mixer_V(const PhaseLoop& loop); // before the IF gain
[[nodiscard]] double loop_tune_V(const PhaseLoop& loop);
[[nodiscard]] double loop_beat_Hz(const PhaseLoop& loop); // rate of the phase
/// Within the loop's hold: closed, not slipping, and near its rest.
[[nodiscard]] bool loop_locked(const PhaseLoop& loop);

/// How far the mixer at its peak tunes the source through the filter's direct path.
[[nodiscard]] double loop_pull_Hz(const LoopCircuit& circuit);
[[nodiscard]] double loop_naturalFrequency_rad_s(const LoopCircuit& circuit);
[[nodiscard]] double loop_damping(const LoopCircuit& circuit); // in force
/// What the loop lets through to the tap at an offset.
[[nodiscard]] std::complex<double> loop_error(double wn_rad_s, double damping, double offset_Hz);

} // namespace vi
