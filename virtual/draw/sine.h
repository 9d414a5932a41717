#pragma once
/// A sine of plain arithmetic, which is the same everywhere and of which a processor does several at once.

#include <algorithm>
#include <cmath>

namespace vi {

/// Sine of a phase in turns from -0.5 to 0.5, within 1e-7.
inline float sineOfTurns(float turns) {
    constexpr float c1 = 6.28318531F, c3 = -41.3417022F, c5 = 81.6052493F, c7 = -76.7058597F, c9 = 42.0586939F,
                    c11 = -15.0946426F; // its series: (2 pi)^n / n!
    const float size = std::abs(turns), folded = std::min(size, 0.5F - size), x2 = folded * folded;
    const float sine = folded * (c1 + x2 * (c3 + x2 * (c5 + x2 * (c7 + x2 * (c9 + x2 * c11)))));
    return std::copysign(sine, turns);
}

} // namespace vi
