#pragma once
/// Integer and double helpers without state. All are pure and callable from any thread.
///
/// Results come back through the first argument where an operation is told so; a result may be one of the operands.

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

/// A 128-bit number in two halves.
struct tvmath_uint128 {
    uint64_t low;
    uint64_t high;
};

/// A multiplier: `integer` + `fraction` / 2^32.
struct FixedPointU32U32 {
    uint32_t integer;
    uint32_t fraction; // in units of 2^-32
};

inline constexpr double tvmath_pi = 3.141592653589793;

constexpr int32_t tvmath_signum(int32_t x) {
    return (x > 0) - (x < 0);
}

/// The one value whose magnitude does not fit, -2147483648, gives 2147483647.
constexpr int32_t tvmath_abs(int32_t x) {
    if (x == std::numeric_limits<int32_t>::min())
        return std::numeric_limits<int32_t>::max();
    return x < 0 ? -x : x;
}

constexpr int32_t tvmath_min(int32_t a, int32_t b) {
    return a < b ? a : b;
}
constexpr int32_t tvmath_max(int32_t a, int32_t b) {
    return a > b ? a : b;
}

/// The first operand if it is smaller (larger), else the second: a NaN on either side gives the second.
constexpr float tvmath_minf(float a, float b) {
    return a < b ? a : b;
}
constexpr float tvmath_maxf(float a, float b) {
    return a > b ? a : b;
}
constexpr double tvmath_mind(double a, double b) {
    return a < b ? a : b;
}
constexpr double tvmath_maxd(double a, double b) {
    return a > b ? a : b;
}

/// Square root by exactly eight Newton steps from x: good to 2e-7 for x of 0.001 to 1000, ever rougher away from there
/// (1e6 gives 3991), NaN where x * x overflows. 0 for x at or below 0.
double tvmath_sqrt(double x);

/// The power of two, from 2 on, that lies nearest in the sense 3/4 p <= x < 3/2 p. 1 for 0. From 3 * 2^30 up the result
/// stays at 2^31, the largest that fits.
constexpr uint32_t tvmath_roundToPow2(uint32_t x) {
    if (x == 0)
        return 1;
    if (x < 3)
        return 2;
    constexpr uint32_t largest = uint32_t{1} << 31;
    const uint32_t below = std::bit_floor(x);
    return below != largest && x - below >= below / 2 ? below * 2 : below;
}

/// Splits `total` over two stages, each good for up to `highLimit`: up to `lowLimit` the first takes all, then both
/// share, then the first stays at its limit. More than both can take gives both at `highLimit`.
void tvmath_distributeValue2(int32_t total, int32_t lowLimit, int32_t highLimit, int32_t* first, int32_t* second);

/// Sum modulo 2^128.
constexpr void tvmath_add_uint128(tvmath_uint128* result, const tvmath_uint128* a, const tvmath_uint128* b) {
    const uint64_t low = a->low + b->low;
    const uint64_t carry = low < a->low ? 1 : 0;
    *result = {low, a->high + b->high + carry};
}

/// The full 128-bit product.
constexpr void tvmath_mul_uint64(tvmath_uint128* result, uint64_t a, uint64_t b) {
    __extension__ using Wide = unsigned __int128;
    const Wide product = static_cast<Wide>(a) * b;
    *result = {static_cast<uint64_t>(product), static_cast<uint64_t>(product >> 64)};
}

/// Quotient of a 128-bit number by a 64-bit one; `remainder`, if not null, receives the rest. The quotient must fit:
/// `n.high` < `divisor`, else the result is 2^64 - 1 and the rest 0.
uint64_t tvmath_div_uint128(tvmath_uint128 n, uint64_t divisor, uint64_t* remainder);

/// The fraction floor(2^64 * `n` / `d`), exact for every `n` below `d`; 2^64 - 1 for all others.
uint64_t tvmath_fraction_uint128(tvmath_uint128 n, tvmath_uint128 d);

/// The multiplier nearest below x. 0 for x at or below 0 and for NaN; the largest multiplier for x of 2^32 or more.
void tvmath_double2FixedPointU32U32(FixedPointU32U32* result, double x);

/// x to the n-th power modulo 2^32; 1 for n = 0.
constexpr uint32_t tvmath_pow(uint32_t x, uint32_t n) {
    uint32_t power = 1;
    for (; n != 0; n >>= 1, x *= x)
        if (n & 1)
            power *= x;
    return power;
}

/// floor(log2(x)); 0 for x below 2.
constexpr uint32_t tvmath_integerLog2(uint32_t x) {
    return x < 2 ? 0 : static_cast<uint32_t>(std::bit_width(x)) - 1;
}

constexpr double tvmath_degree2rad(double degree) {
    return degree * 2 * tvmath_pi / 360;
}
constexpr double tvmath_rad2degree(double rad) {
    return rad * 360 / (2 * tvmath_pi);
}

/// Brings an angle in radians into 0 to 2 pi. 2 pi itself can come out of a negative angle only: of one just below a
/// multiple of 2 pi, by rounding, and of a negative multiple.
double tvmath_fitAngleInto2rad(double angle);

/// Periodic wave forms of an angle in radians; values from -1 to 1. The ramps pass 0 at pi, the triangle starts at 1 as
/// a cosine does, the square is the triangle's sign.
double tvmath_rampup(double angle);
double tvmath_rampdown(double angle);
double tvmath_square(double angle);
double tvmath_triangle(double angle);

/// Finds a fraction near x by a Stern-Brocot search whose terms stay below `limit`; the numerator carries the sign of
/// x. Takes up to 2 * `limit` steps. Returns 1 for a negative x, else 0.
int tvmath_rationalApproximation(double x, int32_t limit, int32_t* numerator, int32_t* denominator);

/// Greatest common divisor; 0 divides as the other operand does, so gcd(0, 0) is 0.
uint64_t tvmath_gcd(uint64_t a, uint64_t b);
