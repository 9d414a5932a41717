/// What the processor does between a capture and the figures that a client reads: saves with and without spur
/// detection, figures over the trace, Allan deviation. 961 points, 1 Hz to 50 MHz; the captures cost nothing.

#include "measure/results/pn_results.h"
#include "measure/results/statistics.h"
#include "measure/run/pn_measure.h"
#include "measure/run/trace_arrays.h"
#include "measure/settings/config_accessors.h"
#include "measure/settings/config_mode.h"

#include <array>
#include <benchmark/benchmark.h>
#include <cmath>
#include <complex>
#include <cstdlib>
#include <random>

namespace {

constexpr SlotRegistrar fill{"benchmark"};

constexpr int stagePoints = 512;
constexpr int savesPerRun = 50;

Device* const device = nullptr;

using Stage = std::array<std::complex<float>, stagePoints>;
std::array<Stage, stageCountMax> captured;

/// Noise that falls by 20 dB a decade, averaged over `records`, and in each stage `lines` lines.
void makeSpectra(int records, int lines) {
    std::mt19937 generator(1);
    std::gamma_distribution<double> average(records, 1.0 / records);
    for (size_t stage = 0; stage < captured.size(); ++stage) {
        const double level = std::pow(10.0, -14.0 + 2.0 * static_cast<double>(stage));
        for (int i = 0; i < stagePoints; ++i)
            captured[stage][i] = static_cast<float>(level * average(generator) / (1 + i * i / 1e4));
        for (int line = 0; line < lines; ++line)
            captured[stage][static_cast<size_t>(50 + 350 * line / lines)] *= 1000;
    }
}

void setUp() {
    fill(Device_getFdSamplingFreq,
         [](Device*, int32_t stage) { return stage == 0 ? 250e6 : 125e6 / std::pow(10, stage); });
    fill(Device_getPrescaler, [](Device*) { return 1U; });
    fill(Device_capturePhaseNoiseFdSamples, [](Device*) { return 0; });
    fill(Device_getPhaseNoiseFdBuffer, [](Device*, uint32_t stage, const void** data) {
        *data = captured[stage].data();
        return static_cast<int>(sizeof(Stage));
    });
    static const bool ready = initMeasurementConfiguration(device) == 0;
    if (!ready)
        abort();
    config_reset(device);
    configPN.kphiA = configPN.kphiB = 16384;
    configPN.functionRangeStart = 1;
    configPN_setOffsetMin(device, 1);
    configPN_setIterations(device, savesPerRun);
}

void run(benchmark::State& state) {
    if (measurePhaseNoise(device, &configPN) != 0)
        state.SkipWithError("no run");
}

/// One save and the sums of one capture.
void save(benchmark::State& state, uint32_t spurOmission, int records, int lines) {
    setUp();
    makeSpectra(records, lines);
    configPN.spurOmission = spurOmission;
    for (auto _ : state)
        run(state);
    state.SetItemsProcessed(state.iterations() * savesPerRun);
}

void figure(benchmark::State& state, int mode, uint32_t spurOmission) {
    setUp();
    makeSpectra(100, 8);
    configPN.spurOmission = 1;
    run(state); // makes the list of spurs
    configPN.spurOmission = spurOmission;
    MutexLock lock(meas_data.resultMutex);
    for (auto _ : state)
        benchmark::DoNotOptimize(calculateStatistics(traceArrays_view(), configPN, mode));
    state.SetItemsProcessed(state.iterations());
}

void allanDeviation(benchmark::State& state) {
    setUp();
    makeSpectra(100, 0);
    run(state);
    for (auto _ : state)
        if (pn_measure_calculateAVariance(device) != 0)
            state.SkipWithError("no result");
    state.SetItemsProcessed(state.iterations());
}

} // namespace

BENCHMARK_CAPTURE(save, plain, 0, 100, 8);
BENCHMARK_CAPTURE(save, spurs, 1, 100, 8);
BENCHMARK_CAPTURE(save, singleRecords, 1, 1, 8);
BENCHMARK_CAPTURE(figure, jitter, statisticsJitter, 1);
BENCHMARK_CAPTURE(figure, integral, statisticsIntegral, 1);
BENCHMARK_CAPTURE(figure, millidegrees, statisticsMillidegrees, 1);
BENCHMARK_CAPTURE(figure, milliradians, statisticsMilliradians, 1);
BENCHMARK_CAPTURE(figure, residualFm, statisticsResidualFm, 1);
BENCHMARK_CAPTURE(figure, residualFmWithSpurs, statisticsResidualFm, 0);
BENCHMARK(allanDeviation);

BENCHMARK_MAIN();
