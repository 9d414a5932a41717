// The loop against the linear theory of the second order and against plain integration in fine steps.
#include "virtual/physics/phase_loop.h"

#include <cmath>
#include <gtest/gtest.h>
#include <numbers>

using namespace vi;

namespace {

constexpr double twoPi = 2 * std::numbers::pi;

/// A loop of 100 Hz and a damping of 0.96 in force.
LoopCircuit usual() {
    LoopCircuit c{};
    c.closed = true;
    c.sensitivity_HzPerV = 250;
    c.middle_V = 7.2;
    c.rail_V = 15;
    c.rest_V = 7.2;
    c.slope_V = 0.45;
    c.c_F = 9.4e-7;
    const double wn = twoPi * 100;
    c.r1_ohm = twoPi * c.sensitivity_HzPerV * c.slope_V / (wn * wn * c.c_F);
    c.r2_ohm = 2.4 / (wn * c.c_F);
    c.r3_ohm = c.r1_ohm / 2;
    c.aid_V = 2.5;
    return c;
}

PhaseLoop started(const LoopCircuit& circuit, double phase_rad, double integrator_V) {
    return {circuit, phase_rad, integrator_V, false};
}

double signOfOffset(double offset_Hz) {
    return offset_Hz < 0 ? -1 : 1;
}

/// Euler's way in steps of 20 ns, on the equations as the header states them.
void plainly(PhaseLoop* loop, double seconds) {
    const LoopCircuit& c = loop->circuit;
    constexpr double step_s = 2e-8;
    for (double t = 0; t < seconds; t += step_s) {
        const double v = c.slope_V * std::sin(loop->phase_rad), aid = c.aidOn ? 2.5 - c.aid_V : 0;
        const double current = v / c.r1_ohm + aid / c.r3_ohm;
        const double tune = std::clamp(loop->integrator_V + 0.8 * c.r2_ohm * current, 0.0, c.rail_V);
        loop->phase_rad += step_s * twoPi * (c.offset_Hz - c.sensitivity_HzPerV * (tune - c.middle_V));
        loop->integrator_V = std::clamp(loop->integrator_V + step_s * current / c.c_F, 0.0, c.rail_V);
    }
}

} // namespace

TEST(PhaseLoop, ASmallStepSettlesAsTheLinearLoopDoes) {
    for (const double dampingScale : {0.4, 1.0, 2.5}) {
        LoopCircuit circuit = usual();
        circuit.r2_ohm *= dampingScale;
        const double wn = loop_naturalFrequency_rad_s(circuit), z = loop_damping(circuit);
        EXPECT_NEAR(wn, twoPi * 100, 1e-9);
        EXPECT_NEAR(z, 0.96 * dampingScale, 1e-12);
        // Of a phase step, the response s/(s^2 + 2 z wn s + wn^2) times s.
        const std::complex<double> root = std::sqrt(std::complex<double>(z * z - 1));
        const std::complex<double> p1 = wn * (-z + root), p2 = wn * (-z - root);
        constexpr double step_rad = 0.01;
        PhaseLoop loop = started(circuit, step_rad, circuit.middle_V);
        for (int i = 1; i <= 20; ++i) {
            loop_advance(&loop, 3e-4);
            const double t = i * 3e-4;
            const double expected = step_rad * ((p1 * std::exp(p1 * t) - p2 * std::exp(p2 * t)) / (p1 - p2)).real();
            EXPECT_NEAR(loop.phase_rad, expected, step_rad * 2e-4) << t << " s, damping " << z;
        }
        loop_advance(&loop, 1);
        EXPECT_TRUE(loop.settled);
        EXPECT_EQ(loop.phase_rad, 0);
        EXPECT_NEAR(loop_tune_V(loop), circuit.middle_V, 1e-12);
    }
}

TEST(PhaseLoop, TheErrorFunctionIsWhatALoopLeavesOfASlowModulation) {
    const std::pair<double, double> cases[] = {
        {1, 1e-4}, {10, 0.01 / (1 + 0.01 * (4 * 0.96 * 0.96 - 2) / 2)}, {1e5, 1}};
    for (const auto& [offset_Hz, size] : cases)
        EXPECT_NEAR(std::abs(loop_error(twoPi * 100, 0.96, offset_Hz)) / size, 1, 0.01) << offset_Hz;
}

TEST(PhaseLoop, ItPullsInFromBothSidesWithTheAid) {
    // As far off as 0.9 of what 5 V tune, from either end of the tune voltages, with the aid pushing the right way.
    for (const double offset_Hz : {-1125.0, 1125.0})
        for (const double start_V : {0.0, 15.0}) {
            LoopCircuit circuit = usual();
            circuit.offset_Hz = offset_Hz;
            const double goal_V = circuit.middle_V + offset_Hz / circuit.sensitivity_HzPerV;
            circuit.aidOn = true;
            circuit.r1_ohm *= 0.3;
            circuit.aid_V = start_V < goal_V ? 2.0 : 3.0;
            PhaseLoop loop = started(circuit, 1, start_V);
            loop_advance(&loop, 0.1);
            EXPECT_TRUE(loop_locked(loop)) << offset_Hz << " Hz from " << start_V << " V";
            EXPECT_NEAR(loop_tune_V(loop), goal_V, 0.01);
            const double held_V = (circuit.aid_V - 2.5) * circuit.r1_ohm / circuit.r3_ohm;
            EXPECT_NEAR(loop_mixer_V(loop), held_V, 0.01) << "the mixer stands against the aid";
            circuit.aidOn = false;
            loop_change(&loop, circuit);
            loop_advance(&loop, 0.1);
            EXPECT_TRUE(loop.settled) << "and holds when the aid goes";
            EXPECT_EQ(loop_mixer_V(loop), 0);
        }
}

TEST(PhaseLoop, AnAveragedPullInGoesAsFastAsTheTrueOne) {
    for (const bool aid : {false, true}) {
        LoopCircuit circuit = usual();
        circuit.offset_Hz = 2600; // 26 natural frequencies
        circuit.aidOn = aid;
        circuit.aid_V = 2.45;
        // A quarter turn on, the ripple of the integrator starts at its mean.
        PhaseLoop loop = started(circuit, std::numbers::pi / 2, 7.2), truth = loop;
        loop_advance(&loop, 0.03);
        plainly(&truth, 0.03);
        constexpr double ripple_V = 0.016;
        EXPECT_NEAR(loop.integrator_V, truth.integrator_V, ripple_V + 0.01 * (truth.integrator_V - 7.2));
        EXPECT_GT(loop.integrator_V, 7.45);
    }
    LoopCircuit circuit = usual();
    circuit.offset_Hz = 700; // nearer, every turn is followed
    circuit.aidOn = true;
    circuit.aid_V = 2.45;
    PhaseLoop loop = started(circuit, 0.3, 7.2), truth = loop;
    loop_advance(&loop, 0.02);
    plainly(&truth, 0.02);
    EXPECT_NEAR(loop.integrator_V, truth.integrator_V, 1e-3);
    EXPECT_NEAR(std::remainder(loop.phase_rad - truth.phase_rad, twoPi), 0, 0.02);
}

TEST(PhaseLoop, ItHoldsADriftUpToTheRail) {
    for (const double drift : {-100.0, 100.0}) {
        LoopCircuit circuit = usual();
        circuit.drift_HzPerS = drift;
        PhaseLoop loop = started(circuit, 0, 7.2);
        loop_advance(&loop, 5);
        EXPECT_TRUE(loop.settled);
        EXPECT_NEAR(loop_tune_V(loop), 7.2 + 5 * drift / 250, 1e-6);
        const double wn = loop_naturalFrequency_rad_s(circuit);
        EXPECT_NEAR(std::sin(loop.phase_rad), twoPi * drift / (wn * wn), 1e-9) << "what a loop of type 2 leaves";
        loop_advance(&loop, 20);
        EXPECT_FALSE(loop_locked(loop));
        EXPECT_EQ(loop_tune_V(loop), drift > 0 ? 15 : 0);
        EXPECT_NEAR(loop_beat_Hz(loop) * signOfOffset(drift), 25 * 100 - (drift > 0 ? 7.8 : 7.2) * 250, 1e-6);
    }
}

TEST(PhaseLoop, WhatCannotLockDoesNot) {
    LoopCircuit open = usual(), slipping = usual(), deaf = usual();
    open.closed = false;
    open.offset_Hz = 1234;
    slipping.slipping = true;
    deaf.sensitivity_HzPerV = 0;
    deaf.offset_Hz = 10;
    for (const LoopCircuit& circuit : {open, slipping, deaf}) {
        PhaseLoop loop = started(circuit, 0.1, 7.2);
        loop_advance(&loop, 1);
        EXPECT_FALSE(loop_locked(loop));
    }
    PhaseLoop loop = started(open, 0.1, 7.2);
    loop_advance(&loop, 0.25e-3);
    EXPECT_NEAR(loop.phase_rad, 0.1 + twoPi * 1234 * 0.25e-3, 1e-9);
    open.rest_V = 8.2;
    loop_change(&loop, open);
    EXPECT_NEAR(loop_beat_Hz(loop), 1234 - 250, 1e-9);
    open.closed = true;
    loop_change(&loop, open);
    EXPECT_EQ(loop.integrator_V, 8.2) << "it starts from where it rested";
}
