// The whole path on the bench: search, attenuation, detectors, lock, trace and spot level against the DUT's own law.

#include "device_table/device_fptrs.h"
#include "measure/model_l/pn_measure_fsearch.h"
#include "measure/model_l/pn_measure_tvpnl.h"
#include "measure/model_l/tvpnl_beat.h"
#include "measure/model_l/tvpnl_lock.h"
#include "measure/model_l/tvpnl_stages.h"
#include "virtual/model_l/model_l_bench.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <vector>

namespace {

using namespace vi;

constexpr int ifGain_dB = 20;

Dut dutOf(NoiseCurve noise, double frequency_Hz = 100.000123e6, double power_dBm = 8) {
    return {.frequency_Hz = frequency_Hz, .power_dBm = power_dBm, .noise = std::move(noise), .spurs = {}, .faults = {}};
}

const NoiseCurve steady{{{1, -70}, {10, -90}, {100, -110}, {1e3, -120}, {1e4, -125}, {1e6, -125}}};

class ModelLBenchTest : public testing::Test {
protected:
    ModelLBenchTest() {
        modelL_registerSlots();
        meas_tvpnl_config = {.iterations = 100};
    }

    /// Search to lock, as a user would; the bench stays for what follows.
    void bringUp(const Dut& dut, uint64_t seed = 1) {
        bench = modelL_bench(dut, seed);
        device = modelL_device(&bench);
        ASSERT_EQ(pn_measure_tvpnl_init(device, nullptr), 0);
        std::array<TvpnlKphi, 2> kphi;
        ASSERT_EQ(pn_measure_tvpnl_measureDutFrequency(device, &meas_tvpnl_config.frequency, &kphi), 0);
        for (size_t c = 0; c < 2; ++c)
            for (const double estimate : {kphi[c].amplitude, kphi[c].peakToPeak, kphi[c].slope})
                EXPECT_NEAR(estimate, modelL_slope(bench, c), 0.02 * modelL_slope(bench, c));
        meas_tvpnl_data.kphiA = kphi[0].slope;
        meas_tvpnl_data.kphiB = kphi[1].slope;
        tvfreq frequency;
        double2tvfreq(&meas_tvpnl_config.frequency, &frequency);
        ASSERT_EQ(Device_setFrequency(device, &frequency), 0);
        pn_measure_tvpnl_lock(device);
        ASSERT_TRUE(meas_tvpnl_data.quadLocked);
        ASSERT_EQ(Device_setLnaGain(device, ifGain_dB), 0);
        meas_tvpnl_data.gainDb = pn_measure_tvpnl_gainDb(ifGain_dB);
    }

    /// Offset that a point's level belongs to.
    static double readAt(double offset_Hz) {
        int32_t stage = 0;
        for (size_t s = 0; s < tvpnlStages.size(); ++s)
            if (offset_Hz >= tvpnlStages[s].lowest && offset_Hz <= tvpnlStages[s].highest)
                stage = int32_t(s);
        const double width = tvpnl_stageRate(modelLBaseRate_Hz / 2, stage) / 256;
        return tvpnl_binOf(offset_Hz, width, 129) * width;
    }

    /// Mean error of each point of the trace over so many runs, dB; and of all points the spread of one run.
    std::vector<double> meanErrors(int runs, double* spread_dB) {
        std::vector<double> errors;
        double squares = 0;
        for (int run = 0; run < runs; ++run) {
            EXPECT_EQ(pn_measure_tvpnl_measurePhaseNoise(device), 0);
            errors.resize(size_t(meas_tvpnl_data.tracePoints));
            for (size_t i = 0; i < errors.size(); ++i) {
                const double at = readAt(double(meas_tvpnl_data.traceFreq[i]));
                const double error = double(meas_tvpnl_data.trace[i]) - noiseCurve_level_dBcHz(bench.dut.noise, at);
                errors[i] += error / runs;
                squares += error * error / runs / double(errors.size());
            }
        }
        *spread_dB = std::sqrt(squares);
        EXPECT_EQ(bench.clipped, 0);
        return errors;
    }

    ModelLBench bench;
    Device* device = nullptr;
};

TEST_F(ModelLBenchTest, TheTraceIsTheDutsWithinADecibelFrom1HzTo1MHz) {
    double spread = 0;
    const NoiseCurve falling{{{1, -90}, {1e3, -90}, {1e6, -150}}};
    for (const NoiseCurve& noise : {falling, steady}) {
        bringUp(dutOf(noise));
        const std::vector<double> errors = meanErrors(20, &spread);
        ASSERT_EQ(errors.size(), 61);
        for (size_t i = 0; i < errors.size(); ++i)
            EXPECT_NEAR(errors[i], 0, 0.75) << meas_tvpnl_data.traceFreq[i];
        EXPECT_LT(spread, 0.65); // 4.34 dB over the root of the segments, more for their overlap
    }

    // A plain gain leaves what the formula takes off too much.
    const double right = double(meas_tvpnl_data.trace[30]);
    const uint64_t clipped = bench.clipped;
    meas_tvpnl_data.gainDb = ifGain_dB;
    meanErrors(1, &spread);
    EXPECT_NEAR(double(meas_tvpnl_data.trace[30]) - right, -2.99 + 10 * std::log10(0.94), 2);
    EXPECT_EQ(bench.clipped, clipped);
}

TEST_F(ModelLBenchTest, TheSpotLevelOfAStageIsThatOfTheOffsetDividedByItsDecimation) {
    bringUp(dutOf(steady));
    meas_tvpnl_config.spotFrequency = 3e5;
    constexpr int runs = 10;
    std::array<double, 6> errors{};
    for (int run = 0; run < runs; ++run) {
        ASSERT_EQ(pn_measure_tvpnl_SDmeasureSpotPhaseNoise(device), 0);
        ASSERT_EQ(meas_tvpnl_data.spotStages, 6);
        for (size_t s = 0; s < errors.size(); ++s)
            errors[s] +=
                (double(meas_tvpnl_data.spotLevel[s]) - noiseCurve_level_dBcHz(steady, 3e5 / std::pow(8, double(s)))) /
                runs;
    }
    for (size_t s = 0; s < errors.size(); ++s)
        EXPECT_NEAR(errors[s], 0, 1) << s;
}

TEST_F(ModelLBenchTest, FindsCarriersAndTheLeastAttenuationThatDoesNotSaturate) {
    const struct {
        double frequency_Hz, power_dBm;
        uint32_t steps; // of 0.5 dB, from the amplitude to 0.64 V, four fifths of the range
    } cases[] = {{5.001e6, 8, 8}, {100.000123e6, 18, 28}, {123.456e6, 38, 63}, {1.234567e9, -5, 0}, {6.9999e9, 8, 8}};
    for (const auto& [frequency_Hz, power_dBm, steps] : cases) {
        bench = modelL_bench(dutOf({{{1, -100}}}, frequency_Hz, power_dBm), 1);
        device = modelL_device(&bench);
        double found = 0;
        std::array<TvpnlKphi, 2> kphi;
        EXPECT_EQ(pn_measure_tvpnl_measureDutFrequency(device, &found, &kphi), 0);
        EXPECT_NEAR(found, frequency_Hz, 16);
        EXPECT_EQ(bench.attenuation, steps) << power_dBm;
    }
}

TEST_F(ModelLBenchTest, LoopFilters) {
    bringUp(dutOf(steady, 10e6));
    EXPECT_EQ(meas_tvpnl_data.pll[1].r2, 5000); // below 20 MHz
    // 0.1 Hz/V, automatic: wn = 2 pi sqrt(0.1 / 10), R1 = K / (wn^2 C), R2 = 2.4 / (wn C) with the largest capacitor.
    const double K = 2 * M_PI * modelL_fineSensitivity(0) * modelL_slope(bench, 0), wn = 2 * M_PI * 0.1;
    EXPECT_EQ(meas_tvpnl_data.quad[0].capacitor, 4);
    EXPECT_NEAR(meas_tvpnl_data.quad[0].wn, wn, 1e-6);
    EXPECT_NEAR(meas_tvpnl_data.quad[0].r1, K / (wn * wn * 25e-6), 600); // two percent of the detector's constant
    EXPECT_NEAR(meas_tvpnl_data.quad[0].r2, 2.4 / (wn * 25e-6), 122);    // half a step of the resistance
    EXPECT_NEAR(20 * std::log10(std::abs(modelL_error(bench, 0, 1))), -0.16, 0.05);

    meas_tvpnl_config.autoLoopBW = false;
    const struct {
        double bandwidth, kphi;
        int32_t capacitor;
        double r1Most;
    } designs[] = {
        {0.001, 0.5, 4, 250000}, // R1 too high: faster by steps of sqrt(1.2)
        {0.1, 0.001, 2, 250000}, // R1 too low with the largest
        {0.1, 1e-9, 1, 500},     // none fits: the last stands
        {0, 0.5, 4, 250000},     // no bandwidth at all ends, too
        {0.1, -1, 1, 0},
    };
    for (const auto& [bandwidth, kphi, capacitor, r1Most] : designs) {
        meas_tvpnl_config.loopBandwidth = bandwidth;
        meas_tvpnl_data.kphiA = kphi;
        pn_measure_tvpnl_calcQuadParams(device);
        EXPECT_EQ(meas_tvpnl_data.quad[0].capacitor, capacitor) << bandwidth << ' ' << kphi;
        EXPECT_LE(meas_tvpnl_data.quad[0].r1, r1Most) << bandwidth << ' ' << kphi;
    }
}

TEST_F(ModelLBenchTest, FailuresAreNumbersAndTheRestIsDone) {
    bringUp(dutOf(steady));
    Faults& faults = bench.dut.faults;
    const auto locks = [&] {
        pn_measure_tvpnl_lock(device);
        return meas_tvpnl_data.quadLocked;
    };
    EXPECT_EQ(Device_setLnaGain(device, 0), 0);
    faults.unlockable = true;
    EXPECT_FALSE(locks());
    faults.unlockable = false;
    EXPECT_TRUE(locks());
    bench.frequency_Hz += 2000; // the search missed it: beyond the reach downwards
    EXPECT_FALSE(locks());

    double found = 0;
    std::array<TvpnlKphi, 2> kphi;
    faults.channelBDead = true;
    EXPECT_EQ(pn_measure_tvpnl_measureDutFrequency(device, &found, &kphi), -200);
    EXPECT_NEAR(found, 100.000123e6, 16);
    EXPECT_EQ(kphi[1].slope, 0);
    faults = {.samplesMissing = true};
    EXPECT_EQ(pn_measure_tvpnl_measureDutFrequency(device, &found, &kphi), -200);
    EXPECT_EQ(pn_measure_tvpnl_measurePhaseNoise(device), -200);
    EXPECT_TRUE(std::all_of(meas_tvpnl_data.trace, meas_tvpnl_data.trace + meas_tvpnl_data.tracePoints,
                            [](float level) { return std::isnan(level); }));
    EXPECT_FALSE(locks());
}

} // namespace
