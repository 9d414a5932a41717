// Each design is checked against the loop equations, worked out from the parts that it picked, and against the filter
// that a calculation by hand gives.
#include "fake_instrument.h"
#include "measure/preparation/adc_scale.h"
#include "measure/preparation/loop_params.h"

#include <cmath>
#include <numbers>

namespace {

constexpr double farads[] = {0, 1e-8, 2e-7, 9.4e-7, 3.76e-6};
constexpr double countsPerVolt = 40960;

struct Filter {
    double r1, r2, wn, zeta;
    uint32_t capacitor;
};
Filter filterA() {
    return {meas_data.loopR1A, meas_data.loopR2A, meas_data.loopWnA, meas_data.loopZetaA, meas_data.loopCapA};
}
Filter filterB() {
    return {meas_data.loopR1B, meas_data.loopR2B, meas_data.loopWnB, meas_data.loopZetaB, meas_data.loopCapB};
}

void expectLoop(const Filter& filter, double sensitivity, double volts) {
    ASSERT_GE(filter.capacitor, 1U);
    ASSERT_LE(filter.capacitor, 4U);
    const double farad = farads[filter.capacitor];
    EXPECT_NEAR(filter.wn, std::sqrt(2 * std::numbers::pi * sensitivity * volts / (filter.r1 * farad)),
                1e-6 * filter.wn);
    EXPECT_NEAR(filter.zeta, farad * filter.r2 * filter.wn / 2, 1e-9);
    for (const double ohm : {filter.r1, filter.r2}) {
        EXPECT_GE(ohm, 800);
        EXPECT_LT(ohm, 50000.1);
    }
}

class LoopParamsTest : public MeasureTest {
protected:
    void SetUp() override {
        MeasureTest::SetUp();
        fake->sensitivity[0] = fake->sensitivity[1] = 250;
        configPN.kphiA = configPN.kphiB = 0.4 * countsPerVolt;
    }
};

} // namespace

TEST_F(LoopParamsTest, EachCaseHasItsBandwidthAndDamping) {
    const struct {
        const char* name;
        int selection;
        double frequency, sensitivity, wanted;
        double bandwidth, zeta;
        uint32_t capacitor;
    } rows[] = {
        {"low noise", 0, 100e6, 250, -1, 10, 0.7, 4},
        {"automatic", 1, 99e6, 250, 0, 100, 1.2, 3},
        {"automatic, highest", 3, 7e9 + 1, 17500, -1, 400, 1.2, 3},
        {"high sensitivity", 2, 100e6, 1000, -1, 800, 1.2, 1},
        {"no source pair", -1, 100e6, 250, NAN, 200, 1.2, 2},
        {"user", 0, 100e6, 250, 50, 50, 1.2, 4},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        fake->selection = row.selection;
        fake->sensitivity[0] = fake->sensitivity[1] = row.sensitivity;
        configPN.frequency = row.frequency;
        calcLoopParams(device, configPNPtr, row.wanted);
        expectLoop(filterA(), fake->sensitivity[0], 0.4);
        expectLoop(filterB(), fake->sensitivity[0], 0.4);
        EXPECT_NEAR(configPN.loopBandwidth, row.bandwidth, 1e-6 * row.bandwidth);
        EXPECT_NEAR(meas_data.loopWnA / (2 * std::numbers::pi), row.bandwidth, 1e-6 * row.bandwidth);
        EXPECT_NEAR(meas_data.loopZetaA, row.zeta, 1e-6);
        EXPECT_EQ(meas_data.loopCapA, row.capacitor);
    }
}

TEST_F(LoopParamsTest, ABandwidthThatNoFilterGivesIsRaised) {
    calcLoopParams(device, configPNPtr, 1); // R1 alone would be 4.2 Mohm
    expectLoop(filterA(), 250, 0.4);
    EXPECT_NEAR(meas_data.loopR1A, 50000, 1e-3);
    EXPECT_NEAR(configPN.loopBandwidth, 9.2008, 1e-3);

    fake->sensitivity[0] = fake->sensitivity[1] = 5; // R2 would still be 78 kohm after that
    calcLoopParams(device, configPNPtr, 1);
    expectLoop(filterA(), 5, 0.4);
    EXPECT_NEAR(meas_data.loopR2A, 50000, 1e-3);
    EXPECT_NEAR(configPN.loopBandwidth, 2.4 / 50000 / 3.76e-6 / (2 * std::numbers::pi), 1e-5);
    // Rounding must not decide: whatever the constants, a raised bandwidth keeps its largest capacitor.
    for (double volts = 0.05; volts < 0.6; volts += 0.001) {
        configPN.kphiA = std::floor(volts * countsPerVolt);
        fake->sensitivity[0] = 100 + 3000 * volts;
        calcLoopParams(device, configPNPtr, 0.5);
        ASSERT_EQ(meas_data.loopCapA, 4U) << volts;
    }
}

TEST_F(LoopParamsTest, TheChannelsHaveFiltersOfTheirOwn) {
    fake->selection = 0;
    fake->sensitivity[0] = 6;
    fake->sensitivity[1] = 3;
    calcLoopParams(device, configPNPtr, -1);
    expectLoop(filterA(), 6, 0.4);
    expectLoop(filterB(), 3, 0.4);
    EXPECT_EQ(meas_data.loopCapA, 4U);
    EXPECT_EQ(meas_data.loopCapB, 3U);

    const Filter before = filterB();
    fake->sensitivity[0] = 250;
    fake->sensitivity[1] = 0;
    calcLoopParams(device, configPNPtr, 200);
    EXPECT_EQ(meas_data.loopR1B, before.r1); // nothing fits: it keeps its filter, but for the capacitor of A
    EXPECT_EQ(meas_data.loopCapB, 2U);

    fake->sensitivity[0] = 0.3; // with a gain, and far from any filter: the loop is what the old one makes of it
    calcLoopParams(device, configPNPtr, 200);
    EXPECT_GT(filterA().r1, 800);
    expectLoop(filterA(), 0.3, 0.4);
}

TEST_F(LoopParamsTest, APulsedDesignTakesVoltsAndFindsThemAgain) {
    config_enablePulse(device);
    configPN.kphiA = 0.30001; // the user's volts, no whole number of counts
    configPN.kphiB = 0.4;
    for (int repeat = 0; repeat < 3; ++repeat) {
        calcLoopParams(device, configPNPtr, -1);
        expectLoop(filterA(), 250, 0.30001);
        expectLoop(filterB(), 250, 0.4);
        EXPECT_NEAR(meas_data.loopZetaA, 2, 1e-6);
        EXPECT_NEAR(configPN.loopBandwidth, std::sqrt(250 * 0.628), 1e-6);
        EXPECT_EQ(configPN.kphiA, 12288);
        EXPECT_EQ(configPN.kphiB, 16384);
    }
}

TEST_F(LoopParamsTest, NumbersThatGiveNoLoopLeaveTheFiltersAlone) {
    calcLoopParams(device, configPNPtr, 100);
    const Filter before = filterA();
    for (const bool pulsed : {false, true})
        for (const double sensitivity : {0.0, -1.0, double(NAN), double(INFINITY), 1e-300, 1e300})
            for (const double kphi : {0.0, -1.0, double(NAN), 1e12, 16384.0})
                for (const double wanted : {-1.0, 0.0, double(NAN), 1e-300, 1e300, double(INFINITY)}) {
                    configPN.pulseEnabled = pulsed;
                    configPN.kphiA = kphi;
                    fake->sensitivity[0] = sensitivity;
                    calcLoopParams(device, configPNPtr, wanted);
                    ASSERT_EQ(meas_data.loopR1A, before.r1) << sensitivity << ' ' << kphi << ' ' << wanted;
                    ASSERT_FALSE(std::isnan(configPN.loopBandwidth)) << sensitivity << ' ' << wanted;
                }
}
