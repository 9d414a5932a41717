#include "numeric/tvmath.h"
#include "virtual/bench.h"
#include "virtual/bench_state.h"
#include "virtual/clock.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace vi {
namespace {

using Guard = std::lock_guard<std::mutex>;

constexpr double baseRateFirst_Hz = 125e6, baseRateSecond_Hz = 250e6;
constexpr std::array<double, stagesMax> stageRates_Hz{0,      12.5e6, 1.25e6, 125e3,
                                                      12.5e3, 1250,   125,    12.5}; // 0: base rate
constexpr uint32_t firstSettableStage = 6;                                           // of the first generation

constexpr double captureTimeMax_s = 365.0 * 86400; // a longer one may as well not end

/// Loops that settle within this share of a capture do not show in its average.
constexpr double settlingShare = 0.1;

/// Keeps what the channels are.
void takeChannels(Bench* bench) {
    const SignalChain now{benchState_chain(bench, channelA), benchState_chain(bench, channelB)};
    if (bench->capturedVersion != 0 && now == bench->captured && !bench->dutChanged)
        return;
    bench->captured = now;
    if (std::exchange(bench->dutChanged, false))
        bench->capturedDut = bench->dutFile.dut;
    ++bench->capturedVersion;
}

void drawStage(Bench* bench, uint32_t number) {
    Bench::Stage& stage = bench->stages[number];
    const auto points = uint32_t(stage.buffer.size());
    if (stage.expectationOf != bench->capturedVersion || stage.expectation.sxx.size() != points) {
        chain_expect(bench->captured, bench->capturedDut, benchState_sampleRate_Hz(bench->boards, number), points,
                     &stage.expectation);
        stage.expectationOf = bench->capturedVersion;
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

double benchState_sampleRate_Hz(const UnitBoards& boards, uint32_t stage) {
    if (stage != 0)
        return stageRates_Hz[stage];
    return boards.fpga == FpgaGeneration::second ? baseRateSecond_Hz : baseRateFirst_Hz;
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
    return stage < stagesMax ? benchState_sampleRate_Hz(bench->boards, stage) : 0;
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
        const double time_s = settings.correlations[i] * recordLength / benchState_sampleRate_Hz(boards, i);
        sum += time_s;
        longest = std::max(longest, time_s);
    }
    return boards.fpga == FpgaGeneration::second ? longest : sum;
}

void bench_startCapture(Bench* bench) {
    std::unique_lock<std::mutex> lock(bench->mutex);
    awaitCapture(bench, lock); // the board does one at a time
    benchState_update(bench);
    const double time_s = std::min(bench_captureTime_s(bench->boards, bench->fd), captureTimeMax_s);
    const auto time_ns = uint64_t(time_s * 1e9);
    benchState_runLoops(bench, clock_now() + uint64_t(settlingShare * double(time_ns)));
    takeChannels(bench);
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

void bench_takeSnapshot(Bench* bench, BenchSnapshot* snapshot, uint64_t settling_ns) {
    const Guard guard(bench->mutex);
    benchState_update(bench);
    benchState_runLoops(bench, clock_now() + settling_ns);
    takeChannels(bench);
    if (snapshot->version != bench->capturedVersion)
        *snapshot = {bench->capturedVersion, bench->captured, bench->capturedDut};
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
