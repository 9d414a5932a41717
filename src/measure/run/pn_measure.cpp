// The correlation stage loop: from the captures to the trace.
#include "measure/run/pn_measure.h"

#include "base/tvdebug.h"
#include "base/waiting.h"
#include "core/numbers.h"
#include "measure/preparation/adc_scale.h"
#include "measure/preparation/analog_board.h"
#include "measure/results/pn_output.h"
#include "measure/results/spur_detector.h"
#include "measure/results/test_set.h"
#include "measure/run/measure.h"
#include "measure/run/trace_arrays.h"
#include "measure/settings/measurement_configuration.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <span>

namespace {

/// A point of the FPGA's averaged spectrum.
struct FdPoint {
    float re;
    float im;
};
static_assert(sizeof(FdPoint) == 8, "the FPGA delivers 8 bytes a point");

/// What a run goes by from its first capture to its last.
struct CorrelationRun {
    const MeasConfig* config;
    int32_t iterations;
    int32_t correlations;
    int32_t capturePasses;
    int32_t stageCount;
    int32_t pointCount;
    bool captureFailed;
    std::array<double, stageCountMax> rates; // samples per second of each stage
    double scaleDb;
    uint32_t repairSeed;                          // of the random numbers that replace spurs
    std::array<int32_t, stageCountMax + 1> bound; // stage s serves the points from bound[s + 1] up to below bound[s]
    std::array<int32_t, tracePointsMax> bin;      // of each point: its place in the spectrum of its stage
};
CorrelationRun run; // the measurement thread's own; static because of the thread's small stack

/// Detector constants, IF gain and prescaler in one term, dB.
double levelScale(Device* device, const MeasConfig& config) {
    const double kA = kphiVolts(config.kphiA);
    // With channel A alone both factors of a product are A's; a constant of B may be there from an earlier run.
    const double kB = config.measurementMethod == methodCrossCorrelation ? kphiVolts(config.kphiB) : kA;
    return 10 * std::log10(kA) + 10 * std::log10(kB) + config.ifGain -
           20 * std::log10(static_cast<double>(Device_getPrescaler(device)));
}

/// Gives each point of the grid its stage and its place in the stage's spectrum. The nearest point counts; there is no
/// interpolation.
void assignPoints(const StagingPlan& plan, std::span<const float> frequency) {
    int32_t k = run.pointCount - 1;
    run.bound[0] = run.pointCount;
    for (int32_t stage = 0; stage < run.stageCount; ++stage) {
        const double scale = (1 / run.rates[stage] + 1 / run.rates[stage]) * (plan.stageSamples[stage] - 1);
        // In the grid's own precision: rounding must not push the start offset out of the last stage.
        const auto low = static_cast<float>(plan.stageLow[stage]);
        for (; k >= 0 && frequency[k] >= low; --k) {
            const double bin = scale * static_cast<double>(frequency[k]) + 0.5;
            run.bin[k] = bin > 0 ? static_cast<int32_t>(std::fmin(bin, INT32_MAX)) : 0;
        }
        run.bound[stage + 1] = k + 1;
    }
}

void prepareRun(Device* device, MeasConfig* config) {
    const StagingPlan& plan = meas_data.plan;
    run.config = config;
    run.iterations = config->iterations;
    run.correlations = plan.correlations;
    run.capturePasses = plan.capturePasses;
    run.stageCount = plan.stageCount;
    run.scaleDb = levelScale(device, *config);
    run.repairSeed = static_cast<uint32_t>(tvstuff_getRandomNumber(0, INT32_MAX));
    for (int32_t stage = 0; stage < run.stageCount; ++stage)
        run.rates[stage] = Device_getFdSamplingFreq(device, stage);

    MutexLock lock(meas_data.resultMutex);
    prepareOutputArrays(plan, config);
    meas_data.carrier = config->frequency;
    run.pointCount = meas_data.pointCount;
    assignPoints(plan, traceArrays_frequency());
}

void clearSums() {
    std::fill_n(meas_data.accumRe, run.pointCount, 0.0);
    std::fill_n(meas_data.accumIm, run.pointCount, 0.0);
}

using Spectrum = std::span<const FdPoint>;

/// The spectrum of a stage; empty if there is none. Waits for the end of the capture, and notes if it failed.
Spectrum fetchStage(Device* device, int32_t stage) {
    const void* data = nullptr;
    const int bytes = Device_getPhaseNoiseFdBuffer(device, static_cast<uint32_t>(stage), &data);
    run.captureFailed = run.captureFailed || bytes < 0;
    if (data == nullptr || bytes < static_cast<int>(sizeof(FdPoint)))
        return {};
    return {static_cast<const FdPoint*>(data), static_cast<size_t>(bytes) / sizeof(FdPoint)};
}

void accumulateStage(Spectrum spectrum, int32_t stage) {
    const auto last = static_cast<int32_t>(spectrum.size()) - 1;
    if (last < 0)
        return;
    for (int32_t k = run.bound[stage + 1]; k < run.bound[stage]; ++k) {
        const FdPoint& point = spectrum[std::min(run.bin[k], last)];
        meas_data.accumRe[k] += static_cast<double>(point.re);
        meas_data.accumIm[k] += static_cast<double>(point.im);
    }
}

bool stopRequested() {
    return meas_data.stopRequested != 0;
}

/// One capture into the sums. False, and nothing is added, if it was to stop meanwhile or failed: of a capture that was
/// cut short the buffers hold what an earlier one has left there.
bool addCapture(Device* device) {
    slot_carryOn(Device_capturePhaseNoiseFdSamples(device)); // each stage below tells what has come of it
    if (stopRequested()) // perhaps after the last look, but before there was a capture to cut
        slot_carryOn(Device_abort_local(device));
    for (int32_t stage = 0; stage < run.stageCount; ++stage) {
        const Spectrum spectrum = fetchStage(device, stage);
        if (stage == 0 && (stopRequested() || run.captureFailed))
            return false;
        accumulateStage(spectrum, stage);
    }
    printTime("completed data acquisition", 1);
    return true;
}

/// Averages the level of `passes` captures into the running average of `done` finished iterations.
void averageLevels(int32_t done, int32_t passes) REQUIRES(meas_data.resultMutex) {
    for (int32_t j = 0; j < run.pointCount; ++j) {
        const double re = meas_data.accumRe[j];
        const double im = meas_data.accumIm[j];
        const double level = 10 * std::log10(std::sqrt(re * re + im * im) / passes) - run.scaleDb;
        float& average = meas_data.pnAverage[j];
        // The first iteration replaces: what stands there is another run's, and 0 times it need not be 0.
        average =
            done == 0
                ? static_cast<float>(level)
                : static_cast<float>((static_cast<double>(static_cast<float>(done) * average) + level) / (done + 1));
    }
}

/// All saves of an iteration draw the same random numbers, so that a client who asks for preliminary results does not
/// change the trace that the run ends with.
void omitSpurs(Device* device, int32_t done) REQUIRES(meas_data.resultMutex) {
    if (run.config->spurOmission == 0) {
        printd("     > Spur Detection: NO\n");
        return;
    }
    tvstuff_seedRandom(run.repairSeed + static_cast<uint32_t>(done));
    const SpurSearch search = {.comb = run.config->frequency / std::max(Device_getPrescaler(device), 1U),
                               .plan = meas_data.plan,
                               .rates = run.rates};
    meas_data.spurCount =
        spur_detector_detectSpurs(search, traceArrays_frequency(), traceArrays_level(), meas_data.spurScratch,
                                  {.frequency = meas_data.spurFreq, .level = meas_data.spurData});
}

/// What the trace goes through from the raw average to what is published.
void makeTrace(Device* device, int32_t done) REQUIRES(meas_data.resultMutex) {
    std::copy_n(meas_data.pnAverage, run.pointCount, meas_data.spectrumData);
    deembed(traceArrays_frequency(), traceArrays_level(),
            {.wn = meas_data.loopWnA,
             .zeta = meas_data.loopZetaA,
             .ifGain = run.config->ifGain,
             .is1C = analogBoard().highPassesInTrace});
    // what cannot be calibrated stays as measured
    slot_carryOn(Device_calibrateTVPNGain(device, run.pointCount, meas_data.spectrumFreq, meas_data.spectrumData));
    std::copy_n(meas_data.spectrumData, run.pointCount, meas_data.spectrumPowerData);
    omitSpurs(device, done);
    if (run.config->smoothing != 0)
        applySmoothing(traceArrays_level(), run.config->smoothingAperture);
}

/// Publishes the trace after `passes` captures of the iteration that follows `done` finished ones.
void save(Device* device, int32_t done, int32_t passes) REQUIRES(meas_data.resultMutex) {
    averageLevels(done, passes);
    makeTrace(device, done);
    meas_data.preliminaryCorrelationCount =
        static_cast<int32_t>(int64_t{run.correlations} * passes / run.capturePasses);
    if (passes == run.capturePasses) {
        meas_data.preliminaryAverageCount = done + 1;
        if (done + 1 < run.iterations)
            meas_data.preliminaryCorrelationCount = 0;
    }
    insertTestSetPowerFreq(meas_data.carrier, run.config->power);
    insertTestSetOffsets(traceArrays_view(), *run.config);
    ++meas_data.saves;
}

bool previewDue(int32_t iteration) REQUIRES(meas_data.resultMutex) {
    return meas_data.previewTrigger != 0 && meas_data.previewTarget <= iteration;
}

/// Takes the results for a save. No iteration may get lost, so its end waits for them; a preliminary result, which only
/// the first iteration has, must not hold up the captures.
bool takeResults(int32_t done, bool lastPass) TRY_ACQUIRE(true, meas_data.resultMutex) NO_THREAD_SAFETY_ANALYSIS {
    if (!lastPass)
        return done == 0 && meas_data.resultMutex.try_lock();
    meas_data.resultMutex.lock();
    return true;
}

/// Saves if it is time and the results are free. Returns the number of the save, 0 for none.
uint64_t saveIfDue(Device* device, int32_t done, int32_t passes) {
    const bool lastPass = passes == run.capturePasses;
    if (!takeResults(done, lastPass)) {
        printd("     > not saving preliminary results because data are being accessed by user.\n");
        return 0;
    }
    uint64_t number = 0;
    const bool asked = previewDue(done + 1);
    if (lastPass || asked) {
        save(device, done, passes);
        number = meas_data.saves;
        if (asked) {
            meas_data.previewTrigger = 0;
            meas_data.previewTarget = 0;
        }
    }
    meas_data.resultMutex.unlock();
    return number;
}

void announceSave(uint64_t number, int32_t iteration) {
    {
        MutexLock lock(meas_data.stateMutex);
        meas_data.savesAnnounced = number;
        meas_data.iterationAnnounced = iteration;
    }
    waiting_announce();
}

/// One iteration after `done` finished ones. Returns the captures that it has added: fewer than capturePasses if it was
/// stopped.
int32_t runIteration(Device* device, int32_t done) {
    int32_t passes = 0;
    while (passes < run.capturePasses) {
        if (stopRequested() || !addCapture(device)) {
            printd("   > Measurement stopped\n");
            break;
        }
        ++passes;
        if (const uint64_t number = saveIfDue(device, done, passes); number != 0)
            announceSave(number, done + 1);
    }
    return passes;
}

/// What a run that was stopped in its first iteration leaves: what its captures gave, or no trace.
void settleFirstIteration(Device* device, int32_t passes) {
    MutexLock lock(meas_data.resultMutex);
    if (passes > 0)
        save(device, 0, passes);
    else
        meas_data.pointCount = 0;
}

} // namespace

int32_t measurePhaseNoise(Device* device, MeasConfig* config) {
    prepareRun(device, config);
    run.captureFailed = false;
    for (int32_t done = 0; done < run.iterations; ++done) {
        const int32_t passes = runIteration(device, done);
        const bool stopped = passes < run.capturePasses;
        if (stopped && done == 0)
            settleFirstIteration(device, passes);
        clearSums();
        if (stopped)
            break;
    }
    return run.captureFailed ? scpi::measurementFailed : 0;
}
