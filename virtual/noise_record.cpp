#include "virtual/noise_record.h"

#include <cmath>
#include <cstring>
#include <numbers>
#include <utility>

namespace vi {
namespace {

using Complex = std::complex<double>;

constexpr double twoPi = 2 * std::numbers::pi;

// ---- transform ------------------------------------------------------------------------------------------------------

// A long transform is one of the columns and one of the rows of a matrix, so that its steps stay in the cache. Either
// works on a tile: a number of columns or rows side by side, which the processor handles together.
constexpr size_t lanes = 16;

struct Lanes {
    float* re;
    float* im;
};

/// Transforms of `length` values in each lane.
struct Columns {
    size_t length;
    std::vector<float> turnsRe, turnsIm;
    std::vector<uint32_t> placeOf; // row of the tile in which a result stands
    std::vector<float> re, im;     // the tile, row by row

    explicit Columns(size_t columnLength)
        : length(columnLength), turnsRe(length), turnsIm(length), placeOf(length), re(length * lanes),
          im(length * lanes) {
        for (size_t i = 0; i < length; ++i) {
            const Complex turn = std::polar(1.0, twoPi * double(i) / double(length));
            turnsRe[i] = float(turn.real());
            turnsIm[i] = float(turn.imag());
            placeOf[resultAt(i)] = uint32_t(i);
        }
    }

    [[nodiscard]] Lanes row(size_t number) { return {re.data() + number * lanes, im.data() + number * lanes}; }
    void transform();

private:
    /// The steps leave the results in the order of their reversed digits.
    [[nodiscard]] size_t resultAt(size_t place) const {
        size_t result = 0, weight = 1;
        for (size_t span = length; span >= 2;) {
            const size_t parts = span >= 4 ? 4 : 2;
            span /= parts;
            result += weight * (place / span);
            place %= span;
            weight *= parts;
        }
        return result;
    }
    void quarter(size_t start, size_t part, size_t turn);
    void halve(size_t start);
};

/// Four rows, `part` apart, to their sums with the factors 1, i, -1, -i, turned by one, two and three turns.
void Columns::quarter(size_t start, size_t part, size_t turn) {
    float* __restrict re0 = row(start).re, * __restrict im0 = row(start).im;
    float* __restrict re1 = row(start + part).re, * __restrict im1 = row(start + part).im;
    float* __restrict re2 = row(start + 2 * part).re, * __restrict im2 = row(start + 2 * part).im;
    float* __restrict re3 = row(start + 3 * part).re, * __restrict im3 = row(start + 3 * part).im;
    const float c1 = turnsRe[turn], s1 = turnsIm[turn], c2 = turnsRe[2 * turn], s2 = turnsIm[2 * turn],
                c3 = turnsRe[3 * turn], s3 = turnsIm[3 * turn];
    for (size_t i = 0; i < lanes; ++i) {
        const float evenRe = re0[i] + re2[i], evenIm = im0[i] + im2[i];
        const float evenDifferenceRe = re0[i] - re2[i], evenDifferenceIm = im0[i] - im2[i];
        const float oddRe = re1[i] + re3[i], oddIm = im1[i] + im3[i];
        const float oddDifferenceRe = re1[i] - re3[i], oddDifferenceIm = im1[i] - im3[i];
        const float x1 = evenDifferenceRe - oddDifferenceIm, y1 = evenDifferenceIm + oddDifferenceRe;
        const float x2 = evenRe - oddRe, y2 = evenIm - oddIm;
        const float x3 = evenDifferenceRe + oddDifferenceIm, y3 = evenDifferenceIm - oddDifferenceRe;
        re0[i] = evenRe + oddRe;
        im0[i] = evenIm + oddIm;
        re1[i] = x1 * c1 - y1 * s1;
        im1[i] = x1 * s1 + y1 * c1;
        re2[i] = x2 * c2 - y2 * s2;
        im2[i] = x2 * s2 + y2 * c2;
        re3[i] = x3 * c3 - y3 * s3;
        im3[i] = x3 * s3 + y3 * c3;
    }
}

void Columns::halve(size_t start) {
    float* __restrict re0 = row(start).re, * __restrict im0 = row(start).im;
    float* __restrict re1 = row(start + 1).re, * __restrict im1 = row(start + 1).im;
    for (size_t i = 0; i < lanes; ++i) {
        const float differenceRe = re0[i] - re1[i], differenceIm = im0[i] - im1[i];
        re0[i] += re1[i];
        im0[i] += im1[i];
        re1[i] = differenceRe;
        im1[i] = differenceIm;
    }
}

void Columns::transform() {
    size_t span = length;
    for (; span >= 4; span /= 4)
        for (size_t start = 0; start < length; start += span)
            for (size_t i = 0; i < span / 4; ++i)
                quarter(start + i, span / 4, i * (length / span));
    if (span == 2)
        for (size_t start = 0; start < length; start += 2)
            halve(start);
}

void copyLanes(const float* from, size_t count, float* to) {
    if (count == lanes)
        memcpy(to, from, lanes * sizeof(float)); // of known size, it is a few instructions
    else
        std::copy_n(from, count, to);
}

/// Columns from `first` on of a matrix of `width` columns: in place, each result turned by its row times its column.
void transformColumns(Columns& columns, SplitComplex& matrix, size_t width, size_t first) {
    const size_t count = std::min(lanes, width - first), total = columns.length * width;
    for (size_t i = 0; i < columns.length; ++i) {
        copyLanes(matrix.re.data() + i * width + first, count, columns.row(i).re);
        copyLanes(matrix.im.data() + i * width + first, count, columns.row(i).im);
    }
    columns.transform();
    std::array<double, lanes> stepRe{}, stepIm{}, turnRe{}, turnIm{};
    for (size_t lane = 0; lane < lanes; ++lane) {
        const Complex step = std::polar(1.0, twoPi * double(first + lane) / double(total));
        stepRe[lane] = step.real();
        stepIm[lane] = step.imag();
        turnRe[lane] = 1;
    }
    for (size_t i = 0; i < columns.length; ++i) {
        const Lanes from = columns.row(columns.placeOf[i]);
        std::array<float, lanes> re, im;
        for (size_t lane = 0; lane < lanes; ++lane) {
            const auto c = float(turnRe[lane]), s = float(turnIm[lane]);
            re[lane] = from.re[lane] * c - from.im[lane] * s;
            im[lane] = from.re[lane] * s + from.im[lane] * c;
            const double next = turnRe[lane] * stepRe[lane] - turnIm[lane] * stepIm[lane];
            turnIm[lane] = turnRe[lane] * stepIm[lane] + turnIm[lane] * stepRe[lane];
            turnRe[lane] = next;
        }
        copyLanes(re.data(), count, matrix.re.data() + i * width + first);
        copyLanes(im.data(), count, matrix.im.data() + i * width + first);
    }
}

/// Rows from `first` on of a matrix of `height` rows, as columns of the result.
void transformRows(Columns& rows, const SplitComplex& matrix, size_t height, size_t first, SplitComplex* result) {
    const size_t count = std::min(lanes, height - first);
    for (size_t lane = 0; lane < count; ++lane)
        for (size_t i = 0; i < rows.length; ++i) {
            rows.re[i * lanes + lane] = matrix.re[(first + lane) * rows.length + i];
            rows.im[i * lanes + lane] = matrix.im[(first + lane) * rows.length + i];
        }
    rows.transform();
    for (size_t i = 0; i < rows.length; ++i) {
        const Lanes from = rows.row(rows.placeOf[i]);
        copyLanes(from.re, count, result->re.data() + i * height + first);
        copyLanes(from.im, count, result->im.data() + i * height + first);
    }
}

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
void drawLines(RandomStream& stream, const Mixing& mixing, size_t first, size_t end, SplitComplex* lines) {
    constexpr size_t atOnce = 64, normalsOfLine = 4;
    std::array<double, atOnce * normalsOfLine> normals;
    const size_t length = lines->re.size();
    const float bRe = mixing.bOfFirst.real(), bIm = mixing.bOfFirst.imag();
    for (size_t start = first; start < end; start += atOnce) {
        const size_t count = std::min(atOnce, end - start);
        random_normals(stream, std::span(normals).first(count * normalsOfLine));
        for (size_t i = 0; i < count; ++i) {
            const auto x1 = float(normals[4 * i]), y1 = float(normals[4 * i + 1]);
            const auto x2 = float(normals[4 * i + 2]), y2 = float(normals[4 * i + 3]);
            const float ax = mixing.a * x1, ay = mixing.a * y1;
            const float bx = bRe * x1 - bIm * y1 + mixing.bOfSecond * x2;
            const float by = bRe * y1 + bIm * x1 + mixing.bOfSecond * y2;
            const size_t k = start + i, mirrored = length - k;
            lines->re[k] = ax - by;
            lines->im[k] = ay + bx;
            lines->re[mirrored] = ax + by;
            lines->im[mirrored] = bx - ay;
        }
    }
}

} // namespace

SplitComplex noiseRecord_transform(SplitComplex& values) {
    const size_t length = values.re.size();
    const size_t height = size_t{1} << std::countr_zero(length) / 2, width = length / height;
    Columns columns(height);
    for (size_t first = 0; first < width; first += lanes)
        transformColumns(columns, values, width, first);
    SplitComplex result{LargeVector<float>(length), LargeVector<float>(length)};
    Columns rows(width);
    for (size_t first = 0; first < height; first += lanes)
        transformRows(rows, values, height, first, &result);
    return result;
}

NoiseRecord noiseRecord_drawBands(RandomStream& stream, uint32_t samples, double rate_Hz,
                                  std::span<const NoiseBand> bands) {
    const uint32_t length = noiseRecord_length(samples);
    SplitComplex lines{LargeVector<float>(length), LargeVector<float>(length)};
    for (const uint32_t k : {0U, length / 2})
        lines.re[k] = lines.im[k] = 0;
    for (size_t i = 0; i < bands.size(); ++i)
        drawLines(stream, mixingOf(bands[i].noise, rate_Hz / length), bands[i].first,
                  i + 1 < bands.size() ? bands[i + 1].first : length / 2, &lines);
    SplitComplex phases = noiseRecord_transform(lines);
    phases.re.resize(samples);
    phases.im.resize(samples);
    return {std::move(phases.re), std::move(phases.im)};
}

} // namespace vi
