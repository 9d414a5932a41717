#include "virtual/bench.h"
#include "virtual/clock.h"

#include <cmath>
#include <complex>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <numbers>
#include <thread>

using namespace vi;
using Complex = std::complex<double>;

namespace {

constexpr const char* secondGeneration = "220-336306910-0001";
constexpr const char* firstGeneration = "220-336305910-0001";
constexpr const char* olderAnalogBoard = "220-333306910-0001"; // prescalers up to 8

Dut flatDut(double frequency_Hz, double level_dBcHz) {
    return {frequency_Hz, 8.0, {{{1, level_dBcHz}}}, {}, false};
}

std::unique_ptr<Bench> benchWith(const Dut& dut, const char* serial = secondGeneration, uint64_t seed = 1) {
    auto bench = std::make_unique<Bench>();
    bench_init(bench.get(), unitBoards_of(serial), {"", dut, {}}, seed);
    return bench;
}

/// With the sources on the DUT.
LockState closeLoops(Bench* bench) {
    return bench_closeLoops(bench, {bench_countCarrier_Hz(bench), 0});
}

std::vector<SpectrumPoint> captured(Bench* bench, uint32_t stage) {
    bench_startCapture(bench);
    const std::span<const SpectrumPoint> points = bench_fetchStage(bench, stage);
    return {points.begin(), points.end()};
}

double modulus(const SpectrumPoint& point) {
    return std::hypot(double(point.re), double(point.im));
}

/// Levels of a stage in dBc/Hz as an analyzer works them out: means over captures, slopes, gain, prescaler, loop.
std::vector<double> levels(Bench* bench, const LockState& lock, uint32_t stage, int captures) {
    std::vector<Complex> sum;
    for (int i = 0; i < captures; ++i) {
        const std::vector<SpectrumPoint> points = captured(bench, stage);
        sum.resize(points.size());
        for (size_t j = 0; j < points.size(); ++j)
            sum[j] += Complex(points[j].re, points[j].im);
    }
    const double scale_dB = 10 * std::log10(lock.detectorSlope[0] * lock.detectorSlope[1]) + bench_ifGain_dB(bench) -
                            20 * std::log10(bench_prescaler(bench));
    std::vector<double> level(sum.size());
    for (size_t j = 1; j < sum.size(); ++j) {
        const double offset = double(j) * bench_fdSampleRate_Hz(bench, stage) / (2.0 * double(sum.size() - 1));
        const double x = lock.loop.wn_rad_s / (2 * std::numbers::pi * offset), zeta = 0.8 * lock.loop.filterDamping;
        const double correction_dB = 10 * std::log10(1 + 2 * (2 * zeta * zeta - 1) * x * x + x * x * x * x);
        level[j] = 10 * std::log10(std::abs(sum[j]) / captures) - scale_dB + correction_dB;
    }
    return level;
}

} // namespace

TEST(Bench, TheTraceIsTheNoiseOfTheDutAtEveryPrescalerReferenceAndLevel) {
    const Dut crystal{
        100.000123e6, 8.0, {{{1, -72}, {10, -104}, {100, -134}, {1e3, -157}, {1e4, -168}, {1e6, -172}}}, {}, false};
    const Dut oven{
        10e6, 10.0, {{{1, -122.5}, {10, -148}, {100, -157}, {1e3, -160}, {1e4, -161}, {1e6, -161}}}, {}, false};
    const Dut freeRunning{
        2.388e9, 5.0, {{{100, -20}, {1e3, -37}, {1e4, -67}, {1e5, -97}, {1e6, -127}, {5e7, -154}}}, {}, false};
    Dut weak = flatDut(1e9, 0), fast = flatDut(24e9, 0), faster = flatDut(29e9, 0);
    weak.power_dBm = -10;
    weak.noise = {{{1, -60}, {10, -90}, {100, -110}}};
    fast.noise = faster.noise = {{{1, -50}, {100, -90}, {1e4, -110}, {1e6, -130}}};
    const struct {
        const char* serial;
        const Dut& dut;
        Reference reference;
        uint32_t prescaler;
    } cases[] = {
        {secondGeneration, crystal, Reference::crystal100MHz, 1},
        {firstGeneration, crystal, Reference::crystal100MHz, 1},
        {secondGeneration, crystal, Reference::resonator1GHz, 1},
        {secondGeneration, oven, Reference::lowNoisePll, 1},
        {secondGeneration, oven, Reference::ocxo10MHzTimes100, 1},
        {secondGeneration, freeRunning, Reference::crystal100MHz, 1},
        {secondGeneration, weak, Reference::crystal100MHz, 1},
        {secondGeneration, fast, Reference::lowNoisePll, 2},
        {secondGeneration, faster, Reference::lowNoisePll, 4},
        {olderAnalogBoard, freeRunning, Reference::crystal100MHz, 1},
        {olderAnalogBoard, fast, Reference::lowNoisePll, 8},
    };
    for (const auto& [serial, dut, reference, prescaler] : cases) {
        const auto bench = benchWith(dut, serial);
        bench_setReference(bench.get(), reference);
        bench_setIfGain(bench.get(), 32);
        bench_setFdStages(bench.get(), 8);
        const LockState lock = closeLoops(bench.get());
        ASSERT_TRUE(lock.locked);
        EXPECT_EQ(bench_prescaler(bench.get()), prescaler);
        for (uint32_t stage = 0; stage < stagesMax; ++stage) {
            bench_setFdCorrelations(bench.get(), stage, 4'000'000'000);
            const std::vector<double> level = levels(bench.get(), lock, stage, 4);
            const double spacing = bench_fdSampleRate_Hz(bench.get(), stage) / (2.0 * double(level.size() - 1));
            for (size_t i = std::max<size_t>(4, size_t(1 / spacing)); i < level.size(); ++i)
                ASSERT_NEAR(level[i], noiseCurve_level_dBcHz(dut.noise, double(i) * spacing), 0.15)
                    << serial << " " << dut.frequency_Hz << " Hz, stage " << stage << ", point " << i;
        }
    }
}

TEST(Bench, ALineStandsAtItsLevelAndDoesNotFlicker) {
    Dut dut = flatDut(100e6, -170);
    const uint32_t stage = 2, point = 200;
    const double rate = 1.25e6, spacing = rate / (2 * 511.0);
    dut.spurs = {{1000.0, -20}, {point * spacing, -90}, {250.5 * spacing, -80}};
    const auto bench = benchWith(dut);
    bench_setIfGain(bench.get(), 32);
    bench_setFdCorrelations(bench.get(), stage, 30);
    const LockState lock = closeLoops(bench.get());
    const double onPoint = -10 * std::log10(rate / 512);
    for (int capture = 0; capture < 20; ++capture) {
        const std::vector<double> level = levels(bench.get(), lock, stage, 1);
        EXPECT_NEAR(level[point], -90 + onPoint, 0.1);
        EXPECT_NEAR(level[point + 1], -90 - 3.34 + onPoint, 0.1);
        EXPECT_NEAR(level[point - 2], -90 - 14.1 + onPoint, 0.2);
        EXPECT_NEAR(level[250], -80 - 0.83 + onPoint, 0.1);
        EXPECT_NEAR(level[251], -80 - 0.83 + onPoint, 0.1);
    }
    // In the next faster stage the strong line near 0 Hz is there, in a slower one it lies beyond half of the rate.
    EXPECT_GT(levels(bench.get(), lock, 3, 1)[8], -60);
    EXPECT_LT(levels(bench.get(), lock, 5, 1)[400], -120);
}

TEST(Bench, OneChannelShowsItsOwnReferenceToo) {
    const auto bench = benchWith(flatDut(100e6, -180)); // the reference of channel A at 100 kHz: -155 dBc/Hz
    bench_setFdStages(bench.get(), 2);
    bench_setIfGain(bench.get(), 32);
    bench_setFdCorrelations(bench.get(), 1, 900000);
    const LockState lock = closeLoops(bench.get());
    const auto own_dBcHz = [&](FdChannel channel, double slope) {
        bench_setFdChannel(bench.get(), channel);
        const SpectrumPoint point = captured(bench.get(), 1)[8]; // 97.8 kHz
        EXPECT_EQ(point.im, 0.0f);
        return 10 * std::log10(point.re) - 20 * std::log10(slope) - bench_ifGain_dB(bench.get());
    };
    EXPECT_NEAR(own_dBcHz(FdChannel::aOnly, lock.detectorSlope[0]), -155, 0.3);
    EXPECT_NEAR(own_dBcHz(FdChannel::bOnly, lock.detectorSlope[1]), -155 + 0.8, 0.3);
}

TEST(Bench, TheDetectorSlopeFollowsFrequencyAndLevel) {
    const struct {
        double frequency_Hz, power_dBm, slope;
    } cases[] = {
        {10e6, 8, 0.50}, {30e6, 8, 0.50}, {173.205e6, 8, 0.41}, {1e9, 8, 0.32},   {10e9, 8, 0.30},
        {24e9, 8, 0.30}, {10e6, 5, 0.50}, {10e6, -15, 0.05},    {10e6, 20, 0.50},
    };
    for (const auto& [frequency, power, slope] : cases) {
        Dut dut = flatDut(frequency, -120);
        dut.power_dBm = power;
        const LockState lock = closeLoops(benchWith(dut).get());
        EXPECT_NEAR(lock.detectorSlope[0], slope, 1e-4) << frequency << " Hz, " << power << " dBm";
        EXPECT_NEAR(lock.detectorSlope[1], 0.94 * slope, 1e-4);
    }
}

TEST(Bench, WithoutACarrierNothingIsDetectedAndOnlyBackgroundIsLeft) {
    Dut off = flatDut(100e6, -100), weak = off, low = off, high = off;
    off.noSignal = true;
    weak.power_dBm = -26;
    low.frequency_Hz = 0.9e6;
    high.frequency_Hz = 29.6e9;
    for (const Dut& dut : {off, weak, low, high}) {
        const auto bench = benchWith(dut);
        EXPECT_EQ(bench_readLevel_dBm(bench.get()), noLevel_dBm);
        EXPECT_EQ(bench_countCarrier_Hz(bench.get()), 0);
        EXPECT_FALSE(bench_closeLoops(bench.get(), {dut.frequency_Hz, 0}).locked);
        double sum = 0;
        for (const SpectrumPoint& point : captured(bench.get(), 1))
            sum += modulus(point) / 512;
        EXPECT_LT(sum, 1e-15);
        EXPECT_GT(sum, 1e-18);
    }
    const auto bench = benchWith(flatDut(100e6, -100));
    double sum = 0, previous = 0;
    for (int i = 0; i < 400; ++i) {
        const double reading = bench_readLevel_dBm(bench.get());
        EXPECT_NE(reading, previous);
        sum += previous = reading;
    }
    EXPECT_NEAR(sum / 400, 8.0, 0.005);
}

TEST(Bench, TheLoopWidensUntilItHoldsTheDut) {
    Dut wild = flatDut(2.4e9, -40);
    wild.noise = {{{100, 20}, {1e5, -60}, {1e6, -80}, {5e7, -120}}};
    const auto closed = [](const Dut& dut) { return closeLoops(benchWith(dut).get()); };
    EXPECT_NEAR(closed(flatDut(100e6, -140)).loop.wn_rad_s, 2 * std::numbers::pi * 30, 1e-9);
    EXPECT_TRUE(closed(wild).locked);
    EXPECT_GT(closed(wild).loop.wn_rad_s, 2 * std::numbers::pi * 1e4);
    EXPECT_FALSE(closed(flatDut(100e6, -60)).locked) << "50 rad^2 in all: no loop tracks that";
}

TEST(Bench, TheSourcesMustBeWithinReachOfTheDut) {
    const struct {
        Reference reference;
        double off_Hz; // in reach at 100 MHz, and no farther
    } cases[] = {
        {Reference::ocxo10MHzTimes100, 720}, {Reference::crystal100MHz, 1800}, {Reference::resonator1GHz, 1400}};
    for (const auto& [reference, off] : cases) {
        const auto bench = benchWith(flatDut(100e6, -140));
        bench_setReference(bench.get(), reference);
        EXPECT_TRUE(bench_closeLoops(bench.get(), {100e6 + 0.99 * off, 0}).locked);
        EXPECT_FALSE(bench_closeLoops(bench.get(), {100e6 - 1.01 * off, 0}).locked);
        EXPECT_LT(modulus(captured(bench.get(), 2)[100]), 1e-15);
        EXPECT_NEAR(bench_closeLoops(bench.get(), {100e6, 77}).loop.wn_rad_s, 2 * std::numbers::pi * 77, 1e-9);
    }
}

TEST(Bench, ASeedFixesEverySpectrumWhateverTheOrderOfFetching) {
    const Dut dut = flatDut(100e6, -130);
    const auto first = benchWith(dut), again = benchWith(dut), other = benchWith(dut, secondGeneration, 2);
    for (Bench* bench : {first.get(), again.get(), other.get()})
        closeLoops(bench);
    for (int capture = 0; capture < 2; ++capture) {
        for (Bench* bench : {first.get(), again.get(), other.get()})
            bench_startCapture(bench);
        const double second = bench_fetchStage(first.get(), 2)[10].re, one = bench_fetchStage(first.get(), 1)[10].re;
        EXPECT_EQ(bench_fetchStage(again.get(), 1)[10].re, one);
        EXPECT_EQ(bench_fetchStage(again.get(), 2)[10].re, second);
        EXPECT_EQ(bench_fetchStage(again.get(), 2)[10].re, second) << "a second look at the same capture";
        EXPECT_NE(bench_fetchStage(other.get(), 1)[10].re, one);
        EXPECT_NE(one, second);
    }
    const double last = bench_fetchStage(first.get(), 1)[10].re;
    EXPECT_NE(captured(first.get(), 1)[10].re, last) << "the next capture";
}

TEST(Bench, TheBoardsSettingsAreThoseOfItsGeneration) {
    const auto first = benchWith(flatDut(1e8, -100), firstGeneration), second = benchWith(flatDut(1e8, -100));
    EXPECT_EQ(bench_baseSampleRate_Hz(first.get()), 125e6);
    EXPECT_EQ(bench_baseSampleRate_Hz(second.get()), 250e6);
    EXPECT_EQ(bench_fdSampleRate_Hz(first.get(), 1), 12.5e6);
    EXPECT_EQ(bench_fdSampleRate_Hz(second.get(), 7), 12.5);
    EXPECT_EQ(bench_fdSampleRate_Hz(second.get(), 8), 0);
    EXPECT_EQ(bench_fdSettings(first.get()).points[0], 512u);
    EXPECT_EQ(bench_fdSettings(second.get()).points[0], 4096u);
    for (Bench* bench : {first.get(), second.get()}) {
        bench_setFdPoints(bench, 3, 100);
        bench_setFdPoints(bench, 6, 100);
        bench_setFdPoints(bench, 7, 2);
        bench_setFdPoints(bench, 8, 64);
        bench_setFdCorrelations(bench, 4'000'000'000, 1);
        bench_setFdStages(bench, 9);
        const FdSettings fd = bench_fdSettings(bench);
        EXPECT_EQ(fd.points[3], bench == first.get() ? 512u : 128u);
        EXPECT_EQ(fd.points[6], 128u);
        EXPECT_EQ(fd.points[7], 64u);
        EXPECT_EQ(fd.stages, 8u);
        bench_setFdPoints(bench, 6, 1000000);
        EXPECT_EQ(bench_fdSettings(bench).points[6], 8192u);
        bench_setFdStages(bench, 7);
        EXPECT_EQ(bench_fdBufferedPoints(bench, 6), 0u);
        bench_startCapture(bench);
        EXPECT_EQ(bench_fdBufferedPoints(bench, 6), 8192u);
        EXPECT_EQ(bench_fetchStage(bench, 6).size(), 8192u);
        EXPECT_EQ(bench_fetchStage(bench, 7).size(), 0u) << "not in use";
        EXPECT_EQ(bench_fetchStage(bench, 8).size(), 0u);
    }
    const struct {
        const char* serial;
        int request_dB, gain_dB;
    } gains[] = {{secondGeneration, 5, 0},
                 {secondGeneration, 25, 20},
                 {secondGeneration, 48, 44},
                 {secondGeneration, 90, 56},
                 {"220-332305910", 29, 26},
                 {"220-332305910", 50, 46},
                 {"", 38, 26},
                 {"", 39, 52}};
    for (const auto& [serial, request, gain] : gains)
        EXPECT_EQ(bench_setIfGain(benchWith(flatDut(1e8, -100), serial).get(), request), gain) << serial << request;
}

TEST(Bench, ACaptureTakesItsRecordsStageByStageOrSideBySide) {
    for (const bool sideBySide : {false, true}) {
        const auto bench = benchWith(flatDut(1e8, -100), sideBySide ? secondGeneration : firstGeneration);
        bench_setFdStages(bench.get(), 3);
        for (uint32_t stage = 0; stage < 3; ++stage) {
            bench_setFdPoints(bench.get(), stage, 512);
            bench_setFdCorrelations(bench.get(), stage, 1000);
        }
        const double records_s[] = {1000 * 1024 / (sideBySide ? 250e6 : 125e6), 1000 * 1024 / 12.5e6,
                                    1000 * 1024 / 1.25e6};
        const uint64_t before = clock_now();
        bench_startCapture(bench.get());
        EXPECT_NEAR(double(clock_now() - before) * 1e-9,
                    sideBySide ? records_s[2] : records_s[0] + records_s[1] + records_s[2], 1e-8);
    }
}

TEST(Bench, InRealTimeACaptureTakesItsTimeAndCanBeStopped) {
    const auto bench = benchWith(flatDut(1e8, -100));
    bench_setFdStages(bench.get(), 2);
    const float before = captured(bench.get(), 1)[9].re;

    clock_setMode(TimeMode::realTime);
    bench_setFdCorrelations(bench.get(), 1, 400); // 33 ms
    const uint64_t start = clock_now();
    const float after = captured(bench.get(), 1)[9].re;
    EXPECT_GE(clock_now() - start, 32'000'000u);
    EXPECT_NE(after, before);

    bench_setFdCorrelations(bench.get(), 1, 4'000'000'000); // days
    bench_startCapture(bench.get());
    float stopped = 0;
    std::thread waiter([&] { stopped = bench_fetchStage(bench.get(), 1)[9].re; });
    bench_stopCapture(bench.get());
    waiter.join();
    EXPECT_EQ(stopped, after) << "the buffer keeps what it held";
    bench_stopCapture(bench.get());
    clock_setMode(TimeMode::fast);
    EXPECT_NE(captured(bench.get(), 1)[9].re, after) << "the next capture is whole again";
}

TEST(Bench, AChangedDutFileActsFromTheNextCapture) {
    const std::string path = testing::TempDir() + "bench_test." + std::to_string(getpid()) + ".toml";
    const auto write = [&path](const char* level) {
        std::ofstream(path) << "[signal]\nfrequency_hz = 1e8\npower_dbm = 8\nnoise = [[1, " << level << "]]\n";
    };
    write("-100");
    DutFile file;
    std::string reason;
    ASSERT_TRUE(dutFile_open(&file, path, &reason)) << reason;
    Bench bench;
    bench_init(&bench, unitBoards_of(secondGeneration), file, 1);
    EXPECT_TRUE(closeLoops(&bench).locked);
    bench_setFdCorrelations(&bench, 1, 1000000);
    const double before = modulus(captured(&bench, 1)[100]);
    write("-120.0");
    EXPECT_NEAR(10 * std::log10(modulus(captured(&bench, 1)[100]) / before), -20, 0.1);
    std::filesystem::remove(path);
}
