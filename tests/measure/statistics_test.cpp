#include "base/error_codes.h"
#include "fake_instrument.h"
#include "measure/results/statistics.h"
#include "measure/run/trace_arrays.h"

#include <cmath>

namespace {

struct Point {
    double frequency; // Hz
    double level;     // dBc/Hz, or dBc of a spur
};

class StatisticsTest : public MeasureTest {
protected:
    void SetUp() override {
        MeasureTest::SetUp();
        setSpurs({});
        setCarrier(1e9);
        configPN_setFunctionRange(device, 10, 50e6);
        MutexLock lock(meas_data.resultMutex);
        meas_data.pointCount = 0;
        meas_data.aVarianceCount = 0;
    }

    static void setCarrier(double frequency) {
        MutexLock lock(meas_data.resultMutex);
        meas_data.carrier = frequency;
    }
    static void setTrace(const std::vector<Point>& trace) {
        MutexLock lock(meas_data.resultMutex);
        ASSERT_LE(trace.size(), tracePointsMax);
        meas_data.pointCount = static_cast<int32_t>(trace.size());
        copy(trace, meas_data.spectrumFreq, meas_data.spectrumData);
    }
    /// The list that a run has left; omission is switched off, so that it counts.
    static void setSpurs(const std::vector<Point>& spurs) {
        MutexLock lock(meas_data.resultMutex);
        meas_data.spurCount = static_cast<int32_t>(spurs.size());
        copy(spurs, meas_data.spurFreq, meas_data.spurData);
        configPN.spurOmission = 0;
    }
    static double figure(int mode) {
        MutexLock lock(meas_data.resultMutex);
        return calculateStatistics(traceArrays_view(), configPN, mode);
    }
    /// The integral over the range in linear power.
    static double integral() { return std::pow(10, figure(statisticsIntegral) / 10); }

    static std::vector<float> taus() { return read(pn_measure_getFunctionAVarianceTau); }
    static std::vector<float> sigmas() { return read(pn_measure_getFunctionAVarianceSigma); }
    /// Between the two values around `tau`, on a straight line in double logarithmic scale.
    static double sigmaAt(double tau) {
        const auto axis = taus();
        const auto values = sigmas();
        size_t i = 1;
        while (i + 1 < axis.size() && axis[i] < tau)
            ++i;
        const double share = std::log(tau / axis[i - 1]) / std::log(axis[i] / axis[i - 1]);
        return values[i - 1] * std::pow(static_cast<double>(values[i]) / values[i - 1], share);
    }

private:
    static void copy(const std::vector<Point>& from, float* frequencies, float* levels) {
        for (const Point& point : from) {
            *frequencies++ = static_cast<float>(point.frequency);
            *levels++ = static_cast<float>(point.level);
        }
    }
};

/// -100 dBc/Hz at 1, 2 to 11 kHz: 1e-7 a segment.
std::vector<Point> flatTrace() {
    std::vector<Point> trace;
    for (int i = 1; i <= 11; ++i)
        trace.push_back({1000.0 * i, -100});
    return trace;
}

} // namespace

// Integrals of straight lines from 1 kHz to 10 MHz, with a carrier of 1 GHz. The trace reaches beyond on both sides, as
// the segment at the end of the range does not count. A trapezoid lies above a hollow curve: on the slope by the factor
// (r + 1/r) / 2 in power, r the ratio of neighbouring offsets.
TEST_F(StatisticsTest, FiguresAreThoseOfTheIntegralAndTheTrapezoidsExcess) {
    const struct {
        double slope, integral_dBc, rms_mrad, jitter_s, residualFm_Hz;
    } exact[] = {{0, -30.0004, 44.7191, 7.11727e-12, 258.199e3}, {-20, -50.0004, 4.47191, 0.711727e-12, 447.191}};
    const auto setSixDecades = [](int pointsPerDecade, double slope) {
        std::vector<Point> trace;
        for (int i = 0; i <= 6 * pointsPerDecade; ++i) {
            const double decades = static_cast<double>(i) / pointsPerDecade;
            trace.push_back({std::pow(10, 2 + decades), -100 + slope * (decades - 2)});
        }
        setTrace(trace);
    };
    configPN_setFunctionRange(device, 0.9999e3F, 1.0001e7F);
    for (const auto& [slope, integral_dBc, rms_mrad, jitter_s, residualFm_Hz] : exact) {
        setSixDecades(300, slope);
        EXPECT_NEAR(figure(statisticsIntegral), integral_dBc, 2e-4) << slope;
        EXPECT_NEAR(figure(statisticsMilliradians) / rms_mrad, 1, 5e-5) << slope;
        EXPECT_NEAR(figure(statisticsMillidegrees) / (rms_mrad * 180 / M_PI), 1, 5e-5) << slope;
        EXPECT_NEAR(figure(statisticsJitter) / jitter_s, 1, 5e-5) << slope;
        EXPECT_NEAR(figure(statisticsResidualFm) / residualFm_Hz, 1, 5e-5) << slope;
    }
    for (const auto& [pointsPerDecade, excess_dB] : {std::pair(5, 0.445), {10, 0.114}, {20, 0.029}, {50, 0.005}}) {
        setSixDecades(pointsPerDecade, -20);
        EXPECT_NEAR(figure(statisticsIntegral) + 50.0004, excess_dB, 6e-4) << pointsPerDecade;
    }
}

TEST_F(StatisticsTest, OnlyWholeSegmentsThatEndBelowTheRangesEndCount) {
    const struct {
        double start, stop;
        int segments;
    } rows[] = {{0, 50e6, 9},                             // not the last one
                {1000.1, 50e6, 8}, {2000.00001, 50e6, 8}, // the same in single precision
                {0, 10000.1, 9},   {0, 10000, 8},         {3500, 4900, 0},
                {9000, 2000, 0},   {12000, 50e6, 0},      {NAN, NAN, 9}};
    setTrace(flatTrace());
    for (const auto& [start, stop, segments] : rows) {
        configPN.functionRangeStart = start;
        configPN.functionRangeStop = stop;
        EXPECT_NEAR(integral(), segments * 1e-7, 1e-12) << start << " to " << stop;
    }
    configPN_setFunctionRange(device, 3500, 4900);
    EXPECT_EQ(figure(statisticsIntegral), -INFINITY);
    for (const int mode : {statisticsJitter, statisticsMillidegrees, statisticsMilliradians, statisticsResidualFm})
        EXPECT_EQ(figure(mode), 0) << mode;
}

// On flat noise of 1e-10 per Hz a line adds its power and takes half a hertz of noise from every piece beside it.
TEST_F(StatisticsTest, SpursSplitTheirSegment) {
    const struct {
        std::vector<Point> spurs;
        double lines;    // power
        double noise_Hz; // what is left of 9000
    } rows[] = {
        {{{4500, -50}}, 1e-5, -1},
        {{{4000, -50}}, 1e-5, -1}, // on a point: half of it before the point, in the piece without width
        {{{4200, -50}, {4600, -40}}, 1.1e-4, -1.5},
        {{{4300, -100.5}}, 0, -300.5},                                // too low: the noise before it does not count
        {{{4300, -99.5}}, std::pow(10, -9.95), -1},                   // just high enough
        {{{4300, -100.5}, {4600, -50}}, 1e-5, -1},                    // the next one takes up from before the low one
        {{{4300, -50}, {4600, -100.5}}, 1e-5, -300 - 1},              // between the line and the low one
        {{{500, -20}, {999, -20}, {10000, -20}, {10500, -20}}, 0, 0}, // beside all segments that count
    };
    configPN.spurThreshold = 0; // dB, of a line in dBc over noise in dBc/Hz
    for (const auto& [spurs, lines, noise_Hz] : rows) {
        setTrace(flatTrace());
        setSpurs(spurs);
        EXPECT_NEAR(integral() / (lines + (9000 + noise_Hz) * 1e-10), 1, 1e-7) << spurs[0].frequency;
        configPN.spurOmission = 1; // the trace is clean, and so are the figures
        EXPECT_NEAR(integral(), 9e-7, 1e-12);
    }
    setTrace({{100, -20}, {100.1, -20}, {100.2, -20}, {100.3, -20}, {101, -20}});
    setSpurs({{100.05, -60}, {100.15, -60}}); // too low, in segments narrower than what a line takes
    EXPECT_EQ(figure(statisticsMilliradians), 0);
}

TEST_F(StatisticsTest, TheFloorUnderASpurIsInterpolatedInPower) {
    setTrace({{1000, -100}, {2000, -90}, {3000, -90}});
    const double floor = 0.75e-10 + 0.25e-9; // at 1250 Hz
    for (const double height : {9.99, 10.01}) {
        setSpurs({{1250, 10 * std::log10(floor) + height}});
        configPN.spurThreshold = 10;
        const double rest = 0.5 * (floor + 1e-9) * 749.5;
        const double before = 0.5 * (1e-10 + floor) * 249.5 + floor * std::pow(10, height / 10);
        EXPECT_NEAR(integral() / (rest + (height > 10 ? before : 0)), 1, 1e-6) << height;
    }
}

// A carrier with a tone of 1 kHz peak deviation at 100 kHz: a modulation index of 0.01, and 1 kHz / sqrt 2 RMS.
TEST_F(StatisticsTest, AToneCountsInResidualFmByItsDeviation) {
    setTrace({{10e3, -200}, {90e3, -200}, {120e3, -200}, {1e6, -200}});
    setSpurs({{100e3, 20 * std::log10(0.01 / 2)}});
    EXPECT_NEAR(figure(statisticsResidualFm), 1000 / std::sqrt(2.0), 0.01);
}

// Power laws at a carrier of 10 MHz up to 1 kHz, tau 1 s: exact integrals from 0 Hz, and what a start at 0.1 Hz leaves.
// The points stand in equal ratios r, where left-hand rectangles read high by (r - 1) / ln r in power. From where the
// step reaches 0.7 Hz they are equidistant, which samples the many periods of sin^4 evenly: white phase noise is all
// there. The tolerance covers the start of the range, which falls between points, and the line between two values of
// tau.
TEST_F(StatisticsTest, AllanDeviationOfPowerLaws) {
    const struct {
        double slope; // dB per decade
        double level; // dBc/Hz at 1 Hz
        double sigma;
        double fromTenthHertz;
    } rows[] = {{0, -150, 3.898484e-14, 1},
                {-10, -120, 1.175495e-13, 1},
                {-20, -100, 1.000000e-12, 1 - 0.006},
                {-30, -100, 1.665109e-12, 1 - 0.035},
                {-40, -100, 3.627599e-12, 1 - 0.159}};
    const double r = std::pow(10, 0.01);
    std::vector<double> frequencies;
    for (double f = 1e-4; f < 1001; f += std::min(f * (r - 1), 0.7))
        frequencies.push_back(f);
    frequencies.insert(frequencies.end(), {2e3, 5e3}); // beyond the range
    setCarrier(10e6);
    for (const auto& [slope, level, sigma, fromTenthHertz] : rows) {
        std::vector<Point> trace;
        for (const double f : frequencies)
            trace.push_back({f, level + slope * std::log10(f)});
        setTrace(trace);
        for (const float start : {0.0F, 0.1F}) {
            configPN_setFunctionRange(device, start, 1000);
            ASSERT_EQ(pn_measure_calculateAVariance(device), 0);
            const double exact = sigma * (start > 0 ? fromTenthHertz : 1);
            const double excess = slope < 0 ? std::sqrt((r - 1) / std::log(r)) : 1;
            EXPECT_NEAR(sigmaAt(1) / (exact * excess), 1, 0.0015) << slope << " dB from " << start << " Hz";
        }
    }
}

TEST_F(StatisticsTest, TauRunsInStepsOfATenthFromOneOverTheEndToBelowOneOverTheStart) {
    const struct {
        float start, stop; // Hz
        size_t count;
    } rows[] = {{10, 1e6F, 121}, {100, 110, 1}, {100, 112, 2}, {100, 100, 0}, {200, 100, 0}, {0, 50e6F, 300}};
    setTrace({{1e-6, -100}, {10, -100}, {100, -100}, {200, -110}, {1e6, -120}, {50e6, -130}});
    for (const auto& [start, stop, count] : rows) {
        configPN_setFunctionRange(device, start, stop);
        ASSERT_EQ(pn_measure_calculateAVariance(device), 0);
        const auto axis = taus();
        ASSERT_EQ(axis.size(), count) << start << " to " << stop;
        for (size_t i = 0; i < count; ++i)
            ASSERT_NEAR(axis[i] * stop / std::pow(1.1, i), 1, 1e-6) << i;
        EXPECT_TRUE(axis.empty() || axis.back() < 1 / start) << start << " to " << stop;
    }
}

TEST_F(StatisticsTest, WithoutTraceCarrierOrRangeThereIsNoFigureAndAllanDeviationStays) {
    setTrace(flatTrace());
    ASSERT_EQ(pn_measure_calculateAVariance(device), 0);
    const auto before = std::pair(taus(), sigmas());
    ASSERT_EQ(before.first.size(), 26U); // 1 / 11 kHz to below 1 / 1 kHz

    setCarrier(0);
    EXPECT_EQ(pn_measure_getFunctionJitter(device), -1.0);
    EXPECT_NEAR(pn_measure_getFunctionIntegral(device), 10 * std::log10(9e-7), 1e-5);
    EXPECT_EQ(pn_measure_calculateAVariance(device), scpi::measurementFailed);
    setCarrier(1e9);
    configPN_setFunctionRange(device, 10, 0);
    EXPECT_EQ(pn_measure_calculateAVariance(device), scpi::measurementFailed);
    configPN_setFunctionRange(device, 10, 50e6);
    const std::vector<Point> noTraces[] = {{}, {{1000, -100}}, {{1000, -1000}, {2000, -1000}}}; // before the first save
    for (const std::vector<Point>& trace : noTraces) {
        setTrace(trace);
        for (int mode = statisticsJitter; mode <= statisticsResidualFm; ++mode)
            EXPECT_EQ(figure(mode), -1.0) << trace.size() << " points, mode " << mode;
        EXPECT_EQ(pn_measure_calculateAVariance(device), scpi::measurementFailed);
    }
    EXPECT_EQ(std::pair(taus(), sigmas()), before);
}
