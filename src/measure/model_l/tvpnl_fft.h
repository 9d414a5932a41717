#pragma once
/// Transforms and cross spectra of the model L.

#include "device_table/slot.h"

#include <complex>
#include <cstdint>
#include <cstdlib>
#include <memory>

/// Memory of malloc that goes with its owner.
struct TvpnlFree {
    void operator()(void* memory) const { free(memory); }
};
template <class Element> using TvpnlArray = std::unique_ptr<Element[], TvpnlFree>;

/// Room for `count` elements; null, with a line on standard output, if there is none.
template <class Element> [[nodiscard]] TvpnlArray<Element> tvpnl_array(int64_t count);

/// A transform of `length` real values, for any thread: its plan is made and taken apart under the planner's lock.
/// Nothing is allocated if any part of it fails, which goes to standard output.
class TvpnlTransform {
public:
    explicit TvpnlTransform(int32_t length);
    ~TvpnlTransform();
    TvpnlTransform(const TvpnlTransform&) = delete;
    TvpnlTransform& operator=(const TvpnlTransform&) = delete;

    /// The transform is there; else nothing else of it may be used.
    explicit operator bool() const { return plan_ != nullptr; }
    [[nodiscard]] double* input() { return input_; }
    [[nodiscard]] const std::complex<double>* output() const { return output_; } // length / 2 + 1 bins
    void run();

private:
    double* input_;
    std::complex<double>* output_;
    void* plan_ = nullptr;
};

/// Memory of FFTW, which its owner gives back to FFTW.
struct TvpnlFftFree {
    void operator()(void* memory) const;
};
using TvpnlSpectrum = std::unique_ptr<std::complex<double>[], TvpnlFftFree>;

/// Mean cross spectrum A conj(B) / length^2 of two records of `count` samples in V^2, over segments of `length` of
/// which one starts every `length` / `overlap` samples. Returns the bins, `length` / 2 + 1; 0 with an empty `result` if
/// there is no segment or no memory, which goes to standard output.
int32_t pn_measure_tvpnl_SDfft2(Device* device, const uint16_t* a, const uint16_t* b, int32_t count, int32_t length,
                                int32_t overlap, TvpnlSpectrum* result);
