#include "virtual/draw/random.h"

#include "virtual/draw/wide_loops.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <utility>

namespace vi {
namespace {

// ---- words ----------------------------------------------------------------------------------------------------------

constexpr size_t atOnce = 256; // deviates; their scratch stays in the first-level cache

using Words = std::array<uint32_t, atOnce>;
using Floats = std::array<float, atOnce>;

inline void nextWords(RandomStream& stream, uint32_t* __restrict out) {
    auto& [s0, s1, s2, s3] = stream.state;
    for (size_t lane = 0; lane < randomLanes; ++lane) {
        out[lane] = std::rotl(s0[lane] + s3[lane], 7) + s0[lane];
        const uint32_t shifted = s1[lane] << 9;
        s2[lane] ^= s0[lane];
        s3[lane] ^= s1[lane];
        s1[lane] ^= s2[lane];
        s0[lane] ^= s3[lane];
        s2[lane] ^= shifted;
        s3[lane] = std::rotl(s3[lane], 11);
    }
}

uint32_t takeWord(RandomStream& stream) {
    if (stream.left == 0) {
        nextWords(stream, stream.ready.data());
        stream.left = randomLanes;
    }
    return stream.ready[--stream.left];
}

/// `count` words: whole steps of the lanes, and what is left one by one.
inline void fillWords(RandomStream& stream, size_t count, Words& words) {
    const size_t whole = count / randomLanes * randomLanes;
    wideLoops_run([&] {
        for (size_t i = 0; i < whole; i += randomLanes)
            nextWords(stream, &words[i]);
    });
    for (size_t i = whole; i < count; ++i)
        words[i] = takeWord(stream);
}

// ---- normal ---------------------------------------------------------------------------------------------------------

/// Polynomials here come close to the best of their degree: they meet the function at Chebyshev's points.

/// `x` above 0 and below 1.
inline float logOfShare(float x) {
    constexpr int32_t rootOfHalf = 0x3F3504F3, mantissaBits = 23, mantissaMask = (1 << mantissaBits) - 1;
    constexpr float ln2 = 0.693147181F;
    const int32_t aboveRoot = std::bit_cast<int32_t>(x) - rootOfHalf;
    const auto mantissa = std::bit_cast<float>((aboveRoot & mantissaMask) + rootOfHalf);    // sqrt(1/2) to sqrt(2)
    const float s = (mantissa - 1) / (mantissa + 1), s2 = s * s;                            // ln m = 2 artanh s
    const float series = 1 + s2 * (0.333334077F + s2 * (0.199874253F + s2 * 0.149621952F)); // of artanh s / s
    return float(aboveRoot >> mantissaBits) * ln2 + 2 * s * series;
}

/// A share above 0 and below 1: 31 bits of one word and the last 8 of another.
inline float shareOf(uint32_t high, uint32_t low) {
    constexpr float lowScale = 0x1p-8F, shareScale = 0x1.fffffep-32F; // 2^31, which the sum may round to, ends below 1
    return (float(int32_t(high >> 1)) + (float(int32_t(low & 0xFF)) + 0.5F) * lowScale) * shareScale;
}

/// Cosine and sine of a phase of up to an eighth of a turn either way, in turns; within 1e-7.
inline std::pair<float, float> ofEighthTurn(float turns) {
    const float t2 = turns * turns;
    return {0.999999972F + t2 * (-19.7391521F + t2 * (64.9212343F + t2 * -83.5918168F)),
            turns * (6.28318529F + t2 * (-41.3416626F + t2 * (81.5925429F + t2 * -75.4016127F)))};
}

/// `x` with the sign of a word.
inline float withSignOf(uint32_t word, float x) {
    constexpr uint32_t signBit = 0x80000000;
    return std::bit_cast<float>(std::bit_cast<uint32_t>(x) ^ (word & signBit));
}

/// Two normals from each pair of words: they are the share of the radii that are greater, and with the second's upper
/// 24 bits the angle. Two of these choose the quadrant; the others turn by up to an eighth from its middle, where
/// both are as far from their axes: (cos - sin, cos + sin)/sqrt(2).
inline void boxMuller(const uint32_t* high, const uint32_t* low, size_t pairs, float* __restrict x,
                      float* __restrict y) {
    constexpr float angleScale = 0x1p-24F;
    constexpr int quadrantBits = 2, shareBits = 8;
    for (size_t i = 0; i < pairs; ++i) {
        const float radius = std::sqrt(-logOfShare(shareOf(high[i], low[i]))); // over sqrt(2)
        const int32_t angle = int32_t(low[i] << quadrantBits) >> (quadrantBits + shareBits);
        const auto [cosine, sine] = ofEighthTurn((float(angle) + 0.5F) * angleScale);
        x[i] = withSignOf(low[i], radius * (cosine - sine));
        y[i] = withSignOf(low[i] << 1, radius * (cosine + sine));
    }
}

/// Up to `atOnce`.
void fillNormals(RandomStream& stream, std::span<float> out) {
    const size_t pairs = (out.size() + 1) / 2;
    Words words;
    Floats ofOddCount;
    fillWords(stream, 2 * pairs, words);
    float* const second = out.size() % 2 == 0 ? out.data() + pairs : ofOddCount.data();
    wideLoops_run([&] { boxMuller(words.data(), words.data() + pairs, pairs, out.data(), second); });
    if (out.size() % 2 != 0)
        std::copy_n(second, out.size() - pairs, out.data() + pairs);
}

// ---- gamma ----------------------------------------------------------------------------------------------------------

/// Marsaglia, Tsang: A simple method for generating gamma variables (2000). With x normal and v = (1 + cx)^3, d v is
/// accepted with probability exp(x^2/2 + d - dv + d ln v). For cx >= -0.5 that is at least 1 - x^4/(54 d), from the
/// series of ln(1 + cx).
struct GammaShape {
    double d, c;
    float squeeze;

    explicit GammaShape(uint32_t shape) : d(shape - 1.0 / 3), c(1 / std::sqrt(9 * d)), squeeze(float(1 / (54 * d))) {}
};

/// The library's logarithm may differ in its last bit: one judgement in 10^15.
bool gammaAccepts(const GammaShape& shape, double x, double u) {
    const double root = 1 + shape.c * x, x2 = x * x;
    if (root >= 0.5 && u < 1 - double(shape.squeeze) * x2 * x2) // as nearly always
        return true;
    if (root <= 0)
        return false;
    const double v = root * root * root;
    return std::log(u) < 0.5 * x2 + shape.d * (1 - v + std::log(v));
}

/// The one that `x` and `u` give, or if they are not accepted another one in its place.
[[gnu::noinline]] float gammaFrom(RandomStream& stream, const GammaShape& shape, double x, double u) {
    while (!gammaAccepts(shape, x, u)) {
        x = random_normal(stream);
        u = random_uniform(stream);
    }
    const double root = 1 + shape.c * x;
    return float(shape.d * root * root * root);
}

/// Shape 1: the gap between events. Up to `atOnce`.
void fillExponentials(RandomStream& stream, std::span<float> out) {
    Words high, low;
    fillWords(stream, out.size(), high);
    fillWords(stream, out.size(), low);
    wideLoops_run([&] {
        for (size_t i = 0; i < out.size(); ++i)
            out[i] = -logOfShare(shareOf(high[i], low[i]));
    });
}

/// Up to `atOnce`.
void fillGammas(RandomStream& stream, const GammaShape& shape, std::span<float> out) {
    constexpr float wordScale = 0x1p-31F;
    Floats x;
    Words words;
    std::array<bool, atOnce> open{};
    fillNormals(stream, std::span(x).first(out.size()));
    fillWords(stream, out.size(), words);
    wideLoops_run([&, count = out.size(), d = float(shape.d), c = float(shape.c), squeeze = shape.squeeze] {
        for (size_t i = 0; i < count; ++i) {
            const float x2 = x[i] * x[i], root = 1 + c * x[i], u = float(int32_t(words[i] >> 1)) * wordScale;
            out[i] = d * root * root * root;
            open[i] = (root < 0.5F) | (u >= 1 - squeeze * x2 * x2);
        }
    });
    // Few are open: they are looked for where any is.
    for (size_t i = 0; i < out.size(); i += sizeof(uint64_t))
        if (uint64_t any; memcpy(&any, &open[i], sizeof any), any != 0) [[unlikely]]
            for (size_t k = i; k < std::min(i + sizeof any, out.size()); ++k)
                if (open[k])
                    out[k] = gammaFrom(stream, shape, double(x[k]), ((words[k] >> 1) + 0.5) * double(wordScale));
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
    for (auto& words : stream.state)
        for (uint32_t& word : words)
            word = uint32_t(next() >> 32);
    return stream;
}

void random_words(RandomStream& stream, std::span<uint32_t, randomLanes> out) {
    nextWords(stream, out.data());
}

double random_uniform(RandomStream& stream) {
    const uint64_t high = takeWord(stream);
    return double((high << 21 | takeWord(stream) >> 11) + 1) * 0x1p-53;
}

double random_normal(RandomStream& stream) {
    return random_normalPair(stream).real();
}

std::complex<double> random_normalPair(RandomStream& stream) {
    const uint32_t high = takeWord(stream), low = takeWord(stream);
    float x, y;
    boxMuller(&high, &low, 1, &x, &y);
    return {double(x), double(y)};
}

void random_normals(RandomStream& stream, std::span<float> out) {
    for (; !out.empty(); out = out.subspan(std::min(out.size(), atOnce)))
        fillNormals(stream, out.first(std::min(out.size(), atOnce)));
}

double random_gamma(RandomStream& stream, uint32_t shape) {
    if (shape == 0)
        return 0;
    const double x = random_normal(stream), u = random_uniform(stream);
    return double(gammaFrom(stream, GammaShape(shape), x, u));
}

void random_gammas(RandomStream& stream, uint32_t shape, std::span<float> out) {
    const GammaShape gamma(shape);
    for (; !out.empty(); out = out.subspan(std::min(out.size(), atOnce)))
        if (const std::span<float> some = out.first(std::min(out.size(), atOnce)); shape == 1)
            fillExponentials(stream, some);
        else
            fillGammas(stream, gamma, some);
}

} // namespace vi
