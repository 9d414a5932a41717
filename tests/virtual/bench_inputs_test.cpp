// A pulsed carrier, and oscillators at the reference inputs.
#include "bench_fixture.h"

using namespace vi;

namespace {

Dut pulsedDut(double width_s, double period_s) {
    Dut dut = flatDut(100e6, -170);
    dut.pulses = {width_s, period_s};
    return dut;
}

Dut dutWithReferences(double power_dBm) {
    Dut dut = flatDut(100e6, -170);
    dut.references = {{{100.01e6, 5e3, 6, power_dBm, {{{1, -110}}}}, {99.98e6, 8e3, 4, power_dBm, {{{1, -113}}}}}};
    return dut;
}

void takeReferences(TestBench* bench, double tune_V) {
    bench->set([=](ChannelWiring& w) {
        w.reference = Reference::external;
        w.loop.source = TuneDrive::calibration;
        w.loop.calibration_V = tune_V;
    });
}

} // namespace

TEST(PulsedCarrier, ARecordShowsTheBeatInThePulsesOnly) {
    // Samples are 32 ns apart: one pulse after the other, and many in a sample.
    const struct {
        double width_s, period_s, shown;
    } cases[] = {{2e-6, 10e-6, 1}, {2e-6, 40e-6, 1}, {1e-9, 4e-9, 0.25}};
    for (const auto& [width_s, period_s, shown] : cases) {
        TestBench bench(pulsedDut(width_s, period_s));
        bench.offsetSources(-130e3); // no multiple of the repetition
        const auto record = bench.record(16384, 8);
        double highest = 0, there = 0;
        for (const double volts : record[channelA]) {
            highest = std::max(highest, std::abs(volts));
            there += std::abs(volts) > 0.02;
        }
        EXPECT_NEAR(highest / bench.slope(channelA), shown, 0.02);
        if (shown == 1) {
            EXPECT_NEAR(there / 16384, width_s / period_s, 0.1 * width_s / period_s);
        }
    }
}

TEST(PulsedCarrier, TheLoopTheCountersAndTheDetectorSeeItsAverage) {
    TestBench always(flatDut(100e6, -170)), pulsed(pulsedDut(1e-6, 4e-6));
    for (TestBench* bench : {&always, &pulsed})
        bench->close();
    EXPECT_TRUE(pulsed.locked());
    const ChannelTruth whole = bench_truth(&always, channelB), quarter = bench_truth(&pulsed, channelB);
    EXPECT_EQ(quarter.detectorSlope_V, whole.detectorSlope_V);
    EXPECT_NEAR(quarter.wn_rad_s / whole.wn_rad_s, 0.5, 1e-3);
    EXPECT_NEAR(quarter.damping / whole.damping, 0.5, 1e-3);
    const DetectorInput seen = bench_detectorInput(&pulsed, channelA, bench_wiring(&pulsed, channelA).dut);
    EXPECT_NEAR(seen.level_dBm, 8 - 6.02, 0.1);
    pulsed.set([](ChannelWiring& w) { divideForCounter(&w, 1); });
    const EdgeCount reading = pulsed.count(CounterInput::adcA, 1, 0.01);
    EXPECT_NEAR(double(reading.periods) * adcClock_Hz / double(reading.ticks), 25e6, 100);
}

TEST(ExternalReference, ItBeatsAsItIsTunedAndDrivesTheMixerByItsLevel) {
    TestBench bench(dutWithReferences(13));
    const double internal[] = {bench.slope(channelA), bench.slope(channelB)};
    takeReferences(&bench, 9);
    const ChannelTruth a = bench_truth(&bench, channelA), b = bench_truth(&bench, channelB);
    EXPECT_NEAR(a.beat_Hz, -10e3 - 3 * 5e3, 1e-3);
    EXPECT_NEAR(b.beat_Hz, 20e3 - 5 * 8e3, 1e-3);
    EXPECT_EQ(a.sensitivity_HzPerV, 5e3);
    for (const auto& [power_dBm, share] : {std::pair(13.0, 1.0), {10.0, 1.0}, {4.0, 0.501}, {-10.0, 0.1}}) {
        TestBench driven(dutWithReferences(power_dBm));
        takeReferences(&driven, 9);
        for (const Channel c : {channelA, channelB})
            EXPECT_NEAR(driven.slope(c) / internal[c], share, 1e-3) << power_dBm;
    }
    TestBench open(flatDut(100e6, -170));
    takeReferences(&open, 9);
    EXPECT_EQ(open.slope(channelA), 0);
}

TEST(ExternalReference, EachChannelShowsTheNoiseOfItsOwn) {
    TestBench bench(dutWithReferences(13));
    takeReferences(&bench, 5);
    bench.close(1000);
    ASSERT_TRUE(bench.locked());
    EXPECT_NEAR(bench_readTune_V(&bench, channelA), 4, 0.01);
    const StageExpectation& stage = bench.expect(10e3);
    EXPECT_NEAR(10 * std::log10(stage.sxx[300]) - 20 * std::log10(bench.slope(channelA)), -110, 0.01);
    EXPECT_NEAR(10 * std::log10(stage.syy[300]) - 20 * std::log10(bench.slope(channelB)), -113, 0.01);
    constexpr uint32_t divider = 32; // the phase up to half of the reduced rate
    const auto record = bench.record(16384, divider);
    for (const auto& [channel, level_dB] : {std::pair(channelA, -110.0), {channelB, -113.0}}) {
        const double phase_rad = std::sqrt(std::pow(10, level_dB / 10) * adcClock_Hz / divider);
        EXPECT_NEAR(deviation(record[channel]) / bench.slope(channel) / phase_rad, 1, 0.03);
    }
}
