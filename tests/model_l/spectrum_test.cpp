// The model L's arithmetic on records that the test makes: levels against closed formulas, memory, failures.

#include "device_table/device_fptrs.h"
#include "measure/model_l/pn_measure_tvpnl.h"
#include "measure/model_l/tvpnl_fft.h"
#include "measure/model_l/tvpnl_spot.h"
#include "measure/model_l/tvpnl_stages.h"
#include "tests/model_l/fftw_watch.h"
#include "tests/slots.h"

#include <array>
#include <cmath>
#include <gtest/gtest.h>
#include <malloc.h>
#include <random>
#include <vector>

namespace {

constexpr double rate = 25e6 / 12, pi = 3.14159265358979;

// What the slots stand for.
std::array<std::vector<uint16_t>, 2> records;
uint32_t validSamples, askedSamples;
int captureResult;

class ModelLSpectrum : public testing::Test {
protected:
    ModelLSpectrum() {
        captureResult = 0;
        validSamples = 0;
        for (auto& record : records)
            record.clear();
        meas_tvpnl_config = {.iterations = 100, .offsetMin = 1e5};
        fill(Device_getPnMeasurePtr, [](Device*) -> void* { return &records; });
        fill(Device_getPhaseNoiseSamplingFrequency, [](Device*) { return rate; });
        fill(Device_setPhaseNoiseSamples, [](Device*, uint32_t samples) { return askedSamples = samples, 0; });
        fill(Device_getFilteredSamples, [](Device*, uint32_t) { return captureResult; });
        fill(Device_getPhaseNoiseValidSamplesCount,
             [](Device*) { return validSamples > 0 ? validSamples : askedSamples; });
        fill(Device_getPhaseNoiseFbuffer, [](Device*, uint32_t channel, uint32_t, uint16_t** out) {
            *out = records[channel].data();
            return int(records[channel].size() * 2);
        });
        EXPECT_EQ(pn_measure_tvpnl_init(nullptr, nullptr), 0);
    }
    ~ModelLSpectrum() override {
        EXPECT_EQ(fftwWatch_held(), 0);
        fill.clear(Device_getPnMeasurePtr);
        EXPECT_EQ(pn_measure_tvpnl_init(nullptr, nullptr), -113);
    }

    template <class Volts> static void record(size_t count, Volts volts) {
        for (auto& record : records)
            record.clear();
        for (size_t i = 0; i < count; ++i)
            for (size_t c = 0; c < 2; ++c)
                records[c].push_back(uint16_t(pn_measure_tvpnl_volt2adc(volts(i, c))));
    }
    /// White noise of both channels alike, of a density as so many dBc/Hz at these detectors make it.
    static void whiteNoise(double dBcHz) {
        std::mt19937 random(1);
        std::normal_distribution<double> normal(0, std::sqrt(std::pow(10, dBcHz / 10) * rate));
        double phase = 0;
        record(16384, [&](size_t, size_t c) {
            phase = c == 0 ? normal(random) : phase;
            return phase * (c == 0 ? meas_tvpnl_data.kphiA : meas_tvpnl_data.kphiB);
        });
    }
};

TEST_F(ModelLSpectrum, ALineStandsInItsBinWithTheWindowsGain) {
    EXPECT_EQ(pn_measure_tvpnl_getFFTSize(), 256);
    record(256, [](size_t i, size_t c) {
        return (c == 0 ? 0.5 : 0.3) * std::cos(2 * pi * 32 * double(i) / 256 + 1.0 * double(c));
    });
    TvpnlSpectrum spectrum;
    ASSERT_EQ(pn_measure_tvpnl_SDfft2(nullptr, records[0].data(), records[1].data(), 256, 256, 3, &spectrum), 129);
    constexpr double windowMean = 0.35875 * 1.9689; // of unit power, so above that of the plain window
    EXPECT_NEAR(std::abs(spectrum[32]), 0.25 * 0.15 * windowMean * windowMean, 3e-4);
    EXPECT_NEAR(std::arg(spectrum[32]), -1.0, 0.01); // A conj(B)
    EXPECT_LT(std::abs(spectrum[45]), 1e-9);

    std::array<float, 256> window;
    getWindowingWeights(window.data(), 256);
    double power = 0;
    for (const float weight : window)
        power += double(weight) * double(weight) / 256;
    EXPECT_NEAR(power, 1, 0.005);
}

TEST_F(ModelLSpectrum, WhiteNoiseReadsThreeDecibelsLowUnlessTheGainIsTheFormulas) {
    meas_tvpnl_data.kphiA = 0.5;
    meas_tvpnl_data.kphiB = 0.4;
    whiteNoise(-95);
    const auto mean = [] {
        EXPECT_EQ(pn_measure_tvpnl_measurePhaseNoise(nullptr), 0);
        double sum = 0;
        for (int32_t i = 0; i < meas_tvpnl_data.tracePoints; ++i)
            sum += double(meas_tvpnl_data.trace[i]);
        return sum / meas_tvpnl_data.tracePoints;
    };
    meas_tvpnl_data.gainDb = 0;
    const double plain = mean();
    EXPECT_NEAR(plain, -95 - 2.99 + 10 * std::log10(0.4 / 0.5), 0.5);
    meas_tvpnl_data.gainDb = pn_measure_tvpnl_gainDb(0);
    EXPECT_NEAR(mean() - plain, 2.99 - 10 * std::log10(0.4 / 0.5), 0.001);

    meas_tvpnl_config.spotFrequency =
        rate / 256 * 40; // the same sums as a bin's, but for one segment and their precision
    EXPECT_EQ(pn_measure_tvpnl_SDmeasureSpotPhaseNoise(nullptr), 0);
    TvpnlSpectrum spectrum;
    EXPECT_EQ(pn_measure_tvpnl_SDfft2(nullptr, records[0].data(), records[1].data(), 16384, 256, 3, &spectrum), 129);
    std::complex<double> spot;
    ASSERT_TRUE(pn_measure_tvpnl_SDfft_spot(nullptr, records[0].data(), records[1].data(), 16384, 256, 3, &spot));
    EXPECT_NEAR(std::abs(spot - spectrum[40]), 0, 1e-4 * std::abs(spot));
    const double bin = rate / 256,
                 scale = 20 * std::log10(0.5) + 10 + meas_tvpnl_data.gainDb + 6 + 10 * std::log10(bin / 2);
    EXPECT_NEAR(double(meas_tvpnl_data.spotLevel[0]), 10 * std::log10(std::abs(spot)) + 10 - scale, 1e-3);
    meas_tvpnl_config.spotFrequency *= 1.5; // the tables stand until their length changes
    const float before = meas_tvpnl_data.spotLevel[0];
    EXPECT_EQ(pn_measure_tvpnl_SDmeasureSpotPhaseNoise(nullptr), 0);
    EXPECT_EQ(meas_tvpnl_data.spotLevel[0], before);
}

TEST_F(ModelLSpectrum, StagesSamplesSegmentsAndBins) {
    const struct {
        double offset;
        int32_t stages;
    } stages[] = {{1e7, 1}, {1e5, 1}, {1e4, 2}, {50, 4}, {10, 5}, {1, 6}, {0.1, 6}, {0, 6}};
    for (const auto& [offset, count] : stages)
        EXPECT_EQ(pn_measure_tvpnl_getNumberOfStages(offset), count) << offset;

    const struct {
        int32_t iterations, stages;
        uint32_t samples;
    } plans[] = {
        {1, 1, 256}, {2, 1, 512}, {100, 1, 16384}, {100, 6, 16384u << 15}, {0, 2, 2048}, {2000000000, 6, 1u << 31}};
    for (const auto& [iterations, count, samples] : plans) {
        meas_tvpnl_config.iterations = iterations;
        EXPECT_EQ(pn_measure_tvpnl_getNumberOfSamples(count, 0), samples) << iterations;
    }
    // None reaches beyond its record: the last of 256 samples ends with it.
    const struct {
        int32_t count, spared, segments;
    } segments[] = {{255, 2, 0}, {256, 2, 1},     {256, 1, 1},     {340, 1, 1},
                    {341, 1, 2}, {16384, 2, 190}, {16384, 1, 190}, {0, 1, 0}};
    for (const auto& [count, spared, expected] : segments)
        EXPECT_EQ(tvpnl_segments(count, 256, 3, spared), expected) << count << ' ' << spared;
    // Bin i counts as (i + 1) widths.
    const struct {
        double offset, width;
        int32_t bin;
    } bins[] = {{0, 8138, 0}, {8138 * 12.4, 8138, 11}, {8138 * 12.6, 8138, 12}, {8138 * 140, 8138, 128},
                {1, 0.25, 4}, {1.2, 0.25, 4}};
    for (const auto& [offset, width, bin] : bins)
        EXPECT_EQ(tvpnl_binOf(offset, width, 129), bin) << offset;
}

TEST_F(ModelLSpectrum, EveryFailureIsToldLeavesNoLevelAndNoMemory) {
    whiteNoise(-100);
    int failures = 0;
    for (;; ++failures) {
        fftwWatch_failAfter(failures);
        const int error = pn_measure_tvpnl_measurePhaseNoise(nullptr);
        EXPECT_EQ(fftwWatch_held(), 0) << failures;
        if (!fftwWatch_hasFailed())
            break;
        EXPECT_EQ(error, -200) << failures;
        EXPECT_TRUE(std::isnan(meas_tvpnl_data.trace[0])) << failures;
    }
    EXPECT_EQ(failures, 7); // five blocks, two plans
    fftwWatch_failAfter(-1);

    const auto fails = [](int expected, int32_t points = 11) {
        EXPECT_EQ(pn_measure_tvpnl_measurePhaseNoise(nullptr), expected);
        EXPECT_EQ(meas_tvpnl_data.tracePoints, points);
    };
    validSamples = 4096;
    fails(-200);
    validSamples = 0;
    captureResult = -365;
    fails(-200);
    captureResult = 0;
    records[1].pop_back();
    fails(-200);
    EXPECT_EQ(pn_measure_tvpnl_SDmeasureSpotPhaseNoise(nullptr), -200);
    EXPECT_TRUE(std::isnan(meas_tvpnl_data.spotLevel[0]));
    records[0].resize(100);
    records[1].resize(100);
    fails(-200);
    for (const int32_t points : {-1, 2147483647}) {
        meas_tvpnl_config.pointsPerDecade = points;
        fails(-321, 0);
        EXPECT_EQ(meas_tvpnl_data.trace, nullptr);
    }
}

TEST_F(ModelLSpectrum, AThousandRunsLeaveAsMuchMemoryAsTen) {
    whiteNoise(-100);
    meas_tvpnl_config.iterations = 2;
    const auto heldAfter = [](int runs) {
        for (int i = 0; i < runs; ++i) {
            EXPECT_EQ(pn_measure_tvpnl_measurePhaseNoise(nullptr), 0);
            EXPECT_EQ(pn_measure_tvpnl_SDmeasureSpotPhaseNoise(nullptr), 0);
        }
        return mallinfo2().uordblks;
    };
    const size_t before = heldAfter(10);
    EXPECT_LT(heldAfter(1000), before + 1000 * 8); // no block is as small; what malloc keeps at hand comes and goes
}

} // namespace
