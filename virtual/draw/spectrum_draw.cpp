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

struct LineDraw {
    double power;                // sum |X|^2 / records
    std::complex<double> phasor; // sum of X against the line's phase / records
};

/// The records along the line's phase and across it: one record's worth of X holds the line, the others only noise.
LineDraw drawLine(RandomStream& stream, double density, std::complex<double> amplitude, uint32_t records) {
    const double n = records, sigma = std::sqrt(density / 2);
    const std::complex<double> along = std::sqrt(n) * amplitude + sigma * random_normalPair(stream);
    return {(std::norm(along) + density * random_gamma(stream, records - 1)) / n, along / std::sqrt(n)};
}

SpectrumPoint toPoint(std::complex<double> value) {
    return {float(value.real()), float(value.imag())};
}

SpectrumPoint drawCrossLine(RandomStream& stream, const StageExpectation& stage, const LineAtPoint& line,
                            uint32_t records) {
    const size_t i = line.point;
    const double sxx = stage.sxx[i];
    const LineDraw x = drawLine(stream, sxx, line.x, records);
    const std::complex<double> slope = std::complex<double>(stage.sxyRe[i], stage.sxyIm[i]) / sxx;
    const double sigma = stage.spread[i] * std::sqrt(x.power / (2 * sxx * records));
    return toPoint(slope * x.power + x.phasor * (std::conj(line.y) - slope * std::conj(line.x)) +
                   sigma * random_normalPair(stream));
}

} // namespace

void spectrum_drawCross(RandomStream& stream, const StageExpectation& stage, uint32_t records,
                        std::span<SpectrumPoint> out) {
    Block gamma, re, im;
    const double perRecord = 1.0 / records, halfPerRecord = std::sqrt(0.5) / records;
    for (size_t start = 0; start < out.size(); start += blockPoints) {
        const size_t count = std::min(blockPoints, out.size() - start);
        random_gammas(stream, records, {gamma.data(), count});
        random_normals(stream, {re.data(), count});
        random_normals(stream, {im.data(), count});
        const double *sxyRe = &stage.sxyRe[start], *sxyIm = &stage.sxyIm[start], *spread = &stage.spread[start];
        SpectrumPoint* const points = &out[start];
        wideLoops_run([&] {
            for (size_t i = 0; i < count; ++i) {
                const double g = double(gamma[i]) * perRecord;
                const double width = spread[i] * (double(std::sqrt(gamma[i])) * halfPerRecord);
                points[i].re = float(sxyRe[i] * g + width * double(re[i]));
                points[i].im = float(sxyIm[i] * g + width * double(im[i]));
            }
        });
    }
    for (const LineAtPoint& line : stage.lines)
        out[line.point] = drawCrossLine(stream, stage, line, records);
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
    for (const LineAtPoint& line : stage.lines) {
        const std::complex<double> amplitude = channel == DrawChannel::x ? line.x : line.y;
        out[line.point] = {float(drawLine(stream, density[line.point], amplitude, records).power), 0.0f};
    }
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
