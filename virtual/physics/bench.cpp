#include "virtual/physics/bench.h"

#include "virtual/physics/bench_state.h"
#include "virtual/platform/clock.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

namespace vi {
namespace {

using Guard = std::lock_guard<std::mutex>;

// Purposes of the random streams; part of what a seed means, so never renumbered. 1 is the soft core's.
enum StreamPurpose : uint32_t {
    streamLevel = 2,
    streamTune = 3,
    streamCounter = 4,
    streamPhases = 5,
    streamAdc = 6,
    streamPhaseNoise = 7,
};

constexpr double secondsPerTick = 1e-9; // of the clock

constexpr double levelSpread_dB = 0.02;
constexpr double tuneSpread_V = 0.5e-3;
constexpr double counterFault = 1e-4;       // of the disagreeing counter, relative
constexpr double unlikeDetectorShare = 0.5; // of its slope that the bad detector has left

constexpr double preamplifierGain_dB = 15;
constexpr double referenceDrive_dBm = 10; // from which up an external reference drives the mixer in full

// Couplings of the IF chain of 1C.
constexpr double highPass1C_Hz = 1, highPassHighGain1C_Hz = 0.4;
constexpr int highGain1C_dB = 40;

constexpr std::array<double, 4> capacitors_F{1e-8, 2e-7, 9.4e-7, 3.76e-6}; // by number, from 1

struct Limits {
    double min, max;
};
constexpr Limits resistor_ohm{120, 100e3}, loopSupply_V{3, 20}, aid_V{0, 5};
constexpr double sourceMax_Hz = 13.8e9;

constexpr double noiseSlips_rad2 = 0.49;

void limit(double* value, const Limits& limits) {
    *value = std::isfinite(*value) ? std::clamp(*value, limits.min, limits.max) : limits.min;
}

/// A signal that the instrument can notice is at its input.
bool signalPresent(const Bench* bench) {
    const Dut& dut = bench->dutFile.dut;
    return !dut.faults.noSignal && dut.power_dBm >= levelDetected_dBm &&
           dut.frequency_Hz >= bench->boards.carrierMin_Hz && dut.frequency_Hz <= bench->boards.carrierMax_Hz;
}

double carrierAt_Hz(const Bench* bench, uint64_t when) {
    const Dut& dut = bench->dutFile.dut;
    return dut.frequency_Hz + dut.faults.drift_HzPerS * (double(when) - double(bench->dutSince)) * secondsPerTick;
}

/// The carrier reaches the channel's mixer and counter.
bool carrierPasses(const Bench* bench, Channel channel) {
    const ChannelSettings& settings = bench->channel[channel].settings;
    const double carrier_Hz = bench->dutFile.dut.frequency_Hz;
    const Passband band = unitBoards_passband(bench->boards, settings.path);
    const bool reached = !bench->boards.hasHighInput || settings.highInput == (settings.path != DutPath::direct);
    const bool dead = channel == channelB && bench->dutFile.dut.faults.channelBDead;
    return signalPresent(bench) && reached && !dead && carrier_Hz >= band.min_Hz && carrier_Hz <= band.max_Hz;
}

/// What drives the channel's mixer.
struct MixerSource {
    double frequency_Hz; // at `middle_V`
    double middle_V;
    double sensitivity_HzPerV;
};

MixerSource mixerSource(const Bench* bench, Channel channel) {
    const ChannelSettings& settings = bench->channel[channel].settings;
    const Dut& dut = bench->dutFile.dut;
    MixerSource source{};
    if (settings.reference == Reference::external) {
        const ExternalReference& reference = dut.references[channel];
        source = {reference.frequency_Hz, reference.tune_V, reference.sensitivity_HzPerV};
    } else {
        source = {settings.source_Hz, bench->boards.tuneMiddle_V,
                  chain_sensitivity_HzPerV(settings.reference, channel) * settings.source_Hz / sensitivityStated_Hz};
        if (settings.reference == Reference::resonator1GHz)
            source.middle_V = tuneMiddle1GHz_V;
    }
    if (dut.faults.unlockable)
        source.sensitivity_HzPerV = 0;
    return source;
}

double restingTune_V(const Bench* bench, const ChannelSettings& settings, const MixerSource& source) {
    if (bench->dutFile.dut.faults.tuneRail)
        return settings.loopSupply_V;
    return settings.tuneSource == TuneSource::none ? source.middle_V : settings.calibration_V;
}

/// Share of its full slope that a mixer has at its present drive.
double sourceDrive(const Bench* bench, Channel channel) {
    const ChannelSettings& settings = bench->channel[channel].settings;
    if (settings.reference != Reference::external)
        return settings.rfOn ? 1 : 0;
    const ExternalReference& reference = bench->dutFile.dut.references[channel];
    if (reference.frequency_Hz <= 0)
        return 0;
    return std::min(1.0, std::pow(10.0, (reference.power_dBm - referenceDrive_dBm) / 20));
}

/// Phase noise inside the closed loop. It takes a while to find, so it is kept as long as it holds.
double noiseInside_rad2(Bench* bench, Channel channel, const LoopCircuit& circuit) {
    Bench::ChannelState& state = bench->channel[channel];
    if (circuit.slope_V <= 0)
        return 0;
    const uint32_t prescaler = benchState_prescaler(state.settings);
    ChannelChain chain{};
    chain.mixer_Hz = bench->dutFile.dut.frequency_Hz / prescaler;
    chain.prescaler = prescaler;
    chain.reference = state.settings.reference;
    chain.wn_rad_s = loop_naturalFrequency_rad_s(circuit);
    chain.damping = loop_damping(circuit);
    if (!(chain == state.noiseOf)) {
        state.noise_rad2 = chain_phaseErrorVariance(chain, channel, bench->dutFile.dut);
        state.noiseOf = chain;
    }
    return state.noise_rad2;
}

/// The circuit of the channel's loop at the moment `loopTime`.
LoopCircuit circuitOf(Bench* bench, Channel channel) {
    const Bench::ChannelState& state = bench->channel[channel];
    const ChannelSettings& settings = state.settings;
    const Faults& faults = bench->dutFile.dut.faults;
    const uint32_t prescaler = benchState_prescaler(settings);
    const bool carrier = carrierPasses(bench, channel);
    const MixerSource source = mixerSource(bench, channel);
    LoopCircuit circuit{};
    circuit.closed =
        !settings.open && settings.tuneSource == TuneSource::loop && settings.capacitor != 0 && !faults.tuneRail;
    circuit.offset_Hz = carrier ? carrierAt_Hz(bench, state.loopTime) / prescaler - source.frequency_Hz : 0;
    circuit.drift_HzPerS = carrier ? faults.drift_HzPerS / prescaler : 0;
    circuit.sensitivity_HzPerV = source.sensitivity_HzPerV;
    circuit.middle_V = source.middle_V;
    circuit.rail_V = settings.loopSupply_V;
    circuit.rest_V = settings.tuneSource == TuneSource::loop && !faults.tuneRail
                         ? state.loop.integrator_V
                         : restingTune_V(bench, settings, source);
    circuit.slope_V = benchState_mixerSlope(bench, channel) * bench->dutFile.dut.pulses.dutyCycle(); // on average
    circuit.r1_ohm = settings.r1_ohm;
    circuit.r2_ohm = settings.r2_ohm;
    circuit.r3_ohm = settings.r3_ohm;
    circuit.c_F = capacitors_F[std::max(settings.capacitor, 1U) - 1];
    circuit.aidOn = settings.aidOn;
    circuit.aid_V = settings.aid_V;
    if (circuit.closed) {
        const double noise_rad2 = noiseInside_rad2(bench, channel, circuit);
        circuit.slipping = noise_rad2 > noiseSlips_rad2;
        circuit.slope_V *= std::exp(-std::min(noise_rad2, noiseSlips_rad2) / 2);
    }
    return circuit;
}

double anyPhase(RandomStream* stream) {
    return 2 * std::numbers::pi * random_uniform(*stream);
}

void runLoop(Bench* bench, Channel channel, uint64_t now) {
    Bench::ChannelState& state = bench->channel[channel];
    if (now <= state.loopTime)
        return;
    loop_advance(&state.loop, double(now - state.loopTime) * secondsPerTick);
    state.loopTime = now;
    if (state.loop.circuit.closed && state.loop.circuit.slipping)
        state.loop.phase_rad = anyPhase(&state.phases);
}

void runLoops(Bench* bench, uint64_t until) {
    for (const Channel c : {channelA, channelB})
        runLoop(bench, c, until);
}

void newDut(Bench* bench) {
    bench->dutSince = clock_now();
    ++bench->dutVersion;
    for (const Channel c : {channelA, channelB}) {
        bench->channel[c].noiseOf = {};
        loop_change(&bench->channel[c].loop, circuitOf(bench, c));
    }
}

/// The channel as its spectrum sees it at the moment of the loop's state.
ChannelChain chainOf(const Bench* bench, Channel channel) {
    const Bench::ChannelState& state = bench->channel[channel];
    const uint32_t prescaler = benchState_prescaler(state.settings);
    const LoopCircuit& circuit = state.loop.circuit;
    const bool locked = loop_locked(state.loop);
    ChannelChain chain{};
    chain.carrier = locked;
    chain.mixer_Hz = bench->dutFile.dut.frequency_Hz / prescaler;
    chain.prescaler = prescaler;
    chain.reference = state.settings.reference;
    chain.ifGain_dB = state.settings.ifGain_dB;
    if (bench->boards.analog == AnalogRevision::r1C) {
        chain.highPass_Hz = highPass1C_Hz;
        chain.highPass2_Hz = chain.ifGain_dB > highGain1C_dB ? highPassHighGain1C_Hz : 0;
    }
    if (locked) {
        // A mixer that is held away from quadrature gives less.
        chain.slope_V = circuit.slope_V * std::cos(state.loop.phase_rad);
        chain.wn_rad_s = loop_naturalFrequency_rad_s(circuit);
        chain.damping = loop_damping(circuit);
    }
    return chain;
}

/// What the counter behind a channel's prescaler and a further division by `ratio` gets at a moment; 0: no edges.
double counterInput_Hz(const Bench* bench, Channel channel, uint32_t ratio, uint64_t moment) {
    const uint32_t division = benchState_prescaler(bench->channel[channel].settings) * ratio;
    const double input_Hz = carrierAt_Hz(bench, moment) / division;
    if (!carrierPasses(bench, channel) || input_Hz > counterInputMax_Hz)
        return 0;
    const bool disagrees = channel == channelB && bench->dutFile.dut.faults.counterDisagrees;
    return (disagrees ? input_Hz * (1 + counterFault) : input_Hz) * bench->dutFile.dut.pulses.dutyCycle();
}

} // namespace

void benchState_updateAt(Bench* bench, uint64_t moment) {
    runLoops(bench, moment);
    if (dutFile_refresh(&bench->dutFile))
        newDut(bench);
}

void benchState_update(Bench* bench) {
    benchState_updateAt(bench, clock_now());
}

uint32_t benchState_prescaler(const ChannelSettings& settings) {
    return settings.path == DutPath::divider ? settings.prescaler : 1;
}

double benchState_mixerSlope(const Bench* bench, Channel channel) {
    const ChannelSettings& settings = bench->channel[channel].settings;
    if (!carrierPasses(bench, channel))
        return 0;
    const Dut& dut = bench->dutFile.dut;
    const double power_dBm =
        dut.power_dBm - settings.attenuation_dB + (settings.preamplifier ? preamplifierGain_dB : 0.0);
    const double drive_dB = power_dBm - unitBoards_fullDrive_dBm(bench->boards, dut.frequency_Hz);
    const double slope = chain_mixerSlope(dut.frequency_Hz / benchState_prescaler(settings), drive_dB, channel) *
                         sourceDrive(bench, channel);
    return channel == channelB && dut.faults.unlikeDetectors ? unlikeDetectorShare * slope : slope;
}

void bench_init(Bench* bench, const UnitBoards& boards, DutFile dutFile, uint64_t seed) {
    const Guard guard(bench->mutex);
    bench->boards = boards;
    bench->dutFile = std::move(dutFile);
    for (const Channel c : {channelA, channelB})
        bench->channel[c] = {{},
                             {},
                             clock_now(),
                             0,
                             {},
                             random_stream(seed, streamTune, c),
                             random_stream(seed, streamCounter, c),
                             random_stream(seed, streamPhases, c),
                             random_stream(seed, streamAdc, c)};
    bench->levelNoise = random_stream(seed, streamLevel, 0);
    bench->phaseNoise = random_stream(seed, streamPhaseNoise, 0);
    newDut(bench);
}

ChannelSettings bench_settings(Bench* bench, Channel channel) {
    const Guard guard(bench->mutex);
    return bench->channel[channel].settings;
}

void bench_set(Bench* bench, Channel channel, const ChannelSettings& settings) {
    const Guard guard(bench->mutex);
    Bench::ChannelState& state = bench->channel[channel];
    if (settings == state.settings)
        return;
    benchState_update(bench);
    const bool retuned = settings.source_Hz != state.settings.source_Hz || settings.rfOn != state.settings.rfOn ||
                         settings.reference != state.settings.reference;
    if (retuned) // the source's dividers start anew
        state.loop.phase_rad = anyPhase(&state.phases);
    state.settings = settings;
    ChannelSettings& s = state.settings;
    for (double* resistance : {&s.r1_ohm, &s.r2_ohm, &s.r3_ohm})
        limit(resistance, resistor_ohm);
    limit(&s.loopSupply_V, loopSupply_V);
    limit(&s.calibration_V, {0, s.loopSupply_V});
    limit(&s.aid_V, aid_V);
    limit(&s.source_Hz, {0, sourceMax_Hz});
    s.capacitor = std::min<uint32_t>(s.capacitor, capacitors_F.size());
    s.prescaler = std::clamp(s.prescaler, 1U, 8U);
    loop_change(&state.loop, circuitOf(bench, channel));
}

double bench_readLevel_dBm(Bench* bench) {
    const Guard guard(bench->mutex);
    benchState_update(bench);
    if (!signalPresent(bench))
        return noLevel_dBm;
    const Dut& dut = bench->dutFile.dut;
    return dut.power_dBm + 10 * std::log10(dut.pulses.dutyCycle()) + levelSpread_dB * random_normal(bench->levelNoise);
}

double bench_readTune_V(Bench* bench, Channel channel) {
    const Guard guard(bench->mutex);
    benchState_update(bench);
    Bench::ChannelState& state = bench->channel[channel];
    return loop_tune_V(state.loop) + tuneSpread_V * random_normal(state.tuneNoise);
}

EdgeCount bench_count(Bench* bench, const CountRequest& request) {
    const Guard guard(bench->mutex);
    benchState_update(bench);
    if (request.input == CounterInput::input || request.end_ns <= request.start_ns)
        return {0, 0}; // nothing is connected there
    const Channel channel = request.input == CounterInput::adcA ? channelA : channelB;
    const uint32_t ratio = bench->channel[channel].settings.counterRatio;
    if (ratio == 0)
        return {0, 0};
    const uint64_t length_ns = request.end_ns - request.start_ns;
    const double input_Hz =
        counterInput_Hz(bench, channel, ratio, request.start_ns + length_ns / 2) / std::max(request.ratio, 1U);
    const double periods = std::floor(double(length_ns) * secondsPerTick * input_Hz);
    const double phase = random_uniform(bench->channel[channel].counterPhase); // between signal and ticks
    if (input_Hz <= 0 || periods < 1)
        return {0, 0};
    return {uint64_t(periods), uint64_t(std::floor(periods * request.clock_Hz / input_Hz + phase))};
}

Faults bench_faults(Bench* bench) {
    const Guard guard(bench->mutex);
    return bench->dutFile.dut.faults;
}

bool bench_chipBroken(Bench* bench, const std::string& name) {
    const Guard guard(bench->mutex);
    const std::vector<std::string>& broken = bench->dutFile.dut.faults.spiFails;
    if (broken.empty())
        return false;
    benchState_update(bench);
    return std::find(broken.begin(), broken.end(), name) != broken.end();
}

ChannelTruth bench_truth(Bench* bench, Channel channel) {
    const Guard guard(bench->mutex);
    benchState_update(bench);
    const Bench::ChannelState& state = bench->channel[channel];
    const LoopCircuit& circuit = state.loop.circuit;
    return {benchState_mixerSlope(bench, channel) * chain_ifGain(0, channel),
            circuit.sensitivity_HzPerV,
            loop_beat_Hz(state.loop),
            state.loop.phase_rad,
            loop_tune_V(state.loop),
            loop_naturalFrequency_rad_s(circuit),
            loop_damping(circuit),
            state.noise_rad2,
            loop_locked(state.loop)};
}

bool bench_takeSnapshot(Bench* bench, BenchSnapshot* snapshot, uint64_t settling_ns) {
    const Guard guard(bench->mutex);
    benchState_update(bench);
    const auto present = bench->channel;
    runLoops(bench, clock_now() + settling_ns);
    const SignalChain now{chainOf(bench, channelA), chainOf(bench, channelB)};
    bench->channel = present; // a capture that is broken off must not leave them in a time that never comes
    if (snapshot->dutVersion == bench->dutVersion && snapshot->chain == now)
        return false;
    *snapshot = {now, bench->dutFile.dut, bench->dutVersion};
    return true;
}

} // namespace vi
