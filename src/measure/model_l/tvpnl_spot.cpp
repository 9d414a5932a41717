#include "measure/model_l/tvpnl_spot.h"

#include "measure/model_l/pn_measure_tvpnl.h"
#include "measure/model_l/tvpnl_fft.h"
#include "measure/model_l/tvpnl_stages.h"
#include "numeric/circle.h"

#include <array>
#include <cmath>
#include <cstdio>

namespace {

constexpr double rateOfTables = 4166666.6667; // Hz, undivided
constexpr double dividerOfTables = 2;
constexpr int32_t lengthMax = 4096;

std::complex<double> sumOf(const uint16_t* samples, int32_t length) {
    const MeasTvpnlData& data = meas_tvpnl_data;
    std::array<double, lengthMax> volts;
    pn_measure_tvpnl_adc2volt_array(volts.data(), samples, length, data.windowTable);
    double re = 0, im = 0;
    for (int32_t i = 0; i < length; ++i) {
        re += volts[static_cast<size_t>(i)] * static_cast<double>(data.cosTable[i]);
        im -= volts[static_cast<size_t>(i)] * static_cast<double>(data.sinTable[i]);
    }
    return {re, im};
}

} // namespace

bool pn_measure_tvpnl_preCalcSinCosHann(Device*, int32_t length, double spotFrequency) {
    MeasTvpnlData& data = meas_tvpnl_data;
    if (length == data.tableLength)
        return true;
    for (float** table : {&data.sinTable, &data.cosTable, &data.windowTable}) {
        free(*table);
        *table = nullptr;
    }
    data.tableLength = 0;
    if (length > lengthMax) {
        printf("  ERROR: segments of %d samples are too long\n", length);
        return false;
    }
    TvpnlArray<float> sine = tvpnl_array<float>(length), cosine = tvpnl_array<float>(length),
                      window = tvpnl_array<float>(length);
    if (sine == nullptr || cosine == nullptr || window == nullptr)
        return false;
    for (int32_t i = 0; i < length; ++i) {
        const double angle = i * dividerOfTables * circle_rad * spotFrequency / rateOfTables;
        sine[static_cast<size_t>(i)] = static_cast<float>(std::sin(angle));
        cosine[static_cast<size_t>(i)] = static_cast<float>(std::cos(angle));
    }
    getWindowingWeights(window.get(), length);
    data.sinTable = sine.release();
    data.cosTable = cosine.release();
    data.windowTable = window.release();
    data.tableLength = length;
    return true;
}

void pn_measure_tvpnl_spotFFT(const uint16_t* a, const uint16_t* b, int32_t length, std::complex<double>* sumA,
                              std::complex<double>* sumB) {
    *sumA = sumOf(a, length);
    *sumB = sumOf(b, length);
}

bool pn_measure_tvpnl_SDfft_spot(Device*, const uint16_t* a, const uint16_t* b, int32_t count, int32_t length,
                                 int32_t overlap, std::complex<double>* result) {
    const int32_t step = length / overlap, segments = tvpnl_segments(count, length, overlap, 1);
    if (segments == 0 || meas_tvpnl_data.tableLength != length) {
        printf("  ERROR: no spot level of a record of %d samples\n", count);
        return false;
    }
    *result = 0;
    for (int32_t m = 1; m <= segments; ++m, a += step, b += step) {
        std::complex<double> sumA, sumB;
        pn_measure_tvpnl_spotFFT(a, b, length, &sumA, &sumB);
        const double weight = 1.0 / length;
        *result = ((m - 1.0) * *result + sumA * weight * std::conj(sumB) * weight) / static_cast<double>(m);
    }
    return true;
}
