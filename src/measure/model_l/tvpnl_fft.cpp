#include "measure/model_l/tvpnl_fft.h"

#include "base/sync.h"
#include "measure/model_l/pn_measure_tvpnl.h"
#include "measure/model_l/tvpnl_stages.h"

#include <algorithm>
#include <cstdio>
#include <fftw3.h>
#include <limits>

namespace {

/// FFTW's planner is for one thread at a time; plans run without it.
Mutex plannerMutex;

template <class Element> Element* fftArray(int32_t count) {
    auto* const array = static_cast<Element*>(fftw_malloc(sizeof(Element) * static_cast<size_t>(count)));
    if (array == nullptr)
        printf("  ERROR: no memory for %d values of a transform\n", count);
    return array;
}

} // namespace

template <class Element> TvpnlArray<Element> tvpnl_array(int64_t count) {
    TvpnlArray<Element> array;
    if (count > 0 && count <= std::numeric_limits<int32_t>::max())
        array.reset(static_cast<Element*>(malloc(sizeof(Element) * static_cast<size_t>(count))));
    if (array == nullptr)
        printf("  ERROR: no memory for %lld values\n", static_cast<long long>(count));
    return array;
}
template TvpnlArray<float> tvpnl_array(int64_t count);
template TvpnlArray<double> tvpnl_array(int64_t count);

TvpnlTransform::TvpnlTransform(int32_t length)
    : input_(fftArray<double>(length)), output_(fftArray<std::complex<double>>(length / 2 + 1)) {
    if (input_ == nullptr || output_ == nullptr)
        return;
    const MutexLock lock(plannerMutex);
    plan_ = fftw_plan_dft_r2c_1d(length, input_, reinterpret_cast<fftw_complex*>(output_), FFTW_ESTIMATE);
    if (plan_ == nullptr)
        printf("  ERROR: no plan for a transform of %d\n", length);
}

TvpnlTransform::~TvpnlTransform() {
    if (plan_ != nullptr) {
        const MutexLock lock(plannerMutex);
        fftw_destroy_plan(static_cast<fftw_plan>(plan_));
    }
    fftw_free(output_);
    fftw_free(input_);
}

void TvpnlTransform::run() {
    fftw_execute(static_cast<fftw_plan>(plan_));
}

void TvpnlFftFree::operator()(void* memory) const {
    fftw_free(memory);
}

int32_t pn_measure_tvpnl_SDfft2(Device*, const uint16_t* a, const uint16_t* b, int32_t count, int32_t length,
                                int32_t overlap, TvpnlSpectrum* result) {
    result->reset();
    const int32_t bins = length / 2 + 1, step = length / overlap, segments = tvpnl_segments(count, length, overlap, 2);
    if (segments == 0) {
        printf("  ERROR: a record of %d samples is too short for a spectrum\n", count);
        return 0;
    }
    const TvpnlArray<float> window = tvpnl_array<float>(length);
    TvpnlTransform transformA(length), transformB(length);
    TvpnlSpectrum mean(fftArray<std::complex<double>>(bins));
    if (window == nullptr || !transformA || !transformB || mean == nullptr)
        return 0;
    getWindowingWeights(window.get(), length);
    std::fill_n(mean.get(), bins, 0);
    for (int32_t m = 1; m <= segments; ++m, a += step, b += step) {
        pn_measure_tvpnl_adc2volt_array(transformA.input(), a, length, window.get());
        pn_measure_tvpnl_adc2volt_array(transformB.input(), b, length, window.get());
        transformA.run();
        transformB.run();
        const double weight = 1.0 / length;
        for (int32_t k = 0; k < bins; ++k) {
            const std::complex<double> product =
                transformA.output()[k] * weight * std::conj(transformB.output()[k]) * weight;
            mean[k] = ((m - 1.0) * mean[k] + product) / static_cast<double>(m);
        }
    }
    *result = std::move(mean);
    return bins;
}
