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

constexpr double unlikeDetectorShare = 0.5; // of its slope that the bad detector has left

constexpr double referenceDrive_dBm = 10; // from which up an external reference drives the mixer in full

// Couplings of the IF chain of 1C.
constexpr double highPass1C_Hz = 1, highPassHighGain1C_Hz = 0.4;
constexpr int highGain1C_dB = 40;

constexpr double noiseSlips_rad2 = 0.49;

constexpr double standing_dBm = -200; // of an oscillator that does not run
// What of its movements the loops and spectra need not know; counters have their own mean.
constexpr double carrierSame = 1e-10, levelSame_dB = 1e-6;

/// What drives the channel's mixer.
struct MixerSource {
    double frequency_Hz; // at `middle_V`
    double middle_V;
    double sensitivity_HzPerV;
};

MixerSource mixerSource(const Bench* bench, Channel channel) {
    const ChannelWiring& wiring = bench->channel[channel].wiring;
    const Dut& dut = bench->dutNow;
    MixerSource source{};
    if (wiring.reference == Reference::external) {
        const ExternalReference& reference = dut.references[channel];
        source = {reference.frequency_Hz, reference.tune_V, reference.sensitivity_HzPerV};
    } else {
        source = {wiring.source_Hz, bench->boards.tuneMiddle_V,
                  chain_sensitivity_HzPerV(wiring.reference, channel) * wiring.source_Hz / sensitivityStated_Hz};
        if (wiring.reference == Reference::resonator1GHz)
            source.middle_V = tuneMiddle1GHz_V;
    }
    if (dut.faults.unlockable)
        source.sensitivity_HzPerV = 0;
    return source;
}

double restingTune_V(const Bench* bench, const LoopFilter& loop, const MixerSource& source, double integrator_V) {
    if (bench->dutNow.faults.tuneRail)
        return loop.supply_V;
    return tuneLine_V(loop.source, loop.calibration_V, integrator_V, source.middle_V);
}

/// Share of its full slope that a mixer has at its present drive.
double sourceDrive(const Bench* bench, Channel channel) {
    const ChannelWiring& wiring = bench->channel[channel].wiring;
    if (!wiring.driven)
        return 0;
    double level_dB = wiring.drive_dB; // over what drives the mixer in full
    if (wiring.reference == Reference::external) {
        const ExternalReference& reference = bench->dutNow.references[channel];
        if (reference.frequency_Hz <= 0)
            return 0;
        level_dB += reference.power_dBm - referenceDrive_dBm;
    } else if (bench->dutNow.faults.noSourceBoard[channel]) {
        return 0;
    }
    return std::min(1.0, std::pow(10.0, level_dB / 20));
}

/// Phase noise inside the closed loop. It takes a while to find, so it is kept as long as it holds.
double noiseInside_rad2(Bench* bench, Channel channel, const LoopCircuit& circuit) {
    Bench::ChannelState& state = bench->channel[channel];
    if (circuit.slope_V <= 0)
        return 0;
    const uint32_t prescaler = state.wiring.dut.ratio;
    ChannelChain chain{};
    chain.mixer_Hz = bench->dutNow.frequency_Hz / prescaler;
    chain.prescaler = prescaler;
    chain.reference = state.wiring.reference;
    chain.wn_rad_s = loop_naturalFrequency_rad_s(circuit);
    chain.damping = loop_damping(circuit);
    if (!(chain == state.noiseOf)) {
        state.noise_rad2 = chain_phaseErrorVariance(chain, channel, bench->dutNow);
        state.noiseOf = chain;
    }
    return state.noise_rad2;
}

/// The circuit of the channel's loop at the moment `loopTime`.
LoopCircuit circuitOf(Bench* bench, Channel channel) {
    const Bench::ChannelState& state = bench->channel[channel];
    const ChannelWiring& wiring = state.wiring;
    const LoopFilter& filter = wiring.loop;
    const Faults& faults = bench->dutNow.faults;
    const uint32_t prescaler = wiring.dut.ratio;
    const bool carrier = benchState_carrierPasses(bench, channel, wiring.dut);
    const MixerSource source = mixerSource(bench, channel);
    LoopCircuit circuit{};
    const bool integrates = std::isfinite(filter.capacitance_F);
    circuit.closed = filter.source == TuneDrive::loop && integrates && !faults.tuneRail;
    circuit.offset_Hz = carrier ? benchState_carrier_Hz(bench, state.loopTime) / prescaler - source.frequency_Hz : 0;
    circuit.drift_HzPerS = carrier ? faults.drift_HzPerS / prescaler : 0;
    circuit.sensitivity_HzPerV = source.sensitivity_HzPerV;
    circuit.middle_V = source.middle_V;
    circuit.rail_V = filter.supply_V;
    circuit.rest_V = restingTune_V(bench, filter, source, state.loop.integrator_V);
    circuit.slope_V = benchState_mixerSlope(bench, channel) * bench->dutNow.pulses.dutyCycle(); // on average
    circuit.r1_ohm = filter.r1_ohm;
    circuit.r2_ohm = filter.r2_ohm;
    circuit.aidOn = std::isfinite(filter.r3_ohm);
    circuit.r3_ohm = circuit.aidOn ? filter.r3_ohm : 1;
    circuit.c_F = integrates ? filter.capacitance_F : 1;
    circuit.aid_V = filter.aid_V;
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

void changeLoops(Bench* bench) {
    ++bench->dutVersion;
    for (const Channel c : {channelA, channelB})
        loop_change(&bench->channel[c].loop, circuitOf(bench, c));
}

/// Takes over what the oscillator does at a moment. Returns whether that has changed.
bool followOscillator(Bench* bench, uint64_t moment) {
    if (!bench->dutNow.oscillator)
        return false;
    const Oscillator& oscillator = *bench->dutNow.oscillator;
    const bool runs = oscillator_runs(oscillator, bench->oscillator, moment) && !bench->dutNow.faults.supplyOverload;
    const double frequency_Hz = oscillator_frequency_Hz(oscillator, bench->oscillator, moment, moment);
    const double level_dBm = runs ? oscillator_level_dBm(oscillator, bench->oscillator, moment) : standing_dBm;
    const double moved_Hz = std::abs(frequency_Hz - bench->dutNow.frequency_Hz);
    if (moved_Hz <= carrierSame * frequency_Hz && std::abs(level_dBm - bench->dutNow.power_dBm) <= levelSame_dB)
        return false;
    bench->dutNow.frequency_Hz = frequency_Hz;
    bench->dutNow.power_dBm = level_dBm;
    return true;
}

void newDut(Bench* bench) {
    bench->dutNow = bench->dutFile.dut;
    const Faults& faults = bench->dutNow.faults;
    bench->deliveryFaults = {faults.fpgaSilent, faults.samplesMissing, faults.stageTimeout};
    bench->dutSince = clock_now();
    static_cast<void>(followOscillator(bench, bench->dutSince)); // it is new in any case
    for (Bench::ChannelState& state : bench->channel)
        state.noiseOf = {};
    changeLoops(bench);
}

/// What the channel's IF chain has over its nominal gain, by offset; null while the unit is nominal.
const IfTruth* ifTruth(const Bench* bench, Channel channel) {
    if (!bench->individual)
        return nullptr;
    const bool preamplifier = bench->channel[channel].wiring.dut.gain_dB > 0;
    return &bench->individual->ifChain[channel][if_group(bench->dutNow.frequency_Hz, preamplifier)];
}

/// The channel as its spectrum sees it at the moment of the loop's state.
ChannelChain chainOf(const Bench* bench, Channel channel) {
    const Bench::ChannelState& state = bench->channel[channel];
    const uint32_t prescaler = state.wiring.dut.ratio;
    const LoopCircuit& circuit = state.loop.circuit;
    const bool locked = loop_locked(state.loop);
    ChannelChain chain{};
    chain.carrier = locked && state.wiring.ifOpen();
    chain.mixer_Hz = bench->dutNow.frequency_Hz / prescaler;
    chain.prescaler = prescaler;
    chain.reference = state.wiring.reference;
    chain.ifGain_dB = state.wiring.ifChain.gain_dB;
    chain.ifTruth = ifTruth(bench, channel);
    chain.ifStage = if_stage(bench->boards, chain.ifGain_dB);
    chain.ifBandwidth_Hz = state.wiring.ifChain.bandwidth_Hz;
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

/// Puts the wiring in force from now on.
void rewire(Bench* bench, Channel channel, const ChannelWiring& wiring) {
    Bench::ChannelState& state = bench->channel[channel];
    benchState_update(bench);
    const bool retuned = wiring.source_Hz != state.wiring.source_Hz || wiring.driven != state.wiring.driven ||
                         wiring.reference != state.wiring.reference;
    if (retuned) // the source's dividers start anew
        state.loop.phase_rad = anyPhase(&state.phases);
    state.wiring = wiring;
    loop_change(&state.loop, circuitOf(bench, channel));
}

} // namespace

void benchState_updateAt(Bench* bench, uint64_t moment) {
    runLoops(bench, moment);
    if (dutFile_refresh(&bench->dutFile))
        newDut(bench);
    else if (followOscillator(bench, moment))
        changeLoops(bench);
}

void benchState_update(Bench* bench) {
    benchState_updateAt(bench, clock_now());
}

double benchState_mixerSlope(const Bench* bench, Channel channel) {
    const SignalPath& path = bench->channel[channel].wiring.dut;
    if (!benchState_carrierPasses(bench, channel, path))
        return 0;
    const Dut& dut = bench->dutNow;
    const double drive_dB = dut.power_dBm + path.gain_dB - unitBoards_fullDrive_dBm(bench->boards, dut.frequency_Hz);
    const double slope =
        chain_mixerSlope(dut.frequency_Hz / path.ratio, drive_dB, channel) * sourceDrive(bench, channel);
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

ChannelWiring bench_wiring(Bench* bench, Channel channel) {
    const Guard guard(bench->mutex);
    return bench->channel[channel].wiring;
}

void bench_setWiring(Bench* bench, Channel channel, const ChannelWiring& wiring) {
    const Guard guard(bench->mutex);
    if (!(wiring == bench->channel[channel].wiring))
        rewire(bench, channel, wiring);
}

void bench_setIndividual(Bench* bench) {
    const Guard guard(bench->mutex);
    Bench::Individual& truth = bench->individual.emplace();
    for (const Channel c : {channelA, channelB})
        for (size_t group = 0; group < ifGroups; ++group)
            truth.ifChain[c][group] = unitTruth_if(bench->boards, c, group);
    truth.timeBase = unitTruth_timeBase(bench->boards);
}

void bench_feedDut(Bench* bench, double tune_V, double supply_V) {
    const Guard guard(bench->mutex);
    OscillatorState& state = bench->oscillator;
    if (tune_V == state.tune_V && supply_V == state.supply_V)
        return;
    benchState_update(bench);
    if (bench->dutNow.oscillator)
        oscillator_feed(*bench->dutNow.oscillator, &state, tune_V, supply_V, clock_now());
    else
        state = {tune_V, supply_V, 0, 0, clock_now()};
}

double benchState_ifGain(const Bench* bench, Channel channel, double offset_Hz) {
    const double gain_dB = bench->channel[channel].wiring.ifChain.gain_dB;
    const IfTruth* truth = ifTruth(bench, channel);
    return chain_ifGain(gain_dB, channel) *
           chain_ifExcess(truth, truth != nullptr ? if_stage(bench->boards, gain_dB) : 0, offset_Hz);
}

Faults bench_faults(Bench* bench) {
    const Guard guard(bench->mutex);
    return bench->dutNow.faults;
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
    *snapshot = {now, bench->dutNow, bench->dutVersion};
    return true;
}

} // namespace vi
