// Records of samples and the counters.
#include "bench_fixture.h"
#include "virtual/physics/noise_record.h"

using namespace vi;

namespace {

/// Power of the tone at `cycles` a record, as its amplitude.
double amplitudeAt(const std::vector<double>& volts, double cycles) {
    std::complex<double> sum = 0;
    for (size_t i = 0; i < volts.size(); ++i)
        sum += volts[i] * std::polar(1.0, -twoPi * cycles * double(i) / double(volts.size()));
    return 2 * std::abs(sum) / double(volts.size());
}

} // namespace

TEST(Samples, AnOpenChannelShowsItsBeatWithTheDetectorsSlope) {
    for (const Channel c : {channelA, channelB}) {
        TestBench bench(flatDut(100e6, -160));
        constexpr uint32_t pairs = 4096, divider = 8;
        bench.offsetSources(-40 * adcClock_Hz / divider / pairs);
        const double phase = bench_truth(&bench, c).phase_rad;
        const std::vector<double> volts = bench.record(pairs, divider)[c];
        EXPECT_NEAR(amplitudeAt(volts, 40), bench.slope(c), 1e-4);
        EXPECT_NEAR(volts[10], bench.slope(c) * std::sin(phase + twoPi * 40 * 10 / pairs), 1e-3);
        bench.setGain(12);
        const std::vector<double> clipped = bench.record(pairs, divider)[c];
        EXPECT_EQ(*std::max_element(clipped.begin(), clipped.end()), 65535 / codesPerVolt - 0.8);
        EXPECT_EQ(*std::min_element(clipped.begin(), clipped.end()), -0.8);
    }
}

TEST(Samples, ARecordIsOfItsOwnTime) {
    Dut dut = flatDut(100e6, -160);
    constexpr uint32_t pairs = 4096, divider = 512; // 8.4 ms, 119 Hz a cycle
    const double cycle_Hz = adcClock_Hz / divider / pairs;
    dut.faults.drift_HzPerS = 100 * cycle_Hz;
    TestBench bench(dut);
    bench.offsetSources(-40 * cycle_Hz);
    const uint64_t start = clock_now();
    clock_spend(1'000'000'000); // whoever fetches the record comes late
    std::vector<uint16_t> a(pairs), b(pairs);
    bench.source.record({start, adcClock_Hz, divider}, a, b);
    for (const Channel c : {channelA, channelB}) {
        const double amplitude = amplitudeAt(TestBench::volts(c == channelA ? a : b), 40.4);
        EXPECT_NEAR(amplitude, bench.slope(c), 0.1 * bench.slope(c));
    }
    bench.record(1, divider);
}

TEST(Samples, DecimationKeepsABeatBelowHalfOfItsRateOnly) {
    for (const auto& [beat_Hz, share, tolerance] :
         {std::tuple(20e3, 1.0, 0.01), {40e3, 1.0, 0.01}, {61e3, 0.36, 0.1}, {200e3, 0.0, 1e-4}}) {
        TestBench bench(flatDut(100e6, -160));
        bench.offsetSources(-beat_Hz);
        constexpr uint32_t divider = 2048; // 122 kHz
        const double amplitude = std::sqrt(2) * deviation(bench.record(4096, divider)[channelA]);
        EXPECT_NEAR(amplitude / bench.slope(channelA), share, tolerance) << beat_Hz;
    }
}

TEST(Samples, ALockedChannelShowsWhatTheLoopLeavesOfTheNoise) {
    constexpr uint32_t divider = 256;
    for (const double carrier_Hz : {100e6, 18e9}) { // the second one halved before the mixer
        TestBench bench(flatDut(carrier_Hz, -85));
        bench.close();
        ASSERT_TRUE(bench.locked());
        // White phase noise of -85 dBc/Hz over half of the rate; the loop's bandwidth takes next to nothing of it.
        const double share = carrier_Hz > 13e9 ? 0.5 : 1;
        const double expected_rad = share * std::sqrt(2 * std::pow(10, -8.5) * adcClock_Hz / divider / 2);
        for (const uint32_t pairs : {65536U, 3U, 1U << 20, 3001U, 2U, 65535U}) { // records use the same memory
            const auto [a, b] = bench.record(pairs, divider);
            const double tolerance = 4.2 / std::sqrt(2.0 * pairs);
            EXPECT_NEAR(deviation(a) / bench.slope(channelA) / expected_rad, 1, tolerance) << pairs;
            double product = 0; // both channels see the same DUT
            for (uint32_t i = 0; i < pairs; ++i)
                product += a[i] * b[i] / bench.slope(channelA) / bench.slope(channelB);
            EXPECT_NEAR(product / pairs / (expected_rad * expected_rad), 1, 2 * tolerance) << pairs;
        }
    }
}

TEST(Samples, ASeedFixesEveryRecord) {
    TestBench first(flatDut(100e6, -120)), again(flatDut(100e6, -120)), other(flatDut(100e6, -120), 2);
    for (TestBench* bench : {&first, &again, &other})
        bench->close();
    const auto record = first.record(64, 1024);
    EXPECT_EQ(again.record(64, 1024), record);
    EXPECT_NE(other.record(64, 1024), record);
    EXPECT_NE(first.record(64, 1024), record) << "the next record";
}

TEST(Samples, TheTransformIsTheSumOfItsTones) {
    for (const uint32_t length : {4U, 4096U, 64U}) {
        LargeVector<std::complex<float>> values(length);
        for (size_t i = 0; i < length; ++i)
            values[i] = {float(std::cos(double(i * i))), float(std::sin(3.0 * double(i)))};
        const auto before = values;
        noiseRecord_transform(values, length);
        for (size_t n = 0; n < length; n += length / 64 + 1) {
            std::complex<double> sum = 0;
            for (size_t k = 0; k < length; ++k)
                sum += std::complex<double>(before[k]) * std::polar(1.0, twoPi * double(k * n % length) / length);
            EXPECT_LT(std::abs(sum - std::complex<double>(values[n])), 1e-6 * std::sqrt(length)) << length << ' ' << n;
        }
    }
}

TEST(Counter, CountsToATickBehindAnAdcWhileItIsOn) {
    struct Case {
        double carrier_Hz;
        uint32_t counterRatio;
        bool counts = true;
        CounterInput input = CounterInput::adcA;
        Faults faults = {};
        void (*change)(ChannelWiring&) = [](ChannelWiring&) {};
    };
    const Case cases[] = {
        {100.000123e6, 4},
        {18e9, 128, true, CounterInput::adcB},
        {18e9, 128, true, CounterInput::adcB, {.counterDisagrees = true}},
        {18e9, 128, true, CounterInput::adcA, {.channelBDead = true}},
        {18e9, 128, true, CounterInput::adcA, {.drift_HzPerS = 1e9}},
        {18e9, 128, false, CounterInput::adcB, {.channelBDead = true}},
        {18e9, 128, false, CounterInput::adcA, {.noSignal = true}},
        {18e9, 128, false, CounterInput::input},
        {100e6, 16, true, CounterInput::input, {}, [](ChannelWiring& w) { w.counter.atAdc = false; }}, // 1B and 1C
        {18e9, 32, false}, // 281 MHz are too fast
        {18e9, 512, false, CounterInput::adcA, {}, [](ChannelWiring& w) { w.counter.path.band.max_Hz = 14e9; }},
        {100e6, 16, false, CounterInput::adcA, {}, [](ChannelWiring& w) { w.inputHigh = true; }},
    };
    constexpr uint32_t ratio = 2; // ahead of the counter
    for (const Case& test : cases)
        for (const double length_s : {0.0, 0.1}) {
            SCOPED_TRACE(&test - cases);
            Dut dut = flatDut(test.carrier_Hz, -100);
            dut.faults = test.faults;
            TestBench bench(dut);
            bench.set([&](ChannelWiring& w) {
                divideForCounter(&w, test.counterRatio);
                test.change(w);
            });
            const EdgeCount edges = bench.count(test.input, ratio, length_s);
            if (!test.counts || length_s == 0) {
                EXPECT_EQ(edges.periods + edges.ticks, 0u);
                continue;
            }
            const double mean_Hz = test.carrier_Hz + test.faults.drift_HzPerS * length_s / 2;
            const double division = (test.carrier_Hz > 13e9 ? 2.0 : 1.0) * test.counterRatio * ratio;
            const bool readsMore = test.faults.counterDisagrees && test.input == CounterInput::adcB;
            const double periods_Hz = mean_Hz / division * (readsMore ? 1 + 1e-4 : 1);
            EXPECT_EQ(edges.periods, uint64_t(std::floor(length_s * periods_Hz + 1e-9)));
            EXPECT_NEAR(double(edges.ticks), double(edges.periods) / periods_Hz * adcClock_Hz, 1.01);
        }
}
