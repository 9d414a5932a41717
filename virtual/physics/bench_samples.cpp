// Records of samples: the beat of an open or unlocked channel, what remains of the noise in a locked one.

#include "virtual/draw/sine.h"
#include "virtual/draw/wide_loops.h"
#include "virtual/physics/bench.h"
#include "virtual/physics/bench_state.h"
#include "virtual/physics/noise_record.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace vi {
namespace {

using Complex = std::complex<double>;

constexpr double twoPi = 2 * std::numbers::pi;

constexpr double fullScale_V = 1.6, codes = 65536, centre = 32768, codesPerVolt = codes / fullScale_V;
constexpr std::array<double, channels> adcOffset_codes{11, -7};

// Low passes, as Butterworth filters of that order: of the IF chain, and of the decimation.
constexpr double ifCorner_Hz = 60e6, ifOrder = 4;
constexpr double decimationCorner = 0.45, decimationOrder = 10; // of the reduced rate

constexpr double stepsPerRecord = 500'000; // of a loop on its way; a longer way is not followed
constexpr double slowestOffset_Hz = 1e-3;  // of noise that counts
constexpr double strongSpur_dBc = -60;     // weaker lines do not show in 16 bits

constexpr uint32_t piece = 256; // samples that are made at once

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
    const Dut& dut = bench->dutNow;
    NoiseAtOffset noise{};
    noise.common = ratio(noiseCurve_level_dBcHz(dut.noise, offset_Hz));
    for (const Channel c : {channelA, channelB}) {
        const Bench::ChannelState& state = bench->channel[c];
        const LoopCircuit& circuit = state.loop.circuit;
        const double p = state.wiring.dut.ratio;
        noise.share[c] = 1 / p;
        noise.own[c] = chain_referenceNoise(state.wiring.reference, c, dut, dut.frequency_Hz / p, offset_Hz);
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
void addSpurs(Bench* bench, double rate_Hz, std::span<std::complex<float>> phases) {
    for (const Spur& spur : bench->dutNow.spurs) {
        if (spur.level_dBc < strongSpur_dBc || spur.offset_Hz > rate_Hz / 2)
            continue;
        const double start = random_uniform(bench->phaseNoise), cycles = spur.offset_Hz / rate_Hz;
        const NoiseAtOffset noise = noiseAt(bench, spur.offset_Hz);
        const double peak = 2 * std::sqrt(ratio(spur.level_dBc));
        const auto factor = [&](Channel c) { return peak * noise.error[c] * noise.share[c]; };
        const Complex a = factor(channelA), b = factor(channelB), step = std::polar(1.0, twoPi * cycles);
        Complex turn;
        for (size_t i = 0; i < phases.size(); ++i) {
            if (i % piece == 0) // its rounding errors do not get far
                turn = std::polar(1.0, twoPi * std::remainder(start + cycles * double(i), 1.0));
            phases[i] += std::complex(float(a.real() * turn.real() - a.imag() * turn.imag()),
                                      float(b.real() * turn.real() - b.imag() * turn.imag()));
            turn = {turn.real() * step.real() - turn.imag() * step.imag(),
                    turn.real() * step.imag() + turn.imag() * step.real()};
        }
    }
}

/// The mixer's phase without noise from sample to sample of a record, in turns.
class PhaseTrack {
public:
    PhaseTrack(const PhaseLoop& loop, double rate_Hz, uint32_t samples)
        : loop_(loop), step_s_(1 / rate_Hz), start_(loop.phase_rad / twoPi) {
        const double length_s = samples / rate_Hz;
        stepped_ = !loop_.settled && holdsNoise(loop_.circuit) && loop_steps(loop_, length_s) <= stepsPerRecord;
        if (stepped_) {
            const double knots = knotsPerStep * std::max(loop_steps(loop_, length_s), 1.0);
            knotEvery_ = uint32_t(std::clamp(samples / knots, 1.0, double(piece)));
            samplesLeft_ = samples;
            sinceKnot_ = knotEvery_;
        } else if (!loop_.settled) {
            beat_Hz_ = loop_beat_Hz(loop_);
            drift_HzPerS_ = loop_.circuit.drift_HzPerS;
        }
    }
    /// To be called for all of the record in order; `first` is the number of the first sample.
    void fill(uint32_t first, std::span<double> turns) {
        if (stepped_) {
            for (double& turn : turns) {
                if (sinceKnot_ == knotEvery_)
                    advance();
                turn = knot_ + slope_ * sinceKnot_++;
            }
            return;
        }
        const double beat_Hz = beat_Hz_, drift = drift_HzPerS_ / 2, start = start_, step_s = step_s_, from = first;
        wideLoops_run([&] {
            for (size_t i = 0; i < turns.size(); ++i) {
                const double t = (from + double(int32_t(i))) * step_s;
                turns[i] = start + (beat_Hz + drift * t) * t;
            }
        });
    }

private:
    /// From one moment at which the loop is known to the next; in between its phase is a straight line.
    void advance() {
        const double before = loop_.phase_rad;
        const uint32_t length = std::min(knotEvery_, samplesLeft_);
        loop_advance(&loop_, length * step_s_);
        samplesLeft_ -= length;
        knot_ = before / twoPi;
        slope_ = std::remainder(loop_.phase_rad - before, twoPi) / twoPi / length;
        sinceKnot_ = 0;
    }

    static constexpr double knotsPerStep = 4; // of the loop's own, in which it moves by 0.1 rad

    PhaseLoop loop_; // runs ahead of the channel's own, which stays in the present: records get broken off
    double step_s_, start_;
    double beat_Hz_ = 0, drift_HzPerS_ = 0;
    bool stepped_;
    uint32_t knotEvery_ = 1, sinceKnot_ = 0, samplesLeft_ = 0; // samples
    double knot_ = 0, slope_ = 0;                              // turns, turns per sample
};

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

/// Turns without the whole ones, -0.5 to 0.5; fewer than 2^51 of them.
double withoutWholeTurns(double turns) {
    constexpr double rounding = 0x1.8p52; // a number so large has no fraction
    return turns - ((turns + rounding) - rounding);
}

struct Record {
    uint32_t pairs;
    double rate_Hz;
    SlowNoise slow;
    std::span<const std::complex<float>> noise;
    double pickupStart = 0;  // turns
    double pulseStart_s = 0; // into a period of the DUT's pulses
};

/// What a channel makes of a record, a piece at a time.
class ChannelSamples {
public:
    ChannelSamples(Bench* bench, Channel channel, const Record& record)
        : state_(bench->channel[channel]), record_(record), dut_(bench->dutNow),
          noise_(reinterpret_cast<const float*>(record.noise.data()) + channel),
          track_(state_.loop, record.rate_Hz, record.pairs), slowStart_(record.slow.phase_rad[channel] / twoPi),
          slowStep_(record.slow.frequency_Hz[channel] / record.rate_Hz),
          zero_(float(centre + adcOffset_codes[channel])) {
        const double beat_Hz = state_.loop.settled ? 0 : loop_beat_Hz(state_.loop);
        const double gain = benchState_ifGain(bench, channel, std::abs(beat_Hz));
        const double corner_Hz = decimationCorner * record.rate_Hz;
        const double ifPasses = state_.wiring.ifOpen() ? lowPass(beat_Hz, ifCorner_Hz, ifOrder) *
                                                             chain_ifFilter(state_.wiring.ifChain.bandwidth_Hz, beat_Hz)
                                                       : 0;
        amplitude_ = float(codesPerVolt * benchState_mixerSlope(bench, channel) * gain * ifPasses *
                           lowPass(beat_Hz, corner_Hz, decimationOrder));
        noiseDeviation_ =
            float(codesPerVolt * std::sqrt(chain_background(state_.wiring.ifChain.gain_dB, channel) * record.rate_Hz));
        if (dut_.faults.clip)
            pickup_ = codesPerVolt * pickup_V * gain * lowPass(pickup_Hz, corner_Hz, decimationOrder);
    }

    /// To be called for all of the record in order; at most `piece` samples from number `first` on.
    void fill(uint32_t first, std::span<uint16_t> samples) {
        const size_t count = samples.size();
        std::array<double, piece> turns;
        std::array<float, piece> volts, normals;
        track_.fill(first, std::span(turns).first(count));
        random_normals(state_.adcNoise, std::span(normals).first(count));
        const double slowStart = slowStart_ + slowStep_ * first, slowStep = slowStep_;
        const float* const noise = noise_ + size_t{2} * first;
        const float amplitude = amplitude_, deviation = noiseDeviation_, zero = zero_;
        wideLoops_run([&] {
            for (size_t i = 0; i < count; ++i) {
                const double slow = slowStart + slowStep * double(int32_t(i));
                const double turn = turns[i] + slow + double(noise[2 * i] * float(1 / twoPi));
                volts[i] = amplitude * sineOfTurns(float(withoutWholeTurns(turn)));
            }
        });
        gatePulses(first, std::span(volts).first(count));
        addPickup(first, std::span(volts).first(count));
        wideLoops_run([&] {
            for (size_t i = 0; i < count; ++i) {
                const float code = volts[i] + zero + deviation * normals[i];
                volts[i] = std::min(std::max(code, 0.0F), float(codes - 1));
            }
            for (size_t i = 0; i < count; ++i) // in the loop above the compiler would branch to each limit
                // NOLINTNEXTLINE(bugprone-incorrect-roundings): the numbers are small, and lround is a call for each
                samples[i] = uint16_t(int32_t(volts[i] + 0.5F));
        });
    }

private:
    void gatePulses(uint32_t first, std::span<float> values) {
        if (dut_.pulses.period_s <= 0)
            return;
        for (size_t i = 0; i < values.size(); ++i) {
            const double from = record_.pulseStart_s + (first + double(i)) / record_.rate_Hz;
            values[i] *= float(pulseShare(dut_.pulses, from, from + 1 / record_.rate_Hz));
        }
    }
    void addPickup(uint32_t first, std::span<float> values) {
        for (size_t i = 0; pickup_ != 0 && i < values.size(); ++i) {
            const double turns = record_.pickupStart + pickup_Hz / record_.rate_Hz * (first + double(i));
            values[i] += float(pickup_ * std::sin(twoPi * withoutWholeTurns(turns)));
        }
    }

    Bench::ChannelState& state_;
    const Record& record_;
    const Dut& dut_;
    const float* noise_; // every other one
    PhaseTrack track_;
    double slowStart_, slowStep_;                     // turns
    float zero_, amplitude_ = 0, noiseDeviation_ = 0; // codes
    double pickup_ = 0;                               // codes
};

void fillChannel(Bench* bench, Channel channel, const Record& record, std::span<uint16_t> samples) {
    ChannelSamples source(bench, channel, record);
    for (uint32_t first = 0; first < samples.size(); first += piece)
        source.fill(first, samples.subspan(first, std::min<size_t>(piece, samples.size() - first)));
}

void takeRecord(Bench* bench, double rate_Hz, std::span<uint16_t> a, std::span<uint16_t> b) {
    const auto pairs = std::max(2U, uint32_t(std::min(a.size(), b.size())));
    Record record{pairs, rate_Hz, drawSlowNoise(bench, rate_Hz / noiseRecord_length(pairs) / 2), {}};
    noiseRecord_draw(
        bench->phaseNoise, pairs, rate_Hz, [&](double offset_Hz) { return noiseAt(bench, offset_Hz); }, &bench->noise);
    const std::span phases = std::span(bench->noise.values).first(pairs);
    addSpurs(bench, rate_Hz, phases);
    record.noise = phases;
    record.pickupStart = random_uniform(bench->phaseNoise);
    if (const Pulses& pulses = bench->dutNow.pulses; pulses.period_s > 0)
        record.pulseStart_s = pulses.period_s * random_uniform(bench->phaseNoise);
    fillChannel(bench, channelA, record, a);
    fillChannel(bench, channelB, record, b);
}

} // namespace

void bench_takeRecord(Bench* bench, const RecordRequest& request, std::span<uint16_t> a, std::span<uint16_t> b) {
    const std::lock_guard<std::mutex> guard(bench->mutex);
    benchState_updateAt(bench, request.start_ns);
    takeRecord(bench, request.clock_Hz / std::max(request.divider, 1U), a, b);
}

} // namespace vi
