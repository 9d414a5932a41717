#include "numeric/tvmath.h"

#include <utility>

double tvmath_sqrt(double x) {
    if (x <= 0)
        return 0;
    constexpr int newtonSteps = 8;
    double y = x;
    for (int step = 0; step < newtonSteps; ++step)
        y = (y * y + x) / (2 * y);
    return y;
}

void tvmath_distributeValue2(int32_t total, int32_t lowLimit, int32_t highLimit, int32_t* first, int32_t* second) {
    const int64_t sum = total;
    const int64_t low = lowLimit;
    const int64_t high = highLimit;
    if (sum < low) {
        *first = total;
        *second = 0;
    } else if (sum < 2 * high - low) {
        *first = static_cast<int32_t>((low + sum) / 2);
        *second = static_cast<int32_t>((sum + 1 - low) / 2);
    } else if (sum <= 2 * high) {
        *first = highLimit;
        *second = static_cast<int32_t>(sum - high);
    } else {
        *first = highLimit;
        *second = highLimit;
    }
}

void tvmath_double2FixedPointU32U32(FixedPointU32U32* result, double x) {
    constexpr double two32 = 4294967296.0;
    constexpr uint32_t full = std::numeric_limits<uint32_t>::max();
    if (!(x > 0)) {
        *result = {0, 0};
    } else if (x >= two32) {
        *result = {full, full};
    } else {
        const auto integer = static_cast<uint32_t>(x);
        *result = {integer, static_cast<uint32_t>((x - integer) * two32)};
    }
}

double tvmath_fitAngleInto2rad(double angle) {
    constexpr double turn = 2 * tvmath_pi;
    if (angle >= turn)
        return angle - turn * std::floor(angle / turn);
    if (angle < 0)
        return angle + turn * std::floor(-angle / turn) + turn;
    return angle;
}

double tvmath_rampup(double angle) {
    return (tvmath_fitAngleInto2rad(angle) - tvmath_pi) / tvmath_pi;
}

double tvmath_rampdown(double angle) {
    return (tvmath_pi - tvmath_fitAngleInto2rad(angle)) / tvmath_pi;
}

double tvmath_square(double angle) {
    const double fitted = tvmath_fitAngleInto2rad(angle);
    return fitted < tvmath_pi / 2 || fitted > 3 * tvmath_pi / 2 ? 1.0 : -1.0;
}

double tvmath_triangle(double angle) {
    constexpr double quarter = tvmath_pi / 2;
    const double fitted = tvmath_fitAngleInto2rad(angle);
    return fitted < tvmath_pi ? (quarter - fitted) / quarter : (fitted - 3 * quarter) / quarter;
}

int tvmath_rationalApproximation(double x, int32_t limit, int32_t* numerator, int32_t* denominator) {
    struct Fraction {
        int32_t above;
        int32_t below;
        double value() const { return static_cast<double>(above) / below; }
    };
    const bool negative = x < 0;
    const double magnitude = std::abs(x);
    Fraction lower{0, 1};
    Fraction upper{1, 0};
    while (true) {
        const int64_t above = int64_t{lower.above} + upper.above;
        const int64_t below = int64_t{lower.below} + upper.below;
        if (above >= limit || below >= limit)
            break;
        const Fraction mediant{static_cast<int32_t>(above), static_cast<int32_t>(below)};
        (mediant.value() < magnitude ? lower : upper) = mediant;
    }
    const bool takeUpper = upper.below != 0 && upper.value() - magnitude < magnitude - lower.value();
    const Fraction nearest = takeUpper ? upper : lower;
    *numerator = negative ? -nearest.above : nearest.above;
    *denominator = nearest.below;
    return negative ? 1 : 0;
}

uint64_t tvmath_gcd(uint64_t a, uint64_t b) {
    if (a == 0 || b == 0)
        return a | b;
    const int commonTwos = std::countr_zero(a | b);
    a >>= std::countr_zero(a);
    b >>= std::countr_zero(b);
    while (a != b) {
        if (a < b)
            std::swap(a, b);
        // Of two odd numbers either the difference or the sum is a multiple of 4. The sum may need 65 bits; both halves
        // lose a one, which together make up the half of the sum.
        const bool lowBitsAgree = ((a ^ b) & 2) == 0;
        a = lowBitsAgree ? (a - b) / 4 : (a / 2 + b / 2 + 1) / 2;
        a >>= std::countr_zero(a);
    }
    return a << commonTwos;
}

namespace {

__extension__ using Wide = unsigned __int128;

Wide wide(tvmath_uint128 n) {
    return static_cast<Wide>(n.high) << 64 | n.low;
}

} // namespace

uint64_t tvmath_div_uint128(tvmath_uint128 n, uint64_t divisor, uint64_t* remainder) {
    const bool fits = n.high < divisor;
    const Wide quotient = fits ? wide(n) / divisor : UINT64_MAX;
    if (remainder != nullptr)
        *remainder = fits ? static_cast<uint64_t>(wide(n) - quotient * divisor) : 0;
    return static_cast<uint64_t>(quotient);
}

// One digit of a long division in base 2^64 (Knuth, The Art of Computer Programming, 4.3.1, algorithm D): with the top
// bit of the divisor set, its high word alone gives a quotient that is at most two too large.
uint64_t tvmath_fraction_uint128(tvmath_uint128 n, tvmath_uint128 d) {
    if (wide(n) >= wide(d))
        return UINT64_MAX;
    const int shift = d.high != 0 ? std::countl_zero(d.high) : 64 + (std::countl_zero(d.low) & 63); // d is not 0
    const Wide numerator = wide(n) << shift;
    const Wide denominator = wide(d) << shift;
    const auto high = static_cast<uint64_t>(denominator >> 64);
    const auto low = static_cast<uint64_t>(denominator);
    uint64_t quotient;
    Wide rest;
    if (static_cast<uint64_t>(numerator >> 64) < high) {
        quotient = static_cast<uint64_t>(numerator / high);
        rest = numerator - static_cast<Wide>(quotient) * high;
    } else { // equal: the digit is the largest there is
        quotient = UINT64_MAX;
        rest = static_cast<Wide>(static_cast<uint64_t>(numerator)) + high;
    }
    while (rest >> 64 == 0 && static_cast<Wide>(quotient) * low > rest << 64) {
        --quotient;
        rest += high;
    }
    return quotient;
}
