#include "boards/is_plan.h"

#include <cmath>
#include <initializer_list>

namespace {

constexpr int64_t divideByAFrom_Hz = 800'000'000;
constexpr uint32_t aMax = 8, bMax = 4;

/// The pair to try next; false after the last.
bool advance(IsDividers* dividers, const tvfreq& f) {
    const bool byA = tvfreqAboveInt(f, divideByAFrom_Hz);
    if (byA && dividers->a < aMax / 2)
        dividers->a *= 2;
    else if (dividers->b < bMax)
        ++dividers->b;
    else if (byA && dividers->a < aMax)
        *dividers = {.a = 2 * dividers->a, .b = 1};
    else
        return false;
    return true;
}

bool isGood(const IsDividers& dividers, const tvfreq& f) {
    const int64_t compared = f.intPart / (dividers.a * dividers.b);
    if (compared > isDirectMax_Hz)
        return false;
    return (dividers.a == aMax && dividers.b == bMax) || is_isSpurFree(compared);
}

} // namespace

IsDividers is_planDividers(const tvfreq& f) {
    IsDividers dividers;
    while (advance(&dividers, f) && !isGood(dividers, f)) {
    }
    return dividers;
}

bool is_isSpurFree(int64_t hertz) {
    constexpr double clock_Hz = 1e9;
    constexpr float cleanUpTo = 2.4F, near = 0.04F, beyond = -0.5F;
    constexpr int numeratorMin = 7, numeratorMax = 29;
    const auto quotient = static_cast<float>(clock_Hz / static_cast<double>(hertz));
    if (quotient <= cleanUpTo)
        return true;
    for (const int denominator : {3, 4, 5})
        for (int numerator = numeratorMin; numerator <= numeratorMax; ++numerator) {
            const float distance = quotient - static_cast<float>(numerator) / static_cast<float>(denominator);
            if (distance <= beyond)
                return true;
            if (distance != 0 && std::fabs(distance) < near)
                return false;
        }
    return true;
}
