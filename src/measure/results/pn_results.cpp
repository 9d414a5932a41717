// What a client reads of a run, and how it waits for it.

#include "base/error_codes.h"
#include "base/tvdebug.h"
#include "measure/preparation/adc_scale.h"
#include "measure/results/pn_output.h"
#include "measure/results/statistics.h"
#include "measure/run/measure.h"
#include "measure/run/pn_measure.h"
#include "measure/settings/measurement_configuration.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <cstdarg>
#include <cstdio>

namespace {

/// Copies of the arrays, one for each query: a transfer reads them after the lock is gone, while the run saves anew.
std::array<float, tracePointsMax> spectrumCopy;
std::array<float, tracePointsMax> powerCopy;
std::array<float, tracePointsMax> frequencyCopy;
std::array<float, spursMax> spurLevelCopy;
std::array<float, spursMax> spurFrequencyCopy;
std::array<float, aVariancePointsMax> tauCopy;
std::array<float, aVariancePointsMax> sigmaCopy;

template <size_t Size>
int handOut(const float* from, int32_t count, std::array<float, Size>* copy, const float** data)
    REQUIRES(meas_data.resultMutex) {
    std::copy_n(from, count, copy->begin());
    *data = copy->data();
    return count * static_cast<int>(sizeof(float));
}

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

/// Tuning sensitivities of both channels, Hz/V, as read last while no run was on.
struct Sensitivities {
    double a;
    double b;
};

Sensitivities readSensitivities(Device* device) {
    static Sensitivities last{};
    if (measure_runInProgress() == 0) {
        Device_selectPhaseNoiseAlgBoardA(device);
        last.a = Device_getFmSensitivity(device);
        Device_selectPhaseNoiseAlgBoardB(device);
        last.b = Device_getFmSensitivity(device);
        Device_selectPhaseNoiseAlgBoardA(device);
    }
    return last;
}

/// A report, line by line, in a caller's buffer.
class Report {
public:
    explicit Report(char* text) : text_(text) { text_[0] = '\0'; }
    [[gnu::format(printf, 2, 3)]] void line(const char* format, ...) {
        const size_t room = reportTextSize - length_;
        va_list arguments;
        va_start(arguments, format);
        const int written = vsnprintf(text_ + length_, room, format, arguments);
        va_end(arguments);
        length_ += std::min(static_cast<size_t>(std::max(written, 0)), room - 1);
    }

private:
    char* text_;
    size_t length_ = 0;
};

double milliseconds(const Shared<double>& seconds) {
    return seconds * 1000;
}

int wholeMilliseconds(const Shared<double>& seconds) {
    return static_cast<int>(std::fmin(milliseconds(seconds), INT_MAX)); // a run may last for weeks
}

constexpr double shownCircle = 6.28; // of the bandwidths in reports

} // namespace

int pn_measure_waitForMeasurement(Device* device, int whole, int average) {
    return waitForResult(device, whole != 0, average, waiting_forEver);
}

int pn_measure_timedWaitForMeasurement(Device* device, int whole, int average, int timeoutMs) {
    return waitForResult(device, whole != 0, average, waiting_deadline(timeoutMs));
}

int pn_measure_triggerPreliminaryResult(Device*) {
    MutexLock lock(meas_data.resultMutex);
    meas_data.previewTrigger = 1;
    printd("---> TRIGGER SET\n");
    return 0;
}

int pn_measure_getSpectrumData(Device*, const float** data) {
    MutexLock lock(meas_data.resultMutex);
    return handOut(meas_data.spectrumData, meas_data.pointCount, &spectrumCopy, data);
}

int pn_measure_getSpectrumPowerData(Device*, const float** data) {
    MutexLock lock(meas_data.resultMutex);
    return handOut(meas_data.spectrumPowerData, meas_data.pointCount, &powerCopy, data);
}

int pn_measure_getSpectrumFreq(Device*, const float** data) {
    MutexLock lock(meas_data.resultMutex);
    return handOut(meas_data.spectrumFreq, meas_data.pointCount, &frequencyCopy, data);
}

int pn_measure_getSpurData(Device*, const float** data) {
    MutexLock lock(meas_data.resultMutex);
    return handOut(meas_data.spurData, meas_data.spurCount, &spurLevelCopy, data);
}

int pn_measure_getSpurFreq(Device*, const float** data) {
    MutexLock lock(meas_data.resultMutex);
    return handOut(meas_data.spurFreq, meas_data.spurCount, &spurFrequencyCopy, data);
}

int pn_measure_getFunctionAVarianceTau(Device*, const float** data) {
    MutexLock lock(meas_data.resultMutex);
    return handOut(meas_data.aVarianceTau, meas_data.aVarianceCount, &tauCopy, data);
}

int pn_measure_getFunctionAVarianceSigma(Device*, const float** data) {
    MutexLock lock(meas_data.resultMutex);
    return handOut(meas_data.aVarianceSigma, meas_data.aVarianceCount, &sigmaCopy, data);
}

double pn_measure_getFunctionIntegral(Device* device) {
    MutexLock lock(meas_data.resultMutex);
    return calculateStatistics(device, statisticsIntegral);
}

double pn_measure_getFunctionJitter(Device* device) {
    MutexLock lock(meas_data.resultMutex);
    return calculateStatistics(device, statisticsJitter);
}

double pn_measure_getSpotSpectrumData(Device* device) {
    MutexLock lock(meas_data.resultMutex);
    return pn_measure_getSpotSpectrumData_noMutex(device);
}

double pn_measure_getSpotSpectrumFreq(Device*) {
    return configPNPtr->spotFrequency;
}

int pn_measure_getPreliminaryAverageCount(Device*) {
    MutexLock lock(meas_data.resultMutex);
    return meas_data.preliminaryAverageCount;
}

int pn_measure_getPreliminaryCorrelationCount(Device*) {
    MutexLock lock(meas_data.resultMutex);
    return meas_data.preliminaryCorrelationCount;
}

int pn_measure_getMeasStatus(Device* device) {
    if (measureFullPnWithEverything == 0)
        return Device_getPreparePnMeasStatus(device);
    return meas_data.locked != 0 ? 0 : -1;
}

int pn_measure_getLastTimeMs(Device*) {
    return wholeMilliseconds(meas_data.lastTimeSec);
}

int pn_measure_getLockTimeMs(Device*) {
    return wholeMilliseconds(meas_data.lockTimeSec);
}

int pn_measure_printPnTimes(Device*, char* text) {
    snprintf(text, reportTextSize, "%.1f,%.1f,%.1f,%.1f,%.1f", milliseconds(meas_data.tFsearch),
             milliseconds(meas_data.tKphi), milliseconds(meas_data.tLock), milliseconds(meas_data.tGain),
             milliseconds(meas_data.tMeas));
    return 0;
}

int pn_measure_printPnMeasInfo(Device* device, char* text) {
    const MeasConfig* config = configPNPtr;
    const Sensitivities sensitivity = readSensitivities(device);
    Report report(text);
    report.line(" fC:%.0f\n", config->frequency.get());
    report.line(" fO:%.0f-%.0f\n", config->offsetMin.get(), config->offsetMax.get());
    report.line(" g:%.0f\n", config->ifGain.get());
    report.line(" k:%.3f/%.3f\n", std::trunc(config->kphiA) * adcVoltsPerCount,
                std::trunc(config->kphiB) * adcVoltsPerCount);
    report.line(" l:%d/%d\n", 0, static_cast<int>(meas_data.locked.get()));
    report.line("  A:s=%.1f,r=%.1f/%.1f,BW=%.1f,z=%.1f\n", sensitivity.a, meas_data.loopR1A.get(),
                meas_data.loopR2A.get(), meas_data.loopWnA / shownCircle, meas_data.loopZetaA.get());
    report.line("  B:s=%.1f,r=%.1f/%.1f,BW=%.1f,z=%.1f\n", sensitivity.b, meas_data.loopR1B.get(),
                meas_data.loopR2B.get(), meas_data.loopWnB / shownCircle, meas_data.loopZetaB.get());
    report.line(" t(f,k,l,g,m):%.1f/%.1f/%.1f/%.1f/%.1f\n", milliseconds(meas_data.tFsearch),
                milliseconds(meas_data.tKphi), milliseconds(meas_data.tLock), milliseconds(meas_data.tGain),
                milliseconds(meas_data.tMeas));
    return 0;
}
