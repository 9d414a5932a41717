#include "measure/results/pn_results.h"

#include "base/error_codes.h"
#include "base/tvdebug.h"
#include "measure/results/allan_variance.h"
#include "measure/results/pn_output.h"
#include "measure/results/statistics.h"
#include "measure/run/trace_arrays.h"

#include <algorithm>
#include <array>

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

double figure(int mode) {
    const MeasSettings& settings = *configPNPtr;
    MutexLock lock(meas_data.resultMutex);
    return calculateStatistics(traceArrays_view(), settings, mode);
}

} // namespace

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

double pn_measure_getFunctionIntegral(Device*) {
    return figure(statisticsIntegral);
}

double pn_measure_getFunctionJitter(Device*) {
    return figure(statisticsJitter);
}

double pn_measure_getSpotSpectrumData(Device*) {
    const MeasSettings& settings = *configPNPtr;
    MutexLock lock(meas_data.resultMutex);
    return pn_output_levelAt(traceArrays_view(), settings.spotFrequency);
}

double pn_measure_getSpotSpectrumFreq(Device*) {
    return configPNPtr->spotFrequency;
}

int pn_measure_calculateAVariance(Device*) {
    const MeasSettings& settings = *configPNPtr;
    int32_t count = 0;
    {
        MutexLock lock(meas_data.resultMutex);
        const TraceView trace = traceArrays_view();
        FunctionRange range;
        if (!(trace.carrier > 0) || !statistics_range(trace, settings, &range) || !(range.lo > 0 && range.hi > 0))
            return scpi::measurementFailed;
        count = allanDeviation(trace, range, {meas_data.aVarianceTau, aVariancePointsMax},
                               {meas_data.aVarianceSigma, aVariancePointsMax});
        meas_data.aVarianceCount = count;
    }
    if (count > 0)
        printd("---> AVar done. Generated %i values.\n", count);
    return 0;
}
