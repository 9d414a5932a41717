#pragma once
/// The virtual instrument's own random numbers: xoshiro128++ in lanes that a processor advances together, seeded
/// through splitmix64; normal deviates by Box and Muller's method, gamma deviates by Marsaglia and Tsang's. Deviates
/// have single precision, and arithmetic is plain IEEE (own logarithm and sine included), so that a seed gives the same
/// numbers on every machine.

#include <array>
#include <complex>
#include <cstdint>
#include <span>

namespace vi {

inline constexpr size_t randomLanes = 16;

struct RandomStream {
    std::array<std::array<uint32_t, randomLanes>, 4> state; // word by word, of all lanes
    std::array<uint32_t, randomLanes> ready{};              // for who takes single words
    uint32_t left = 0;                                      // of them
};

/// An independent stream for each purpose and index from one seed.
[[nodiscard]] RandomStream random_stream(uint64_t seed, uint32_t purpose, uint32_t index);

/// The next word of each lane.
void random_words(RandomStream& stream, std::span<uint32_t, randomLanes> out);

/// Uniform, above 0 and up to 1, in steps of 2^-53.
[[nodiscard]] double random_uniform(RandomStream& stream);

/// Standard normal. None beyond 7.4, where one in 10^13 would be.
[[nodiscard]] double random_normal(RandomStream& stream);
/// Two that are independent, for what one takes.
[[nodiscard]] std::complex<double> random_normalPair(RandomStream& stream);
void random_normals(RandomStream& stream, std::span<float> out);

/// Gamma of an integer shape from 0 (always 0), with mean `shape`.
[[nodiscard]] double random_gamma(RandomStream& stream, uint32_t shape);
/// `shape` at least 1.
void random_gammas(RandomStream& stream, uint32_t shape, std::span<float> out);

} // namespace vi
