// Records of samples: the beat of an open or unlocked channel, what remains of the noise in a locked one.

#include "virtual/bench.h"
#include "virtual/bench_state.h"
#include "virtual/noise_record.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace vi {
namespace {

using Complex = std::complex<double>;

constexpr double twoPi = 2 * std::numbers::pi;

constexpr double fullScale_V = 1.6, codes = 65536, centre = 32768;
constexpr std::array<double, channels> adcOffset_codes{11, -7};

// Low passes, as Butterworth filters of that order: of the IF chain, and of the decimation.
constexpr double ifCorner_Hz = 60e6, ifOrder = 4;
constexpr double decimationCorner = 0.45, decimationOrder = 10; // of the reduced rate

constexpr double stepsPerRecord = 500'000; // of a loop on its way; a longer way is not followed
constexpr double slowestOffset_Hz = 1e-3;  // of noise that counts
constexpr double strongSpur_dBc = -60;     // weaker lines do not show in 16 bits

double ratio(double level_dB) {
    return std::pow(10.0, level_dB / 10);
}

double lowPass(double frequency_Hz, double corner_Hz, double order) {
    return 1 / std::sqrt(1 + std::pow(std::abs(frequency_Hz) / corner_Hz, 2 * order));
}

bool holdsNoise(const LoopCircuit& circuit) {
    return circuit.closed && !circuit.slipping && circuit.slope_V > 0;
}

NoiseAtOffset noiseAt(const Bench* bench, double offset_Hz) {
    const Dut& dut = bench->dutFile.dut;
    NoiseAtOffset noise{};
    noise.common = ratio(noiseCurve_level_dBcHz(dut.noise, offset_Hz));
    for (const Channel c : {channelA, channelB}) {
        const Bench::ChannelState& state = bench->channel[c];
        const LoopCircuit& circuit = state.loop.circuit;
        const double p = benchState_prescaler(state.settings);
        noise.share[c] = 1 / p;
        noise.own[c] = chain_referenceNoise(state.settings.reference, c, dut, dut.frequency_Hz / p, offset_Hz);
        noise.error[c] = holdsNoise(circuit)
                             ? loop_error(loop_naturalFrequency_rad_s(circuit), loop_damping(circuit), offset_Hz)
                             : 1;
    }
    return noise;
}

/// What is slower than a record: a phase that stands, rad, and a frequency, Hz. Only a loop keeps the phase small; the
/// phase of an open channel is arbitrary anyway.
struct SlowNoise {
    std::array<double, channels> phase_rad, frequency_Hz;
};

SlowNoise drawSlowNoise(Bench* bench, double fastest_Hz) {
    constexpr double stepRatio = 1.2;
    struct {
        double common = 0, own = 0; // variances
    } phase[channels], frequency[channels];
    const auto steps = int(std::log(fastest_Hz / slowestOffset_Hz) / std::log(stepRatio));
    for (int step = 0; step <= steps; ++step) {
        const double offset = slowestOffset_Hz * std::pow(stepRatio, step);
        const NoiseAtOffset noise = noiseAt(bench, offset);
        const double width = 2 * offset * (stepRatio - 1);
        for (int c = 0; c < channels; ++c) {
            const double common = noise.common * noise.share[c] * noise.share[c] * width, own = noise.own[c] * width;
            phase[c].common += common * std::norm(noise.error[c]);
            phase[c].own += own * std::norm(noise.error[c]);
            frequency[c].common += common * offset * offset;
            frequency[c].own += own * offset * offset;
        }
    }
    const double common = random_normal(bench->phaseNoise);
    SlowNoise slow{};
    for (int c = 0; c < channels; ++c) {
        const double own = random_normal(bench->phaseNoise), swing = random_normal(bench->phaseNoise);
        const LoopCircuit& circuit = bench->channel[c].loop.circuit;
        if (circuit.closed && circuit.slipping) // its own direct path throws the source about
            slow.frequency_Hz[c] = loop_pull_Hz(circuit) * swing;
        if (holdsNoise(circuit))
            slow.phase_rad[c] = std::sqrt(phase[c].common) * common + std::sqrt(phase[c].own) * own;
        else
            slow.frequency_Hz[c] += std::sqrt(frequency[c].common) * common + std::sqrt(frequency[c].own) * own;
    }
    return slow;
}

/// Adds the phases of the DUT's strong lines to both channels.
void addSpurs(Bench* bench, double rate_Hz, std::span<Complex> phases) {
    for (const Spur& spur : bench->dutFile.dut.spurs) {
        if (spur.level_dBc < strongSpur_dBc || spur.offset_Hz > rate_Hz / 2)
            continue;
        const double start = random_uniform(bench->phaseNoise), cycles = spur.offset_Hz / rate_Hz;
        const NoiseAtOffset noise = noiseAt(bench, spur.offset_Hz);
        const double peak = 2 * std::sqrt(ratio(spur.level_dBc));
        for (size_t i = 0; i < phases.size(); ++i) {
            const Complex turn = std::polar(peak, twoPi * std::remainder(start + cycles * double(i), 1.0));
            phases[i] += Complex((noise.error[channelA] * noise.share[channelA] * turn).real(),
                                 (noise.error[channelB] * noise.share[channelB] * turn).real());
        }
    }
}

/// The mixer's phase without noise at each sample; the loop ends where the record ends.
void followPhase(PhaseLoop* loop, double rate_Hz, std::vector<double>* phases) {
    const double step_s = 1 / rate_Hz, length_s = double(phases->size()) / rate_Hz;
    const LoopCircuit& circuit = loop->circuit;
    const double steps = loop_steps(*loop, length_s);
    if (loop->settled) {
        std::fill(phases->begin(), phases->end(), loop->phase_rad);
        loop_advance(loop, length_s);
    } else if (!holdsNoise(circuit) || steps > stepsPerRecord) {
        const double beat = loop_beat_Hz(*loop), start = loop->phase_rad / twoPi;
        for (size_t i = 0; i < phases->size(); ++i) {
            const double t = double(i) * step_s;
            (*phases)[i] = twoPi * std::remainder(start + (beat + circuit.drift_HzPerS * t / 2) * t, 1.0);
        }
        loop_advance(loop, length_s);
    } else {
        for (double& phase : *phases) {
            phase = loop->phase_rad;
            loop_advance(loop, step_s);
        }
    }
}

/// Share of the time from `from_s` to `to_s` in which the carrier is there; its first pulse starts at 0.
double pulseShare(const Pulses& pulses, double from_s, double to_s) {
    if (pulses.period_s <= 0)
        return 1;
    const auto presentUntil = [&](double time_s) {
        const double periods = std::floor(time_s / pulses.period_s);
        return periods * pulses.width_s + std::min(time_s - periods * pulses.period_s, pulses.width_s);
    };
    return (presentUntil(to_s) - presentUntil(from_s)) / (to_s - from_s);
}

uint16_t toCode(double volts, Channel channel) {
    const double code = centre + adcOffset_codes[channel] + volts * (codes / fullScale_V);
    return uint16_t(std::clamp(std::round(code), 0.0, codes - 1));
}

struct Record {
    uint32_t pairs;
    double rate_Hz;
    std::vector<Complex> noise; // phases of both channels
    SlowNoise slow;
    double pickupStart;  // turns
    double pulseStart_s; // into a period of the DUT's pulses
};

void fillChannel(Bench* bench, Channel channel, const Record& record, std::span<uint16_t> samples) {
    Bench::ChannelState& state = bench->channel[channel];
    const bool pickup = bench->dutFile.dut.faults.clip;
    const double gain = chain_ifGain(state.settings.ifGain_dB, channel);
    const double beat_Hz = state.loop.settled ? 0 : loop_beat_Hz(state.loop);
    const double corner_Hz = decimationCorner * record.rate_Hz;
    const double amplitude = benchState_mixerSlope(bench, channel) * gain * lowPass(beat_Hz, ifCorner_Hz, ifOrder) *
                             lowPass(beat_Hz, corner_Hz, decimationOrder);
    const double pickupAmplitude = pickup ? pickup_V * gain * lowPass(pickup_Hz, corner_Hz, decimationOrder) : 0;
    const double noise_V = std::sqrt(chain_background(state.settings.ifGain_dB, channel) * record.rate_Hz);
    const Pulses& pulses = bench->dutFile.dut.pulses;

    std::vector<double> phases(record.pairs);
    followPhase(&state.loop, record.rate_Hz, &phases);
    for (size_t i = 0; i < samples.size(); ++i) {
        const double fast = channel == channelA ? record.noise[i].real() : record.noise[i].imag();
        const double slow =
            record.slow.phase_rad[channel] + twoPi * record.slow.frequency_Hz[channel] / record.rate_Hz * double(i);
        const double share = pulseShare(pulses, record.pulseStart_s + i / record.rate_Hz,
                                        record.pulseStart_s + (i + 1) / record.rate_Hz);
        double volts = share * amplitude * std::sin(phases[i] + slow + fast) + noise_V * random_normal(state.adcNoise);
        if (pickup)
            volts += pickupAmplitude * std::sin(twoPi * (record.pickupStart + pickup_Hz / record.rate_Hz * double(i)));
        samples[i] = toCode(volts, channel);
    }
}

void takeRecord(Bench* bench, double rate_Hz, std::span<uint16_t> a, std::span<uint16_t> b) {
    const auto pairs = std::max(2U, uint32_t(std::min(a.size(), b.size())));
    Record record{pairs, rate_Hz, {}, drawSlowNoise(bench, rate_Hz / noiseRecord_length(pairs) / 2), 0, 0};
    record.noise = noiseRecord_draw(bench->phaseNoise, pairs, rate_Hz,
                                    [&](double offset_Hz) { return noiseAt(bench, offset_Hz); });
    addSpurs(bench, rate_Hz, record.noise);
    record.pickupStart = random_uniform(bench->phaseNoise);
    if (const Pulses& pulses = bench->dutFile.dut.pulses; pulses.period_s > 0)
        record.pulseStart_s = pulses.period_s * random_uniform(bench->phaseNoise);
    fillChannel(bench, channelA, record, a);
    fillChannel(bench, channelB, record, b);
    for (Bench::ChannelState& state : bench->channel)
        state.loopTime += uint64_t(pairs / rate_Hz * 1e9);
}

} // namespace

void bench_takeRecord(Bench* bench, const RecordRequest& request, std::span<uint16_t> a, std::span<uint16_t> b) {
    const std::lock_guard<std::mutex> guard(bench->mutex);
    benchState_updateAt(bench, request.start_ns);
    takeRecord(bench, request.clock_Hz / std::max(request.divider, 1U), a, b);
}

} // namespace vi
