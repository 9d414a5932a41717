// Against brute force: averages of many records that another generator drew one by one.
#include "virtual/spectrum_draw.h"

#include <cmath>
#include <functional>
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

StageExpectation stageOf(const Densities& densities, size_t points) {
    StageExpectation stage;
    stage.sxx.assign(points, densities.sxx);
    stage.syy.assign(points, densities.syy);
    stage.sxyRe.assign(points, densities.sxy.real());
    stage.sxyIm.assign(points, densities.sxy.imag());
    stage.spread.assign(points, std::sqrt(densities.sxx * densities.syy - std::norm(densities.sxy)));
    if (densities.lineX != 0.0)
        for (uint32_t i = 0; i < points; ++i)
            stage.lines.push_back({i, densities.lineX, densities.lineY});
    return stage;
}

/// Average of n products of correlated normals, record by record.
class BruteForce {
public:
    explicit BruteForce(const Densities& densities) : densities_(densities) {}

    Complex cross() {
        Complex sum = 0;
        for (uint32_t i = 0; i < densities_.records; ++i) {
            record();
            sum += x_ * std::conj(y_);
        }
        return sum / double(densities_.records);
    }
    double own() {
        double sum = 0;
        for (uint32_t i = 0; i < densities_.records; ++i) {
            record();
            sum += std::norm(x_);
        }
        return sum / densities_.records;
    }

private:
    Complex normal() { return Complex(gauss_(engine_), gauss_(engine_)) * std::sqrt(0.5); }
    void record() {
        const Complex common = normal(), rest = normal(), phase = std::polar(1.0, angle_(engine_));
        x_ = std::sqrt(densities_.sxx) * common + densities_.lineX * phase;
        const Complex share = std::conj(densities_.sxy) / densities_.sxx;
        y_ = share * std::sqrt(densities_.sxx) * common +
             std::sqrt(densities_.syy - std::norm(densities_.sxy) / densities_.sxx) * rest + densities_.lineY * phase;
    }

    Densities densities_;
    std::mt19937_64 engine_{12345};
    std::normal_distribution<double> gauss_;
    std::uniform_real_distribution<double> angle_{0, 2 * std::numbers::pi};
    Complex x_, y_;
};

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
const std::function<double(Complex)> statistics[] = {
    [](Complex c) { return c.real(); },
    [](Complex c) { return c.imag(); },
    [](Complex c) { return c.real() * c.real(); },
    [](Complex c) { return c.imag() * c.imag(); },
    [](Complex c) { return c.real() * c.imag(); },
    [](Complex c) { return c.real() * c.real() * c.real(); },
    [](Complex c) { return std::norm(c) * std::norm(c); },
    [](Complex c) { return std::abs(c); },
    [](Complex c) { return 10 * std::log10(std::abs(c)); },
};

constexpr int trials = 100000;

std::vector<SpectrumPoint> draw(const Densities& densities, int points, uint64_t seed = 1) {
    RandomStream stream = random_stream(seed, 1, 0);
    std::vector<SpectrumPoint> out(static_cast<size_t>(points));
    spectrum_drawCross(stream, stageOf(densities, out.size()), densities.records, out);
    return out;
}

double standardDeviation_dB(const std::vector<SpectrumPoint>& points, double* mean_dB) {
    Mean level;
    for (const SpectrumPoint& point : points)
        level.add(10 * std::log10(std::hypot(double(point.re), double(point.im))));
    *mean_dB = level.value();
    return std::sqrt(level.variance());
}

} // namespace

TEST(Draw, CrossSpectraAreDistributedAsAveragesOfRecords) {
    const Densities setups[] = {
        {2.0, 3.0, {0.8, -1.1}, 0, 0, 1},
        {2.0, 3.0, {0.8, -1.1}, 0, 0, 2},
        {1.0, 0.5, {0.0, 0.0}, 0, 0, 7},
        {1.0, 1.1, {0.99, 0.1}, 0, 0, 30},
        {2.0, 3.0, {0.8, -1.1}, {1.5, 0.5}, {-0.3, 1.2}, 1},
        {2.0, 3.0, {0.8, -1.1}, {1.5, 0.5}, {-0.3, 1.2}, 5},
        {1.0, 1.0, {0.1, 0.0}, {30.0, 0.0}, {0.0, 28.0}, 20},
    };
    for (const Densities& densities : setups) {
        BruteForce bruteForce(densities);
        std::array<Mean, std::size(statistics)> expected, drawn;
        for (const SpectrumPoint& point : draw(densities, trials)) {
            const Complex one = bruteForce.cross(), other(point.re, point.im);
            for (size_t s = 0; s < std::size(statistics); ++s) {
                expected[s].add(statistics[s](one));
                drawn[s].add(statistics[s](other));
            }
        }
        for (size_t s = 0; s < std::size(statistics); ++s)
            EXPECT_NEAR(drawn[s].value(), expected[s].value(), 4.5 * std::hypot(drawn[s].error(), expected[s].error()))
                << "statistic " << s << ", records " << densities.records << ", line " << densities.lineX;
    }
}

TEST(Draw, OwnSpectraAreDistributedAsAveragesOfRecords) {
    for (const Densities& densities :
         {Densities{2.0, 3.0, 0.5, 0, 0, 3}, Densities{2.0, 3.0, 0.5, {1.0, 2.0}, 1.0, 3}}) {
        BruteForce bruteForce(densities);
        RandomStream stream = random_stream(1, 1, 0);
        std::vector<SpectrumPoint> out(trials);
        spectrum_drawOwn(stream, stageOf(densities, out.size()), DrawChannel::x, densities.records, out);
        std::array<Mean, 3> expected, drawn;
        for (const SpectrumPoint& point : out) {
            EXPECT_EQ(point.im, 0.0f);
            const double one = bruteForce.own(), other = point.re;
            for (int power = 1; power <= 3; ++power) {
                expected[size_t(power) - 1].add(std::pow(one, power));
                drawn[size_t(power) - 1].add(std::pow(other, power));
            }
        }
        for (size_t s = 0; s < 3; ++s)
            EXPECT_NEAR(drawn[s].value(), expected[s].value(), 4.5 * std::hypot(drawn[s].error(), expected[s].error()));
    }
}

TEST(Draw, TheVarianceFollowsTheRecordsUpToTheGreatestNumber) {
    for (const uint32_t n : {1u, 40u, 5000u, 900000u}) {
        const Densities densities{2e-18, 3e-18, {0.8e-18, -1.1e-18}, 0, 0, n};
        Mean re, im;
        for (const SpectrumPoint& point : draw(densities, trials)) {
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

TEST(Draw, APureBackgroundFallsFiveDecibelsADecadeAndKeepsItsSpread) {
    double last_dB = 0;
    for (const uint32_t n : {100u, 1000u, 10000u, 100000u}) {
        const Densities densities{2.0, 3.0, 0, 0, 0, n};
        const std::vector<SpectrumPoint> points = draw(densities, trials, n);
        Mean modulus;
        for (const SpectrumPoint& point : points)
            modulus.add(std::hypot(double(point.re), double(point.im)));
        EXPECT_NEAR(modulus.value() / std::sqrt(6.0 / n), 0.886, 0.006) << n;
        double level_dB = 0;
        EXPECT_NEAR(standardDeviation_dB(points, &level_dB), 2.785, 0.04) << n;
        if (last_dB != 0) {
            EXPECT_NEAR(level_dB - last_dB, -5.0, 0.06) << n;
        }
        last_dB = level_dB;
    }
}

TEST(Draw, ASeedGivesTheSameNumbersEverywhere) {
    RandomStream counted{{1, 2, 3, 4}}; // the generator's published example
    for (const uint64_t bits : {11520u, 0u, 1509978240u})
        EXPECT_EQ(random_bits(counted), bits);
    EXPECT_EQ(random_bits(counted), 1215971899390074240u);

    RandomStream stream = random_stream(1, 1, 0);
    double normals = 0, gammas = 0;
    for (int i = 0; i < 100000; ++i) {
        normals += random_normal(stream);
        gammas += random_gamma(stream, uint32_t(i % 5));
    }
    EXPECT_EQ(normals, -0x1.506e0b6c9d1c7p+6);
    EXPECT_EQ(gammas, 0x1.86f16fc77fecap+17);

    const auto first = [](uint64_t seed, uint32_t purpose, uint32_t index) {
        RandomStream other = random_stream(seed, purpose, index);
        return random_bits(other);
    };
    EXPECT_NE(first(1, 1, 0), first(2, 1, 0));
    EXPECT_NE(first(1, 1, 0), first(1, 2, 0));
    EXPECT_NE(first(1, 1, 0), first(1, 1, 1));
}

TEST(Draw, NormalsAndGammasHaveTheirDistribution) {
    RandomStream stream = random_stream(7, 1, 0);
    constexpr int count = 2'000'000;
    // Upper tails at the edges where the layers, the wedge and the tail of the ziggurat meet.
    const double edges[] = {-3.0, -1.0, -0.25, 0.0, 0.1, 0.5, 1.0, 2.0, 3.0, 3.6541528853610088, 4.2};
    std::array<int, std::size(edges)> above{};
    for (int i = 0; i < count; ++i) {
        const double x = random_normal(stream);
        for (size_t e = 0; e < std::size(edges); ++e)
            above[e] += x > edges[e];
    }
    for (size_t e = 0; e < std::size(edges); ++e) {
        const double p = 0.5 * std::erfc(edges[e] / std::sqrt(2.0));
        EXPECT_NEAR(above[e], p * count, 4.5 * std::sqrt(p * (1 - p) * count) + 1) << edges[e];
    }
    // Gamma of a whole shape: P(g > t) is the chance of fewer than `shape` events of a Poisson process until t.
    for (const uint32_t shape : {1u, 2u, 9u, 60u}) {
        const double at = shape + 1.5 * std::sqrt(double(shape));
        double p = 0, term = std::exp(-at);
        for (uint32_t k = 0; k < shape; term *= at / ++k)
            p += term;
        int over = 0;
        constexpr int draws = 400000;
        std::vector<double> values(draws);
        random_gammas(stream, shape, values);
        Mean mean;
        for (const double value : values) {
            over += value > at;
            mean.add(value);
        }
        EXPECT_NEAR(over, p * draws, 4.5 * std::sqrt(p * (1 - p) * draws)) << shape;
        EXPECT_NEAR(mean.value(), shape, 4.5 * mean.error());
        EXPECT_NEAR(mean.variance() / shape, 1.0, 0.03);
    }
    EXPECT_EQ(random_gamma(stream, 0), 0.0);
}

TEST(Window, HasTheShapeOfTheFourTermWindowsOwnSpectrum) {
    constexpr int length = 1024;
    const auto window = [](int n) {
        const double angle = 2 * std::numbers::pi * n / length;
        return 0.35875 - 0.48829 * std::cos(angle) + 0.14128 * std::cos(2 * angle) - 0.01168 * std::cos(3 * angle);
    };
    double sum = 0, squares = 0;
    for (int n = 0; n < length; ++n) {
        sum += window(n);
        squares += window(n) * window(n);
    }
    EXPECT_NEAR(length * squares / (sum * sum), windowNoiseBandwidth_points, 0.005);
    for (double distance = -5; distance <= 5; distance += 0.1) {
        Complex transform = 0;
        for (int n = 0; n < length; ++n)
            transform += window(n) * std::polar(1.0, 2 * std::numbers::pi * distance * n / length);
        EXPECT_NEAR(std::abs(window_response(distance)), std::abs(transform) / sum, 3e-6) << distance;
    }
    const struct { double points, fall_dB; } told[] = {{0, 0}, {0.5, 0.83}, {1, 3.34}, {1.5, 7.68}, {2, 14.1}};
    for (const auto& [points, fall_dB] : told)
        EXPECT_NEAR(-20 * std::log10(window_response(points)), fall_dB, 0.05) << points;
}
