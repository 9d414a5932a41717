#include "measure/run/pn_wait.h"

#include "base/error_codes.h"
#include "base/tvdebug.h"
#include "measure/run/meas_data.h"
#include "measure/run/measure.h"

#include <algorithm>

namespace {

int32_t takeLastError() {
    MutexLock lock(meas_data.resultMutex);
    const int32_t error = meas_data.lastError;
    meas_data.lastError = 0;
    return error;
}

/// Asks for a save at iteration `average` and tells how many saves stood before. The nearest of several requests
/// counts: the others are served by the ends of their iterations.
uint64_t requestPreview(int32_t average, bool timed) {
    MutexLock lock(meas_data.resultMutex);
    if (timed)
        meas_data.preliminaryCorrelationCount = -1; // until the save that is waited for
    meas_data.previewTarget = meas_data.previewTrigger != 0 ? std::min(meas_data.previewTarget, average) : average;
    meas_data.previewTrigger = 1;
    printd("---> TRIGGER SET\n");
    return meas_data.saves;
}

/// Over with the end of the run, or with a save after `saves` that has reached the iteration of the argument.
bool saveStands(const Waiting& waiting) {
    MutexLock lock(meas_data.stateMutex);
    return meas_data.runsFinished >= waiting.run ||
           (meas_data.savesAnnounced > waiting.saves && meas_data.iterationAnnounced >= waiting.argument);
}

int endWait(Device*, const Waiting&, bool inTime) {
    return inTime ? takeLastError() : scpi::waitTimedOut;
}

int waitForResult(Device* device, bool whole, int average, int64_t deadline_ns) {
    Waiting waiting;
    waiting.run = measure_runInProgress();
    if (waiting.run == 0)
        return takeLastError();
    waiting.isOver = whole ? measure_isRunOver : saveStands;
    waiting.finish = endWait;
    waiting.argument = average;
    waiting.deadline_ns = deadline_ns;
    if (!whole)
        waiting.saves = requestPreview(average, deadline_ns != waiting_forEver);
    return waiting_for(device, waiting);
}

// ---- the sweep ------------------------------------------------------------------------------------------------------

/// Asks for the next point and tells how many points clients had waited for before.
uint64_t requestPoint() {
    MutexLock lock(meas_data.resultMutex);
    meas_data.vcoPreliminaryTrigger = 1;
    return meas_data.vcoServed;
}

bool pointStands(const Waiting& waiting) {
    MutexLock lock(meas_data.stateMutex);
    return meas_data.runsFinished >= waiting.run || meas_data.vcoServedAnnounced > waiting.saves;
}

void tellWait(const char* verb, bool timed, bool whole) {
    printd("\n%s%s for %s to finish!\n\n", timed ? "timed " : "", verb, whole ? "measurement" : "next preliminary");
}

int endSweepWait(Device* device, const Waiting& waiting, bool inTime) {
    tellWait("Waited", waiting.deadline_ns != waiting_forEver, waiting.isOver == measure_isRunOver);
    return endWait(device, waiting, inTime);
}

int waitForSweep(Device* device, bool whole, int64_t deadline_ns) {
    Waiting waiting;
    waiting.run = measure_runInProgress();
    waiting.isOver = whole ? measure_isRunOver : pointStands;
    waiting.finish = endSweepWait;
    waiting.deadline_ns = deadline_ns;
    tellWait("Waiting", deadline_ns != waiting_forEver, whole);
    if (waiting.run == 0)
        return endSweepWait(device, waiting, true);
    if (!whole)
        waiting.saves = requestPoint();
    return waiting_for(device, waiting);
}

} // namespace

int pn_measure_waitForMeasurement(Device* device, int whole, int average) {
    return waitForResult(device, whole != 0, average, waiting_forEver);
}

int pn_measure_timedWaitForMeasurement(Device* device, int whole, int average, int timeoutMs) {
    return waitForResult(device, whole != 0, average, waiting_deadline(timeoutMs));
}

int vco_measure_waitForMeasurement(Device* device, int whole) {
    return waitForSweep(device, whole != 0, waiting_forEver);
}

int vco_measure_timedWaitForMeasurement(Device* device, int whole, int timeoutMs) {
    return waitForSweep(device, whole != 0, waiting_deadline(timeoutMs));
}

int pn_measure_triggerPreliminaryResult(Device*) {
    MutexLock lock(meas_data.resultMutex);
    meas_data.previewTrigger = 1;
    printd("---> TRIGGER SET\n");
    return 0;
}

int pn_measure_getPreliminaryAverageCount(Device*) {
    MutexLock lock(meas_data.resultMutex);
    return meas_data.preliminaryAverageCount;
}

int pn_measure_getPreliminaryCorrelationCount(Device*) {
    MutexLock lock(meas_data.resultMutex);
    return meas_data.preliminaryCorrelationCount;
}
