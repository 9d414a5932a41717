#include "virtual/draw/random.h"

#include "virtual/draw/sine.h"
#include "virtual/draw/wide_loops.h"

#include <algorithm>
#include <cmath>

namespace vi {
namespace {

// ---- logarithm and exponential that round the same everywhere -------------------------------------------------------

constexpr double ln2High = 0x1.62e42fefa38p-1; // its product with a small integer is exact
constexpr double ln2Low = 0x1.ef35793c7673p-45;

/// `x` above 0 and finite.
double portableLog(double x) {
    int exponent;
    double mantissa = std::frexp(x, &exponent); // 0.5 to 1
    if (mantissa < 0.70710678118654752) {
        mantissa *= 2;
        --exponent;
    }
    const double s = (mantissa - 1) / (mantissa + 1), s2 = s * s; // ln m = 2 artanh s, |s| < 0.172
    double series = 0;
    for (int k = 21; k >= 3; k -= 2)
        series = (series + 1.0 / k) * s2;
    return exponent * ln2High + (2 * s * (1 + series) + exponent * ln2Low);
}

constexpr std::array<double, 14> reciprocals{0,       1.0,     1.0 / 2, 1.0 / 3,  1.0 / 4,  1.0 / 5,  1.0 / 6,
                                             1.0 / 7, 1.0 / 8, 1.0 / 9, 1.0 / 10, 1.0 / 11, 1.0 / 12, 1.0 / 13};

/// `x` from -700 to 0.
double portableExp(double x) {
    const double k = std::floor(x / (ln2High + ln2Low) + 0.5);
    const double r = (x - k * ln2High) - k * ln2Low;
    double series = 1;
    for (int n = 13; n >= 1; --n)
        series = 1 + series * r * reciprocals[n];
    return std::bit_cast<double>(std::bit_cast<uint64_t>(series) + (uint64_t(int64_t(k)) << 52));
}

// ---- normal ---------------------------------------------------------------------------------------------------------

constexpr int layers = 256;
constexpr double tailStart = 3.6541528853610088;   // right edge of the base layer's rectangle
constexpr double layerArea = 0.004928673233974655; // of each layer; the base layer's includes the tail
constexpr double mantissaScale = 0x1p52;           // signed 53-bit integers stand for -1 to 1

double density(double x) {
    return portableExp(-0.5 * x * x);
}

struct Ziggurat {
    std::array<double, layers + 1> edge;   // right edges, falling; edge[0] makes the base layer a rectangle of its area
    std::array<double, layers + 1> height; // density at the edge
    std::array<double, layers> width;      // edge / mantissaScale
    std::array<int64_t, layers> inside;    // |mantissa| below it lies under the curve for sure

    Ziggurat() {
        edge[0] = layerArea / density(tailStart);
        edge[1] = tailStart;
        for (int i = 1; i < layers - 1; ++i)
            edge[i + 1] = std::sqrt(-2 * portableLog(density(edge[i]) + layerArea / edge[i]));
        edge[layers] = 0;
        for (int i = 0; i <= layers; ++i)
            height[i] = density(edge[i]);
        for (int i = 0; i < layers; ++i) {
            width[i] = edge[i] / mantissaScale;
            inside[i] = int64_t(edge[i + 1] / edge[i] * mantissaScale);
        }
    }
};

const Ziggurat ziggurat;

double normalTail(RandomStream& stream, bool negative) {
    for (;;) {
        const double x = -portableLog(random_uniform(stream)) / tailStart;
        const double y = -portableLog(random_uniform(stream));
        if (2 * y > x * x)
            return negative ? -(tailStart + x) : tailStart + x;
    }
}

/// Finishes a draw that fell on the edge of its layer.
[[gnu::noinline]] double normalEdge(RandomStream& stream, uint64_t bits) {
    for (;;) {
        const int layer = int(bits & (layers - 1));
        const int64_t mantissa = int64_t(bits) >> 11;
        const double x = double(mantissa) * ziggurat.width[layer];
        if (std::abs(mantissa) < ziggurat.inside[layer])
            return x;
        if (layer == 0)
            return normalTail(stream, mantissa < 0);
        const double low = ziggurat.height[layer], high = ziggurat.height[layer + 1];
        if (low + random_uniform(stream) * (high - low) < density(x))
            return x;
        bits = random_bits(stream);
    }
}

inline double normal(RandomStream& stream) {
    const uint64_t bits = random_bits(stream);
    const int layer = int(bits & (layers - 1));
    const int64_t mantissa = int64_t(bits) >> 11;
    if (std::abs(mantissa) < ziggurat.inside[layer]) [[likely]]
        return double(mantissa) * ziggurat.width[layer];
    return normalEdge(stream, bits);
}

// ---- normals in single precision -----------------------------------------------------------------------------------

constexpr size_t pairsAtOnce = 128;

/// `x` above 0 and up to 1.
inline float logOfShare(float x) {
    constexpr int32_t rootOfHalf = 0x3F3504F3, mantissaBits = 23, mantissaMask = (1 << mantissaBits) - 1;
    constexpr float ln2 = 0.693147181F;
    const int32_t aboveRoot = std::bit_cast<int32_t>(x) - rootOfHalf;
    const auto mantissa = std::bit_cast<float>((aboveRoot & mantissaMask) + rootOfHalf); // sqrt(1/2) to sqrt(2)
    const float s = (mantissa - 1) / (mantissa + 1), s2 = s * s;                         // ln m = 2 artanh s
    const float series = 1 + s2 * (1.0F / 3 + s2 * (1.0F / 5 + s2 * (1.0F / 7 + s2 * (1.0F / 9))));
    return float(aboveRoot >> mantissaBits) * ln2 + 2 * s * series;
}

/// Two normals from each pair of words: 31 bits of one and the last 8 of the other are the share of the radii that are
/// greater, the other's upper 24 bits are the angle.
void boxMuller(const int32_t* high, const int32_t* low, size_t pairs, float* __restrict x, float* __restrict y) {
    constexpr float lowScale = 0x1p-8F, shareScale = 0x1p-31F, angleScale = 0x1p-24F;
    for (size_t i = 0; i < pairs; ++i) {
        const float share = (float(high[i]) + (float(low[i] & 0xFF) + 0.5F) * lowScale) * shareScale;
        const float radius = std::sqrt(-2 * logOfShare(share)), turns = float(low[i] >> 8) * angleScale;
        x[i] = radius * sineOfTurns(0.25F - std::abs(turns));
        y[i] = radius * sineOfTurns(turns);
    }
}

// ---- gamma ----------------------------------------------------------------------------------------------------------

/// Marsaglia, Tsang: A simple method for generating gamma variables (2000). With x normal and v = (1 + cx)^3, d v is
/// accepted with probability exp(x^2/2 + d - dv + d ln v). For cx >= -0.5 that is at least 1 - x^4/(54 d), from the
/// series of ln(1 + cx); for small d the authors' own bound 1 - 0.0331 x^4 is the tighter one.
struct GammaShape {
    double d, c, squeeze;

    explicit GammaShape(uint32_t shape)
        : d(shape - 1.0 / 3.0), c(1 / std::sqrt(9 * d)), squeeze(std::min(0.0331, 1 / (54 * d))) {}
};

bool gammaAccepts(const GammaShape& shape, double x, double u) {
    const double root = 1 + shape.c * x;
    if (root <= 0)
        return false;
    const double x2 = x * x, v = root * root * root;
    return portableLog(u) < 0.5 * x2 + shape.d * (1 - v + portableLog(v));
}

double gammaValue(const GammaShape& shape, double x) {
    const double root = 1 + shape.c * x;
    return shape.d * root * root * root;
}

[[gnu::noinline]] double gammaFrom(RandomStream& stream, const GammaShape& shape, double x, double u) {
    while (!gammaAccepts(shape, x, u)) {
        x = normal(stream);
        u = random_uniform(stream);
    }
    return gammaValue(shape, x);
}

} // namespace

RandomStream random_stream(uint64_t seed, uint32_t purpose, uint32_t index) {
    // splitmix64; the purpose and the index start it at places that no other pair shares.
    uint64_t position = seed;
    const auto next = [&position] {
        uint64_t z = position += 0x9e3779b97f4a7c15;
        z = (z ^ z >> 30) * 0xbf58476d1ce4e5b9;
        z = (z ^ z >> 27) * 0x94d049bb133111eb;
        return z ^ z >> 31;
    };
    position = next() ^ (uint64_t(purpose) << 32 | index);
    RandomStream stream;
    for (uint64_t& word : stream.state)
        word = next();
    return stream;
}

double random_normal(RandomStream& stream) {
    return normal(stream);
}

void random_normals(RandomStream& stream, std::span<double> out) {
    RandomStream local = stream; // in registers for the loop
    for (double& value : out)
        value = normal(local);
    stream = local;
}

void random_normals(RandomStream& stream, std::span<float> out) {
    RandomStream local = stream;
    std::array<int32_t, pairsAtOnce> high, low;
    std::array<float, pairsAtOnce> ofOddCount;
    while (!out.empty()) {
        const size_t count = std::min(out.size(), 2 * pairsAtOnce), pairs = (count + 1) / 2;
        for (size_t i = 0; i < pairs; ++i) {
            const uint64_t bits = random_bits(local);
            high[i] = int32_t(bits >> 33);
            low[i] = int32_t(bits);
        }
        float* const second = count % 2 == 0 ? out.data() + pairs : ofOddCount.data();
        wideLoops_run([&] { boxMuller(high.data(), low.data(), pairs, out.data(), second); });
        if (count % 2 != 0)
            std::copy_n(second, count - pairs, out.data() + pairs);
        out = out.subspan(count);
    }
    stream = local;
}

double random_gamma(RandomStream& stream, uint32_t shape) {
    double value = 0;
    if (shape != 0)
        random_gammas(stream, shape, {&value, 1});
    return value;
}

void random_gammas(RandomStream& stream, uint32_t shape, std::span<double> out) {
    const GammaShape gamma(shape);
    RandomStream local = stream;
    for (double& value : out) {
        const double x = normal(local);
        const double u = random_uniform(local);
        const double x2 = x * x, root = 1 + gamma.c * x;
        if (root >= 0.5 && u < 1 - gamma.squeeze * x2 * x2) [[likely]]
            value = gamma.d * root * root * root;
        else
            value = gammaFrom(local, gamma, x, u);
    }
    stream = local;
}

} // namespace vi
