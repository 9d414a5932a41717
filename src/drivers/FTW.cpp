#include "drivers/FTW.h"

#include <algorithm>

namespace {

constexpr uint32_t wordBits = 64;

tvmath_uint128 magnitudeOf(tvfreq f) {
    if (tvfreqNegative(&f))
        tvfreqInvert(&f, &f);
    return {f.fracPart, static_cast<uint64_t>(f.intPart)};
}

/// `bits` as a tvfreq with the sign of `like`; at most the largest tvfreq.
tvfreq signedLike(const tvfreq& like, tvmath_uint128 bits) {
    tvfreq result{static_cast<int64_t>(bits.high), bits.low};
    if (bits.high > INT64_MAX)
        result = {INT64_MAX, UINT64_MAX};
    if (tvfreqNegative(&like))
        tvfreqInvert(&result, &result);
    return result;
}

uint64_t lowBits(uint32_t n) {
    return n >= wordBits ? UINT64_MAX : (uint64_t{1} << n) - 1;
}

/// floor(2^64 * fout / fin)
uint64_t FTW_calcFtwFast(const tvfreq& fin, const tvfreq& fout) {
    constexpr tvfreq zero{};
    if (tvfreqCompare(&fin, &zero) <= 0 || tvfreqCompare(&fout, &zero) <= 0)
        return 0;
    return tvmath_fraction_uint128(magnitudeOf(fout), magnitudeOf(fin));
}

} // namespace

void FTW_init(FTW* record, uint32_t bits) {
    *record = FTW{.bits = bits, .fin = {}, .fout = {}, .ftw = 0};
    FTW_calcFTW(record);
}

void FTW_presetIn(FTW* record, tvfreq fin) {
    record->fin = fin;
}

void FTW_presetOut(FTW* record, tvfreq fout) {
    record->fout = fout;
}

void FTW_calcPreset(FTW* record) {
    FTW_calcFTW(record);
}

void FTW_calcFTW(FTW* record) {
    const uint32_t bits = std::clamp(record->bits, 1U, wordBits);
    record->ftw = FTW_calcFtwFast(record->fin, record->fout) >> (wordBits - bits);
}

void FTW_setIn(FTW* record, tvfreq fin) {
    record->fin = fin;
    FTW_calcFTW(record);
}

void FTW_setOut(FTW* record, tvfreq fout) {
    record->fout = fout;
    FTW_calcFTW(record);
}

void FTW_set(FTW* record, tvfreq fin, tvfreq fout) {
    record->fin = fin;
    record->fout = fout;
    FTW_calcFTW(record);
}

void FTW_roundToPattern(uint64_t* word, uint32_t n, uint32_t low, uint32_t high) {
    const uint64_t mask = lowBits(n);
    const uint64_t pattern = static_cast<uint64_t>(high) << 32 | low;
    const uint64_t candidate = (*word & ~mask) | (pattern & mask);
    const uint64_t step = mask + 1; // 0 for n of 64, where there is one candidate only
    if (candidate <= *word) {
        const uint64_t above = candidate + step;
        const bool aboveFits = above > candidate;
        *word = !aboveFits || *word - candidate < above - *word ? candidate : above;
    } else {
        const uint64_t below = candidate - step;
        const bool belowFits = below < candidate;
        *word = !belowFits || candidate - *word <= *word - below ? candidate : below;
    }
}

void FTW_round(uint64_t* word, uint32_t n) {
    const uint64_t mask = lowBits(n);
    const uint64_t rest = *word & mask;
    const uint64_t below = *word - rest;
    const bool up = rest > mask / 2 + (mask & 1) && below + mask + 1 > below;
    *word = up ? below + mask + 1 : below;
}

void FTW_calcRealFout(const FTW* record, const tvfreq* fin, tvfreq* result) {
    const tvmath_uint128 clock = magnitudeOf(*fin);
    tvmath_uint128 whole, fraction;
    tvmath_mul_uint64(&whole, clock.high, record->ftw);
    tvmath_mul_uint64(&fraction, clock.low, record->ftw);
    const tvmath_uint128 carried{fraction.high, 0};
    tvmath_add_uint128(&whole, &whole, &carried);
    *result = signedLike(*fin, whole);
}

void FTW_calcRealFin(const FTW* record, const tvfreq* fout, tvfreq* result) {
    if (record->ftw == 0) {
        *result = {};
        return;
    }
    // The three digits of the quotient in base 2^64; the first has no place in a tvfreq.
    const tvmath_uint128 wanted = magnitudeOf(*fout);
    uint64_t rest = wanted.high % record->ftw;
    const bool fits = wanted.high < record->ftw;
    tvmath_uint128 quotient;
    quotient.high = tvmath_div_uint128({wanted.low, rest}, record->ftw, &rest);
    quotient.low = tvmath_div_uint128({0, rest}, record->ftw, nullptr);
    *result = signedLike(*fout, fits ? quotient : tvmath_uint128{UINT64_MAX, UINT64_MAX});
}
