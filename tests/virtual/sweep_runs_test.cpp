// The sweep of an oscillator on every unit that tunes one, against what its outputs really give and what the oscillator
// makes of that.
#include "measure/run/run_settings.h"
#include "measure/run/vco_measure.h"
#include "measure/run/vco_results.h"
#include "run_fixture.h"
#include "virtual/platform/clock.h"

#include <gmock/gmock-matchers.h>

using namespace vi;

namespace {

constexpr const char* low2B = "220-334206910-0001"; // with supplies up to 5.2 V
constexpr const char* low2C = "220-335206910-0001";
constexpr const char* low2D = "220-336206910-0001";
constexpr const char* unitsThatTune[] = {board2B, board2C, board2D, low2B, low2C, low2D, board2DFirstFpga};

constexpr size_t points = 20;
constexpr double spots_Hz[] = {1e4, 1e5, 1e6, 1e7};
constexpr double gate_s = 0.01;

/// Without any lag; 4 V suit every unit.
Oscillator oscillatorOf(TuneCurve frequency_Hz, double pushing_HzPerV) {
    return {std::move(frequency_Hz),
            pushing_HzPerV,
            4,
            {{0, 0.02}, {10, 0.03}},
            {{0, 4}, {10, 8}},
            0,
            0,
            0,
            0,
            0,
            INFINITY,
            0};
}

class SweepTest : public RunTest {
protected:
    /// A sweep of everything over so many volts from 0.5 V on.
    void attachTuned(const Oscillator& oscillator, const char* serial, double span_V = 9, double louder_dB = 0) {
        oscillator_ = oscillator;
        Dut dut{1, 7, {{{1, -24}, {1e3, -84}, {1e4, -105}, {1e5, -124}, {1e6, -145}, {1e7, -155}}}, {}, {}};
        for (NoisePoint& point : dut.noise.points)
            point.level_dBcHz += louder_dB;
        dut.oscillator = oscillator;
        attach(dut, serial);
        config_setMeasurementMode(device, measurementModeVCO);
        configVCO.voltageStart = 0.5;
        configVCO.voltageStop = 0.5 + span_V;
        configVCO.voltagePoints = points;
        configVCO.dutType = 0;
        configVCO.tuneDelay = 0;
        for (const auto enabled :
             {&VcoSettings::phaseNoiseEnabled, &VcoSettings::kPushEnabled, &VcoSettings::kvcoEnabled})
            configVCO.*enabled = 1;
        configVCO_setPnOffsets(device, spots_Hz[0], spots_Hz[1], spots_Hz[2], spots_Hz[3]);
        supply(oscillator.supply_V);
    }
    static int32_t sweep() {
        {
            MutexLock lock(meas_data.stateMutex);
            runSettings_take();
        }
        runSettings_use();
        const int32_t code = vcoMeasureFull(device);
        runSettings_leave();
        return code;
    }
    static void supply(double volts) { EXPECT_EQ(Device_setSupplyOutputVoltage(device, 1, volts), 0); }
    static void tune(double volts) { EXPECT_EQ(Device_setDutTuneOutputVoltage(device, volts), 0); }
    static double at(int (*query)(Device*, const float**), size_t i) {
        const float* data = nullptr;
        EXPECT_GT(query(device, &data) / sizeof(float), i);
        return static_cast<double>(data[i]);
    }
    /// What the oscillator makes of the supply that it has now and of a tune voltage, that at its port or another.
    [[nodiscard]] double oscillates_Hz(std::optional<double> tune_V = {}) const {
        OscillatorState ports = bench_->oscillator;
        ports.tune_V = tune_V.value_or(ports.tune_V);
        return oscillator_frequency_Hz(oscillator_, ports, clock_now(), clock_now());
    }
    /// What one tick of the counters' clock in their gate makes of a carrier.
    static double tick_Hz(double carrier_Hz, double gate) {
        return carrier_Hz / (gate * Device_getBaseSampleFrequency(device));
    }

    void expectPoint(size_t i, double gate) {
        tune(at(vco_measure_getVoltage, i));
        const OscillatorState& ports = bench_->oscillator;
        const double carrier_Hz = oscillates_Hz(), tick = tick_Hz(carrier_Hz, gate);
        EXPECT_NEAR(at(vco_measure_getVCOFrequency, i), carrier_Hz, tick + carrier_Hz / (1 << 24)); // a float
        EXPECT_NEAR(at(vco_measure_getISupply, i) / oscillator_current_A(oscillator_, ports, ports.supply_V), 1, 0.01);
        EXPECT_NEAR(at(vco_measure_getVCOPower, i), oscillator_level_dBm(oscillator_, ports, clock_now()), 0.2);
        supply(oscillator_.supply_V + 0.2);
        EXPECT_NEAR(at(vco_measure_getKPush, i), 5 * std::abs(oscillates_Hz() - carrier_Hz), 5 * (1 + 2 * tick));
        supply(oscillator_.supply_V);

        const bool end = i == 0 || i == points - 1;
        const double left_V = at(vco_measure_getVoltage, i == 0 ? 0 : i - 1);
        const double right_V = at(vco_measure_getVoltage, i == points - 1 ? i : i + 1), span_V = right_V - left_V;
        const double quotient = (oscillates_Hz(right_V) - oscillates_Hz(left_V)) / span_V;
        EXPECT_NEAR(at(vco_measure_getKVCO, i), quotient,
                    (end ? 0.01 : 0.005) * std::abs(quotient) + 2 * tick / span_V);
    }
    void expectNoise(size_t i) {
        constexpr double scale_dB = 0.2; // of detector constants, bins and corners: docs/limits.md
        for (int n = 0; n < vcoPnOffsets && spots_Hz[n] < ifBandwidth_Hz(); ++n) {
            const float* levels = nullptr;
            vco_measure_getPNOffset(device, &levels, n + 1);
            const int stage = config_getStageFromOffset(device, spots_Hz[n]);
            const double records = double(meas_data.plan.stageCorrelations[stage]) * meas_data.plan.capturePasses;
            EXPECT_NEAR(static_cast<double>(levels[i]), noiseCurve_level_dBcHz(dut_.noise, spots_Hz[n]),
                        scale_dB + 4 * 10 / std::log(10.0) / std::sqrt(records))
                << spots_Hz[n];
        }
    }

    Oscillator oscillator_;
};

} // namespace

TEST_F(SweepTest, EveryUnitThatTunesMeasuresWhatTheOscillatorDoes) {
    Oscillator jumping = oscillatorOf({{0, 38e6}, {10, 43e6}}, 3e5);
    jumping.jumpAt_V = 5;
    jumping.jump_Hz = 100e6;
    const struct {
        const char* what;
        Oscillator oscillator;
        double span_V, gate, louder_dB;
        bool noise; // on every unit, else on one
    } rows[] = {
        {"from 92 to 177 MHz", oscillatorOf({{0, 92e6}, {4, 130e6}, {10, 180e6}}, 2e5), 9, gate_s, 0, true},
        {"falling, 2.4 GHz", oscillatorOf({{0, 2.5e9}, {10, 2.3e9}}, -3e6), 9, gate_s, 20, false},
        {"across 45 MHz", oscillatorOf({{0, 40e6}, {10, 50e6}}, 3e5), 9, gate_s, 0, false},
        {"jumps out of the low band", jumping, 9, gate_s, 0, false},
        {"tunes little", oscillatorOf({{0, 100e6}, {10, 100.05e6}}, 1e3), 9, 0.05, 0, false},
        {"tunes hardly at all", oscillatorOf({{0, 39999640}, {10, 40001440}}, 50), 4, 0.15, 0, true},
    };
    for (const char* serial : unitsThatTune)
        for (const auto& [what, oscillator, span_V, gate, louder_dB, noise] : rows) {
            attachTuned(oscillator, serial, span_V, louder_dB);
            configVCO.phaseNoiseEnabled = noise || serial == board2D;
            ASSERT_EQ(sweep(), 0) << serial << ", " << what;
            EXPECT_EQ(Device_enableDutTuneOutputVoltage(device), 0);
            for (size_t i = 0; i < points; ++i) {
                SCOPED_TRACE(testing::Message() << serial << ", " << what << ", point " << i);
                expectPoint(i, gate);
                if (configVCO.phaseNoiseEnabled)
                    expectNoise(i);
            }
        }
}

TEST_F(SweepTest, TheSupplyDecidesWhatAnOscillatorDoes) {
    const struct {
        double share; // of the nominal volts
        int32_t code;
        const char* told;
    } rows[] = {
        {0, scpi::noSignalDetected, "without supply"},
        {0.5, scpi::noSignalDetected, "without supply"},
        {0.9, 0, "supplied"},
        {1.15, 0, "supplied"},
        {1.25, 0, "5.0. V at a DUT for 4.00 V: a real one might not survive"},
    };
    for (const char* serial : unitsThatTune)
        for (const auto& [share, code, told] : rows) {
            SCOPED_TRACE(testing::Message() << serial << ", " << share);
            attachTuned(oscillatorOf({{0, 92e6}, {10, 192e6}}, 1e6), serial);
            configVCO.phaseNoiseEnabled = 0;
            supply(share * oscillator_.supply_V);
            EXPECT_EQ(sweep(), code);
            EXPECT_THAT(bench_oscillatorRecord(bench_), testing::MatchesRegex(told));
            EXPECT_NEAR(bench_->oscillator.supply_V, share * oscillator_.supply_V, 0.02) << "stays on";
            if (code != 0)
                EXPECT_NEAR(bench_->oscillator.tune_V, 0.5, 0.02) << "as it was";
            else
                EXPECT_NEAR(at(vco_measure_getVCOFrequency, 0), 97e6 + 1e6 * (share - 1) * oscillator_.supply_V, 60e3);
        }
}

TEST_F(SweepTest, AnOscillatorThatLagsIsReadWhereItIs) {
    const struct {
        double delay_s, lag_s, share; // of the step that lags
    } rows[] = {{1e-3, 0.05, 1}, {0.1, 0.05, 1}, {5e-3, 0.01, 1}, {1e-3, 0.05, 0.1}, {1e-3, 0.3, 0.02}};
    for (const auto& [delay_s, lag_s, share] : rows) {
        SCOPED_TRACE(testing::Message() << delay_s << " s, " << lag_s << " s");
        Oscillator oscillator = oscillatorOf({{0, 90e6}, {10, 190e6}}, 0);
        (share < 1 ? oscillator.drift_s : oscillator.settle_s) = lag_s;
        oscillator.driftShare = share < 1 ? share : 0;
        attachTuned(oscillator, board2D, 2);
        configVCO.voltageStart = 0; // where it stands
        configVCO.voltagePoints = 2;
        configVCO.phaseNoiseEnabled = 0;
        configVCO.tuneDelay = delay_s * 1e6;
        ASSERT_EQ(sweep(), 0);
        const double mean = std::exp(-delay_s / lag_s) * lag_s / gate_s * -std::expm1(-gate_s / lag_s); // over the gate
        const double behind_Hz = 90e6 + 10e6 * configVCO.voltageStop - at(vco_measure_getVCOFrequency, 1);
        EXPECT_NEAR(behind_Hz / (10e6 * configVCO.voltageStop * share * mean), 1, 0.03);
    }
}
