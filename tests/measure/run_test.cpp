#include "fake_instrument.h"
#include "tests/slots.h"

#include <algorithm>
#include <cmath>

namespace {

using RunTest = MeasureTest;

/// dB of one count of the spectrum's modulus with the constants that the run has measured, the highest gain, as the
/// fake's mixers are quiet, and its prescaler of 2.
double scaleDb() {
    return 10 * std::log10(std::floor(configPN.kphiA) / 40960 * std::floor(configPN.kphiB) / 40960) + 48 -
           20 * std::log10(2.0);
}

} // namespace

TEST_F(RunTest, OneIterationOfOnePassIsOneCaptureAndOneSave) {
    fake->spectrum = flat({3e-15F, -4e-15F});
    fake->onSearch = [] { usleep(2000); };
    const int32_t before = saves();
    EXPECT_EQ(runOnce(), 0);
    EXPECT_GE(pn_measure_getLastTimeMs(device), 2);
    EXPECT_EQ(fake->capturesBegun(), 1);
    EXPECT_EQ(saves() - before, 1);
    EXPECT_EQ(trace().size(), 481U);
    for (const float level : trace())
        ASSERT_NEAR(level, 10 * std::log10(5e-15) - scaleDb(), 1e-4);
    EXPECT_EQ(progress(), std::pair(1, 1));
    EXPECT_TRUE(fake->takeLog().ends_with("gain 48; gain 0")); // the run leaves the IF gain at 0
}

TEST_F(RunTest, WhatAPhaseTakesIsCountedAcrossWholeSeconds) {
    const auto seconds = [](const timeval& t) {
        return static_cast<double>(t.tv_sec) + 1e-6 * static_cast<double>(t.tv_usec);
    };
    for (const timeval moment : {timeval{5, 0}, timeval{5, 999'999}}) {
        const double before = seconds(measure_now()) - seconds(moment);
        EXPECT_GE(measure_secondsSince(moment), before - 1e-6);
        EXPECT_LE(measure_secondsSince(moment), seconds(measure_now()) - seconds(moment) + 1e-6);
    }
}

TEST_F(RunTest, EachPointComesFromItsStageAndTheNearestBin) {
    fake->spectrum = [](int, int stage, int index) {
        return std::complex<float>(static_cast<float>(stage * 1000 + index + 1), 0);
    };
    for (const double offsetMin : {0.01, 10.0, 700.0, 10000.0}) {
        SCOPED_TRACE(offsetMin);
        configPN_setOffsetMin(device, offsetMin);
        ASSERT_EQ(runOnce(), 0);
        const auto levels = trace();
        const auto offsets = grid();
        const StagingPlan plan = staging_makePlan(offsetMin, 1);
        for (size_t k = 0; k < levels.size(); ++k) {
            int stage = 0;
            while (stage + 1 < plan.stageCount && offsets[k] < static_cast<float>(plan.stageLow[stage]))
                ++stage;
            const int points = plan.stageSamples[stage];
            const double exact = 2 * offsets[k] / samplingFreq(stage) * (points - 1);
            const double value = std::pow(10, (levels[k] + scaleDb()) / 10) - 1 - stage * 1000;
            ASSERT_NEAR(value, std::min(std::floor(exact + 0.5), 511.0), 0.01 * (1 + stage)) << offsets[k] << " Hz";
        }
    }
}

TEST_F(RunTest, AShortOrMissingBufferDoesNoHarm) {
    fake->spectrumPoints = 8;
    fake->spectrum = [](int, int, int index) { return std::complex<float>(index == 7 ? 1.0F : 1e-6F, 0); };
    EXPECT_EQ(runOnce(), 0);
    EXPECT_NEAR(trace().back(), -scaleDb(), 1e-4); // beyond the buffer: its last point
    fake->spectrumPoints = 0;
    EXPECT_EQ(runOnce(), 0);
    EXPECT_TRUE(std::isinf(trace().back())); // level of nothing
}

TEST_F(RunTest, PassesAddCoherentlyAndIterationsAverageInDecibels) {
    configPN_setCorrelations(device, 300); // 3 passes at 1 kHz
    configPN_setIterations(device, 2);
    const std::complex<float> captures[] = {{1, 0}, {0, 1}, {1, 1}, {0.1F, 0}, {-0.1F, 0.2F}, {0, 0.1F}};
    fake->spectrum = [&](int capture, int, int) { return captures[capture - 1]; };
    ASSERT_EQ(runOnce(), 0);
    EXPECT_EQ(fake->capturesBegun(), 6);
    const double first = 10 * std::log10(std::abs(captures[0] + captures[1] + captures[2]) / 3);
    const double second = 10 * std::log10(std::abs(captures[3] + captures[4] + captures[5]) / 3);
    for (const float level : trace())
        ASSERT_NEAR(level, (first + second) / 2 - scaleDb(), 1e-4);
    EXPECT_EQ(progress(), std::pair(2, 300));
}

TEST_F(RunTest, SaveCorrectsCalibratesAndSmoothes) {
    configPN_enableSmoothing(device);
    configPN_setSmoothingAperture(device, 5);
    meas_data.loopWnA = 1000;
    meas_data.loopZetaA = 1;
    fill(Device_calibrateTVPNGain, [](Device*, int count, const float* offsets, float* levels) {
        for (int i = 0; i < count; ++i)
            levels[i] += offsets[i] < 1e6F ? 3.0F : 5.0F;
        return 0;
    });
    const TestSetDefinition list[] = {{testSetOffsetNoise, 1e5}, {testSetFrequency, -1}, {testSetOffsetNoise, 60e6},
                                      {testSetJitter, -1},       {testSetPower, -1},     {testSetEnd, -1}};
    configPN_setTestSetDefinition(device, list);
    configPN_setSpotFrequency(device, 1e4);
    fake->spectrum = flat(1);
    ASSERT_EQ(runOnce(), 0);
    fill.clear(Device_calibrateTVPNGain);

    const auto power = read(pn_measure_getSpectrumPowerData);
    const auto offsets = grid();
    ASSERT_EQ(power.size(), offsets.size());
    for (size_t i = 0; i < power.size(); ++i) {
        const double correction = pn_output_loopCorrection(offsets[i], 1000, 0.8, false, 0);
        const double loop = offsets[i] < 2000 ? correction : 0; // it falls below 0.1 dB at once: z is about 0.7
        ASSERT_NEAR(power[i], -scaleDb() + loop + (offsets[i] < 1e6F ? 3 : 5), 0.1) << offsets[i];
    }
    const auto step = std::ranges::lower_bound(offsets, 1e6F) - offsets.begin();
    EXPECT_NEAR(trace()[step] - trace()[step - 30], 1, 0.2); // the middle of the step

    char expected[100];
    const double level = -scaleDb() + 3;
    const double jitter_fs = 1e15 * pn_measure_getFunctionJitter(device);
    snprintf(expected, sizeof expected, "%.4f,100000000.0000,-1000.0000,%.4f,7.5000", level, jitter_fs);
    EXPECT_EQ(read(configPN_getTestSet), expected);
    EXPECT_NEAR(pn_measure_getSpotSpectrumData(device), level, 1e-3);
}

TEST_F(RunTest, ARunKeepsItsSettingsAndTheNextOneTakesTheNew) {
    configPN_setIterations(device, 3);
    startHeld(1);
    configPN_setIterations(device, 1);
    configPN_setOffsetMin(device, 1);
    configPN_setOffsetMax(device, 1e6);
    configPN_setPointsPerDecade(device, 500);
    configPN_setCorrelations(device, 10000);
    EXPECT_EQ(meas_data.plan.stageCount, 4);
    fake->open();
    EXPECT_EQ(pn_measure_waitForMeasurement(device, 1, 0), 0);
    EXPECT_EQ(fake->capturesBegun(), 3);
    EXPECT_EQ(fake->changesInCapture, 0);
    EXPECT_EQ(trace().size(), 481U);
    EXPECT_FLOAT_EQ(grid().back(), 50e6F);

    configPN_setCorrelations(device, 2);
    EXPECT_EQ(runOnce(), 0);
    EXPECT_EQ(fake->capturesBegun(), 5); // 2 passes
    EXPECT_EQ(trace().size(), 4001U);
    EXPECT_FLOAT_EQ(grid().back(), 1e6F);
}

TEST_F(RunTest, OtherModesRunNothing) {
    for (const int mode : {1, 2, 5}) {
        config_setMeasurementMode(device, mode);
        EXPECT_EQ(runOnce(), 0);
    }
    EXPECT_EQ(fake->capturesBegun(), 0);
}
