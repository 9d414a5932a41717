// Finding the device under test, the beat, and the frequency of the sources.

#include "base/error_codes.h"
#include "measure/preparation/beat.h"
#include "measure/preparation/frequency_search.h"
#include "tests/measure/steps_fixture.h"

#include <cmath>
#include <numbers>

namespace {

auto beatOfPeriod(double samples, double amplitude = 28000) {
    return [=](int, uint32_t i) { return -amplitude * std::cos(2 * std::numbers::pi * i / samples); };
}

class SearchTest : public StepsTest {
protected:
    /// The counters find the DUT once they are near it.
    static void putDutAt(double frequency, double nearHint = -1) {
        hardware.count = [=](double hint) { return hint == nearHint ? frequency : -200; };
    }
    static std::string search(int result) {
        return logOf([&] { EXPECT_EQ(pn_measure_frequencySearch(device, configPNPtr), result); });
    }
    static std::pair<double, double> beats(int32_t count, int filter) {
        std::pair<double, double> found;
        checkBeat(device, configPNPtr, &found.first, &found.second, count, filter);
        return found;
    }
};

TEST_F(SearchTest, TriesAllHintsOrOnlyOneInAteMode) {
    configPN.frequency = 1e9;
    EXPECT_EQ(countOf(search(scpi::executionError), "count "), 1) << "ateMode is on after a reset";
    EXPECT_EQ(configPN.frequency, 1e9);
    configPN.ateMode = 0;
    EXPECT_EQ(countOf(search(scpi::executionError), "count "), 6);
    EXPECT_EQ(configPN.frequency, -1);
    EXPECT_EQ(countOf(search(scpi::executionError), "count "), 5) << "there is no last frequency to try";
}

TEST_F(SearchTest, AsksTheHardwareInTheOrderOfItsBoard) {
    putDutAt(123456789.5);
    configPN.firstSearch = 1;
    EXPECT_EQ(search(0), "rf off; count -1; boards 123456789; quick level; rf on; sources 123456789");
    EXPECT_EQ(configPN.power, 7.5);
    // Commanded, it reads the level in full and fits the attenuation to it; the sources stand where they should.
    EXPECT_EQ(search(0), "rf off; count -1; boards 123456789; level; preamplifier off; rf on");

    useBoard('2');
    putDutAt(150e6, 40e6);
    hardware.sourceInternal = 1;
    configPN.ateMode = 0;
    configPN.firstSearch = 1;
    EXPECT_EQ(search(0),
              "rf off; gain 46; B; tune 6.5; loop 1; attenuation 64; A; tune 6.5; loop 1; attenuation 64; "
              "count -1; boards -1; count 40000000; gain 46; rf on; sources 150005000; capture 16384/128/2; rf off; "
              "gain 0; B; attenuation 0; A; attenuation 0; boards 150000000; quick level; rf on; sources 150000000");
}

TEST_F(SearchTest, ACoarseCountIsCorrectedByABeatThatIsPlausible) {
    useBoard('2');
    // 976.5625 kHz; the sources stand 5 kHz above what was counted, and a beat counts up to three times that.
    for (const auto& [period, found] : {std::pair{200, 5000 - 4882}, {70, 5000 - 13950}, {60, 0}}) {
        putDutAt(150e6);
        hardware.sample = beatOfPeriod(period);
        EXPECT_EQ(pn_measure_frequencySearch(device, configPNPtr), 0);
        EXPECT_NEAR(configPN.frequency - 150e6, found, 100) << period; // the beat is cut to whole hertz a period
    }
}

TEST_F(SearchTest, RoundsTheSourcesToWhatTheLoopCanPull) {
    fake->rfEnabled = 1;
    // Among them: exactly at its reach; two neighbours, the lower one first; within one volt; no sensitivity;
    // differences in whole hertz.
    const struct {
        double dut, sensitivity;
        uint32_t prescaler;
        int selection;
        double before, rounded, deltaV;
        bool moved;
    } cases[] = {{100.8e6, 30e3, 2, 1, 0, 101e6, -200.0 / 30, true},
                 {100.7e6, 60e3, 1, 1, 0, 100.7e6, 0, true},
                 {100.5e6, 200e3, 1, 1, 0, 100e6, 2.5, true},
                 {100.3e6, 301e3, 1, 2, 0, 100e6, 300.0 / 301, true},
                 {200.3e6, 50e3, 1, 1, 100e6, 200e6, 300e3 / 100150, true},
                 {100.3e6, 100e3, 1, 1, 100e6, 100e6, 300e3 / 100300, false},
                 {100.7e6, 0, 1, 1, 100e6, 100.7e6, 0, true},
                 {1e9 + 0.5, 1, 1, 1, 0, 1e9, 0.5, true}};
    for (const auto& c : cases) {
        hardware.sensitivity = c.sensitivity;
        hardware.prescaler = c.prescaler;
        fake->selection = c.selection;
        configPN.frequency = c.dut;
        configPN.frequencyRounded = c.before;
        hardware.source = 0;
        EXPECT_EQ(pn_measure_roundFrequency(device, configPNPtr), c.rounded) << c.dut;
        EXPECT_EQ(hardware.source, c.moved ? c.rounded : 0) << c.dut;
        EXPECT_NEAR(DELTAV, c.deltaV, 1e-12) << c.dut << ' ' << c.sensitivity;
    }
}

TEST_F(SearchTest, MeasuresABeatOverWholePeriods) {
    const struct {
        double period; // samples
        uint32_t samples, divider;
        int32_t count;
        double beat; // Hz: 125 MHz / divider / period, cut at each division
    } cases[] = {{96, 4096, 4, 10, 325520},
                 {100, 460, 1, 100, 1249998}, // the samples run out after 3 periods
                 {100, 186, 1, 1, -1},
                 {100, 187, 1, 1, 1250000},
                 {100, 4096, 0, 10, 1250000}};
    meas_data.beatChannels = 2;
    for (const auto& c : cases) {
        hardware.sample = beatOfPeriod(c.period);
        meas_data.beatSamples = c.samples;
        meas_data.beatDivider = c.divider;
        EXPECT_EQ(beats(c.count, 0), std::pair(c.beat, c.beat)) << c.samples << ' ' << c.count;
    }
}

TEST_F(SearchTest, MeasuresABeatOnlyWhereThereIsOne) {
    meas_data.beatSamples = 4096;
    meas_data.beatDivider = 4;
    meas_data.beatChannels = 2;
    for (const int offset : {-400, 400}) { // reaches one threshold and misses the other
        hardware.sample = [&](int channel, uint32_t i) {
            return channel == 0 ? beatOfPeriod(100)(0, i) : offset + beatOfPeriod(100, 16e3)(0, i);
        };
        EXPECT_EQ(beats(10, 0), std::pair(312500.0, -1.0)) << offset;
    }
    hardware.sample = beatOfPeriod(100, 16384); // reaches both exactly
    EXPECT_EQ(beats(10, 0), std::pair(312500.0, 312500.0));
    hardware.sample = beatOfPeriod(4); // far above what the filter lets through
    configPN.frequency = 60e6;
    EXPECT_EQ(beats(10, 1), std::pair(7812500.0, 7812500.0));
    configPN.frequency = 59e6;
    EXPECT_EQ(beats(10, 1), std::pair(-1.0, -1.0));
    hardware.sample = beatOfPeriod(100);
    meas_data.beatChannels = 1;
    EXPECT_EQ(beats(10, 1), std::pair(312500.0, -1.0)) << "not captured";
    meas_data.beatChannels = 2;
    hardware.missing[1] = 2;
    EXPECT_EQ(beats(10, 1), std::pair(-1.0, -1.0)) << "records of two lengths";
    hardware.missing[1] = 0;
    hardware.captureResult = -365;
    EXPECT_EQ(beats(10, 1), std::pair(-1.0, -1.0)) << "a failed capture";
}

} // namespace
