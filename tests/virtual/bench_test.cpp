#include "bench_fixture.h"

#include <cmath>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <thread>

using namespace vi;

namespace {

double modulus(const SpectrumPoint& point) {
    return std::hypot(double(point.re), double(point.im));
}

} // namespace

TEST(Bench, ALineStandsAtItsLevelAndDoesNotFlicker) {
    Dut dut = flatDut(100e6, -170);
    const double rate = 1.25e6, spacing = rate / (2 * 511.0); // of stage 2
    dut.spurs = {{1000.0, -20}, {200 * spacing, -90}, {250.5 * spacing, -80}};
    TestBench bench(dut);
    bench.setGain(32);
    bench_setFdCorrelations(&bench, 2, 30);
    bench.close();
    const double scale_dB = 10 * std::log10(bench.slope(channelA) * bench.slope(channelB)) + 32;
    const auto level = [&](uint32_t stage, size_t point) {
        return 10 * std::log10(modulus(bench.capture(stage)[point])) - scale_dB;
    };
    const double onPoint = -10 * std::log10(rate / 512);
    for (int capture = 0; capture < 20; ++capture)
        for (const auto& [point, expected, tolerance] : {std::tuple(200, -90.0, 0.1),
                                                         {201, -90 - 3.34, 0.1},
                                                         {198, -90 - 14.1, 0.2},
                                                         {250, -80 - 0.83, 0.1},
                                                         {251, -80 - 0.83, 0.1}})
            EXPECT_NEAR(level(2, size_t(point)), expected + onPoint, tolerance) << point;
    // In the next faster stage the strong line near 0 Hz is there, in a slower one it lies beyond half of the rate.
    EXPECT_GT(level(3, 8), -60);
    EXPECT_LT(level(5, 400), -120);
}

TEST(Bench, TheLoopsTakeTheirShareOutOfTheCloseInNoise) {
    TestBench bench(flatDut(100e6, -110));
    bench.setGain(32);
    bench.close(1000);
    ASSERT_TRUE(bench.locked());
    bench_setFdCorrelations(&bench, 4, 1000000);
    const double spacing = 12.5e3 / (2 * 511.0); // of stage 4
    const std::vector<SpectrumPoint> points = bench.capture(4);
    const double scale_dB = 10 * std::log10(bench.slope(channelA) * bench.slope(channelB)) + 32;
    for (const size_t point : {8, 30, 80, 200, 500}) {
        double left_dB = 0; // of a loop of the second order, from what each channel's circuit is
        for (const Channel c : {channelA, channelB}) {
            const ChannelTruth truth = bench_truth(&bench, c);
            const double ratio = twoPi * double(point) * spacing / truth.wn_rad_s;
            left_dB += 10 * std::log10(ratio * ratio / std::hypot(1 - ratio * ratio, 2 * truth.damping * ratio));
        }
        EXPECT_NEAR(10 * std::log10(modulus(points[point])) - scale_dB, -110 + left_dB, 0.05) << point;
    }
    // Opened, the channel shows nothing but what comes from behind the mixer, and the other goes on.
    ChannelSettings open = bench_settings(&bench, channelB);
    open.open = true;
    bench_set(&bench, channelB, open);
    EXPECT_LT(modulus(bench.capture(4)[500]), 1e-3 * modulus(points[500]));
    bench_setFdChannel(&bench, FdChannel::aOnly);
    EXPECT_NEAR(bench.capture(4)[500].re / modulus(points[500]), bench.slope(channelA) / bench.slope(channelB), 0.01);
}

TEST(Bench, OneChannelShowsItsOwnReferenceToo) {
    for (const double carrier_Hz : {100e6, 24e9})
        for (const FdChannel channel : {FdChannel::aOnly, FdChannel::bOnly}) {
            TestBench bench(flatDut(carrier_Hz, -180));
            bench.setGain(32);
            bench_setFdCorrelations(&bench, 1, 900000);
            bench_setFdChannel(&bench, channel);
            const bool isA = channel == FdChannel::aOnly;
            bench.close();
            const double scale_dB = 20 * std::log10(bench.slope(isA ? channelA : channelB)) + 32 -
                                    20 * std::log10(bench_settings(&bench, channelA).prescaler);
            // The reference at 97.8 kHz, and what B's has more.
            const double reference_dBcHz = -154.95 + 20 * std::log10(carrier_Hz / 100e6);
            EXPECT_NEAR(10 * std::log10(bench.capture(1)[8].re) - scale_dB, reference_dBcHz + (isA ? 0 : 0.8), 0.04);
        }
}

TEST(Bench, TheDetectorSlopeFollowsFrequencyAndLevel) {
    for (const auto& [frequency_Hz, power_dBm, slope] : {std::tuple(10e6, 8, 0.50),
                                                         {173.205e6, 8, 0.41},
                                                         {24e9, 8, 0.30},
                                                         {10e6, -19, 0.05},
                                                         {1e9, -16, 0.032},
                                                         {10e6, 20, 0.50}}) {
        TestBench bench(flatDut(frequency_Hz, -120, power_dBm));
        EXPECT_NEAR(bench.slope(channelA), 1.02 * slope, 1e-4) << frequency_Hz << " Hz, " << power_dBm << " dBm";
        EXPECT_NEAR(bench.slope(channelB), 0.94 / 1.02 * slope, 1e-4);
        bench.set([](ChannelSettings& s) { s.preamplifier = true; });
        EXPECT_NEAR(bench.slope(channelA), 1.02 * (power_dBm < 0 ? std::pow(10, 15 / 20.0) : 1) * slope, 1e-4);
        bench.set([](ChannelSettings& s) { s.rfOn = false; });
        EXPECT_EQ(bench.slope(channelA), 0);
    }
}

TEST(Bench, WithoutACarrierNothingIsDetectedAndOnlyBackgroundIsLeft) {
    Dut off = flatDut(100e6, -100);
    off.faults.noSignal = true;
    for (const Dut& dut : {off, flatDut(100e6, -100, -26), flatDut(0.9e6, -100), flatDut(29.6e9, -100)}) {
        TestBench bench(dut);
        EXPECT_EQ(bench_readLevel_dBm(&bench), noLevel_dBm);
        EXPECT_EQ(bench_countGate(&bench, 64, 0.01)[channelA].periods, 0u);
        bench.close();
        EXPECT_FALSE(bench.locked());
        double sum = 0;
        for (const SpectrumPoint& point : bench.capture(1))
            sum += modulus(point) / 512;
        EXPECT_LT(sum, 1e-15);
        EXPECT_GT(sum, 1e-18);
    }
    TestBench bench(flatDut(100e6, -100));
    double squares = 0;
    for (int i = 0; i < 400; ++i)
        squares += std::pow(bench_readLevel_dBm(&bench) - 8, 2);
    EXPECT_NEAR(std::sqrt(squares / 400), 0.02, 0.002);
}

TEST(Bench, ASeedFixesEverySpectrumWhateverTheOrderOfFetching) {
    const Dut dut = flatDut(100e6, -130);
    TestBench first(dut), again(dut), other(dut, secondGeneration, 2);
    float last = 0;
    for (int capture = 0; capture < 2; ++capture) {
        for (Bench* bench : {&first, &again, &other})
            bench_startCapture(bench);
        const float second = bench_fetchStage(&first, 2)[10].re, one = bench_fetchStage(&first, 1)[10].re;
        EXPECT_EQ(bench_fetchStage(&again, 1)[10].re, one);
        EXPECT_EQ(bench_fetchStage(&again, 2)[10].re, second);
        EXPECT_EQ(bench_fetchStage(&again, 2)[10].re, second) << "a second look at the same capture";
        EXPECT_NE(bench_fetchStage(&other, 1)[10].re, one);
        EXPECT_NE(one, second);
        EXPECT_NE(one, last) << "the next capture";
        last = one;
    }
}

TEST(Bench, SettingsKeepWithinWhatTheBoardsCan) {
    for (const char* serial : {firstGeneration, secondGeneration}) {
        TestBench bench(flatDut(1e8, -100), serial);
        const bool first = serial == firstGeneration;
        EXPECT_EQ(bench_baseSampleRate_Hz(&bench), first ? 125e6 : 250e6);
        for (const auto& [stage, points] : {std::pair(3, 100), {5, 100}, {6, 1000000}, {7, 2}, {8, 64}})
            bench_setFdPoints(&bench, uint32_t(stage), uint32_t(points));
        bench_setFdCorrelations(&bench, 4'000'000'000, 1);
        bench_setFdStages(&bench, 9);
        const FdSettings fd = bench_fdSettings(&bench);
        EXPECT_EQ(fd.stages, 8u);
        EXPECT_EQ(fd.correlations[0], 1u);
        EXPECT_EQ(fd.points, (std::array<uint32_t, 8>{first ? 512u : 4096u, 512, 512, first ? 512u : 128u, 512,
                                                      first ? 512u : 128u, 8192, 64}));
        bench_setFdStages(&bench, 7);
        bench_startCapture(&bench);
        EXPECT_EQ(bench_fetchStage(&bench, 6).size(), 8192u);
        EXPECT_EQ(bench_fetchStage(&bench, 7).size(), 0u) << "not in use";
    }
    const auto gain = [](const char* serial, int request_dB) {
        return unitBoards_ifGain_dB(unitBoards_of(serial), request_dB);
    };
    EXPECT_EQ(gain(secondGeneration, 25), 20);
    EXPECT_EQ(gain(secondGeneration, 90), 56);
    EXPECT_EQ(gain("220-332305910", 29), 26);
    EXPECT_EQ(gain("", 39), 52);
}

TEST(Bench, ACaptureTakesItsRecordsStageByStageOrSideBySide) {
    for (const bool sideBySide : {false, true}) {
        TestBench bench(flatDut(1e8, -100), sideBySide ? secondGeneration : firstGeneration);
        bench_setFdStages(&bench, 3);
        for (uint32_t stage = 0; stage < 3; ++stage)
            bench_setFdCorrelations(&bench, stage, 1000);
        const double slowest_s = 1000 * 1024 / 1.25e6, others_s = 1000 * 1024 / 125e6 + 1000 * 1024 / 12.5e6;
        const uint64_t before = clock_now();
        bench_startCapture(&bench);
        EXPECT_NEAR(double(clock_now() - before) * 1e-9, sideBySide ? slowest_s : slowest_s + others_s, 1e-8);
    }
}

TEST(Bench, InRealTimeACaptureTakesItsTimeAndCanBeStopped) {
    TestBench bench(flatDut(1e8, -100));
    bench_setFdStages(&bench, 2);
    clock_setMode(TimeMode::realTime);
    bench_setFdCorrelations(&bench, 1, 400); // 33 ms
    const uint64_t start = clock_now();
    const float after = bench.capture(1)[9].re;
    EXPECT_GE(clock_now() - start, 32'000'000u);

    bench_setFdCorrelations(&bench, 1, 4'000'000'000); // days
    bench_startCapture(&bench);
    std::thread stopper([&] { bench_stopCapture(&bench); });
    EXPECT_EQ(bench_fetchStage(&bench, 1)[9].re, after) << "the buffer keeps what it held";
    stopper.join();
    bench_stopCapture(&bench);
    clock_setMode(TimeMode::fast);
    EXPECT_NE(bench.capture(1)[9].re, after) << "the next capture is whole again";
}

TEST(Bench, AChangedDutFileActsFromTheNextCapture) {
    const std::string path = testing::TempDir() + "bench_test." + std::to_string(getpid()) + ".toml";
    TestBench bench(flatDut(1e8, -100));
    bench.dutFile.path = path;
    bench.close();
    EXPECT_TRUE(bench.locked());
    bench_setFdCorrelations(&bench, 1, 1000000);
    const double before = modulus(bench.capture(1)[100]);
    std::ofstream(path) << "[signal]\nfrequency_hz = 1e8\npower_dbm = 8\nnoise = [[1, -120]]\n";
    EXPECT_NEAR(10 * std::log10(modulus(bench.capture(1)[100]) / before), -20, 0.1);
    std::filesystem::remove(path);
}
