// Traces with known lines, constructed ones and those of whole runs on the bench.
#include "core/numbers.h"
#include "device/device.h"
#include "measure/preparation/frequency_search.h"
#include "measure/results/pn_results.h"
#include "measure/results/spur_detector.h"
#include "measure/run/pn_run.h"
#include "measure/settings/config_accessors.h"
#include "measure/settings/config_mode.h"
#include "tests/slots.h"
#include "tests/virtual/started_unit.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <memory>
#include <utility>
#include <vector>

using namespace vi;

namespace {

constexpr const char *firstGeneration = "220-336305910-0001", *secondGeneration = "220-336306910-0001";

using Trace = std::vector<float>;
struct Line {
    double offset_Hz, level_dBc;
};

class SpurTest : public testing::Test {
protected:
    void attach(const std::vector<Spur>& spurs, const char* serial = secondGeneration, uint64_t seed = 1) {
        // Flat where the lines are, which must not blur the crossings of the beat.
        const Dut dut{100e6, 8, {{{1, -80}, {100, -120}, {1e3, floor}, {1e8, floor}}}, spurs, {}};
        startUnit(&device, serial, dut, seed);
        tvstuff_seedRandom(static_cast<uint32_t>(seed));
        configPN.smoothing = 0;
        configPN_setOffsetMin(device, 10);
    }
    static std::vector<Line> run(uint32_t correlations) {
        configPN_setCorrelations(device, correlations);
        staging_handOver(device, configPN);
        EXPECT_EQ(pn_measure_execfrequencySearch(device), 0);
        pn_measure_forgetTrace(); // as INIT does
        EXPECT_EQ(pnMeasureFull(device, &configPN), 0);
        return list();
    }

    static Trace read(int (*query)(Device*, const float**)) {
        const float* data = nullptr;
        const int bytes = query(device, &data);
        return {data, data + bytes / 4};
    }
    static std::vector<Line> list() {
        const Trace offsets = read(pn_measure_getSpurFreq), levels = read(pn_measure_getSpurData);
        EXPECT_EQ(offsets.size(), levels.size());
        std::vector<Line> lines;
        for (size_t k = 0; k < offsets.size(); ++k)
            lines.push_back({offsets[k], levels[k]});
        return lines;
    }

    /// The detector alone, on a grid of 1 Hz a point from 1 kHz on, unless there is another one.
    static std::vector<int> detect(Trace* trace, Trace offsets = {}, double comb = 100e6) {
        const auto count = static_cast<int32_t>(trace->size());
        for (int i = static_cast<int>(offsets.size()); i < count; ++i)
            offsets.push_back(1000.0F + static_cast<float>(i));
        std::array<double, stageCountMax> rates;
        for (int stage = 0; stage < stageCountMax; ++stage)
            rates[stage] = Device_getFdSamplingFreq(device, stage);
        const SpurSearch search{.comb = comb, .plan = meas_data.plan, .rates = rates};
        std::vector<int> points;
        MutexLock lock(meas_data.resultMutex);
        meas_data.spurCount = spur_detector_detectSpurs(search, offsets, *trace, meas_data.spurScratch,
                                                        {meas_data.spurFreq, meas_data.spurData});
        for (int k = 0; k < meas_data.spurCount; ++k)
            points.push_back(static_cast<int>(std::ranges::find(offsets, meas_data.spurFreq[k]) - offsets.begin()));
        return points;
    }

    static double binWidth(double offset_Hz) {
        return Device_getFdSamplingFreq(device, config_getStageFromOffset(device, offset_Hz)) / (2 * 511);
    }
    /// Offset of the bin nearest to a point of the grid of a run before, `bins` beside it.
    static double beside(double near_Hz, double bins) {
        const Trace grid = read(pn_measure_getSpectrumFreq);
        const double point = *std::ranges::lower_bound(grid, static_cast<float>(near_Hz));
        return (std::round(point / binWidth(point)) + bins) * binWidth(point);
    }
    /// Level of a line that stands `above` dB over the floor at its bin.
    static double lineLevel(double offset_Hz, double above) {
        const double rate = Device_getFdSamplingFreq(device, config_getStageFromOffset(device, offset_Hz));
        return floor + 10 * std::log10(rate / 512) + above;
    }

    static constexpr double floor = -130; // dBc/Hz
    static inline Device* device;
};

/// A flat trace of 481 points at -100 dBc/Hz with something on top.
Trace flatWith(const std::vector<std::pair<int, float>>& peaks, size_t count = 481) {
    Trace trace(count, -100.0F);
    for (const auto& [point, height] : peaks)
        trace[static_cast<size_t>(point)] += height;
    return trace;
}

} // namespace

TEST_F(SpurTest, ALineIsLeftReplacedOrListedByItsHeight) {
    attach({});
    enum Fate { left, replaced, listed };
    const struct {
        int point;
        float height;
        Fate fate;
    } cases[] = {
        {240, 3.1F, left},     {240, 3.3F, replaced},                // whole dB over a mean that the line lifts by 1/17
        {240, 4.7F, replaced}, {240, 5.3F, listed},                  // too low for the list, and high enough
        {240, -10, replaced},  {8, 10, listed},       {7, 10, left}, // half a width from the start
        {480, 10, listed},
    };
    for (const auto& [point, height, fate] : cases) {
        SCOPED_TRACE(testing::Message() << height << " dB at " << point);
        Trace trace = flatWith({{point, height}});
        const Trace before = trace;
        EXPECT_EQ(detect(&trace), fate == listed ? std::vector{point} : std::vector<int>{});
        if (fate == listed) {
            EXPECT_NEAR(list()[0].level_dBc, -100 + height + 10 * std::log10(12.5e3 / 512), 1e-4);
        }
        if (fate != left) { // what comes back has a fifth of the deviation
            EXPECT_NEAR(std::exchange(trace[static_cast<size_t>(point)], before[static_cast<size_t>(point)]), -100,
                        0.02 + std::abs(height) * 0.05);
        }
        EXPECT_EQ(trace, before) << "all other points stay";
    }
}

TEST_F(SpurTest, WhatComesBackIsSpreadByAFifthOfTheDeviation) {
    attach({});
    constexpr int lines = 400;
    double squares = 0;
    for (int i = 0; i < lines; ++i) {
        Trace trace = flatWith({{240, -10}});
        detect(&trace);
        squares += std::pow(static_cast<double>(trace[240]) + 100, 2);
    }
    // Of 17 points one is 10 - 10/17 dB off the mean, the others 10/17; their distances' root over their number.
    const double deviation = std::sqrt(std::pow(160 / 17.0, 2) + 16 * std::pow(10 / 17.0, 2)) / 17;
    EXPECT_NEAR(std::sqrt(squares / lines), 0.2 * deviation, 0.1 * 0.2 * deviation);
}

TEST_F(SpurTest, SkirtsGoWithTheirSpurAndNeighboursAreOne) {
    attach({});
    const struct {
        const char* what;
        std::vector<std::pair<int, float>> peaks;
        std::vector<int> listed, kept; // kept: points that the repair leaves alone
    } cases[] = {
        {"skirts on both sides", {{98, 2.5F}, {99, 4}, {100, 20}, {101, 4}, {102, 2.5F}}, {100}, {}},
        {"a dip ends a skirt",
         {{97, 2.9F}, {98, 2.6F}, {99, 4}, {100, 20}, {101, 4}, {102, 2.6F}, {103, 2.9F}},
         {100},
         {97, 98, 102, 103}},
        {"the left one is held against the mirror point",
         {{98, 2.5F}, {99, 4}, {100, 20}, {101, 4}, {110, 20}},
         {100, 110},
         {98}},
        {"every second spur gets no skirts",
         {{99, 3}, {100, 20}, {110, 20}, {111, 3}, {120, 20}, {121, 3}},
         {100, 110, 120},
         {111}},
        {"a high spur covers what comes before it, not what follows", {{96, 6}, {100, 36}, {104, 6}}, {100, 104}, {96}},
        {"no mirror point beyond the end", {{477, 3}, {478, 4}, {479, 15}}, {479}, {477}},
    };
    {
        MutexLock lock(meas_data.resultMutex); // what lies beyond is another trace's
        std::fill_n(meas_data.spurScratch.smoothed + 481, tracePointsMax - 481, -1000.0F);
        std::fill_n(meas_data.spurScratch.deviation, 8, 1e6F);
    }
    for (const auto& [what, peaks, listed, kept] : cases) {
        SCOPED_TRACE(what);
        Trace trace = flatWith(peaks);
        const Trace before = trace;
        EXPECT_EQ(detect(&trace), listed);
        for (const auto& [point, height] : peaks) {
            const auto i = static_cast<size_t>(point);
            const bool stays = std::ranges::count(kept, point) != 0;
            EXPECT_NEAR(trace[i], stays ? before[i] : -100, stays ? 0 : 2.4) << point;
        }
    }
}

TEST_F(SpurTest, TheListIsLimited) {
    // 998 candidates, and skirts that do not fit any more.
    const float shape[] = {4, 6, 9, 6, 4};
    Trace trace(tracePointsMax);
    for (size_t i = 0; i < trace.size(); ++i)
        trace[i] = shape[i % 5];
    const Trace original = trace;
    Trace smoothed(trace.size(), 0.0F), deviation(trace.size());
    std::vector<int32_t> list(spursMax);
    int32_t found = 0;
    findSpurs(tracePointsMax, 4, 0, trace.data(), original.data(), smoothed.data(), deviation.data(), list.data(),
              &found);
    EXPECT_EQ(found, spurEntriesMax);
    EXPECT_TRUE(std::ranges::is_sorted(list.begin(), list.begin() + found));
    EXPECT_GE(list[0], 1);
    EXPECT_EQ(list[static_cast<size_t>(found) - 1], tracePointsMax - 1);
}

// With s = m comb folded at 1 GHz the multiples of |s - comb| are the instrument's own: worked by hand for each
// carrier.
TEST_F(SpurTest, LinesOfTheSynthesisAreDropped) {
    attach({});
    const struct {
        double comb;
        float offset;
        bool dropped;
    } cases[] = {
        {10e6, 4.8e6F, true},       {10e6, 4.7e6F, false},    {80e6, 5e6F, false},     {333.34e6, 1e4F, true},
        {333.34e6, 5e3F, false},    {333.34e6, 45e3F, false}, {333.34e6, 60e3F, true}, {333.34e6, 1.02e6F, false},
        {1.0125e9, 12.5e6F, false}, {1.3e9, 12.5e6F, true},   {680e6, 10e6F, true},    {7e9, 10e6F, false},
    };
    for (const auto& [comb, offset, dropped] : cases) {
        SCOPED_TRACE(testing::Message() << comb << " Hz, line at " << offset);
        Trace trace = flatWith({{100, 20}}), offsets(101, offset);
        EXPECT_EQ(detect(&trace, offsets, comb).empty(), dropped);
        EXPECT_NEAR(trace[100], -100, 1) << "out of the trace in any case";
    }
    for (const double unknown : {0.0, -1.0, 1e300, double(INFINITY), double(NAN)}) {
        Trace trace = flatWith({{100, 20}});
        detect(&trace, {}, unknown); // comes back
    }
}

TEST_F(SpurTest, PointsWithoutALevelAreNoSpursAndSpoilNoOthers) {
    attach({});
    for (const float level : {-INFINITY, INFINITY, NAN})
        for (const int points : {1, 120}) {
            SCOPED_TRACE(testing::Message() << level << " at " << points);
            Trace trace = flatWith({{83, 20}, {98, 20}, {400, 20}});
            std::fill_n(trace.begin() + 100, points, level);
            EXPECT_EQ(detect(&trace), (std::vector{83, 400}));
            for (size_t i = 0; i < trace.size(); ++i)
                if (i < 98 || i >= 100 + static_cast<size_t>(points)) {
                    EXPECT_NEAR(trace[i], -100, 1) << i;
                }
        }
    for (const size_t count : {0, 1, 58}) {
        Trace bad(count, NAN);
        EXPECT_TRUE(detect(&bad).empty());
    }
}

TEST_F(SpurTest, LinesOfTheDutAreFoundWithTheirLevel) {
    for (const char* serial : {secondGeneration, firstGeneration}) {
        attach({}, serial);
        EXPECT_TRUE(run(1000).empty());
        std::vector<Spur> spurs;
        // In each stage, on a bin and beside it.
        const std::pair<double, double> places[] = {{110, 0},       {2e3, 0.45},   {15e3, 0},  {49.5e3, 0.3},
                                                    {150e3, -0.45}, {0.51e6, 0.3}, {4.9e6, 0}, {45e6, 0}};
        for (const auto& [near_Hz, bins] : places)
            spurs.push_back({beside(near_Hz, bins), lineLevel(near_Hz, 25)});
        attach(spurs, serial);
        const std::vector<Line> lines = run(1000);
        ASSERT_EQ(lines.size(), spurs.size());
        const Trace trace = read(pn_measure_getSpectrumData), power = read(pn_measure_getSpectrumPowerData);
        const Trace grid = read(pn_measure_getSpectrumFreq);
        for (size_t k = 0; k < lines.size(); ++k) {
            EXPECT_NEAR(lines[k].offset_Hz, spurs[k].offset_Hz, binWidth(spurs[k].offset_Hz)); // points may share a bin
            EXPECT_NEAR(lines[k].level_dBc, spurs[k].level_dBc, 0.9) << spurs[k].offset_Hz;
            const auto point = std::ranges::find(grid, static_cast<float>(lines[k].offset_Hz)) - grid.begin();
            EXPECT_GT(power[point] - trace[point], 12) << "the power trace keeps the line";
            EXPECT_NEAR(trace[point], floor, spurs[k].offset_Hz > 1e3 ? 3 : 20);
        }
    }
}

TEST_F(SpurTest, CleanTracesHaveNoSpursFromTenCorrelationsOnAndSingleRecordsDo) {
    const auto falseSpurs = [this](uint32_t correlations) {
        size_t sum = 0;
        for (uint64_t seed = 1; seed <= 20; ++seed) {
            attach({}, secondGeneration, seed);
            sum += run(correlations).size();
        }
        return sum;
    };
    EXPECT_LE(falseSpurs(10), 1U);
    EXPECT_GT(falseSpurs(1), 100U) << "a record's points scatter by 5.6 dB";
}

TEST_F(SpurTest, ASeedGivesTheSameTraceWhoeverAsksInBetween) {
    attach({});
    const Spur spur{110e3, lineLevel(110e3, 40)};
    const auto traceOf = [&](bool asked) {
        attach({spur}); // the same noise each time
        if (asked) {
            MutexLock lock(meas_data.resultMutex);
            meas_data.previewTrigger = 1;
        }
        EXPECT_EQ(run(20).size(), 1U);
        return read(pn_measure_getSpectrumData);
    };
    EXPECT_EQ(traceOf(true), traceOf(false)) << "a preliminary result";
}

TEST_F(SpurTest, WithoutOmissionTheTraceKeepsItsLinesAndThereIsNoList) {
    attach({{110e3, -60}});
    EXPECT_EQ(run(10).size(), 1U);
    configPN.spurOmission = 0;
    EXPECT_TRUE(run(10).empty());
    EXPECT_EQ(read(pn_measure_getSpectrumData), read(pn_measure_getSpectrumPowerData));
}
