#include "measure/run/measure.h"

#include "base/error_codes.h"
#include "base/tvdebug.h"
#include "core/thread.h"
#include "measure/run/meas_data.h"
#include "measure/run/pn_run.h"
#include "measure/run/run_settings.h"
#include "measure/run/vco_measure.h"
#include "measure/run/vco_results.h"
#include "measure/settings/config_hw.h"
#include "measure/settings/config_mode.h"

#include <cstring>
#include <utility>

timeval start_time;

namespace {

constexpr size_t measurementStackBytes = 32768;
constexpr int cutRepeat_ms = 100; // between two attempts to cut a capture

int32_t runMode(Device* device, uint32_t mode) {
    if (mode == measurementModePN)
        return pnMeasureFull(device, runSettings_ofRun());
    if (mode == measurementModeVCO)
        return vcoMeasureFull(device);
    MutexLock lock(meas_data.resultMutex);
    meas_data.lastError = 0;
    return 0;
}

uint32_t waitForStart() {
    MutexLock lock(meas_data.stateMutex);
    while (meas_data.idle != 0)
        meas_data.startCond.wait(meas_data.stateMutex);
    return measurement_mode;
}

/// Ends the run, unless there are sides of the hardware that have waited for that: those are returned.
uint32_t announceEnd() {
    {
        MutexLock state(meas_data.stateMutex);
        if (const uint32_t sides = std::exchange(meas_data.sidesWaiting, 0); sides != 0)
            return sides;
        MutexLock result(meas_data.resultMutex);
        meas_data.stopRequested = 0;
        // A request that the run left unserved must not make the next run save for nobody.
        meas_data.previewTrigger = 0;
        meas_data.previewTarget = 0;
        meas_data.vcoPreliminaryTrigger = 0;
        ++meas_data.runsFinished;
        meas_data.idle = 1;
        hardware_takenByRun.store(false, std::memory_order_release);
    }
    waiting_announce();
    return 0;
}

void* measure_handler(void* argument) {
    auto* device = static_cast<Device*>(argument);
    hardware_isRunThread = true;
    for (;;) {
        const uint32_t mode = waitForStart();
        runSettings_use();
        const char* const failure = scpi::runFailureText(runMode(device, mode));
        runSettings_leave();
        printd("---> measureFull has finished with error code (%s).\n", failure != nullptr ? failure : "No error");
        while (const uint32_t waiting = announceEnd())
            configHW_moveWaiting(device, waiting);
    }
    return nullptr;
}

void requestStop() REQUIRES(meas_data.stateMutex) {
    MutexLock lock(meas_data.resultMutex);
    meas_data.stopRequested = 1;
}

void requestStopOf(uint64_t run) {
    MutexLock lock(meas_data.stateMutex);
    if (meas_data.runsFinished < run)
        requestStop();
}

void cutRun(Device* device, uint64_t run) {
    requestStopOf(run);
    if (Device_abort_local)
        slot_carryOn(Device_abort_local(device)); // a run without a capture to cut stops at its next look
}

Waiting endOf(uint64_t run, Waiting::Finish operation, int32_t argument) {
    Waiting waiting;
    waiting.isOver = measure_isRunOver;
    waiting.finish = operation;
    waiting.run = run;
    waiting.argument = argument;
    return waiting;
}

/// Again and again: the run may have begun one more capture just before it saw the request.
int cutOrFinish(Device* device, const Waiting& waiting, bool inTime) {
    if (inTime)
        return waiting.then(device, waiting, true);
    cutRun(device, waiting.run);
    Waiting next = waiting;
    next.deadline_ns = waiting_deadline(cutRepeat_ms);
    return waiting_for(device, next);
}

} // namespace

int measure_init(Device* device) {
    if (const int error = initMeasurementConfiguration(device); error != 0)
        return error;
    return startMeasurementThread(device);
}

int startMeasurementThread(Device* device) {
    pthread_t thread;
    return tvstuffPthreadCreate(&thread, measure_handler, device, measurementStackBytes);
}

int measure_startMeasurement(Device* device) {
    {
        MutexLock lock(meas_data.stateMutex);
        if (meas_data.idle != 0) {
            if (measure_isBoardBusy(device))
                return scpi::settingsConflict;
            // Settings of another mode, or made while a run was on, have not reached the FPGA driver yet.
            if (measurement_mode == measurementModePN || measurement_mode == measurementModeVCO) {
                staging_handOver(device, *configPNPtr);
                pn_measure_forgetTrace();
            }
            if (measurement_mode == measurementModeVCO)
                prepareVCOOutputArrays(configVCO.voltagePoints);
            runSettings_take();
            meas_data.idle = 0;
            hardware_takenByRun.store(true, std::memory_order_release);
            ++meas_data.runsStarted;
            meas_data.startCond.signal();
            return 0;
        }
    }
    return measure_afterRun(device, [](Device* d, const Waiting&, bool) { return measure_startMeasurement(d); });
}

int measure_stopMeasurement(Device*) {
    MutexLock lock(meas_data.stateMutex);
    if (meas_data.idle == 0)
        requestStop();
    return 0;
}

bool measure_isRunInTheWay() {
    return !hardware_isRunThread && measure_runInProgress() != 0;
}

bool measure_isBoardBusy(Device* device) {
    const tv_time atOnce = 0;
    return hardware_blocksOut != 0 || (Device_complete && Device_complete(device, &atOnce) == 0);
}

int measure_afterRun(Device* device, Waiting::Finish operation, int32_t argument) {
    return waiting_for(device, endOf(measure_runInProgress(), operation, argument));
}

int measure_afterStop(Device* device, Waiting::Finish operation, int32_t argument) {
    Waiting waiting = endOf(measure_runInProgress(), cutOrFinish, argument);
    waiting.then = operation;
    waiting.deadline_ns = waiting_deadline(0);
    waiting.outlivesClient = true; // the run is lost already
    return waiting_for(device, waiting);
}

bool measure_isRunOver(const Waiting& waiting) {
    MutexLock lock(meas_data.stateMutex);
    return meas_data.runsFinished >= waiting.run;
}

bool measure_isMeasurementThread() {
    return hardware_isRunThread;
}

uint64_t measure_runInProgress() {
    MutexLock lock(meas_data.stateMutex);
    return meas_data.idle != 0 ? 0 : meas_data.runsStarted;
}

timeval measure_now() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return {.tv_sec = now.tv_sec, .tv_usec = now.tv_nsec / 1000};
}

double measure_secondsSince(const timeval& moment) {
    const timeval now = measure_now();
    return static_cast<double>(now.tv_sec - moment.tv_sec) + static_cast<double>(now.tv_usec - moment.tv_usec) * 1e-6;
}

void resetTime() {
    start_time = measure_now();
}

void printTime(const char* label, int restart) {
    const double seconds = measure_secondsSince(start_time);
    if (strcmp(label, "locking") == 0)
        meas_data.lockTimeSec = seconds;
    printd("   > time: %.3fs (%s)\n", seconds, label);
    if (restart != 0)
        resetTime();
}

void printTimeSince(const char* label, int64_t seconds, int64_t microseconds) {
    const timeval moment = {.tv_sec = seconds, .tv_usec = microseconds};
    printd("  >> time: %.3fs (%s)\n", measure_secondsSince(moment), label);
}
