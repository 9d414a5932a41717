#pragma once
/// Random numbers, and values that the hardware can set.

#include <cstdint>

/// Starts the numbers of this file anew: after the same seed the same ones follow. Without a call they are those after
/// the seed 1.
void tvstuff_seedRandom(uint32_t seed);

/// A normal deviate by the polar method, which makes two at a time; the second is kept for the next call.
[[nodiscard]] float tvstuff_randn(float mean, float sigma);

/// An integer of the closed range `low` to `high`, all equally likely.
[[nodiscard]] int32_t tvstuff_getRandomNumber(int32_t low, int32_t high);

/// The value nearest to `ohm` that the digital resistor of the loop filter can set: 538 to 250150 ohms in steps of 244.
/// What lies beyond gives 538 or 249906.
[[nodiscard]] int32_t roundResistance(double ohm);
