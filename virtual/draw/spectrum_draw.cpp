#include "virtual/draw/spectrum_draw.h"

#include "virtual/draw/wide_loops.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace vi {
namespace {

constexpr size_t blockPoints = 256; // the scratch of a block stays in the first-level cache

using Block = std::array<float, blockPoints>;

// ---- lines ----------------------------------------------------------------------------------------------------------

struct LineDraw {
    double power;                // sum |X|^2 / records
    std::complex<double> phasor; // sum of X against the line's phase / records
};

/// What some lines need of chance.
class LineNoise {
public:
    static constexpr size_t linesMax = blockPoints / 4;

    LineNoise(RandomStream& stream, size_t lines, uint32_t records) {
        random_normals(stream, {normals_.data(), 4 * lines});
        if (records > 1)
            random_gammas(stream, records - 1, {gammas_.data(), lines});
    }
    /// Normal, of unit variance in both parts.
    [[nodiscard]] std::complex<double> inX(size_t line) const { return normal(4 * line); }
    [[nodiscard]] std::complex<double> ofY(size_t line) const { return normal(4 * line + 2); }
    /// Of all records but one.
    [[nodiscard]] double gamma(size_t line) const { return double(gammas_[line]); }

private:
    [[nodiscard]] std::complex<double> normal(size_t i) const { return {double(normals_[i]), double(normals_[i + 1])}; }

    Block normals_;
    std::array<float, linesMax> gammas_{};
};

/// The records along the line's phase and across it: one record's worth of X holds the line, the others only noise.
LineDraw drawLine(double density, std::complex<double> amplitude, std::complex<double> noise, double othersGamma,
                  double records) {
    const std::complex<double> along = std::sqrt(records) * amplitude + std::sqrt(density / 2) * noise;
    return {(std::norm(along) + density * othersGamma) / records, along / std::sqrt(records)};
}

SpectrumPoint toPoint(std::complex<double> value) {
    return {float(value.real()), float(value.imag())};
}

/// Product without the library's care for infinities.
std::complex<double> product(std::complex<double> a, std::complex<double> b) {
    return {a.real() * b.real() - a.imag() * b.imag(), a.real() * b.imag() + a.imag() * b.real()};
}

/// Calls `draw(line, its number, noise)` for each.
template <class Draw>
void drawLines(RandomStream& stream, std::span<const LineAtPoint> lines, uint32_t records, Draw draw) {
    for (; !lines.empty(); lines = lines.subspan(std::min(lines.size(), LineNoise::linesMax))) {
        const size_t count = std::min(lines.size(), LineNoise::linesMax);
        const LineNoise noise(stream, count, records);
        for (size_t i = 0; i < count; ++i)
            draw(lines[i], i, noise);
    }
}

} // namespace

void spectrum_drawCross(RandomStream& stream, const StageExpectation& stage, uint32_t records,
                        std::span<SpectrumPoint> out) {
    Block gamma, re, im;
    const float perRecord = 1.0F / float(records), halfPerRecord = float(std::sqrt(0.5)) / float(records);
    for (size_t start = 0; start < out.size(); start += blockPoints) {
        const size_t count = std::min(blockPoints, out.size() - start);
        random_gammas(stream, records, {gamma.data(), count});
        random_normals(stream, {re.data(), count});
        random_normals(stream, {im.data(), count});
        const double *sxyRe = &stage.sxyRe[start], *sxyIm = &stage.sxyIm[start], *spread = &stage.spread[start];
        SpectrumPoint* const points = &out[start];
        wideLoops_run([&] {
            for (size_t i = 0; i < count; ++i) {
                const float g = gamma[i] * perRecord, width = float(spread[i]) * (std::sqrt(gamma[i]) * halfPerRecord);
                points[i].re = float(sxyRe[i]) * g + width * re[i];
                points[i].im = float(sxyIm[i]) * g + width * im[i];
            }
        });
    }
    drawLines(stream, stage.lines, records, [&](const LineAtPoint& line, size_t i, const LineNoise& noise) {
        const size_t p = line.point;
        const double sxx = stage.sxx[p];
        const LineDraw x = drawLine(sxx, line.x, noise.inX(i), noise.gamma(i), records);
        const std::complex<double> slope(stage.sxyRe[p] / sxx, stage.sxyIm[p] / sxx);
        const double sigma = stage.spread[p] * std::sqrt(x.power / (2 * sxx * records));
        out[p] = toPoint(slope * x.power + product(x.phasor, std::conj(line.y) - product(slope, std::conj(line.x))) +
                         sigma * noise.ofY(i));
    });
}

void spectrum_drawOwn(RandomStream& stream, const StageExpectation& stage, DrawChannel channel, uint32_t records,
                      std::span<SpectrumPoint> out) {
    const std::vector<double>& density = channel == DrawChannel::x ? stage.sxx : stage.syy;
    Block gamma;
    for (size_t start = 0; start < out.size(); start += blockPoints) {
        const size_t count = std::min(blockPoints, out.size() - start);
        random_gammas(stream, records, {gamma.data(), count});
        for (size_t i = 0; i < count; ++i)
            out[start + i] = {float(density[start + i] * double(gamma[i]) / records), 0.0f};
    }
    drawLines(stream, stage.lines, records, [&](const LineAtPoint& line, size_t i, const LineNoise& noise) {
        const std::complex<double> amplitude = channel == DrawChannel::x ? line.x : line.y;
        const LineDraw x = drawLine(density[line.point], amplitude, noise.inX(i), noise.gamma(i), records);
        out[line.point] = {float(x.power), 0.0f};
    });
}

double window_response(double points) {
    constexpr std::array<double, 4> terms{0.35875, 0.48829, 0.14128, 0.01168};
    const auto sinc = [](double x) {
        const double angle = std::numbers::pi * x;
        return std::abs(angle) < 1e-9 ? 1.0 : std::sin(angle) / angle;
    };
    double sum = terms[0] * sinc(points);
    for (int k = 1; k < 4; ++k) // the alternating signs of the window's terms undo those of the shifted record
        sum += terms[k] / 2 * (sinc(points - k) + sinc(points + k));
    return sum / terms[0];
}

} // namespace vi
