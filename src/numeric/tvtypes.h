#pragma once
/// The quantities that run through the firmware (frequency, power, time, angle), addresses and bit fields.
///
/// A frequency is a 128-bit fixed-point number: tuning words of 48 bits and more survive multiplication and division by
/// divider ratios without the rounding of a double. Its arithmetic is integer only and wraps modulo 2^128 without a
/// report. Results go through the first pointer, which may be one of the operands.

#include "numeric/tvmath.h"

#include <cstdint>

/// `intPart` + `fracPart` / 2^64 Hz, from -2^63 to just under 2^63 Hz: one two's-complement number, so -0.5 Hz is
/// {-1, 2^63}.
struct tvfreq {
    int64_t intPart;   // whole hertz, floored
    uint64_t fracPart; // in units of 2^-64 Hz

    friend constexpr bool operator==(const tvfreq&, const tvfreq&) = default;
};

using tvpow = float;         // dBm
using tv_time = double;      // seconds
using tv_angle = double;     // radians
using tv_abstime = uint64_t; // nanoseconds of rt_timer_read

inline constexpr int tvtypes_listFull = -321;
inline constexpr int tvtypes_badAddress = -224;

namespace tvtypes_detail {

__extension__ using Wide = unsigned __int128;
__extension__ using SignedWide = __int128;

constexpr Wide bits(const tvfreq& f) {
    return static_cast<Wide>(static_cast<uint64_t>(f.intPart)) << 64 | f.fracPart;
}
constexpr tvfreq fromBits(Wide bits) {
    return {static_cast<int64_t>(static_cast<uint64_t>(bits >> 64)), static_cast<uint64_t>(bits)};
}

} // namespace tvtypes_detail

/// 1 if the value is below 0, else 0.
constexpr int tvfreqNegative(const tvfreq* f) {
    return f->intPart < 0 ? 1 : 0;
}

/// -`f`; the lowest value, -2^63 Hz, stays itself.
constexpr void tvfreqInvert(tvfreq* result, const tvfreq* f) {
    *result = tvtypes_detail::fromBits(-tvtypes_detail::bits(*f));
}

constexpr void tvfreqAdd(tvfreq* result, const tvfreq* a, const tvfreq* b) {
    *result = tvtypes_detail::fromBits(tvtypes_detail::bits(*a) + tvtypes_detail::bits(*b));
}

constexpr void tvfreqSubtract(tvfreq* result, const tvfreq* a, const tvfreq* b) {
    *result = tvtypes_detail::fromBits(tvtypes_detail::bits(*a) - tvtypes_detail::bits(*b));
}

/// `f` * `m`. `overflow`, if not null, receives the word of the product above the 128 bits; it tells nothing when `f`
/// is negative.
constexpr void tvfreqMultiplyByUint32_ov(tvfreq* result, const tvfreq* f, uint32_t m, uint32_t* overflow) {
    using tvtypes_detail::Wide;
    const Wide low = static_cast<Wide>(f->fracPart) * m;
    const Wide high = static_cast<Wide>(static_cast<uint64_t>(f->intPart)) * m + static_cast<uint64_t>(low >> 64);
    *result = {static_cast<int64_t>(static_cast<uint64_t>(high)), static_cast<uint64_t>(low)};
    if (overflow != nullptr)
        *overflow = static_cast<uint32_t>(high >> 64);
}

/// `f` * `m`, where `m` is read as unsigned: -1 multiplies by 2^32 - 1.
constexpr void tvfreqMultiplyByInt32(tvfreq* result, const tvfreq* f, int32_t m) {
    tvfreqMultiplyByUint32_ov(result, f, static_cast<uint32_t>(m), nullptr);
}

/// `f` * `p`. Drops the bits of `f` below 2^-32 Hz for the fraction of `p`: up to `p->fraction` * 2^-64 Hz too low.
constexpr void tvfreqMultiplyByFixedPointU32U32(tvfreq* result, const tvfreq* f, const FixedPointU32U32* p) {
    const auto shifted = static_cast<tvtypes_detail::SignedWide>(tvtypes_detail::bits(*f)) >> 32;
    const auto fractional = static_cast<tvtypes_detail::Wide>(shifted) * p->fraction;
    *result = tvtypes_detail::fromBits(tvtypes_detail::bits(*f) * p->integer + fractional);
}

/// `f` times the double at `factor`, whose bits below 2^-32 are dropped. A factor of 0 or less gives 0; one of 2^32 or
/// more counts as just under 2^32.
inline void tvfreqMultiplyByDouble(tvfreq* result, const tvfreq* f, const double* factor) {
    FixedPointU32U32 multiplier;
    tvmath_double2FixedPointU32U32(&multiplier, *factor);
    tvfreqMultiplyByFixedPointU32U32(result, f, &multiplier);
}

/// `f` / `d`, rounded toward zero to 2^-64 Hz. `d` is positive; 0 and negative divisors give 0.
constexpr void tvfreqDivideByInt32(tvfreq* result, const tvfreq* f, int32_t d) {
    if (d <= 0) {
        *result = {0, 0};
        return;
    }
    const bool negative = f->intPart < 0;
    tvfreq magnitude = *f;
    if (negative)
        tvfreqInvert(&magnitude, &magnitude);
    // Long division in base 2^32: the machine divides 64 bits by 32, where a 128-bit division would be a library call.
    const auto divisor = static_cast<uint64_t>(d);
    const auto whole = static_cast<uint64_t>(magnitude.intPart);
    const uint64_t upper = (whole % divisor) << 32 | magnitude.fracPart >> 32;
    const uint64_t lower = (upper % divisor) << 32 | (magnitude.fracPart & 0xFFFFFFFF);
    *result = {static_cast<int64_t>(whole / divisor), (upper / divisor) << 32 | lower / divisor};
    if (negative)
        tvfreqInvert(result, result);
}

/// In place, `n` from 0 to 63. The shift to the right copies the sign in from the left.
constexpr void tvfreqShiftRight(tvfreq* f, unsigned n) {
    const auto value = static_cast<tvtypes_detail::SignedWide>(tvtypes_detail::bits(*f));
    *f = tvtypes_detail::fromBits(static_cast<tvtypes_detail::Wide>(value >> (n & 63)));
}
constexpr void tvfreqShiftLeft(tvfreq* f, unsigned n) {
    *f = tvtypes_detail::fromBits(tvtypes_detail::bits(*f) << (n & 63));
}

/// 1 if `a` > `b`, -1 if `a` < `b`, else 0.
constexpr int tvfreqCompare(const tvfreq* a, const tvfreq* b) {
    if (a->intPart != b->intPart)
        return a->intPart > b->intPart ? 1 : -1;
    return (a->fracPart > b->fracPart) - (a->fracPart < b->fracPart);
}

/// Against whole hertz: `f` > `hertz`, and `f` >= `hertz`.
constexpr bool tvfreqAboveInt(const tvfreq& f, int64_t hertz) {
    return f.intPart > hertz || (f.intPart == hertz && f.fracPart != 0);
}
constexpr bool tvfreqAtLeastInt(const tvfreq& f, int64_t hertz) {
    return f.intPart >= hertz;
}

/// Clamps in place to `min` and `max`, both in whole hertz.
constexpr void tvfreqLimitInt(tvfreq* f, int64_t min, int64_t max) {
    if (f->intPart < min)
        *f = {min, 0};
    if (f->intPart > max || (f->intPart == max && f->fracPart != 0))
        *f = {max, 0};
}

/// The value in Hz; `out`, if not null, receives it as well. Above 2^53 Hz the low bits of the whole part are lost.
double tvfreq2double(const tvfreq* f, double* out);
/// The same with each word rounded to single precision first.
float tvfreq2float(const tvfreq* f, float* out);

/// From Hz. A negative value keeps its whole part only, truncated toward zero. Values that do not fit give the nearest
/// limit of tvfreq, NaN gives 0.
void double2tvfreq(const double* in, tvfreq* f);
void float2tvfreq(const float* in, tvfreq* f);

/// Nanoseconds to seconds.
constexpr tv_time tv_abstime2tv_time(tv_abstime t) {
    return static_cast<double>(t) * 1e-9;
}

/// Appends `f` to the list if its whole-hertz part is above 0; other values are passed over. Returns 0, or -321 when
/// the list is full, whether or not `f` would have been stored.
[[nodiscard]] int tvfreqArrayAppend(tvfreq* array, int32_t capacity, int32_t* count, tvfreq f);

/// Sorts in place; equal elements keep their order. Meant for short lists: n^2 comparisons at worst.
void tvfreqSortArrayAscending(tvfreq* array, int32_t n);

/// For each element from index 1 on, removes those that equal it at higher indices; the new length goes to `newCount`.
/// Not a strict removal of repeats: index 0 is not compared, and the element that moves into a gap is passed over.
void tvfreqSkipArrayMultiples(tvfreq* array, int32_t n, int32_t* newCount);

constexpr void tvpowMultiplyByInt32(tvpow* result, const tvpow* a, int32_t m) {
    *result = *a * static_cast<float>(m);
}
constexpr void tvpowMultiplyByUint32(tvpow* result, const tvpow* a, uint32_t m) {
    *result = *a * static_cast<float>(m);
}
constexpr void tvpowDivideByInt32(tvpow* result, const tvpow* a, int32_t d) {
    *result = *a / static_cast<float>(d);
}
constexpr void tvpowAdd(tvpow* result, const tvpow* a, const tvpow* b) {
    *result = *a + *b;
}
constexpr void tvpowSubtract(tvpow* result, const tvpow* a, const tvpow* b) {
    *result = *a - *b;
}
/// 1 if `a` > `b`, -1 if `a` < `b`, else 0, also for NaN.
constexpr int tvpowCompare(const tvpow* a, const tvpow* b) {
    return (*a > *b) - (*a < *b);
}

/// Longest dotted quad with its NUL.
inline constexpr int ipv4TextSize = 16;

/// Writes the dotted quad of an address whose first octet is in the top byte; `dst` has ipv4TextSize bytes. Returns 0.
int ipv4ToString(char* dst, uint32_t address);

/// Reads a dotted quad of four decimal octets. Returns 0, or -224 (`dst` untouched) for anything else, a null text
/// included.
[[nodiscard]] int stringToIpv4(uint32_t* dst, const char* text);

/// Bits `msb` down to `lsb` of a 32-bit word, both inclusive; 31 >= `msb` >= `lsb`.
constexpr uint32_t bitFieldMask(unsigned msb, unsigned lsb) {
    return ~uint32_t{0} >> (31 - msb) & ~uint32_t{0} << lsb;
}
/// Writes the low bits of `value` into the field; the other bits of the word stay.
constexpr void setBfU32(uint32_t* word, unsigned msb, unsigned lsb, uint32_t value) {
    const uint32_t mask = bitFieldMask(msb, lsb);
    *word = (*word & ~mask) | (value << lsb & mask);
}
constexpr uint32_t getBfU32(uint32_t word, unsigned msb, unsigned lsb) {
    return (word & bitFieldMask(msb, lsb)) >> lsb;
}
