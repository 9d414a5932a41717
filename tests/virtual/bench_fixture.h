#pragma once
/// A bench with the sources on a carrier, and what the tests do with it.

#include "virtual/bench.h"
#include "virtual/clock.h"

#include <numbers>

namespace vi {

inline constexpr const char* secondGeneration = "220-336306910-0001";
inline constexpr const char* firstGeneration = "220-336305910-0001";
inline constexpr double twoPi = 2 * std::numbers::pi;

inline Dut flatDut(double frequency_Hz, double level_dBcHz, double power_dBm = 8) {
    return {frequency_Hz, power_dBm, {{{1, level_dBcHz}}}, {}, {}};
}

struct TestBench : Bench {
    explicit TestBench(const Dut& dut, const char* serial = secondGeneration, uint64_t seed = 1) {
        bench_init(this, unitBoards_of(serial), {"", dut, {}}, seed);
        const bool high = dut.frequency_Hz > 2e9, divided = dut.frequency_Hz > 13e9;
        set([&](ChannelSettings& s) {
            s.rfOn = true;
            s.highInput = high;
            s.path = divided ? DutPath::divider : high ? DutPath::amplifier : DutPath::direct;
            s.prescaler = divided ? 2 : 1;
            s.source_Hz = dut.frequency_Hz / s.prescaler;
        });
    }

    template <class Change> void set(Change change) {
        for (const Channel c : {channelA, channelB}) {
            ChannelSettings settings = bench_settings(this, c);
            change(settings);
            bench_set(this, c, settings);
        }
    }
    void offsetSources(double offset_Hz) {
        set([=](ChannelSettings& s) { s.source_Hz += offset_Hz; });
    }
    /// Loops of this natural frequency and a damping in force of 0.96 that start at the middle, after `seconds`.
    void close(double bandwidth_Hz = 100, double seconds = 1) {
        for (const Channel c : {channelA, channelB}) {
            ChannelSettings settings = bench_settings(this, c);
            const ChannelTruth truth = bench_truth(this, c);
            const double wn = twoPi * bandwidth_Hz, slope_V = truth.detectorSlope_V / chain_ifGain(0, c);
            const double k = twoPi * truth.sensitivity_HzPerV * slope_V;
            settings.capacitor = 3;
            settings.r1_ohm = k / (wn * wn * 9.4e-7);
            settings.r2_ohm = 2.4 / (wn * 9.4e-7);
            settings.tuneSource = TuneSource::loop;
            bench_set(this, c, settings);
        }
        clock_spend(uint64_t(seconds * 1e9));
    }
    [[nodiscard]] bool locked() { return bench_truth(this, channelA).locked && bench_truth(this, channelB).locked; }
    [[nodiscard]] double slope(Channel c) { return bench_truth(this, c).detectorSlope_V; }
    void setGain(int gain_dB) {
        set([=](ChannelSettings& s) { s.ifGain_dB = gain_dB; });
    }

    std::vector<SpectrumPoint> capture(uint32_t stage) {
        bench_startCapture(this);
        const std::span<const SpectrumPoint> points = bench_fetchStage(this, stage);
        return {points.begin(), points.end()};
    }
};

} // namespace vi
