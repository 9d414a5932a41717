#include "measure/run/vco_results.h"

#include "measure/run/meas_data.h"

#include <algorithm>

namespace {

constexpr float noVoltage_V = -10, noLevel_dB = -1000;

/// Copies of the columns, one for each query: a transfer reads them after the lock is gone, while the sweep goes on.
VcoTrace copies;

int handOut(const VcoTrace::Column& from, VcoTrace::Column* copy, const float** data) REQUIRES(meas_data.resultMutex) {
    std::copy_n(from.begin(), meas_data.vcoIteration, copy->begin());
    *data = copy->data();
    return meas_data.vcoIteration * static_cast<int>(sizeof(float));
}

template <VcoTrace::Column VcoTrace::*column> int handOut(const float** data) {
    MutexLock lock(meas_data.resultMutex);
    return handOut(meas_data.vco->*column, &(copies.*column), data);
}

} // namespace

void prepareVCOOutputArrays(int32_t points) {
    MutexLock lock(meas_data.resultMutex);
    VcoTrace& trace = *meas_data.vco;
    std::fill_n(trace.voltage.begin(), points, noVoltage_V);
    std::fill_n(trace.power.begin(), points, noLevel_dB);
    for (VcoTrace::Column* column : {&trace.frequency, &trace.iSupply, &trace.kPush, &trace.kvco})
        std::fill_n(column->begin(), points, 0.0F);
    for (VcoTrace::Column& column : trace.pnOffset)
        std::fill_n(column.begin(), points, noLevel_dB);
    meas_data.vcoIteration = 1;
    meas_data.lastError = 0;
}

int vco_measure_getVoltage(Device*, const float** data) {
    return handOut<&VcoTrace::voltage>(data);
}

int vco_measure_getVCOFrequency(Device*, const float** data) {
    return handOut<&VcoTrace::frequency>(data);
}

int vco_measure_getVCOPower(Device*, const float** data) {
    return handOut<&VcoTrace::power>(data);
}

int vco_measure_getKVCO(Device*, const float** data) {
    return handOut<&VcoTrace::kvco>(data);
}

int vco_measure_getKPush(Device*, const float** data) {
    return handOut<&VcoTrace::kPush>(data);
}

int vco_measure_getISupply(Device*, const float** data) {
    return handOut<&VcoTrace::iSupply>(data);
}

int vco_measure_getPNOffset(Device*, const float** data, int32_t number) {
    *data = nullptr;
    if (number < 1 || number > vcoPnOffsets)
        return 0;
    MutexLock lock(meas_data.resultMutex);
    return handOut(meas_data.vco->pnOffset[number - 1], &copies.pnOffset[number - 1], data);
}

int vco_measure_getIteration(Device*) {
    MutexLock lock(meas_data.resultMutex);
    return meas_data.vcoIteration;
}
