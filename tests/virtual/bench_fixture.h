#pragma once
/// A bench with the sources on a carrier, and what the tests do with it.

#include "tests/virtual/straight_wiring.h"
#include "virtual/physics/bench_source.h"
#include "virtual/platform/clock.h"

#include <cmath>
#include <gtest/gtest.h>
#include <numbers>

namespace vi {

inline constexpr double twoPi = 2 * std::numbers::pi;
inline constexpr double adcClock_Hz = 250e6, codesPerVolt = 65536 / 1.6;

inline Dut flatDut(double frequency_Hz, double level_dBcHz, double power_dBm = 8) {
    return {frequency_Hz, power_dBm, {{{1, level_dBcHz}}}, {}, {}};
}

/// Of the values around their mean, effective.
inline double deviation(const std::vector<double>& values) {
    double sum = 0, squares = 0;
    for (const double value : values) {
        sum += value;
        squares += value * value;
    }
    const double count = double(values.size()), mean = sum / count;
    return std::sqrt(squares / count - mean * mean);
}

struct TestBench : Bench {
    static constexpr uint32_t points = 512; // of a stage

    explicit TestBench(const Dut& dut, uint64_t seed = 1) {
        bench_init(this, unitBoards_of(defaultSerialNumber), {"", dut, {}}, seed);
        set([&](ChannelWiring& w) { w = straightWiring(boards, dut.frequency_Hz); });
    }

    template <class Change> void set(Change change) {
        for (const Channel c : {channelA, channelB}) {
            ChannelWiring wiring = bench_wiring(this, c);
            change(wiring);
            bench_setWiring(this, c, wiring);
        }
    }
    void offsetSources(double offset_Hz) {
        set([=](ChannelWiring& w) { w.source_Hz += offset_Hz; });
    }
    /// Loops of this natural frequency, B's of 0.8 of it, and a damping in force of 0.96 that start at the middle,
    /// after `seconds`.
    void close(double bandwidth_Hz = 100, double seconds = 1) {
        for (const Channel c : {channelA, channelB}) {
            ChannelWiring wiring = bench_wiring(this, c);
            const double wn = twoPi * bandwidth_Hz * (c == channelA ? 1 : 0.8);
            const double k = twoPi * bench_truth(this, c).sensitivity_HzPerV * slope(c) / chain_ifGain(0, c);
            wiring.loop.capacitance_F = 9.4e-7;
            wiring.loop.r1_ohm = k / (wn * wn * 9.4e-7);
            wiring.loop.r2_ohm = 2.4 / (wn * 9.4e-7);
            wiring.loop.source = TuneDrive::loop;
            bench_setWiring(this, c, wiring);
        }
        clock_spend(uint64_t(seconds * 1e9));
    }
    [[nodiscard]] bool locked() { return bench_truth(this, channelA).locked && bench_truth(this, channelB).locked; }
    [[nodiscard]] double slope(Channel c) { return bench_truth(this, c).detectorSlope_V; }
    /// From the carrier's phase to the ADC, V/rad, where the loop leaves everything; the noise inside takes its share.
    [[nodiscard]] double transfer(Channel c) {
        const ChannelWiring wiring = bench_wiring(this, c);
        const ChannelTruth truth = bench_truth(this, c);
        return truth.detectorSlope_V * std::exp(-truth.noise_rad2 / 2) * std::pow(10, wiring.ifChain.gain_dB / 20) /
               wiring.dut.ratio;
    }
    void setGain(int gain_dB) {
        set([=](ChannelWiring& w) { w.ifChain.gain_dB = gain_dB; });
    }

    /// Spectra of a capture that begins now, with points so far apart.
    const StageExpectation& expect(double spacing_Hz) {
        source.beginSpectra(0);
        return source.expectation(0, spacing_Hz * 2 * (points - 1), points);
    }

    /// Volts of both channels from now on, until when the clock goes on.
    std::array<std::vector<double>, channels> record(uint32_t pairs, uint32_t divider) {
        std::vector<uint16_t> codes[] = {std::vector<uint16_t>(pairs), std::vector<uint16_t>(pairs)};
        source.record({clock_now(), adcClock_Hz, divider}, codes[channelA], codes[channelB]);
        clock_spend(uint64_t(pairs * divider / adcClock_Hz * 1e9));
        return {volts(codes[channelA]), volts(codes[channelB])};
    }
    static std::vector<double> volts(std::span<const uint16_t> codes) {
        std::vector<double> values;
        for (const uint16_t code : codes)
            values.push_back((code - 32768.0) / codesPerVolt);
        return values;
    }

    /// Counts from now on.
    EdgeCount count(CounterInput input, uint32_t ratio, double length_s) {
        const uint64_t now = clock_now();
        return source.count({input, ratio, now, now + uint64_t(length_s * 1e9), adcClock_Hz});
    }

    BenchSource source{*this};
};

} // namespace vi
