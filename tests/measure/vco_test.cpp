#include "base/error_codes.h"
#include "core/abstime.h"
#include "fake_instrument.h"
#include "measure/run/vco_measure.h"
#include "measure/run/vco_results.h"

#include <cmath>
#include <future>

namespace {

constexpr double center_Hz = 100e6, slope_HzPerV = 2e6, bend_HzPerV2 = 1e5, push_HzPerV = 1e5;

double curve(double tune_V, double supply_V) {
    return center_Hz + tune_V * (slope_HzPerV + bend_HzPerV2 * tune_V) + push_HzPerV * (supply_V - 12);
}

/// Frequency and sensitivity alone over 1 to 5 V, five points, unless a test sets more.
class VcoTest : public MeasureTest {
protected:
    void SetUp() override {
        MeasureTest::SetUp();
        config_setMeasurementMode(device, measurementModeVCO);
        fake->oscillator = curve;
        fake->dutTune_V = 3.5; // from before
        configVCO.voltageStart = 1;
        configVCO.voltageStop = 5;
        configVCO.voltagePoints = 5;
        configVCO.phaseNoiseEnabled = 0;
        fake->takeLog();
    }
    static std::vector<float> noise(int number) {
        const float* data = nullptr;
        const int bytes = vco_measure_getPNOffset(device, &data, number);
        return {data, data + bytes / 4};
    }
};

} // namespace

TEST_F(VcoTest, EachColumnHoldsWhatItsPointMeasured) {
    configVCO.phaseNoiseEnabled = 1;
    configVCO.kPushEnabled = 1;
    configVCO_setPnOffsets(device, 1e5, 0, 1e4, 0);
    fake->spectrum = flat(1e-9F);
    ASSERT_EQ(runOnce(), 0);
    const auto volts = read(vco_measure_getVoltage), kvco = read(vco_measure_getKVCO);
    ASSERT_EQ(volts, (std::vector<float>{1, 2, 3, 4, 5}));
    ASSERT_EQ(vco_measure_getIteration(device), 5);
    for (size_t i = 0; i < 5; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(read(vco_measure_getVCOFrequency)[i], static_cast<float>(curve(volts[i], 12)));
        EXPECT_EQ(read(vco_measure_getISupply)[i], 12 / 400.0F);
        EXPECT_EQ(read(vco_measure_getVCOPower)[i], fake->power_dBm);
        EXPECT_EQ(read(vco_measure_getKPush)[i], static_cast<float>(std::floor(push_HzPerV * 0.2) * 5));
        const double left = i == 0 ? volts[0] : volts[i - 1], right = i == 4 ? volts[4] : volts[i + 1];
        EXPECT_EQ(kvco[i], static_cast<float>((curve(right, 12) - curve(left, 12)) / (right - left)));
        EXPECT_GT(noise(1)[i], -300);
        EXPECT_EQ(noise(1)[i], noise(3)[i]); // a flat spectrum
        EXPECT_EQ(noise(2)[i], -1000);
    }
    EXPECT_TRUE(noise(0).empty() && noise(5).empty());
    const std::string log = fake->takeLog();
    EXPECT_EQ(countOf(log, "supply 1 12.2"), 5);
    EXPECT_EQ(countOf(log, "selection 2"), 1); // the sensitive reference, at once
    EXPECT_TRUE(log.ends_with("counter off; rf on; dut off; dut 3.5; dut 1")) << log;
    EXPECT_EQ(configVCO.config.reference, referenceNormal); // what a client has set stays
    EXPECT_EQ(meas_data.plan.offsetMin, 10);
}

TEST_F(VcoTest, TheCounterHasSettledBeforeItIsReadAndTheOscillatorBeforeItIsCounted) {
    configVCO.voltagePoints = 2;
    configVCO.tuneDelay = 7000;
    std::vector<uint64_t> counted_us;
    fake->onSearch = [&] { counted_us.push_back(tv_abstime_us()); };
    ASSERT_EQ(runOnce(), 0);
    std::vector<uint64_t> waits_us; // search, twice with the gate, twice for the steps to come; the next point
    for (size_t i = 1; i < counted_us.size(); ++i)
        waits_us.push_back(counted_us[i] - counted_us[i - 1]);
    EXPECT_EQ(waits_us, (std::vector<uint64_t>{20'000, 0, 20'000, 0, 7000, 20'000, 0}));
}

TEST_F(VcoTest, TheEdgesOfASweep) {
    const struct {
        const char* what;
        std::function<void()> prepare;
        std::vector<float> volts, kvco;
        std::string gates; // as they were set, once in a row
        int captures = 0;
        int32_t code = 0;
    } rows[] = {
        {"no span: one point", [] { configVCO.voltageStop = 1; }, {1}, {0}, "0.01"},
        {"one point of a span", [] { configVCO.voltagePoints = 1; }, {1}, {0}, "0.01"},
        {"two points: one difference", [] { configVCO.voltagePoints = 2; }, {1, 5}, {2.6e6, 2.6e6}, "0.01"},
        {"no frequency: differences to 0 Hz",
         [] {
             configVCO.frequencyEnabled = 0;
             configVCO.voltagePoints = 2;
         },
         {1, 5},
         {112.5e6F / 4, 112.5e6F / 4},
         "0.01"},
        {"noise without a first offset",
         [] {
             configVCO.phaseNoiseEnabled = 1;
             configVCO_setPnOffsets(device, 0, 1e4, 1e5, 0);
             configVCO.voltagePoints = 2;
         },
         {1, 5},
         {2.6e6, 2.6e6},
         "0.01"},
        {"a crystal with noise begins with the long gate",
         [] {
             configVCO.phaseNoiseEnabled = 1;
             configVCO.dutType = 1;
             configVCO.voltagePoints = 2;
         },
         {1, 5},
         {2.6e6, 2.6e6},
         "0.15",
         2},
        {"tunes little",
         [] { fake->oscillator = [](double v, double) { return 100e6 + 9000 * v; }; },
         {1, 2, 3, 4, 5},
         std::vector<float>(5, 9000),
         "0.01; 0.05"},
        {"tunes hardly at all: starts again once",
         [] { fake->oscillator = [](double v, double) { return 100e6 + 90 * v; }; },
         {1, 2, 3, 4, 5},
         std::vector<float>(5, 90),
         "0.01; 0.15"},
        {"the same without sensitivity",
         [] {
             fake->oscillator = [](double v, double) { return 100e6 + 90 * v; };
             configVCO.kvcoEnabled = 0;
         },
         {1, 2, 3, 4, 5},
         std::vector<float>(5, 0),
         "0.01"},
        {"stands at the third point",
         [] { fake->oscillator = [](double v, double) { return v < 3 ? curve(v, 12) : 0; }; },
         {1, 2},
         {2.3e6, 0},
         "0.01",
         0,
         scpi::noSignalDetected},
        {"stands from the first",
         [] { fake->oscillator = [](double, double) { return 0.0; }; },
         {-10},
         {0},
         "",
         0,
         scpi::noSignalDetected},
    };
    for (const auto& [what, prepare, volts, kvco, gates, captures, code] : rows) {
        SCOPED_TRACE(what);
        SetUp();
        prepare();
        EXPECT_EQ(runOnce(), code);
        EXPECT_EQ(read(vco_measure_getVoltage), volts);
        EXPECT_EQ(read(vco_measure_getKVCO), kvco);
        EXPECT_EQ(fake->capturesBegun(), captures);
        const std::string log = fake->takeLog();
        std::string seen;
        for (size_t at = log.find("gate "); at != std::string::npos; at = log.find("gate ", at + 1)) {
            const std::string gate = log.substr(at + 5, log.find(';', at) - at - 5);
            if (!seen.ends_with(gate))
                seen += (seen.empty() ? "" : "; ") + gate;
        }
        EXPECT_EQ(seen, gates);
        EXPECT_EQ(log.find("dut off") == std::string::npos, code != 0); // a failure leaves the tune output as it is
    }
}

TEST_F(VcoTest, ARunThatFailsCostsItsPointTheNoiseAlone) {
    configVCO.phaseNoiseEnabled = 1;
    fake->onTune = [] { fake->tune = [](int) { return fake->dutTune_V == 3 ? 5.1 : 7.2; }; }; // no lock at 3 V
    EXPECT_EQ(runOnce(), 0);
    for (size_t i = 0; i < 5; ++i)
        EXPECT_EQ(noise(1)[i] == -1000, i == 2);
    EXPECT_EQ(read(vco_measure_getVCOFrequency)[2], static_cast<float>(curve(3, 12)));
}

TEST_F(VcoTest, AStopIsSeenBeforeTheNextPointAndShowsWhatThereIs) {
    for (int stopAt = 0; stopAt < 5; ++stopAt) {
        SCOPED_TRACE(stopAt);
        SetUp();
        fake->onTune = [stopAt, count = 0]() mutable {
            if (count++ == stopAt)
                measure_stopMeasurement(device);
        };
        EXPECT_EQ(runOnce(), 0);
        EXPECT_EQ(vco_measure_getIteration(device), stopAt + 1);
        EXPECT_EQ(read(vco_measure_getVoltage).back(), static_cast<float>(1 + stopAt));
        EXPECT_TRUE(fake->takeLog().ends_with("counter off; rf on; dut off; dut 3.5; dut 1"));
    }
}

TEST_F(VcoTest, AClientThatWaitsForTheNextPointIsServedFromTheThirdOn) {
    std::promise<void> go, goOn;
    const auto asked = [] {
        MutexLock lock(meas_data.resultMutex);
        return meas_data.vcoPreliminaryTrigger != 0;
    };
    configVCO.voltagePoints = 6;
    fake->onTune = [&, count = 0]() mutable {
        if (++count == 2)
            go.get_future().wait();
        while (count == 3 && !asked())
            std::this_thread::yield();
        if (count == 4)
            goOn.get_future().wait();
    };
    ASSERT_EQ(measure_startMeasurement(device), 0);
    EXPECT_EQ(read(vco_measure_getVoltage).size(), 1U); // nobody asked, the rest is not shown
    EXPECT_EQ(vco_measure_timedWaitForMeasurement(device, 0, 1), scpi::waitTimedOut);
    EXPECT_EQ(vco_measure_getIteration(device), 1);
    {
        MutexLock lock(meas_data.resultMutex);
        meas_data.vcoPreliminaryTrigger = 0; // of the one that gave up
    }
    auto waiter = std::async(std::launch::async, vco_measure_waitForMeasurement, device, 0);
    go.set_value();
    EXPECT_EQ(waiter.wait_for(std::chrono::minutes(2)), std::future_status::ready) << "while the sweep stands";
    EXPECT_EQ(vco_measure_getIteration(device), 3);
    goOn.set_value();
    EXPECT_EQ(waiter.get(), 0);
    EXPECT_EQ(vco_measure_waitForMeasurement(device, 1), 0);
    EXPECT_EQ(read(vco_measure_getVoltage).size(), 6U);
    EXPECT_EQ(vco_measure_waitForMeasurement(device, 0), 0); // without a sweep at once
}
