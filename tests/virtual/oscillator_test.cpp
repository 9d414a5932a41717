#include "virtual/dut/oscillator.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>

using namespace vi;

namespace {

constexpr uint64_t second = 1'000'000'000, millisecond = 1'000'000;

/// 10 MHz/V from 100 MHz at 0 V on, with 12 V.
Oscillator linear() {
    return {{{0, 100e6}, {10, 200e6}}, 2e5, 12, {{0, 0.02}, {10, 0.03}}, {{0, 5}}, 0, 0, 0, 0, 0, INFINITY, 0};
}

OscillatorState fed(const Oscillator& oscillator, double tune_V, double supply_V) {
    OscillatorState state;
    oscillator_feed(oscillator, &state, tune_V, supply_V, second);
    return state;
}

} // namespace

TEST(Oscillator, ItsCurveGoesThroughItsPointsAndNeverBack) {
    const TuneCurve curves[] = {{{0, 0}, {1, 1}, {2, 100}, {3, 101}, {10, 102}}, // a steep step
                                {{-2, 30}, {0, 20}, {0.1, 1}, {8, 0}},
                                {{0, 1}, {4, 3}}};
    for (const TuneCurve& curve : curves) {
        for (const TunePoint& point : curve)
            EXPECT_DOUBLE_EQ(tuneCurve_at(curve, point.tune_V), point.value);
        const double direction = curve.back().value > curve.front().value ? 1 : -1;
        for (double volts = -3, before = tuneCurve_at(curve, -4); volts < 12; volts += 0.01) {
            const double value = tuneCurve_at(curve, volts);
            ASSERT_GE(direction * (value - before), 0) << volts;
            before = value;
        }
    }
    const TuneCurve parabola{{0, 0}, {1, 11}, {2, 24}, {3, 39}}; // x (10 + x)
    EXPECT_NEAR(tuneCurve_at(parabola, 1.5), 1.5 * 11.5, 0.02);
    EXPECT_EQ(tuneCurve_at({{7, 3}}, 1e9), 3);
}

TEST(Oscillator, ItFollowsItsTunePortWithTwoLagsAndACounterSeesTheMean) {
    Oscillator oscillator = linear();
    oscillator.settle_s = 1e-3;
    oscillator.driftShare = 0.1;
    oscillator.drift_s = 0.5;
    OscillatorState state = fed(oscillator, 4, 12);
    oscillator_feed(oscillator, &state, 2, 12, second + 2 * millisecond); // while it still settles
    const auto follows = [](double t_s) {                                 // of the volts that are there in the end
        const auto lag = [=](double since_s) {
            return 0.9 * std::exp(-since_s / 1e-3) + 0.1 * std::exp(-since_s / 0.5);
        };
        return 2 - 4 * lag(t_s + 2e-3) + 2 * lag(t_s);
    };
    for (const double t_s : {0.0, 0.5e-3, 5e-3, 0.4}) {
        const auto moment = second + 2 * millisecond + static_cast<uint64_t>(t_s * 1e9);
        EXPECT_NEAR(oscillator_frequency_Hz(oscillator, state, moment, moment), 100e6 + 10e6 * follows(t_s), 1e-3);
        constexpr int steps = 2000;
        constexpr double gate_s = 10e-3;
        double sum = 0;
        for (int i = 0; i < steps; ++i)
            sum += follows(t_s + (i + 0.5) * gate_s / steps);
        EXPECT_NEAR(oscillator_frequency_Hz(oscillator, state, moment, moment + 10 * millisecond),
                    100e6 + 10e6 * sum / steps, 10);
    }
}

TEST(Oscillator, ItRunsOnItsSupplyOutsideItsGap) {
    Oscillator oscillator = linear();
    oscillator.gapFrom_V = 3;
    oscillator.gapTo_V = 4;
    oscillator.jumpAt_V = 6;
    oscillator.jump_Hz = 5e6;
    const struct {
        double tune_V, supply_V;
        bool runs;
        double frequency_Hz, current_A;
    } rows[] = {
        {0, 12, true, 100e6, 0.02},
        {0, 0, false, 97.6e6, 0},
        {0, 7, false, 99e6, 0.02 * 7 / 12},
        {0, 12.2, true, 100.04e6, 0.2441 / 12},
        {2.999, 12, true, 129.99e6, 0.022999},
        {3, 12, false, 130e6, 0.023},
        {4, 12, true, 140e6, 0.024},
        {6, 12, true, 165e6, 0.026},
        {0, 20, true, 101.6e6, 0.02 * 20 / 12},
    };
    for (const auto& [tune_V, supply_V, runs, frequency_Hz, current_A] : rows) {
        SCOPED_TRACE(testing::Message() << tune_V << " V, " << supply_V << " V");
        const OscillatorState state = fed(oscillator, tune_V, supply_V);
        EXPECT_EQ(oscillator_runs(oscillator, state, second), runs);
        EXPECT_NEAR(oscillator_frequency_Hz(oscillator, state, second, second), frequency_Hz, 1e-3);
        EXPECT_NEAR(oscillator_current_A(oscillator, state, supply_V), current_A, 1e-5);
    }
}
