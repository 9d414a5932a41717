// What the instrument reads of the bench but samples: levels, tune voltages, counters, and what is broken.

#include "virtual/physics/bench.h"
#include "virtual/physics/bench_state.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace vi {
namespace {

using Guard = std::lock_guard<std::mutex>;

constexpr double secondsPerTick = 1e-9; // of the clock

constexpr double levelSpread_dB = 0.02;
constexpr double tuneSpread_V = 0.5e-3;
constexpr double counterFault = 1e-4; // of the disagreeing counter, relative

/// A signal that the instrument can notice is at its input.
bool signalPresent(const Bench* bench) {
    const Dut& dut = bench->dutNow;
    return !dut.faults.noSignal && dut.power_dBm >= levelDetected_dBm &&
           dut.frequency_Hz >= bench->boards.carrierMin_Hz && dut.frequency_Hz <= bench->boards.carrierMax_Hz;
}

/// The mean of the carrier from one moment on the clock to another, ns.
double meanCarrier_Hz(const Bench* bench, uint64_t start_ns, uint64_t end_ns) {
    const Dut& dut = bench->dutNow;
    const double carrier_Hz = benchState_carrier_Hz(bench, start_ns + (end_ns - start_ns) / 2);
    if (!dut.oscillator)
        return carrier_Hz;
    return carrier_Hz - dut.frequency_Hz +
           oscillator_frequency_Hz(*dut.oscillator, bench->oscillator, start_ns, end_ns);
}

/// What the counter behind a channel's chain of dividers gets between two moments; 0: no edges.
double counterInput_Hz(const Bench* bench, Channel channel, uint64_t start_ns, uint64_t end_ns) {
    const CounterChain& counter = bench->channel[channel].wiring.counter;
    if (counter.ratio <= 0 || !benchState_carrierPasses(bench, channel, counter.path))
        return 0;
    const double input_Hz = meanCarrier_Hz(bench, start_ns, end_ns) / (counter.path.ratio * counter.ratio);
    if (input_Hz > counterInputMax_Hz)
        return 0;
    const bool disagrees = channel == channelB && bench->dutNow.faults.counterDisagrees;
    return (disagrees ? input_Hz * (1 + counterFault) : input_Hz) * bench->dutNow.pulses.dutyCycle();
}

/// The channel whose chain ends at an input of the counter; nothing, if none does. That of 1B and 1C ends at the input
/// of its own, and there is one for both.
std::optional<Channel> countedChannel(const Bench* bench, CounterInput input) {
    const Channel channel = input == CounterInput::adcB ? channelB : channelA;
    const bool atAdc = bench->channel[channel].wiring.counter.atAdc;
    return atAdc == (input != CounterInput::input) ? std::optional(channel) : std::nullopt;
}

} // namespace

double benchState_carrier_Hz(const Bench* bench, uint64_t when) {
    const Dut& dut = bench->dutNow;
    return dut.frequency_Hz + dut.faults.drift_HzPerS * (double(when) - double(bench->dutSince)) * secondsPerTick;
}

bool benchState_carrierPasses(const Bench* bench, Channel channel, const SignalPath& path) {
    const Dut& dut = bench->dutNow;
    const bool dead = channel == channelB && dut.faults.channelBDead;
    return signalPresent(bench) && !dead && bench->channel[channel].wiring.reaches(path) &&
           path.passes(dut.frequency_Hz);
}

DetectorInput bench_detectorInput(Bench* bench, Channel channel, const SignalPath& path) {
    const Guard guard(bench->mutex);
    benchState_update(bench);
    const Dut& dut = bench->dutNow;
    if (!benchState_carrierPasses(bench, channel, path))
        return {dut.frequency_Hz, noLevel_dBm};
    return {dut.frequency_Hz, dut.power_dBm + path.gain_dB + 10 * std::log10(dut.pulses.dutyCycle()) +
                                  levelSpread_dB * random_normal(bench->levelNoise)};
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
    const std::optional<Channel> counted = countedChannel(bench, request.input);
    if (!counted || request.end_ns <= request.start_ns)
        return {0, 0};
    const Channel channel = *counted;
    const uint64_t length_ns = request.end_ns - request.start_ns;
    const double input_Hz =
        counterInput_Hz(bench, channel, request.start_ns, request.end_ns) / std::max(request.ratio, 1U);
    const double periods = std::floor(double(length_ns) * secondsPerTick * input_Hz);
    const double clock_Hz = request.clock_Hz * (1 - (bench->individual ? bench->individual->timeBase : 0));
    const double phase = random_uniform(bench->channel[channel].counterPhase); // between signal and ticks
    if (input_Hz <= 0 || periods < 1)
        return {0, 0};
    return {uint64_t(periods), uint64_t(std::floor(periods * clock_Hz / input_Hz + phase))};
}

ChipFault bench_chipFault(Bench* bench, const std::string& name) {
    const Guard guard(bench->mutex);
    const Faults& faults = bench->dutNow.faults;
    const bool noBoard = faults.noSourceBoard[channelA] || faults.noSourceBoard[channelB];
    if (faults.spiFails.empty() && faults.stuckAdc.empty() && !noBoard)
        return ChipFault::none;
    benchState_update(bench);
    const auto named = [&name](const std::vector<std::string>& list) {
        return std::find(list.begin(), list.end(), name) != list.end();
    };
    constexpr const char* sources[] = {"A.is.", "B.is."};
    for (const Channel c : {channelA, channelB})
        if (faults.noSourceBoard[c] && name.starts_with(sources[c]))
            return ChipFault::absent;
    if (named(faults.spiFails))
        return ChipFault::silent;
    return named(faults.stuckAdc) ? ChipFault::stuck : ChipFault::none;
}

double bench_supplyLoad_A(Bench* bench, size_t output, double volts) {
    constexpr double load_ohm = 350, short_ohm = 1e-3; // without an oscillator: a resistor each, as of a small one
    const Guard guard(bench->mutex);
    benchState_update(bench);
    const Dut& dut = bench->dutNow;
    if (dut.faults.supplyOverload)
        return volts / short_ohm;
    return dut.oscillator && output == 0 ? oscillator_current_A(*dut.oscillator, bench->oscillator, volts)
                                         : volts / load_ohm;
}

std::string bench_oscillatorRecord(Bench* bench) {
    const Guard guard(bench->mutex);
    benchState_update(bench);
    if (!bench->dutNow.oscillator)
        return {};
    const double nominal_V = bench->dutNow.oscillator->supply_V, given_V = bench->oscillator.supply_V;
    if (given_V < supplyShareMin * nominal_V)
        return "without supply";
    if (given_V <= supplyShareMax * nominal_V)
        return "supplied";
    char text[80];
    snprintf(text, sizeof text, "%.2f V at a DUT for %.2f V: a real one might not survive", given_V, nominal_V);
    return text;
}

bool bench_vcoBroken(Bench* bench, Channel channel) {
    const Guard guard(bench->mutex);
    benchState_update(bench);
    return bench->dutNow.faults.pllUnlocked[channel];
}

} // namespace vi
