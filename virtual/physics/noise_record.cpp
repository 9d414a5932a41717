#include "virtual/physics/noise_record.h"

#include <cmath>
#include <cstddef>
#include <fftw3.h>
#include <mutex>
#include <new>

namespace vi {
namespace {

using Complex = std::complex<double>;

// ---- transform ------------------------------------------------------------------------------------------------------

/// A plan for each length that was asked for. Whoever has one may use it while others do, for any memory that is
/// aligned like a LargeVector's.
class Plans {
public:
    fftwf_plan of(LargeVector<std::complex<float>>& values, uint32_t length) {
        const std::lock_guard<std::mutex> guard(mutex_); // the planner is for one thread at a time
        fftwf_plan& plan = plans_[size_t(std::countr_zero(length))];
        if (plan == nullptr) {
            auto* const data = reinterpret_cast<fftwf_complex*>(values.data());
            plan = fftwf_plan_dft_1d(int(length), data, data, FFTW_BACKWARD, FFTW_ESTIMATE);
        }
        if (plan == nullptr)
            throw std::bad_alloc();
        return plan;
    }

private:
    std::mutex mutex_;
    std::array<fftwf_plan, 32> plans_{};
};

// ---- draw -----------------------------------------------------------------------------------------------------------

/// What turns two standard normals of unit variance in each part into a line of A and one of B.
struct Mixing {
    float a;
    std::complex<float> bOfFirst;
    float bOfSecond;
};

Mixing mixingOf(const NoiseAtOffset& noise, double spacing_Hz) {
    const double scale = spacing_Hz / 2;
    const double common = noise.common * noise.share[0] * noise.share[1];
    const auto power = [&](size_t c) {
        return scale * std::norm(noise.error[c]) * (noise.common * noise.share[c] * noise.share[c] + noise.own[c]);
    };
    const double a = std::sqrt(power(0)), powerB = power(1);
    const Complex b = a > 0 ? scale * common * noise.error[1] * std::conj(noise.error[0]) / a : 0;
    return {float(a), {float(b.real()), float(b.imag())}, float(std::sqrt(std::max(0.0, powerB - std::norm(b))))};
}

/// Lines from `first` to below `end`, and their mirror images: A is the real part of what they add up to, B the
/// imaginary part.
void drawLines(RandomStream& stream, const Mixing& mixing, size_t first, size_t end,
               std::span<std::complex<float>> lines) {
    constexpr size_t atOnce = 64;
    std::array<float, 4 * atOnce> normals;
    const float bRe = mixing.bOfFirst.real(), bIm = mixing.bOfFirst.imag();
    for (size_t start = first; start < end; start += atOnce) {
        const size_t count = std::min(atOnce, end - start);
        random_normals(stream, std::span(normals).first(4 * count));
        const float *const x1 = normals.data(), *const x2 = x1 + count, *const y1 = x2 + count, *const y2 = y1 + count;
        std::complex<float>*const line = &lines[start], *const mirrored = &lines[lines.size() - start];
        for (ptrdiff_t i = 0; i < ptrdiff_t(count); ++i) {
            const float ax = mixing.a * x1[i], ay = mixing.a * y1[i];
            const float bx = bRe * x1[i] - bIm * y1[i] + mixing.bOfSecond * x2[i];
            const float by = bRe * y1[i] + bIm * x1[i] + mixing.bOfSecond * y2[i];
            line[i] = {ax - by, ay + bx};
            mirrored[-i] = {ax + by, bx - ay};
        }
    }
}

} // namespace

void noiseRecord_transform(LargeVector<std::complex<float>>& values, uint32_t length) {
    static Plans& plans = *new Plans;
    auto* const data = reinterpret_cast<fftwf_complex*>(values.data());
    fftwf_execute_dft(plans.of(values, length), data, data);
}

void noiseRecord_drawBands(RandomStream& stream, uint32_t samples, double rate_Hz, std::span<const NoiseBand> bands,
                           NoiseRecord* record) {
    const uint32_t length = noiseRecord_length(samples);
    if (record->values.size() < length)
        record->values = LargeVector<std::complex<float>>(length);
    const std::span lines = std::span(record->values).first(length);
    for (const uint32_t k : {0U, length / 2})
        lines[k] = 0;
    for (size_t i = 0; i < bands.size(); ++i)
        drawLines(stream, mixingOf(bands[i].noise, rate_Hz / length), bands[i].first,
                  i + 1 < bands.size() ? bands[i + 1].first : length / 2, lines);
    noiseRecord_transform(record->values, length);
}

} // namespace vi
