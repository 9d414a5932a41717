/// What is done in which order, and what each failure means for the user.
#include "measure/run/pn_run.h"

#include "base/error_codes.h"
#include "base/tvdebug.h"
#include "core/abstime.h"
#include "measure/preparation/analog_board.h"
#include "measure/preparation/both_boards.h"
#include "measure/preparation/frequency_search.h"
#include "measure/preparation/gain.h"
#include "measure/preparation/kphi.h"
#include "measure/preparation/lock.h"
#include "measure/preparation/lock_check.h"
#include "measure/preparation/loop_modes.h"
#include "measure/preparation/time_samples.h"
#include "measure/preparation/whole_hertz.h"
#include "measure/results/test_set.h"
#include "measure/run/measure.h"
#include "measure/run/pn_measure.h"
#include "measure/run/run_settings.h"
#include "measure/settings/measurement_configuration.h"

namespace {

constexpr uint64_t sourceCommand_us = 5000; // a frequency command needs that long to the sources
constexpr tv_time searchGate_s = 0.01;      // of the counters, at most
constexpr int searchAttempts = 3;
constexpr int lockAttempts = 2;
constexpr double frequencyJump_Hz = 10e6;

/// Stores what each phase took.
class PhaseClock {
public:
    PhaseClock() { resetTime(); }
    void stop(const char* label, Shared<double>* seconds) {
        *seconds = measure_secondsSince(begin_);
        begin_ = measure_now();
        printTime(label, 1);
    }

private:
    timeval begin_ = measure_now(); // its own: the captures restart start_time
};

/// A run that was to stop ends well, whatever the step failed in that was cut short.
int32_t endWith(int32_t code) {
    MutexLock lock(meas_data.resultMutex);
    if (meas_data.stopRequested != 0)
        code = 0;
    meas_data.lastError = code;
    return code;
}

void clearResults() {
    meas_data.lockTimeSec = 0;
    for (Shared<double>* phase :
         {&meas_data.tFsearch, &meas_data.tKphi, &meas_data.tLock, &meas_data.tGain, &meas_data.tMeas})
        *phase = 0;
    clearTestSet();
}

void reportSettings(const MeasConfig* config) {
    printd("---> pnMeasureFull: fO=%.2f-%.0f Hz  iterations=%d  correlations=%d  ppd=%d  method=%u  reference=%u\n",
           config->offsetMin.get(), config->offsetMax.get(), config->iterations.get(), config->correlations.get(),
           config->pointsPerDecade.get(), config->measurementMethod.get(), config->reference.get());
}

void waitForSources() {
    printd("Wait for SENS:PN:FREQ to be processed (IS board frequency set) -> 5  ms\n");
    tvstuff_delay_us(sourceCommand_us);
}

/// A search needs no better resolution than that of a short gate. The search itself uses up its detect flag.
void shortenCounterGate(Device* device, const MeasConfig& config) {
    if (Device_getCounterTimeout(device) > searchGate_s && config.autoFrequency != 0 && config.doFrequency != 0)
        slot_carryOn(Device_setCounterTimeout(device, searchGate_s)); // a longer gate only takes longer
}

// The steps. Each returns 0 or the code of the run. A step that failed for want of a signal is repeated in the next run
// whatever its redo code.

int32_t findFrequency(Device* device, MeasConfig* config) {
    config->firstSearch = 1;
    shortenCounterGate(device, *config);
    for (int attempt = 0; pn_measure_frequencySearch(device, config) == scpi::executionError;) {
        config->doFrequency = 1;
        if (++attempt == searchAttempts)
            return scpi::noSignalDetected;
    }
    if (!(config->frequency > 0)) {
        printd("ERROR detecting DUT frequency\n");
        config->doFrequency = 1;
        return scpi::noSignalDetected;
    }
    pn_measure_readPower(device, config, Device_quicklyGetPower);
    return 0;
}

bool constantsGood(const MeasConfig& config) {
    return kphi_isGood(config.kphiA, config.kphiB, config.measurementMethod);
}

void setSources(Device* device, double frequency) {
    const tvfreq target = wholeHertz(frequency);
    slot_carryOn(Device_setFrequencyFixed(device, &target)); // sources that stand elsewhere do not lock
}

/// Loops that a run before has closed would follow the beat: it would read low, by up to 5 % with the sensitive
/// reference.
void openLoops(Device* device) {
    slot_carryOn(onBothBoards(device, [&](int) { return Device_selectPnLoopMode(device, loopOpen); }));
}

int32_t findConstants(Device* device, MeasConfig* config) {
    if (config->doKphi != 0)
        openLoops(device);
    measureKphi(device, config);
    if (constantsGood(*config))
        return 0;
    config->doKphi = 1;
    setSources(device, config->frequencyRounded + frequencyJump_Hz);
    setSources(device, config->frequencyRounded);
    measureKphi(device, config);
    if (constantsGood(*config))
        return 0;
    config->doKphi = 1;
    return scpi::noValidBeatDetected;
}

int32_t closeLoops(Device* device, MeasConfig* config, int attempts, PhaseClock* clock) {
    meas_data.locked = 0;
    for (int attempt = 0; attempt < attempts && meas_data.locked == 0; ++attempt) {
        lock(device, config);
        if (meas_data.locked != 0 && config->pulseEnabled == 0 && !lock_holds(device, config))
            meas_data.locked = 0;
    }
    if (meas_data.locked == 0)
        return scpi::lockFailed;
    clock->stop("locking", &meas_data.tLock);
    return 0;
}

int32_t fitGain(Device* device, MeasConfig* config) {
    if (adjustGain(device, config) != 0)
        return scpi::measurementFailed;
    if (analogBoard().waitsUntilSteady && waitUntilSteady(device) == 0)
        return scpi::lockFailed;
    if (config->ifGain < 0) {
        config->doIFgain = 1;
        return scpi::measurementFailed;
    }
    return 0;
}

/// Everything before the captures, for a continuous DUT.
int32_t prepare(Device* device, MeasConfig* config, PhaseClock* clock) {
    if (const int32_t failure = findFrequency(device, config); failure != 0)
        return failure;
    runSettings_publish();
    clock->stop("frequency search", &meas_data.tFsearch);
    if (const int32_t failure = findConstants(device, config); failure != 0)
        return failure;
    runSettings_publish();
    clock->stop("kphi", &meas_data.tKphi);
    if (const int32_t failure = closeLoops(device, config, lockAttempts, clock); failure != 0)
        return failure;
    if (const int32_t failure = fitGain(device, config); failure != 0)
        return failure;
    runSettings_publish();
    clock->stop("gain", &meas_data.tGain);
    return 0;
}

} // namespace

void pn_measure_forgetTrace() {
    MutexLock lock(meas_data.resultMutex);
    meas_data.pointCount = 0;
    meas_data.spurCount = 0;
    meas_data.preliminaryAverageCount = 0;
    meas_data.preliminaryCorrelationCount = 0;
}

int32_t pnMeasureFull(Device* device, MeasConfig* config) {
    const timeval begin = measure_now();
    PhaseClock clock;
    const OwnSampling sampling(device, *config->prepared);
    clearResults();
    // A lock is all that a pulsed DUT gets: there is no beat to search or measure, and nothing to correlate.
    if (config->pulseEnabled != 0)
        return endWith(closeLoops(device, config, 1, &clock));
    reportSettings(config);
    if (config->freqInit != 0)
        waitForSources();
    if (const int32_t failure = prepare(device, config, &clock); failure != 0)
        return endWith(failure);
    const int32_t failure = measurePhaseNoise(device, config);
    clock.stop("measurement", &meas_data.tMeas);
    slot_carryOn(Device_setLnaGain(device, 0)); // the run is over
    meas_data.lastTimeSec = measure_secondsSince(begin);
    return endWith(failure);
}
