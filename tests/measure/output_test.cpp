#include "fake_instrument.h"
#include "measure/preparation/adc_scale.h"
#include "measure/run/trace_arrays.h"

#include <cmath>
#include <numeric>

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
        prepareOutputArrays(staging_makePlan(offsetMin, 1), &configPN);
    }
};

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
        {0.01, 50e6, 120, 961}, {1, 50e6, 500, 4001}, {2e6, 50e6, 500, 1501},
        {1, 50e6, 501, 4001},   {1000, 50e6, -3, 5},  {1e6, 1e3, 120, 361},
    };
    for (const auto& [offsetMin, offsetMax, pointsPerDecade, points] : rows) {
        SCOPED_TRACE(testing::Message() << offsetMin << " Hz, " << pointsPerDecade);
        prepare(offsetMin, offsetMax, pointsPerDecade);
        ASSERT_EQ(meas_data.pointCount, points);
        const double stop = std::max(offsetMin, offsetMax); // a stop below the start counts as the start
        const double step = std::log(stop / offsetMin) / (points - 1);
        for (int i = 0; i < points; ++i)
            ASSERT_NEAR(std::log(meas_data.spectrumFreq[i] / offsetMin), step * i, 1e-6) << i;
    }
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

TEST_F(OutputTest, DeembeddingEndsWithTheFirstPointThatNeedsNoneOrAtTheLimit) {
    prepare(10, 50e6, 120);
    const auto offsets = traceArrays_frequency();
    const auto deembedded = [&](double zeta) {
        std::vector<float> trace(offsets.size(), -100.0F);
        deembed(offsets, trace, {.wn = 628, .zeta = zeta, .ifGain = 0, .is1C = false});
        return trace;
    };
    const auto trace = deembedded(1.5); // 1.2 behind the tune port
    size_t i = 0;
    for (double correction = 1; correction > 0.1; ++i) {
        correction = pn_output_loopCorrection(offsets[i], 628, 1.2, false, 0);
        ASSERT_NEAR(trace[i], -100 + correction, 1e-5) << i;
    }
    ASSERT_TRUE(i > 100 && i < trace.size()) << i;
    for (; i < trace.size(); ++i)
        ASSERT_EQ(trace[i], -100.0F) << i;

    const auto overdamped = deembedded(10); // the correction stays above 0.1 dB up to the limit
    for (i = 0; i < overdamped.size(); ++i)
        ASSERT_EQ(overdamped[i] == -100.0F, offsets[i] >= 6280.0F) << i;
}

TEST(Smoothing, IsACentredMeanThatNarrowsAtTheEnds) {
    const struct {
        int points;
        double aperture; // percent
        int width;
    } rows[] = {{721, 2.9, 21}, {481, 20, 97}, {721, 0.1, 1}, {10, 100, 9}, {5, 1e300, 5}, {721, -5, 1}, {721, NAN, 1}};
    for (const auto& [points, aperture, width] : rows) {
        SCOPED_TRACE(testing::Message() << points << " points, " << aperture);
        std::vector<float> level(points);
        for (int i = 0; i < points; ++i)
            level[i] = -120 + 5 * std::sin(0.1F * static_cast<float>(i * i));
        const auto expected = slowlySmoothed(level, width);
        applySmoothing(level, aperture);
        for (int i = 0; i < points; ++i)
            ASSERT_NEAR(level[i], expected[i], 1e-3) << i;
    }
}

TEST_F(OutputTest, SpotLevelIsTheMeanOfSevenPoints) {
    prepare(1000, 50e6, 120);
    const auto level = traceArrays_level();
    std::iota(level.begin(), level.end(), 0.0F);
    const TraceView trace = traceArrays_view();
    const auto last = trace.frequency.size() - 1;
    const auto levelAt = [&](size_t i) { return pn_output_levelAt(trace, static_cast<double>(trace.frequency[i])); };
    EXPECT_EQ(levelAt(0), 3); // the first seven
    EXPECT_EQ(levelAt(100), 100);
    EXPECT_EQ(pn_output_levelAt(trace, trace.frequency[99] * 1.001), 100); // between: around the upper one
    EXPECT_EQ(levelAt(last), static_cast<double>(last) - 1.5);             // the four that are there
    for (const double outside : {999.0, 51e6, double{NAN}})
        EXPECT_EQ(pn_output_levelAt(trace, outside), -1000.0);
    EXPECT_EQ(pn_output_levelAt({}, 1000), -1000.0);
}

TEST(LowPass, PassesTheLowerBandStopsTheUpperAndSkipsWhatIsTooLong) {
    const struct {
        double frequency; // relative to the sampling
        int32_t count;
        int least, most; // of the range that is left of 20000
    } rows[] = {{0, 1000, 0, 1}, {0.02, 1000, 17000, 21000}, {0.3, 32768, 0, 2400}, {0.4, 32769, 17000, 20000}};
    for (const auto& [frequency, count, least, most] : rows) {
        std::vector<uint16_t> samples(count);
        for (int i = 0; i < count; ++i)
            samples[i] = static_cast<uint16_t>(32768 + 10000 * std::cos(2 * M_PI * frequency * i));
        lowPass10Percent(samples.data(), count);
        const int edge = frequency == 0 ? 0 : 100; // a constant passes at the ends as well
        const auto [low, high] = std::minmax_element(samples.begin() + edge, samples.end() - edge);
        EXPECT_TRUE(*high - *low >= least && *high - *low <= most) << frequency << ": " << *low << " " << *high;
        EXPECT_NEAR(samples[count / 2], frequency == 0 ? 42768 : 32768, most / 2 + 1) << frequency;
    }
}

TEST(AdcScale, EveryCountComesBackAndAPartOfOneIsCut) {
    for (uint32_t count = 0; count < 65536; ++count) {
        ASSERT_EQ(volt2adc(adc2volt(count)), count);
        ASSERT_EQ(absvolt2adc(adc2absvolt(count)), count);
    }
    EXPECT_EQ(volt2adc(2.44140625e-05 * 0.99 - 0.8), 0U);
    EXPECT_EQ(volt2adc(1e300), 4294967295U);
}
