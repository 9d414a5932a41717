#include "device/device_config_sn.h"
#include "fake_instrument.h"
#include "measure/adc_scale.h"

#include <cmath>
#include <cstring>
#include <random>

// The fixture holds resultMutex from SetUp to TearDown; the analysis sees one function at a time.
#if defined(__clang__)
#pragma clang diagnostic ignored "-Wthread-safety-analysis"
#pragma clang diagnostic ignored "-Wthread-safety-reference"
#endif

namespace {

class OutputTest : public MeasureTest {
protected:
    void SetUp() override {
        MeasureTest::SetUp();
        meas_data.resultMutex.lock();
    }
    void TearDown() override {
        meas_data.resultMutex.unlock();
        MeasureTest::TearDown();
    }

    static void prepare(double offsetMin, double offsetMax, int32_t pointsPerDecade) {
        configPN.offsetMin = offsetMin;
        configPN.offsetMax = offsetMax;
        configPN.pointsPerDecade = pointsPerDecade;
        StagingPlan plan;
        getStaging(&plan);
        prepareOutputArrays(&plan);
    }
    static std::vector<float> smoothed(std::vector<float> trace, double aperture) {
        meas_data.pointCount = static_cast<int32_t>(trace.size());
        std::ranges::copy(trace, meas_data.spectrumData);
        configPN.smoothingAperture = aperture;
        applySmoothing();
        return {meas_data.spectrumData, meas_data.spectrumData + trace.size()};
    }
};

std::vector<float> noisyTrace(size_t points) {
    std::mt19937 generator(7);
    std::normal_distribution<float> noise(0, 3);
    std::vector<float> trace(points);
    for (size_t i = 0; i < points; ++i)
        trace[i] = -120 - 0.05F * static_cast<float>(i) + noise(generator);
    return trace;
}

/// The same filter with each sum formed anew: originals come in up to the upper end of the window, what leaves at its
/// lower end has been smoothed by then.
std::vector<float> slowlySmoothed(std::vector<float> y, int width) {
    const std::vector<float> original = y;
    const int points = static_cast<int>(y.size());
    const int half = width / 2;
    for (int i = 0; i < points; ++i) {
        const int reach = std::min({i, half, points - 1 - i});
        double sum = 0;
        for (int j = 0; j <= std::min({2 * i, i + half, points - 1}); ++j)
            sum += original[j];
        for (int j = 0; j < i - reach; ++j)
            sum -= y[j];
        y[i] = static_cast<float>(sum / (2 * reach + 1));
    }
    return y;
}

} // namespace

TEST_F(OutputTest, GridRunsInEqualRatiosFromStartToStop) {
    const struct {
        double offsetMin, offsetMax;
        int32_t pointsPerDecade, points;
    } rows[] = {
        {10, 50e6, 120, 721}, {0.01, 50e6, 120, 961}, {1000, 50e6, 2, 9},     {1000, 1e6, 120, 481},
        {1, 50e6, 500, 993},  {1e4, 50e6, 500, 1000}, {1000, 50e6, 500, 997}, {1000, 50e6, -3, 5},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.offsetMin << " Hz, " << row.pointsPerDecade);
        prepare(row.offsetMin, row.offsetMax, row.pointsPerDecade);
        ASSERT_EQ(meas_data.pointCount, row.points);
        EXPECT_FLOAT_EQ(meas_data.spectrumFreq[0], static_cast<float>(row.offsetMin));
        EXPECT_FLOAT_EQ(meas_data.spectrumFreq[row.points - 1], static_cast<float>(row.offsetMax));
        const double step = std::log(row.offsetMax / row.offsetMin) / (row.points - 1);
        for (int i = 1; i < row.points; ++i)
            ASSERT_NEAR(std::log(meas_data.spectrumFreq[i] / meas_data.spectrumFreq[i - 1]), step, 1e-6) << i;
        EXPECT_EQ(configPN_getPointsPerDecade(device), row.pointsPerDecade);
    }
}

TEST_F(OutputTest, AStopBelowTheStartCountsAsTheStart) {
    prepare(1e6, 1e3, 120);
    for (int i = 0; i < meas_data.pointCount; ++i)
        ASSERT_EQ(meas_data.spectrumFreq[i], 1e6F);
}

TEST_F(OutputTest, GridStaysUntilWhatItStandsForChanges) {
    constexpr float mark = 12345;
    const auto keepsMark = [] { return meas_data.spectrumFreq[100] == mark; };
    prepare(1000, 50e6, 120);
    meas_data.spectrumFreq[100] = mark;
    prepare(1000, 50e6, 120);
    EXPECT_TRUE(keepsMark());
    configPN_setOffsetMax(device, 50e6); // says that the grid changed, whatever the value
    prepare(1000, 50e6, 120);
    EXPECT_FALSE(keepsMark());
    meas_data.spectrumFreq[100] = mark;
    prepare(10, 50e6, 120); // nobody said so
    EXPECT_FALSE(keepsMark());
}

// The loop's error function E = s^2 / (s^2 + 2 z wn s + wn^2), in complex arithmetic.
TEST_F(OutputTest, LoopCorrectionIsTheInverseOfTheErrorFunction) {
    for (const double z : {0.4, 0.8, 1.5})
        for (const double wn : {6.0, 600.0, 6e4})
            for (double offset = 0.01; offset < 10 * wn; offset *= 1.7) {
                const std::complex<double> s(0, 6.283185308 * offset);
                const std::complex<double> error = s * s / (s * s + 2 * z * wn * s + wn * wn);
                const double expected = -20 * std::log10(std::abs(error));
                EXPECT_NEAR(pn_output_loopCorrection(offset, wn, z, false, 50), expected, 1e-6);
                const double low1 = 20 * std::log10((offset + 1) / offset);
                const double low2 = 20 * std::log10((offset + 0.4) / offset);
                EXPECT_NEAR(pn_output_loopCorrection(offset, wn, z, true, 40), expected + low1, 1e-6);
                EXPECT_NEAR(pn_output_loopCorrection(offset, wn, z, true, 40.5), expected + low1 + low2, 1e-6);
            }
}

TEST_F(OutputTest, DeembeddingEndsWithTheFirstPointThatNeedsNone) {
    prepare(10, 50e6, 120);
    std::fill_n(meas_data.spectrumData, meas_data.pointCount, -100.0F);
    meas_data.loopWnA = 628.0;
    meas_data.loopZetaA = 1.5; // 1.2 behind the tune port
    deembed(device);
    int i = 0;
    for (double correction = 1; correction > 0.1; ++i) {
        correction = pn_output_loopCorrection(meas_data.spectrumFreq[i], 628, 1.2, false, 0);
        ASSERT_NEAR(meas_data.spectrumData[i], -100 + correction, 1e-5) << i;
    }
    ASSERT_GT(i, 100);
    ASSERT_LT(i, meas_data.pointCount);
    for (; i < meas_data.pointCount; ++i)
        ASSERT_EQ(meas_data.spectrumData[i], -100.0F) << i;
}

TEST_F(OutputTest, DeembeddingStopsAtTheLimitAndAtTheEndOfTheTrace) {
    prepare(1000, 1e6, 120);
    std::fill_n(meas_data.spectrumData, tracePointsSize, -100.0F);
    meas_data.loopZetaA = 10; // so much damping that the correction stays above 0.1 dB for long
    meas_data.loopWnA = 1000; // limit 10 kHz
    deembed(device);
    const float* frequencies = meas_data.spectrumFreq;
    const auto limit = std::lower_bound(frequencies, frequencies + meas_data.pointCount, 10000.0F) - frequencies;
    EXPECT_NE(meas_data.spectrumData[limit - 1], -100.0F);
    for (auto i = limit; i < meas_data.pointCount; ++i)
        ASSERT_EQ(meas_data.spectrumData[i], -100.0F) << i;
    meas_data.loopWnA = 1e7;
    deembed(device);
    EXPECT_NE(meas_data.spectrumData[meas_data.pointCount - 1], -100.0F);
    EXPECT_EQ(meas_data.spectrumData[meas_data.pointCount], -100.0F);
}

TEST_F(OutputTest, SmoothingIsACentredMeanThatNarrowsAtTheEnds) {
    const struct {
        int points;
        double aperture; // percent
        int width;
    } rows[] = {{721, 3, 21}, {721, 2.9, 21}, {481, 20, 97}, {481, 0.7, 3}, {9, 20, 1},
                {10, 100, 9}, {5, 1e300, 5},  {4, 70, 3},    {721, -5, 1},  {721, NAN, 1}};
    for (const auto& [points, aperture, width] : rows) {
        SCOPED_TRACE(testing::Message() << points << " points, " << aperture);
        const auto noise = noisyTrace(points);
        const auto expected = slowlySmoothed(noise, width);
        const auto fast = smoothed(noise, aperture);
        for (int i = 0; i < points; ++i)
            ASSERT_NEAR(fast[i], expected[i], 1e-3) << i;
    }
}

TEST_F(OutputTest, SmoothingLeavesTheTraceWhenOffOrOnePointWide) {
    const auto noise = noisyTrace(721);
    EXPECT_EQ(smoothed(noise, 0.1), noise); // 0.721 of a point
    configPN_disableSmoothing(device);
    EXPECT_EQ(smoothed(noise, 5), noise);
}

TEST_F(OutputTest, SpotLevelIsTheMeanOfSevenPoints) {
    prepare(1000, 50e6, 120);
    const int last = meas_data.pointCount - 1;
    for (int i = 0; i <= last; ++i)
        meas_data.spectrumData[i] = static_cast<float>(i);
    const auto levelAt = [](int i) { return pn_output_levelAt(static_cast<double>(meas_data.spectrumFreq[i])); };
    EXPECT_EQ(levelAt(0), 3); // the first seven
    EXPECT_EQ(levelAt(3), 3);
    EXPECT_EQ(levelAt(100), 100);
    EXPECT_EQ(pn_output_levelAt(meas_data.spectrumFreq[99] * 1.001), 100); // between: around the upper one
    EXPECT_EQ(levelAt(last), last - 1.5);                                  // the four that are there
    EXPECT_EQ(pn_output_levelAt(999), -1000.0);
    EXPECT_EQ(pn_output_levelAt(51e6), -1000.0);
    EXPECT_EQ(pn_output_levelAt(NAN), -1000.0);
    meas_data.pointCount = 0;
    EXPECT_EQ(pn_output_levelAt(1000), -1000.0);
}

TEST(LowPass, PassesAConstantAndStopsTheUpperBand) {
    std::vector<uint16_t> samples(1000, 40000);
    lowPass10Percent(samples.data(), 1000);
    for (const uint16_t sample : samples)
        EXPECT_NEAR(sample, 40000, 1);

    // The gain at a frequency is the filter's transform there, up to its phase.
    for (const double relative : {0.02, 0.3, 0.4}) {
        for (int i = 0; i < 1000; ++i)
            samples[i] = static_cast<uint16_t>(32768 + 10000 * std::sin(2 * M_PI * relative * i));
        lowPass10Percent(samples.data(), 1000);
        int largest = 0;
        for (int i = 100; i < 900; ++i)
            largest = std::max(largest, std::abs(samples[i] - 32768));
        if (relative < 0.1)
            EXPECT_GT(largest, 8500) << relative;
        else
            EXPECT_LT(largest, 1200) << relative;
    }

    std::vector<uint16_t> alternating(32769);
    for (size_t i = 0; i < alternating.size(); ++i)
        alternating[i] = i % 2 ? 60000 : 5000;
    auto copy = alternating;
    lowPass10Percent(copy.data(), 32769);
    EXPECT_EQ(copy, alternating);
    lowPass10Percent(copy.data(), 32768);
    EXPECT_NE(copy, alternating);
    lowPass10Percent(copy.data(), 0);
}

TEST(AdcScale, EveryCountComesBack) {
    for (uint32_t count = 0; count < 65536; ++count) {
        ASSERT_EQ(volt2adc(adc2volt(count)), count);
        ASSERT_EQ(absvolt2adc(adc2absvolt(count)), count);
    }
    EXPECT_NEAR(adc2volt(32768), 0, 1e-12);
    EXPECT_NEAR(adc2volt(0), -0.8, 1e-12);
    EXPECT_EQ(volt2adc(2.44140625e-05 * 0.99 - 0.8), 0U); // cut, not rounded
    EXPECT_EQ(volt2adc(-5), 0U);
    EXPECT_EQ(volt2adc(NAN), 0U);
    EXPECT_EQ(volt2adc(1e300), 4294967295U);

    const uint16_t samples[] = {32768, 40960, 24576, 0};
    const float window[] = {1, 0.5F, 0, 1};
    double volts[4];
    adc2volt_array(volts, samples, 4, nullptr);
    uint16_t back[4];
    volt2adc_array(back, volts, 4);
    EXPECT_TRUE(std::ranges::equal(samples, back));
    adc2volt_array(volts, samples, 4, window);
    const double mean = -0.2; // (0 + 0.2 - 0.2 - 0.8) / 4
    EXPECT_NEAR(volts[0], 0 - mean, 1e-12);
    EXPECT_NEAR(volts[1], (0.2 - mean) / 2, 1e-12);
    EXPECT_EQ(volts[2], 0);
    EXPECT_NEAR(volts[3], -0.8 - mean, 1e-12);
    const double beyond[] = {0.8, 5};
    volt2adc_array(back, beyond, 2);
    EXPECT_EQ(back[0], 65535);
    EXPECT_EQ(back[1], 65535);
}
