// Records of samples and the counters.
#include "bench_fixture.h"
#include "virtual/bench_source.h"
#include "virtual/noise_record.h"

#include <cmath>
#include <gtest/gtest.h>

using namespace vi;

namespace {

constexpr double volt = 65536 / 1.6; // codes

std::vector<double> record(Bench* bench, Channel channel, uint32_t pairs, uint32_t divider) {
    EXPECT_TRUE(bench_record(bench, pairs, divider));
    std::vector<double> volts;
    for (const uint16_t code : bench_samples(bench, channel))
        volts.push_back((code - 32768.0) / volt);
    return volts;
}

/// Power of the tone at `cycles` a record, as its amplitude.
double amplitudeAt(const std::vector<double>& volts, double cycles) {
    std::complex<double> sum = 0;
    for (size_t i = 0; i < volts.size(); ++i)
        sum += volts[i] * std::polar(1.0, -twoPi * cycles * double(i) / double(volts.size()));
    return 2 * std::abs(sum) / double(volts.size());
}

double deviation(const std::vector<double>& volts) {
    double sum = 0, squares = 0;
    for (const double v : volts) {
        sum += v;
        squares += v * v;
    }
    const double mean = sum / double(volts.size());
    return std::sqrt(squares / double(volts.size()) - mean * mean);
}

} // namespace

TEST(Samples, AnOpenChannelShowsItsBeatWithTheDetectorsSlope) {
    for (const Channel c : {channelA, channelB}) {
        TestBench bench(flatDut(100e6, -160));
        constexpr uint32_t pairs = 4096, divider = 8;
        const double rate_Hz = 250e6 / divider, beat_Hz = 40 * rate_Hz / pairs;
        bench.offsetSources(-beat_Hz);
        EXPECT_NEAR(amplitudeAt(record(&bench, c, pairs, divider), 40), bench.slope(c), 1e-4);
        bench.setGain(12);
        const std::vector<double> clipped = record(&bench, c, pairs, divider);
        EXPECT_EQ(*std::max_element(clipped.begin(), clipped.end()), 65535 / volt - 0.8);
        EXPECT_EQ(*std::min_element(clipped.begin(), clipped.end()), -0.8);
    }
}

TEST(Samples, ARecordIsOfItsOwnTime) {
    Dut dut = flatDut(100e6, -160);
    constexpr uint32_t pairs = 4096, divider = 512; // 8.4 ms, 119 Hz a cycle
    const double cycle_Hz = 250e6 / divider / pairs;
    dut.faults.drift_HzPerS = 100 * cycle_Hz;
    TestBench bench(dut);
    BenchSource source(bench);
    bench.offsetSources(-40 * cycle_Hz);
    const uint64_t start = clock_now();
    clock_spend(1'000'000'000); // whoever fetches the record comes late
    std::vector<uint16_t> a(pairs), b(pairs);
    source.record({start, 250e6, divider}, a, b);
    for (const Channel c : {channelA, channelB}) {
        std::vector<double> volts;
        for (const uint16_t code : c == channelA ? a : b)
            volts.push_back((code - 32768.0) / volt);
        EXPECT_NEAR(amplitudeAt(volts, 40.4), bench.slope(c), 0.1 * bench.slope(c));
    }
    source.record({clock_now(), 250e6, divider}, std::span(a).first(1), std::span(b).first(1));
}

TEST(Samples, DecimationKeepsABeatBelowHalfOfItsRateOnly) {
    for (const auto& [beat_Hz, share, tolerance] :
         {std::tuple(20e3, 1.0, 0.01), {40e3, 1.0, 0.01}, {61e3, 0.36, 0.1}, {200e3, 0.0, 1e-4}}) {
        TestBench bench(flatDut(100e6, -160));
        bench.offsetSources(-beat_Hz);
        constexpr uint32_t divider = 2048; // 122 kHz
        EXPECT_NEAR(std::sqrt(2) * deviation(record(&bench, channelA, 4096, divider)) / bench.slope(channelA), share,
                    tolerance)
            << beat_Hz;
    }
}

TEST(Samples, ALockedChannelShowsWhatTheLoopLeavesOfTheNoise) {
    TestBench bench(flatDut(100e6, -95));
    bench.close();
    ASSERT_TRUE(bench.locked());
    const uint64_t before = clock_now();
    constexpr uint32_t pairs = 65536, divider = 256;
    const double rate_Hz = 250e6 / divider;
    const std::vector<double> volts = record(&bench, channelA, pairs, divider);
    EXPECT_NEAR(double(clock_now() - before), pairs / rate_Hz * 1e9, 1e5);
    // White phase noise of -95 dBc/Hz over half of the rate; the loop's bandwidth takes next to nothing of it.
    const double expected_rad = std::sqrt(2 * std::pow(10, -9.5) * rate_Hz / 2);
    EXPECT_NEAR(deviation(volts) / bench.slope(channelA) / expected_rad, 1, 0.01);
    // Both channels see the same DUT.
    double product = 0;
    const std::span<const uint16_t> b = bench_samples(&bench, channelB);
    for (uint32_t i = 0; i < pairs; ++i)
        product += volts[i] * ((b[i] - 32768.0) / volt);
    EXPECT_NEAR(product / pairs / (bench.slope(channelA) * bench.slope(channelB)) / (expected_rad * expected_rad), 1,
                0.02);
}

TEST(Samples, ALoopThatTheNoiseThrowsAboutDoesNotLookLocked) {
    TestBench bench(flatDut(100e6, -58)); // 2 rad^2 up to 50 MHz
    bench.close();
    EXPECT_GT(bench_truth(&bench, channelA).noise_rad2, 0.49);
    EXPECT_FALSE(bench.locked());
    EXPECT_GT(deviation(record(&bench, channelA, 4096, 8)), 0.2 * bench.slope(channelA));
    double low = 100, high = 0;
    for (int i = 0; i < 20; ++i) {
        clock_spend(1'000'000);
        const double tune = bench_readTune_V(&bench, channelA);
        low = std::min(low, tune);
        high = std::max(high, tune);
    }
    EXPECT_GT(high - low, 0.5);
}

TEST(Samples, ASeedFixesEveryRecord) {
    TestBench first(flatDut(100e6, -120)), again(flatDut(100e6, -120)),
        other(flatDut(100e6, -120), secondGeneration, 2);
    for (TestBench* bench : {&first, &again, &other})
        bench->close();
    EXPECT_EQ(record(&first, channelB, 64, 1024), record(&again, channelB, 64, 1024));
    EXPECT_NE(record(&first, channelB, 64, 1024), record(&other, channelB, 64, 1024));
    const std::vector<double> a = record(&first, channelA, 64, 1024);
    EXPECT_NE(a, record(&first, channelA, 64, 1024)) << "the next record";
}

TEST(Samples, TheTransformIsTheSumOfItsTones) {
    for (const size_t length : {4, 8, 64, 128, 2048}) { // less than a tile, square and oblong ones
        SplitComplex values{LargeVector<float>(length), LargeVector<float>(length)};
        for (size_t i = 0; i < length; ++i) {
            values.re[i] = float(std::cos(double(i * i)));
            values.im[i] = float(std::sin(3.0 * double(i)));
        }
        const SplitComplex before = values, sums = noiseRecord_transform(values);
        for (size_t n = 0; n < length; n += std::max<size_t>(1, length / 61)) {
            std::complex<double> sum = 0;
            for (size_t k = 0; k < length; ++k)
                sum += std::complex<double>(double(before.re[k]), double(before.im[k])) *
                       std::polar(1.0, twoPi * double(k * n % length) / double(length));
            const double error = std::abs(sum - std::complex<double>(double(sums.re[n]), double(sums.im[n])));
            EXPECT_LT(error, 1e-6 * double(length)) << length << ' ' << n;
        }
    }
}

TEST(Counter, ReadsTheDividedCarrierToATick) {
    for (const double gate_s : {0.001, 0.01, 0.1}) {
        TestBench bench(flatDut(100.000123e6, -100));
        const uint64_t before = clock_now();
        const auto readings = bench_countGate(&bench, 4, gate_s);
        EXPECT_NEAR(double(clock_now() - before) * 1e-9, gate_s, 1e-6);
        for (const EdgeCount& reading : readings) {
            EXPECT_GE(reading.ticks, uint64_t(gate_s * 250e6));
            const double counted_Hz = double(reading.periods) * 250e6 / double(reading.ticks) * 4;
            EXPECT_NEAR(counted_Hz / 100.000123e6, 1, 1.01 / (gate_s * 250e6));
        }
    }
    const auto periods = [](const Dut& dut, auto change, uint32_t ratio) {
        TestBench bench(dut);
        bench.set(change);
        return bench_countGate(&bench, ratio, 0.001)[channelA].periods;
    };
    const auto same = [](ChannelSettings&) {};
    EXPECT_GT(periods(flatDut(18e9, -100), same, 128), 0u);
    EXPECT_EQ(periods(flatDut(18e9, -100), same, 64), 0u) << "141 MHz are too fast";
    EXPECT_EQ(periods(
                  flatDut(18e9, -100), [](ChannelSettings& s) { s.path = DutPath::amplifier; }, 512),
              0u);
    EXPECT_EQ(periods(
                  flatDut(18e9, -100), [](ChannelSettings& s) { s.highInput = false; }, 512),
              0u);
    EXPECT_EQ(periods(
                  flatDut(100e6, -100), [](ChannelSettings& s) { s.highInput = true; }, 16),
              0u);
}

TEST(Counter, RunsBehindAnAdcWhileItIsOn) {
    const auto count = [](const Faults& faults, CounterInput input, uint32_t counterRatio, double length_s) {
        Dut dut = flatDut(18e9, -100);
        dut.faults = faults;
        TestBench bench(dut);
        bench.set([=](ChannelSettings& s) { s.counterRatio = counterRatio; });
        const uint64_t now = clock_now();
        return BenchSource(bench).count({input, 2, now, now + uint64_t(length_s * 1e9), 125e6});
    };
    const double edges_Hz = 18e9 / 2 / 128 / 2;
    const struct {
        Faults faults;
        CounterInput input;
        uint32_t counterRatio;
        double periods_Hz; // 0: no signal
    } cases[] = {
        {{}, CounterInput::adcA, 128, edges_Hz},
        {{}, CounterInput::adcB, 128, edges_Hz},
        {{}, CounterInput::adcA, 0, 0},
        {{}, CounterInput::adcA, 64, 0}, // too fast
        {{}, CounterInput::input, 128, 0},
        {{.channelBDead = true}, CounterInput::adcA, 128, edges_Hz},
        {{.channelBDead = true}, CounterInput::adcB, 128, 0},
        {{.counterDisagrees = true}, CounterInput::adcB, 128, edges_Hz * (1 + 1e-4)},
        {{.noSignal = true}, CounterInput::adcA, 128, 0},
    };
    for (const auto& [faults, input, counterRatio, periods_Hz] : cases)
        for (const double length_s : {0.0, 1e-3, 0.1}) {
            const EdgeCount edges = count(faults, input, counterRatio, length_s);
            SCOPED_TRACE(testing::Message() << int(input) << ", " << counterRatio << ", " << length_s << " s");
            EXPECT_EQ(edges.periods, uint64_t(std::floor(length_s * periods_Hz + 1e-9)));
            EXPECT_EQ(edges.ticks != 0, edges.periods != 0);
            if (edges.periods != 0) {
                EXPECT_NEAR(double(edges.ticks), double(edges.periods) / periods_Hz * 125e6, 1.01);
            }
        }
}
