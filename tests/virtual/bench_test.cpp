#include "bench_fixture.h"

#include <filesystem>
#include <fstream>

using namespace vi;

namespace {

using Complex = std::complex<double>;

constexpr double ifGain_dB = 32;

Complex cross(const StageExpectation& stage, uint32_t point) {
    return {stage.sxyRe[point], stage.sxyIm[point]};
}

double own(const StageExpectation& stage, Channel channel, uint32_t point) {
    return channel == channelA ? stage.sxx[point] : stage.syy[point];
}

void expectBackgroundOnly(const StageExpectation& stage, Channel channel) {
    for (uint32_t point = 0; point < TestBench::points; ++point) {
        ASSERT_EQ(cross(stage, point), 0.0) << point;
        ASSERT_EQ(own(stage, channel, point), chain_background(ifGain_dB, channel)) << point;
    }
}

} // namespace

TEST(Bench, ALineStandsAtItsLevelInTheStagesThatReachIt) {
    Dut dut = flatDut(100e6, -170);
    constexpr double spacing_Hz = 1000, rate_Hz = 1022 * spacing_Hz;
    dut.spurs = {{8 * spacing_Hz, -20}, {200 * spacing_Hz, -90}, {250.5 * spacing_Hz, -80}};
    TestBench bench(dut);
    bench.setGain(ifGain_dB);
    bench.close();
    const auto level_dB = [&](const StageExpectation& stage, uint32_t point, Channel channel) {
        for (const LineAtPoint& line : stage.lines)
            if (line.point == point)
                return 20 * std::log10(std::abs(channel == channelA ? line.x : line.y) / bench.transfer(channel));
        return -300.0;
    };
    const struct {
        uint32_t point;
        double level_dBc; // the window is 3.34, 14.12 and 0.83 dB down at 1, 2 and 0.5 points
    } lines[] = {{8, -20}, {200, -90}, {201, -90 - 3.34}, {198, -90 - 14.12}, {250, -80 - 0.83}, {251, -80 - 0.83}};
    for (const Channel channel : {channelA, channelB})
        for (const auto& [point, level_dBc] : lines)
            EXPECT_NEAR(level_dB(bench.expect(spacing_Hz), point, channel),
                        level_dBc + 10 * std::log10(TestBench::points / rate_Hz), 0.02)
                << point;
    // A line is in the stages that reach it, up to their last point, and does not fold into slower ones.
    EXPECT_GT(level_dB(bench.expect(8 * spacing_Hz / 511), 511, channelA), -60);
    EXPECT_TRUE(bench.expect(8 * spacing_Hz / 512).lines.empty());
}

TEST(Bench, ACaptureThatIsBrokenOffLeavesTheLoopsInThePresent) {
    for (const bool spectra : {true, false}) {
        TestBench bench(flatDut(100e6, -120));
        bench.close();
        const double before_V = bench_readTune_V(&bench, channelA);
        if (spectra) {
            bench.source.beginSpectra(3600'000'000'000);
        } else {
            std::vector<uint16_t> a(100'000), b(100'000);
            bench.source.record({clock_now(), adcClock_Hz, 1'000'000}, a, b);
        }
        bench.offsetSources(-250);
        clock_spend(1'000'000'000);
        EXPECT_TRUE(bench.locked());
        EXPECT_NEAR(bench_readTune_V(&bench, channelA) - before_V, 1, 0.1) << "at 250 Hz/V";
    }
}

TEST(Bench, TheLoopsTakeTheirShareOutOfTheCloseInNoise) {
    TestBench bench(flatDut(100e6, -110));
    bench.setGain(ifGain_dB);
    bench.close(1000);
    ASSERT_TRUE(bench.locked());
    constexpr double spacing_Hz = 12;
    const StageExpectation closed = bench.expect(spacing_Hz);
    for (const uint32_t point : {8, 30, 80, 200, 500}) {
        // What is left by loops of the second order, from what each channel's circuit is.
        Complex h[channels];
        for (const Channel c : {channelA, channelB}) {
            const ChannelTruth truth = bench_truth(&bench, c);
            const double ratio = twoPi * point * spacing_Hz / truth.wn_rad_s;
            h[c] = -ratio * ratio / Complex(1 - ratio * ratio, 2 * truth.damping * ratio) * bench.transfer(c);
        }
        const Complex expected = h[channelA] * std::conj(h[channelB]) * 1e-11;
        EXPECT_LT(std::abs(cross(closed, point) / expected - 1.0), 1e-6) << point;
    }
    // Opened, a channel shows nothing but what comes from behind the mixer, and the other goes on.
    ChannelWiring open = bench_wiring(&bench, channelB);
    open.loop.capacitance_F = std::numeric_limits<double>::infinity();
    bench_setWiring(&bench, channelB, open);
    const StageExpectation& half = bench.expect(spacing_Hz);
    expectBackgroundOnly(half, channelB);
    EXPECT_EQ(half.sxx, closed.sxx);
}

TEST(Bench, EachChannelShowsTheNoiseOfItsOwnReferenceToo) {
    for (const double carrier_Hz : {100e6, 24e9}) {
        TestBench bench(flatDut(carrier_Hz, -120));
        bench.setGain(ifGain_dB);
        bench.close();
        constexpr uint32_t point = 8; // at 100 kHz
        const StageExpectation& stage = bench.expect(12.5e3);
        double expected[channels];
        for (const Channel c : {channelA, channelB}) {
            const double excess_dB = c == channelA ? 0 : 0.8;
            const double reference = std::pow(10, (-155 + excess_dB) / 10) * std::pow(carrier_Hz / 100e6, 2);
            expected[c] = std::pow(bench.transfer(c), 2) * (1e-12 + reference) + chain_background(ifGain_dB, c);
            EXPECT_NEAR(own(stage, c, point) / expected[c], 1, 1e-5) << carrier_Hz << " Hz, " << c;
        }
        const double both = bench.transfer(channelA) * bench.transfer(channelB) * 1e-12;
        EXPECT_NEAR(cross(stage, point).real() / both, 1, 1e-5);
        EXPECT_NEAR(stage.spread[point] / std::sqrt(expected[channelA] * expected[channelB] - both * both), 1, 1e-5);
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
        bench.set([](ChannelWiring& w) { w.dut.gain_dB = 15; });
        EXPECT_NEAR(bench.slope(channelA), 1.02 * (power_dBm < 0 ? std::pow(10, 15 / 20.0) : 1) * slope, 1e-4);
        bench.set([](ChannelWiring& w) { w.driven = false; });
        EXPECT_EQ(bench.slope(channelA), 0);
    }
}

TEST(Bench, WithoutACarrierOnlyBackgroundIsLeft) {
    TestBench weak(flatDut(100e6, -100, -26)), bench(flatDut(100e6, -100));
    const auto level_dBm = [](TestBench& of) {
        return bench_detectorInput(&of, channelA, bench_wiring(&of, channelA).dut).level_dBm;
    };
    EXPECT_EQ(level_dBm(weak), noLevel_dBm);
    weak.setGain(ifGain_dB);
    weak.close();
    for (const Channel c : {channelA, channelB})
        expectBackgroundOnly(weak.expect(12.5e3), c);
    double squares = 0;
    for (int i = 0; i < 400; ++i)
        squares += std::pow(level_dBm(bench) - 8, 2);
    EXPECT_NEAR(std::sqrt(squares / 400), 0.02, 0.002);
}

TEST(Bench, ACaptureIsOfWhatStandsWhenItBegins) {
    const std::string path = testing::TempDir() + "bench_test." + std::to_string(getpid()) + ".toml";
    TestBench bench(flatDut(1e8, -100));
    bench.dutFile.path = path;
    bench.close(100, 0);
    constexpr uint32_t point = 300;
    const auto shown = [&] { return cross(bench.source.expectation(1, 12.5e6, TestBench::points), point).real(); };
    const auto begun = [&](double length_s) {
        bench.source.beginSpectra(uint64_t(length_s * 1e9));
        return shown();
    };
    EXPECT_EQ(begun(0.001), 0) << "on its way for all of it";
    const double whole = begun(10);
    EXPECT_GT(whole, 0) << "on its way for less than a tenth";

    const auto lines = [&] { return bench.source.expectation(1, 12.5e6, TestBench::points).lines.size(); };
    std::ofstream(path) << "[signal]\nfrequency_hz = 1e8\npower_dbm = 8\nnoise = [[1, -100]]\nspurs = [[4e6, -60]]\n";
    EXPECT_EQ(lines(), 0u);
    EXPECT_EQ(begun(1), whole);
    EXPECT_GT(lines(), 0u) << "the DUT file has changed";
    bench.setGain(20);
    EXPECT_EQ(shown(), whole);
    EXPECT_NEAR(begun(1) / whole, 100, 1e-9);
    std::filesystem::remove(path);
}
