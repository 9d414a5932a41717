#include "measure/run/trace_arrays.h"

#include "core/tvmem.h"
#include "measure/results/pn_output.h"

#include <algorithm>
#include <cmath>

namespace {

/// What the grid in hand was made for.
struct Grid {
    double offsetMin;
    double offsetMax;
    int32_t pointCount;
    bool operator==(const Grid&) const = default;
};
Grid gridInHand GUARDED_BY(meas_data.resultMutex){};

template <class T> bool take(T** array, int32_t entries) {
    *array = static_cast<T*>(tvmemAlloc(entries * static_cast<int32_t>(sizeof(T))));
    return *array != nullptr;
}

template <class T> std::span<T> points(T* array, int32_t count) {
    return {array, static_cast<size_t>(count)};
}

} // namespace

bool traceArrays_take() {
    MutexLock result(meas_data.resultMutex);
    MutexLock testSet(meas_data.testSetMutex);
    SpurScratch& scratch = meas_data.spurScratch;
    return take(&meas_data.accumRe, tracePointsMax) && take(&meas_data.accumIm, tracePointsMax) &&
           take(&configPN.testSetDefinition, testSetSize) && take(&configPN.testSetResults, testSetSize) &&
           take(&meas_data.pnAverage, tracePointsMax) && take(&meas_data.spectrumData, tracePointsMax) &&
           take(&meas_data.spectrumPowerData, tracePointsMax) && take(&meas_data.spectrumFreq, tracePointsMax) &&
           take(&meas_data.spurData, spursMax) && take(&meas_data.spurFreq, spursMax) &&
           take(&scratch.points, spursMax) && take(&scratch.original, tracePointsMax) &&
           take(&scratch.smoothed, tracePointsMax) && take(&scratch.deviation, tracePointsMax) &&
           take(&meas_data.aVarianceSigma, aVariancePointsMax) && take(&meas_data.aVarianceTau, aVariancePointsMax) &&
           take(&meas_data.vco, 1);
}

void prepareOutputArrays(const StagingPlan& plan, MeasConfig* config) {
    const bool changed = config->gridChanged.exchange(0) != 0;
    const Grid grid = {
        .offsetMin = plan.offsetMin,
        .offsetMax = std::fmax(config->offsetMax, plan.offsetMin),
        .pointCount = pn_output_pointCount(config->pointsPerDecade, plan.stageCount),
    };
    meas_data.pointCount = grid.pointCount;
    meas_data.preliminaryAverageCount = 0;
    meas_data.lastError = 0;
    // A client that asked before the run came this far keeps its place.
    if (meas_data.previewTrigger == 0)
        meas_data.previewTarget = 0;
    std::fill_n(meas_data.accumRe, grid.pointCount, 0.0);
    std::fill_n(meas_data.accumIm, grid.pointCount, 0.0);
    std::fill_n(meas_data.spectrumData, grid.pointCount, static_cast<float>(levelUnknown));
    std::fill_n(meas_data.spectrumPowerData, grid.pointCount, static_cast<float>(levelUnknown));
    if (changed || gridInHand != grid) {
        pn_output_makeGrid(traceArrays_frequency(), grid.offsetMin, grid.offsetMax);
        gridInHand = grid;
    }
}

TraceView traceArrays_view() {
    return {
        .frequency = traceArrays_frequency(),
        .level = traceArrays_level(),
        .spurFrequency = points(meas_data.spurFreq, meas_data.spurCount),
        .spurLevel = points(meas_data.spurData, meas_data.spurCount),
        .carrier = meas_data.carrier,
    };
}

std::span<float> traceArrays_frequency() {
    return points(meas_data.spectrumFreq, meas_data.pointCount);
}

std::span<float> traceArrays_level() {
    return points(meas_data.spectrumData, meas_data.pointCount);
}
