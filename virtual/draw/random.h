#pragma once
/// The virtual instrument's own random numbers: xoshiro256** seeded through splitmix64, normal deviates by a ziggurat
/// of 256 layers, gamma deviates by Marsaglia and Tsang's method. All three are exact. Normal deviates in single
/// precision, by the million, are Box and Muller's. All arithmetic is plain IEEE (own logarithm, exponential and sine
/// included), so that a seed gives the same numbers on every machine.

#include <array>
#include <bit>
#include <cstdint>
#include <span>

namespace vi {

struct RandomStream {
    std::array<uint64_t, 4> state;
};

/// An independent stream for each purpose and index from one seed.
[[nodiscard]] RandomStream random_stream(uint64_t seed, uint32_t purpose, uint32_t index);

inline uint64_t random_bits(RandomStream& stream) {
    std::array<uint64_t, 4>& s = stream.state;
    const uint64_t result = std::rotl(s[1] * 5, 7) * 9;
    const uint64_t shifted = s[1] << 17;
    s[2] ^= s[0];
    s[3] ^= s[1];
    s[1] ^= s[2];
    s[0] ^= s[3];
    s[2] ^= shifted;
    s[3] = std::rotl(s[3], 45);
    return result;
}

/// Uniform, above 0 and up to 1, in steps of 2^-53.
inline double random_uniform(RandomStream& stream) {
    return double((random_bits(stream) >> 11) + 1) * 0x1p-53;
}

/// Standard normal.
[[nodiscard]] double random_normal(RandomStream& stream);
void random_normals(RandomStream& stream, std::span<double> out);
/// In single precision: none beyond 7.4, where one in 10^13 would be.
void random_normals(RandomStream& stream, std::span<float> out);

/// Gamma of an integer shape from 0 (always 0) and scale 1.
[[nodiscard]] double random_gamma(RandomStream& stream, uint32_t shape);
/// `shape` at least 1.
void random_gammas(RandomStream& stream, uint32_t shape, std::span<double> out);

} // namespace vi
