// Finding the device under test, the beat, and the frequency of the sources.

#include "measure/beat.h"
#include "measure/frequency_search.h"
#include "scpi/error_codes.h"
#include "tests/measure/steps_fixture.h"

#include <cmath>
#include <numbers>
#include <sstream>
#include <thread>

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
        return logOf([&] { EXPECT_EQ(pn_measure_frequencySearch(device), result); });
    }
    /// The hints of the counter attempts in a log.
    static std::string hints(const std::string& log) {
        std::istringstream in(log);
        std::string hints;
        for (std::string line; std::getline(in >> std::ws, line, ';');)
            if (line.starts_with("count "))
                hints += (hints.empty() ? "" : " ") + line.substr(6);
        return hints;
    }
    static std::pair<double, double> beats(int32_t count, int filter) {
        std::pair<double, double> found;
        checkBeat(device, &found.first, &found.second, count, filter);
        return found;
    }
};

TEST_F(SearchTest, TriesTheHintsOfItsBoardInOrderAndOnlyOneInAteMode) {
    const char* const boards2A = "40000000 100000000 2500000000 5000000000 10000000000 10000000";
    const char* const boards2CD = "10000000 4000000000 8000000000 16000000000 26000000000";
    const std::pair<char, std::string> cases[] = {{'1', boards2A},
                                                  {'2', "40000000 1500000000 3000000000 1"},
                                                  {'3', boards2A},
                                                  {'5', boards2CD},
                                                  {'4', "10000000 4000000000 10000000000 20000000000"},
                                                  {'6', boards2CD}};
    for (const auto& [board, all] : cases) {
        useBoard(board);
        configPN.frequency = 1e9;
        EXPECT_EQ(hints(search(scpi::executionError)), "-1") << "ateMode is on after a reset";
        EXPECT_EQ(configPN.frequency, 1e9);
        configPN.ateMode = 0;
        EXPECT_EQ(hints(search(scpi::executionError)), "-1 " + all) << board;
        EXPECT_EQ(configPN.frequency, -1);
        EXPECT_EQ(hints(search(scpi::executionError)), all) << board;
        configPN.ateMode = 1;
    }
}

TEST_F(SearchTest, AsksTheHardwareInTheOrderOfItsBoard) {
    putDutAt(123456789.5);
    configPN.firstSearch = 1;
    EXPECT_EQ(search(0), "rf off; count -1; boards 123456789; quick level; rf on; sources 123456789");
    EXPECT_EQ(configPN.power, 7.5);
    // Commanded, it reads the level in full and fits the attenuation to it; the sources stand where they should.
    EXPECT_EQ(search(0), "rf off; count -1; boards 123456789; level; preamplifier off; rf on");

    useBoard('3');
    device_config_sn[variant::acquisition] = '5'; // its counters need no beat
    hardware.sourceInternal = 0;
    configPN.firstSearch = 1;
    EXPECT_EQ(search(0), "rf off; gain 46; count -1; gain 0; boards 123456789; quick level; sources 123456789");

    useBoard('2');
    putDutAt(150e6, 40e6);
    hardware.sourceInternal = 1;
    configPN.ateMode = 0;
    configPN.firstSearch = 1;
    EXPECT_EQ(search(0),
              "rf off; gain 46; B; attenuation 64; tune 6.5; loop 1; A; attenuation 64; tune 6.5; loop 1; "
              "count -1; boards -1; count 40000000; gain 46; rf on; sources 150005000; capture 16384/128/2; rf off; "
              "gain 0; B; attenuation 0; A; attenuation 0; boards 150000000; quick level; rf on; sources 150000000");
}

TEST_F(SearchTest, TakesOnlyCountsThatAreCarriers) {
    const std::pair<double, bool> cases[] = {{499999, false},   {500000, true},     {32e9, true}, {32e9 + 1, false},
                                             {INFINITY, false}, {-INFINITY, false}, {NAN, false}};
    configPN.ateMode = 0;
    for (const auto& [counted, found] : cases) {
        putDutAt(counted);
        configPN.frequency = 1e9;
        search(found ? 0 : scpi::executionError);
        EXPECT_EQ(configPN.frequency, found ? counted : -1);
    }
}

TEST_F(SearchTest, IsLeftOutOnlyWithAKnownFrequency) {
    configPN.redoFrequency = redoOnce;
    EXPECT_EQ(hints(search(scpi::executionError)), "-1");
    EXPECT_EQ(search(0), "sources 100000000") << "the flag is used up";
    configPN.frequency = -1;
    configPN.autoFrequency = 0;
    EXPECT_EQ(hints(search(scpi::executionError)), "10000000");
}

TEST_F(SearchTest, CorrectsTheCountByTheBeat) {
    useBoard('3');
    const struct {
        double dut, counted;
        uint32_t prescaler;
        double found, within; // Hz; a period is cut to whole hertz before it is multiplied
    } cases[] = {{100001200, 100e6, 1, 100001200, 70},  {50001000, 50e6, 1, 50001000, 40},
                 {500003000, 500e6, 2, 500003000, 200}, {99999500, 100e6, 1, 99999500, 100},
                 {100030000, 100e6, 1, 100e6, 0}, // no beat of the offset's: the count stays
                 {500045000, 500e6, 1, 500e6, 0}};
    for (const auto& c : cases) {
        putDutAt(c.counted);
        hardware.prescaler = c.prescaler;
        hardware.sample = [&](int, uint32_t i) {
            return beatOfPeriod(125e6 / fake->divider * c.prescaler / std::fabs(hardware.source - c.dut))(0, i);
        };
        search(0);
        EXPECT_NEAR(configPN.frequency, c.found, c.within) << c.dut;
    }
}

TEST_F(SearchTest, OnCommandWaitsForTheRunAndTriesEverything) {
    static std::atomic<bool> counted;
    counted = false;
    hardware.count = [](double hint) { return counted = true, hint == 8e9 ? 5e9 : -200; };
    const auto setIdle = [](uint32_t idle) {
        MutexLock lock(meas_data.stateMutex);
        meas_data.idle = idle;
        meas_data.finishedCond.broadcast();
    };
    setIdle(0);
    std::thread command([] { EXPECT_EQ(pn_measure_execfrequencySearch(device), 0); });
    std::this_thread::sleep_for(std::chrono::milliseconds(20)); // time to do it wrong
    EXPECT_FALSE(counted);
    setIdle(1);
    command.join();
    EXPECT_EQ(hints(fake->takeLog()), "-1 10000000 4000000000 8000000000");
    EXPECT_EQ(fake->gate, 0.02);
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
                 {100.3e6, 60e3, 1, 1, 0, 100.3e6, 0, true},
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
        EXPECT_EQ(pn_measure_roundFrequency(device), c.rounded) << c.dut;
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
    } cases[] = {{100, 4096, 4, 10, 312500},  {100, 4096, 4, 1, 312500},   {96, 4096, 4, 10, 325520},
                 {100, 460, 1, 100, 1249998}, {100, 340, 1, 100, 1250000}, // the samples run out after 3 and 2 periods
                 {100, 150, 1, 10, -1},       {100, 2, 4, 10, -1},         {100, 0, 4, 10, -1},
                 {100, 186, 1, 1, -1},        {100, 187, 1, 1, 1250000},   {100, 4096, 4, 0, -1},
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
    meas_data.beatChannels = 1;
    hardware.sample = beatOfPeriod(100);
    EXPECT_EQ(beats(10, 0), std::pair(312500.0, -1.0)) << "not captured";
    meas_data.beatChannels = 2;
    hardware.sample = beatOfPeriod(4); // far above what the filter lets through
    configPN.frequency = 60e6;
    EXPECT_EQ(beats(10, 1), std::pair(7812500.0, 7812500.0));
    configPN.frequency = 59e6;
    EXPECT_EQ(beats(10, 1), std::pair(-1.0, -1.0));
    hardware.sample = beatOfPeriod(100);
    EXPECT_EQ(beats(10, 1), std::pair(312500.0, 312500.0));
    hardware.missing[1] = 2;
    EXPECT_EQ(beats(10, 1), std::pair(-1.0, -1.0)) << "records of two lengths";
    hardware.missing[1] = 0;
    hardware.captureResult = -365;
    EXPECT_EQ(beats(10, 1), std::pair(-1.0, -1.0)) << "a failed capture";
}

} // namespace
