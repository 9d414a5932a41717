// Against brute force: averages of many records that another generator drew one by one.
#include "virtual/draw/spectrum_draw.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <gtest/gtest.h>
#include <numbers>
#include <random>

using namespace vi;
using Complex = std::complex<double>;

namespace {

struct Densities {
    double sxx, syy;
    Complex sxy;
    Complex lineX, lineY;
    uint32_t records;
};

constexpr size_t trials = 100000;
enum Kind { cross, ownX, ownY, kinds };

std::vector<SpectrumPoint> draw(const Densities& densities, Kind kind) {
    StageExpectation stage;
    stage.sxx.assign(trials, densities.sxx);
    stage.syy.assign(trials, densities.syy);
    stage.sxyRe.assign(trials, densities.sxy.real());
    stage.sxyIm.assign(trials, densities.sxy.imag());
    stage.spread.assign(trials, std::sqrt(densities.sxx * densities.syy - std::norm(densities.sxy)));
    for (uint32_t i = 0; i < trials && densities.lineX != 0.0; ++i)
        stage.lines.push_back({i, densities.lineX, densities.lineY});
    RandomStream stream = random_stream(densities.records, 1, kind);
    std::vector<SpectrumPoint> out(trials);
    if (kind == cross)
        spectrum_drawCross(stream, stage, densities.records, out);
    else
        spectrum_drawOwn(stream, stage, kind == ownX ? DrawChannel::x : DrawChannel::y, densities.records, out);
    return out;
}

/// Averages over products of correlated normals, record by record.
std::vector<std::array<Complex, kinds>> bruteForce(const Densities& d) {
    std::mt19937_64 engine{12345};
    std::normal_distribution<double> gauss(0, std::sqrt(0.5));
    std::uniform_real_distribution<double> angle(0, 2 * std::numbers::pi);
    const auto normal = [&] { return Complex(gauss(engine), gauss(engine)); };
    std::vector<std::array<Complex, kinds>> averages(trials);
    for (std::array<Complex, kinds>& average : averages)
        for (uint32_t i = 0; i < d.records; ++i) {
            const Complex common = normal(), rest = normal(), phase = std::polar(1.0, angle(engine));
            const Complex x = std::sqrt(d.sxx) * common + d.lineX * phase;
            const Complex y = std::conj(d.sxy) / std::sqrt(d.sxx) * common +
                              std::sqrt(d.syy - std::norm(d.sxy) / d.sxx) * rest + d.lineY * phase;
            average[cross] += x * std::conj(y) / double(d.records);
            average[ownX] += std::norm(x) / d.records;
            average[ownY] += std::norm(y) / d.records;
        }
    return averages;
}

/// Mean and its standard error.
struct Mean {
    double sum = 0, squares = 0;
    int count = 0;
    void add(double value) {
        sum += value;
        squares += value * value;
        ++count;
    }
    [[nodiscard]] double value() const { return sum / count; }
    [[nodiscard]] double variance() const { return squares / count - value() * value(); }
    [[nodiscard]] double error() const { return std::sqrt(variance() / count); }
};

/// What is compared of two distributions: moments up to the fourth, the modulus, the level.
std::array<double, 9> statistics(Complex c) {
    const double x = c.real(), y = c.imag(), size = std::abs(c);
    return {x, y, x * x, y * y, x * y, x * x * x, std::pow(size, 4), size, 10 * std::log10(size)};
}

} // namespace

TEST(Draw, SpectraAreDistributedAsAveragesOfRecords) {
    const Densities setups[] = {
        {2.0, 3.0, {0.8, -1.1}, 0, 0, 1},
        {1.0, 0.5, {0.0, 0.0}, 0, 0, 7},
        {1.0, 1.1, {0.99, 0.1}, 0, 0, 30},
        {2.0, 3.0, {0.8, -1.1}, {1.5, 0.5}, {-0.3, 1.2}, 1},
        {2.0, 3.0, {0.8, -1.1}, {1.5, 0.5}, {-0.3, 1.2}, 5},
        {1.0, 1.0, {0.1, 0.0}, {30.0, 0.0}, {0.0, 28.0}, 20},
    };
    for (const Densities& densities : setups) {
        const std::vector<std::array<Complex, kinds>> averages = bruteForce(densities);
        for (const Kind kind : {cross, ownX, ownY}) {
            const std::vector<SpectrumPoint> points = draw(densities, kind);
            std::array<Mean, 9> expected, drawn;
            for (size_t i = 0; i < trials; ++i) {
                const auto one = statistics(averages[i][kind]), other = statistics({points[i].re, points[i].im});
                for (size_t s = 0; s < 9; ++s) {
                    expected[s].add(one[s]);
                    drawn[s].add(other[s]);
                }
            }
            for (size_t s = 0; s < 9; ++s) {
                const double error = std::hypot(drawn[s].error(), expected[s].error());
                EXPECT_NEAR(drawn[s].value(), expected[s].value(), 4.5 * error)
                    << "kind " << kind << ", statistic " << s << ", records " << densities.records;
            }
        }
    }
}

TEST(Draw, MomentsFollowTheClosedFormsUpToTheGreatestNumberOfRecords) {
    for (const uint32_t n : {1u, 40u, 5000u, 100000u, 900000u}) {
        Mean re, im;
        for (const SpectrumPoint& point : draw({2e-18, 3e-18, {0.8e-18, -1.1e-18}, 0, 0, n}, cross)) {
            re.add(point.re / 1e-18);
            im.add(point.im / 1e-18);
        }
        EXPECT_NEAR(re.value(), 0.8, 4.5 * re.error()) << n;
        EXPECT_NEAR(im.value(), -1.1, 4.5 * im.error()) << n;
        const double sxxSyy = 6.0, square = 0.8 * 0.8 - 1.1 * 1.1; // Re(Sxy^2)
        const double tolerance = n < 10 ? 0.06 : 0.03;
        EXPECT_NEAR(re.variance() * 2 * n / (sxxSyy + square), 1.0, tolerance) << n;
        EXPECT_NEAR(im.variance() * 2 * n / (sxxSyy - square), 1.0, tolerance) << n;
    }
}

TEST(Draw, ASeedGivesTheSameNumbersEverywhere) {
    RandomStream counted{};
    for (uint32_t word = 0; word < 4; ++word)
        counted.state[word].fill(word + 1); // the generator's published example, in each lane
    for (const uint32_t expected : {641U, 1573767U, 3222811527U, 3517856514U}) {
        std::array<uint32_t, randomLanes> words;
        random_words(counted, words);
        EXPECT_EQ(std::count(words.begin(), words.end(), expected), randomLanes);
    }

    RandomStream stream = random_stream(1, 1, 0);
    std::array<float, 1001> values; // an odd number, and not of any vector's
    double normals = 0, gammas = 0, sum = 0;
    for (int i = 0; i < 100000; ++i) {
        normals += random_normal(stream);
        gammas += random_gamma(stream, uint32_t(i % 5));
    }
    for (int i = 0; i < 100; ++i) {
        i % 2 == 0 ? random_normals(stream, values) : random_gammas(stream, uint32_t(i % 5 + 1), values);
        for (size_t k = 0; k < values.size(); ++k)
            sum += double(values[k]) * double(k + 1);
    }
    EXPECT_EQ(normals, 0x1.aaf1f59ac91f4p+8);
    EXPECT_EQ(gammas, 0x1.86bfd88a7454ap+17);
    EXPECT_EQ(sum, 0x1.2052505d2116p+26);
}

TEST(Draw, NormalsHaveTheirDistribution) {
    RandomStream stream = random_stream(7, 1, 0);
    constexpr int count = 2'000'000;
    std::vector<float> values(count);
    random_normals(stream, values);
    for (const double edge : {-3.0, -1.0, -0.25, 0.0, 0.1, 0.5, 1.0, 2.0, 3.0, 3.65, 4.2}) {
        const auto isAbove = [edge](float x) { return double(x) > edge; };
        const double p = 0.5 * std::erfc(edge / std::sqrt(2.0)), tolerance = 4.5 * std::sqrt(p * (1 - p) * count) + 1;
        EXPECT_NEAR(double(std::count_if(values.begin(), values.end(), isAbove)), p * count, tolerance) << edge;
    }
    // Neighbours, and both that come of one angle, have nothing to do with each other, nor have their powers.
    for (const size_t apart : {1, 2, 16, 64, 128, 256}) {
        Mean product, powers;
        for (size_t i = apart; i < count; ++i) {
            const double x = double(values[i]), y = double(values[i - apart]);
            product.add(x * y);
            powers.add((x * x - 1) * (y * y - 1));
        }
        EXPECT_NEAR(product.value(), 0, 4.5 * product.error()) << apart;
        EXPECT_NEAR(powers.value(), 0, 4.5 * powers.error()) << apart;
    }
}

TEST(Window, HasTheShapeOfTheFourTermWindowsOwnSpectrum) {
    constexpr int length = 1024;
    std::array<double, length> window;
    double sum = 0, squares = 0;
    for (int n = 0; n < length; ++n) {
        const double angle = 2 * std::numbers::pi * n / length;
        window[n] = 0.35875 - 0.48829 * std::cos(angle) + 0.14128 * std::cos(2 * angle) - 0.01168 * std::cos(3 * angle);
        sum += window[n];
        squares += window[n] * window[n];
    }
    EXPECT_NEAR(length * squares / (sum * sum), windowNoiseBandwidth_points, 0.005);
    for (double distance = -5; distance <= 5; distance += 0.1) {
        Complex transform = 0;
        for (int n = 0; n < length; ++n)
            transform += window[n] * std::polar(1.0, 2 * std::numbers::pi * distance * n / length);
        EXPECT_NEAR(std::abs(window_response(distance)), std::abs(transform) / sum, 3e-6) << distance;
    }
}
