#include "virtual/bench.h"

#include "numeric/tvmath.h"
#include "virtual/clock.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <numbers>
#include <utility>

namespace vi {
namespace {

using Guard = std::lock_guard<std::mutex>;

// Purposes of the random streams; part of what a seed means, so never renumbered.
enum StreamPurpose : uint32_t { streamSpectrum = 1, streamLevel = 2 };

constexpr double levelSpread_dB = 0.02;

constexpr double baseRateFirst_Hz = 125e6, baseRateSecond_Hz = 250e6;
constexpr std::array<double, stagesMax> stageRates_Hz{0,      12.5e6, 1.25e6, 125e3,
                                                      12.5e3, 1250,   125,    12.5}; // 0: base rate
constexpr uint32_t pointsAtStart = 512;
constexpr uint32_t firstSettableStage = 6; // of the first generation
constexpr std::array<uint32_t, stagesMax> pointsAtStartSecond{4096, 512, 512, 512, 512, 512, 64, 64};

constexpr double captureTimeMax_s = 365.0 * 86400; // a longer one may as well not end

constexpr double loopStart_Hz = 30, loopStartOcxo_Hz = 10, loopMax_Hz = 1e6;
constexpr double filterDamping = 1.0, filterDampingOcxo = 0.7;
struct Tuning {
    double sensitivity_HzPerV; // at 100 MHz, proportional to the frequency
    double reach_V;            // to either side of the middle
};
constexpr std::array<Tuning, 4> tunings{{{100, 7.2}, {250, 7.2}, {1000, 1.4}, {250, 7.2}}}; // by reference
constexpr double tuningStated_Hz = 100e6;

constexpr double phaseErrorComfortable_rad2 = 0.01, phaseErrorSlips_rad2 = 0.49;

double sampleRate_Hz(const UnitBoards& boards, uint32_t stage) {
    if (stage != 0)
        return stageRates_Hz[stage];
    return boards.fpga == FpgaGeneration::second ? baseRateSecond_Hz : baseRateFirst_Hz;
}

void settingsChanged(Bench* bench) {
    ++bench->settingsVersion;
}

void tune(Bench* bench) {
    bench->chain.prescaler = unitBoards_prescaler(bench->boards, bench->dutFile.dut.frequency_Hz);
    settingsChanged(bench);
}

void refreshDut(Bench* bench) {
    if (dutFile_refresh(&bench->dutFile))
        tune(bench);
}

bool signalPresent(const Bench* bench) {
    const Dut& dut = bench->dutFile.dut;
    return !dut.noSignal && dut.power_dBm >= levelDetected_dBm && dut.frequency_Hz >= bench->boards.carrierMin_Hz &&
           dut.frequency_Hz <= bench->boards.carrierMax_Hz;
}

bool locked(const Bench* bench) {
    const Tuning& tuning = tunings[size_t(bench->chain.reference)];
    const double reach_Hz = tuning.reach_V * tuning.sensitivity_HzPerV * bench->sources_Hz / tuningStated_Hz;
    return signalPresent(bench) && bench->loopsHold &&
           std::abs(bench->dutFile.dut.frequency_Hz - bench->sources_Hz) <= reach_Hz;
}

void drawStage(Bench* bench, uint32_t number) {
    Bench::Stage& stage = bench->stages[number];
    const auto points = uint32_t(stage.buffer.size());
    if (stage.expectationOf != bench->settingsVersion || stage.expectation.sxx.size() != points) {
        chain_expect(bench->chain, bench->dutFile.dut, locked(bench), sampleRate_Hz(bench->boards, number), points,
                     &stage.expectation);
        stage.expectationOf = bench->settingsVersion;
    }
    const uint32_t records = std::exchange(stage.pending, 0);
    switch (bench->captureChannel) {
    case FdChannel::cross: spectrum_drawCross(stage.noise, stage.expectation, records, stage.buffer); break;
    case FdChannel::aOnly:
        spectrum_drawOwn(stage.noise, stage.expectation, DrawChannel::x, records, stage.buffer);
        break;
    case FdChannel::bOnly:
        spectrum_drawOwn(stage.noise, stage.expectation, DrawChannel::y, records, stage.buffer);
        break;
    }
}

/// Returns when the capture has ended or was stopped. The lock is open while it sleeps.
void awaitCapture(Bench* bench, std::unique_lock<std::mutex>& lock) {
    while (bench->captureRunning) {
        const uint64_t now = clock_now();
        if (now >= bench->captureEnd) {
            bench->captureRunning = false;
            return;
        }
        const auto rest = std::chrono::nanoseconds(bench->captureEnd - now);
        bench->captureStopped.wait_until(lock, std::chrono::steady_clock::now() + rest);
    }
}

} // namespace

void bench_init(Bench* bench, const UnitBoards& boards, DutFile dutFile, uint64_t seed) {
    const Guard guard(bench->mutex);
    bench->boards = boards;
    bench->dutFile = std::move(dutFile);
    bench->chain = {1, Reference::crystal100MHz, 0, {2 * std::numbers::pi * loopStart_Hz, filterDamping}};
    bench->sources_Hz = 0;
    bench->loopsHold = false;
    bench->fd = {7, FdChannel::cross, {}, {}};
    bench->fd.correlations.fill(1);
    if (boards.fpga == FpgaGeneration::second)
        bench->fd.points = pointsAtStartSecond;
    else
        bench->fd.points.fill(pointsAtStart);
    for (uint32_t i = 0; i < stagesMax; ++i) {
        bench->stages[i] = {random_stream(seed, streamSpectrum, i), {}, 0, {}, 0};
        bench->stages[i].buffer.reserve(stagePointsMax);
    }
    bench->levelNoise = random_stream(seed, streamLevel, 0);
    bench->settingsVersion = 0;
    bench->captureEnd = 0;
    bench->captureChannel = FdChannel::cross;
    bench->captureRunning = false;
    tune(bench);
}

double bench_readLevel_dBm(Bench* bench) {
    const Guard guard(bench->mutex);
    refreshDut(bench);
    if (!signalPresent(bench))
        return noLevel_dBm;
    return bench->dutFile.dut.power_dBm + levelSpread_dB * random_normal(bench->levelNoise);
}

double bench_countCarrier_Hz(Bench* bench) {
    const Guard guard(bench->mutex);
    refreshDut(bench);
    return signalPresent(bench) ? bench->dutFile.dut.frequency_Hz : 0;
}

LockState bench_closeLoops(Bench* bench, const LockRequest& request) {
    const Guard guard(bench->mutex);
    SignalChain& chain = bench->chain;
    const Dut& dut = bench->dutFile.dut;
    const bool ocxo = chain.reference == Reference::ocxo10MHzTimes100;
    const bool fixed = request.bandwidth_Hz > 0;
    double loop_Hz = fixed ? request.bandwidth_Hz : ocxo ? loopStartOcxo_Hz : loopStart_Hz;
    const auto close = [&] {
        chain.loop = {2 * std::numbers::pi * loop_Hz, ocxo ? filterDampingOcxo : filterDamping};
        return chain_phaseErrorVariance(chain, dut);
    };
    double variance = close();
    while (!fixed && variance > phaseErrorComfortable_rad2 && loop_Hz < loopMax_Hz) {
        loop_Hz *= 2;
        variance = close();
    }
    bench->sources_Hz = request.sources_Hz;
    bench->loopsHold = variance < phaseErrorSlips_rad2;
    settingsChanged(bench);
    return {locked(bench),
            chain.loop,
            {chain_detectorSlope(chain, dut, channelA), chain_detectorSlope(chain, dut, channelB)}};
}

void bench_setReference(Bench* bench, Reference reference) {
    const Guard guard(bench->mutex);
    if (std::exchange(bench->chain.reference, reference) != reference)
        settingsChanged(bench);
}

Reference bench_reference(Bench* bench) {
    const Guard guard(bench->mutex);
    return bench->chain.reference;
}

int bench_setIfGain(Bench* bench, int request_dB) {
    const Guard guard(bench->mutex);
    const int gain_dB = unitBoards_ifGain_dB(bench->boards, request_dB);
    if (std::exchange(bench->chain.ifGain_dB, gain_dB) != gain_dB)
        settingsChanged(bench);
    return gain_dB;
}

int bench_ifGain_dB(Bench* bench) {
    const Guard guard(bench->mutex);
    return bench->chain.ifGain_dB;
}

uint32_t bench_prescaler(Bench* bench) {
    const Guard guard(bench->mutex);
    return bench->chain.prescaler;
}

FdSettings bench_fdSettings(Bench* bench) {
    const Guard guard(bench->mutex);
    return bench->fd;
}

void bench_setFdStages(Bench* bench, uint32_t stages) {
    const Guard guard(bench->mutex);
    bench->fd.stages = std::min(stages, stagesMax);
}

void bench_setFdChannel(Bench* bench, FdChannel channel) {
    const Guard guard(bench->mutex);
    bench->fd.channel = channel;
}

void bench_setFdCorrelations(Bench* bench, uint32_t stage, uint32_t correlations) {
    const Guard guard(bench->mutex);
    if (stage < stagesMax)
        bench->fd.correlations[stage] = correlations;
}

void bench_setFdPoints(Bench* bench, uint32_t stage, uint32_t points) {
    const Guard guard(bench->mutex);
    if (stage >= stagesMax || (bench->boards.fpga == FpgaGeneration::first && stage < firstSettableStage))
        return;
    bench->fd.points[stage] = tvmath_roundToPow2(std::clamp(points, stagePointsMin, stagePointsMax));
}

double bench_fdSampleRate_Hz(Bench* bench, uint32_t stage) {
    const Guard guard(bench->mutex);
    return stage < stagesMax ? sampleRate_Hz(bench->boards, stage) : 0;
}

uint32_t bench_fdBufferedPoints(Bench* bench, uint32_t stage) {
    const Guard guard(bench->mutex);
    return stage < stagesMax ? uint32_t(bench->stages[stage].buffer.size()) : 0;
}

double bench_baseSampleRate_Hz(Bench* bench) {
    return bench_fdSampleRate_Hz(bench, 0);
}

double bench_captureTime_s(const UnitBoards& boards, const FdSettings& settings) {
    double sum = 0, longest = 0;
    for (uint32_t i = 0; i < settings.stages; ++i) {
        const double recordLength = 2.0 * settings.points[i]; // samples
        const double time_s = settings.correlations[i] * recordLength / sampleRate_Hz(boards, i);
        sum += time_s;
        longest = std::max(longest, time_s);
    }
    return boards.fpga == FpgaGeneration::second ? longest : sum;
}

void bench_startCapture(Bench* bench) {
    std::unique_lock<std::mutex> lock(bench->mutex);
    awaitCapture(bench, lock); // the board does one at a time
    refreshDut(bench);
    const double time_s = std::min(bench_captureTime_s(bench->boards, bench->fd), captureTimeMax_s);
    const auto time_ns = uint64_t(time_s * 1e9);
    bench->captureChannel = bench->fd.channel;
    bench->captureRunning = true;
    clock_spend(time_ns);
    bench->captureEnd = clock_mode() == TimeMode::fast ? clock_now() : clock_now() + time_ns;
    for (uint32_t i = 0; i < bench->fd.stages; ++i) {
        bench->stages[i].buffer.resize(bench->fd.points[i]);
        bench->stages[i].pending = std::max(1u, bench->fd.correlations[i]);
    }
}

std::span<const SpectrumPoint> bench_fetchStage(Bench* bench, uint32_t stage) {
    std::unique_lock<std::mutex> lock(bench->mutex);
    awaitCapture(bench, lock);
    if (stage >= stagesMax)
        return {};
    if (bench->stages[stage].pending != 0)
        drawStage(bench, stage);
    return bench->stages[stage].buffer;
}

void bench_takeSnapshot(Bench* bench, BenchSnapshot* snapshot) {
    const Guard guard(bench->mutex);
    refreshDut(bench);
    if (snapshot->version != bench->settingsVersion)
        *snapshot = {bench->settingsVersion, bench->chain, bench->dutFile.dut, locked(bench)};
}

void bench_stopCapture(Bench* bench) {
    const Guard guard(bench->mutex);
    if (!bench->captureRunning)
        return;
    if (clock_now() < bench->captureEnd)
        for (Bench::Stage& stage : bench->stages)
            stage.pending = 0;
    bench->captureRunning = false;
    bench->captureStopped.notify_all();
}

} // namespace vi
