#include "drivers/FTW.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <random>

namespace {

__extension__ using Wide = unsigned __int128;

constexpr tvfreq hertz(int64_t whole, uint64_t fraction = 0) {
    return {whole, fraction};
}

Wide bitsOf(const tvfreq& f) {
    return Wide(uint64_t(f.intPart)) << 64 | f.fracPart;
}

/// floor(2^n * fout / fin) one bit at a time, for fout < fin.
uint64_t wordByBits(const tvfreq& fin, const tvfreq& fout, uint32_t n) {
    Wide rest = bitsOf(fout);
    uint64_t word = 0;
    for (uint32_t bit = 0; bit < n; ++bit) {
        const bool carry = rest >> 127 != 0;
        rest <<= 1;
        word <<= 1;
        if (carry || rest >= bitsOf(fin)) {
            rest -= bitsOf(fin);
            word |= 1;
        }
    }
    return word;
}

uint64_t wordOf(const tvfreq& fin, const tvfreq& fout, uint32_t n) {
    FTW record;
    FTW_init(&record, n);
    FTW_set(&record, fin, fout);
    return record.ftw;
}

TEST(Ftw, IsTheExactFloorForAnyFrequencies) {
    std::mt19937_64 random(1);
    const auto randomFrequency = [&] {
        tvfreq f = hertz(int64_t(random() >> 1), random());
        tvfreqShiftRight(&f, random() % 64);
        if (random() % 4 == 0) // few bits set, or nearly all: digits of the quotient at their limits
            f.fracPart = random() % 2 == 0 ? 0 : ~uint64_t{0} << random() % 64;
        return f;
    };
    for (int i = 0; i < 100000; ++i) {
        tvfreq fin = randomFrequency(), fout = randomFrequency();
        if (i % 3 == 0) { // the same leading bits
            fout = fin;
            fout.fracPart = random();
        }
        if (tvfreqCompare(&fout, &fin) > 0)
            std::swap(fin, fout);
        if (tvfreqCompare(&fout, &fin) == 0)
            continue;
        const uint32_t n = 1 + uint32_t(random() % 64);
        ASSERT_EQ(wordOf(fin, fout, n), wordByBits(fin, fout, n))
            << fin.intPart << "+" << fin.fracPart << " " << fout.intPart << "+" << fout.fracPart << " " << n;
    }
}

TEST(Ftw, KnownWordsAndFrequenciesBeyondTheRange) {
    const struct {
        tvfreq fin, fout;
        uint32_t bits;
        uint64_t word;
    } cases[] = {
        {hertz(1'000'000'000), hertz(100'000'000), 48, 28147497671065}, // floor(2^48 / 10)
        {hertz(3), hertz(1), 1, 0},
        {hertz(0, 2), hertz(0, 1), 64, uint64_t{1} << 63},
        {hertz(0), hertz(0), 24, 0},
        {hertz(-5), hertz(1), 24, 0},
        {hertz(INT64_MIN), hertz(INT64_MIN), 24, 0},
        {hertz(100), hertz(100), 24, (1 << 24) - 1},
        {hertz(100), hertz(INT64_MAX), 64, UINT64_MAX},
    };
    for (const auto& c : cases)
        EXPECT_EQ(wordOf(c.fin, c.fout, c.bits), c.word) << c.fin.intPart << " " << c.fout.intPart;
}

/// The nearest of all values with the pattern in the low n bits, around `word`; the upper of two.
uint64_t nearestWithPattern(uint64_t word, uint32_t n, uint64_t pattern) {
    const uint64_t mask = (uint64_t{1} << n) - 1;
    const Wide low = Wide((word & ~mask) | (pattern & mask));
    Wide best = low;
    const auto distance = [&](Wide value) { return value > word ? value - word : word - value; };
    for (const Wide other : {low - mask - 1, low + mask + 1})
        if (other >> 64 == 0 &&
            (distance(other) < distance(best) || (distance(other) == distance(best) && other > best)))
            best = other;
    return uint64_t(best);
}

TEST(Ftw, RoundsToTheNearestValueWithAPattern) {
    std::mt19937_64 random(2);
    for (int i = 0; i < 100000; ++i) {
        const uint32_t n = uint32_t(random() % 64);
        uint64_t word = random(), pattern = random();
        if (i % 4 == 0)
            word = i % 8 == 0 ? word >> random() % 64 : ~(word >> random() % 64); // near the ends of the range
        if (i % 4 == 1 && n > 0)
            word = pattern + (uint64_t{1} << (n - 1)); // half-way
        uint64_t rounded = word;
        FTW_roundToPattern(&rounded, n, uint32_t(pattern), uint32_t(pattern >> 32));
        ASSERT_EQ(rounded, nearestWithPattern(word, n, pattern)) << word << " " << n << " " << pattern;
    }
    uint64_t word = 0x30000000;
    FTW_roundToPattern(&word, 64, 1, 2);
    EXPECT_EQ(word, 0x2'0000'0001u);
}

TEST(Ftw, RoundsToMultiplesAndHalvesDown) {
    const struct {
        uint64_t word;
        uint32_t n;
        uint64_t rounded;
    } cases[] = {
        {6, 2, 4},
        {7, 2, 8},
        {0x180000000, 32, uint64_t{1} << 32},
        {0x180000001, 32, uint64_t{2} << 32},
        {UINT64_MAX, 8, UINT64_MAX - 255},
        {UINT64_MAX, 64, 0},
    };
    for (const auto& c : cases) {
        uint64_t word = c.word;
        FTW_round(&word, c.n);
        EXPECT_EQ(word, c.rounded) << c.word << " " << c.n;
    }
}

TEST(Ftw, TheRealFrequenciesAreThoseOfTheWord) {
    std::mt19937_64 random(3);
    FTW record;
    FTW_init(&record, 64);
    for (int i = 0; i < 100000; ++i) {
        tvfreq fin = hertz(int64_t(random() >> 1), random());
        tvfreqShiftRight(&fin, random() % 64);
        record.ftw = random() >> random() % 64;
        tvfreq fout, back;
        FTW_calcRealFout(&record, &fin, &fout);
        // By halves of the word: the 192-bit product, without its last 64 bits.
        const Wide clock = bitsOf(fin), low = uint64_t(clock) * Wide(record.ftw);
        ASSERT_EQ(bitsOf(fout), (clock >> 64) * record.ftw + (low >> 64));
        if (record.ftw == 0)
            continue;
        // back * ftw <= fout * 2^64 < (back + 1) * ftw, and so back is at most fin.
        FTW_calcRealFin(&record, &fout, &back);
        ASSERT_LE(tvfreqCompare(&back, &fin), 0);
        tvfreq next = back;
        constexpr tvfreq least = hertz(0, 1);
        tvfreqAdd(&next, &next, &least);
        tvfreq atBack, atNext;
        FTW_calcRealFout(&record, &back, &atBack);
        FTW_calcRealFout(&record, &next, &atNext);
        ASSERT_LE(tvfreqCompare(&atBack, &fout), 0);
        ASSERT_GE(tvfreqCompare(&atNext, &fout), 0);
    }
    const tvfreq minus = hertz(-3, uint64_t{1} << 63); // -2.5 Hz
    record.ftw = uint64_t{1} << 63;
    tvfreq result;
    FTW_calcRealFout(&record, &minus, &result);
    EXPECT_EQ(result, hertz(-2, uint64_t{3} << 62)) << "-1.25 Hz";
    FTW_calcRealFin(&record, &result, &result);
    EXPECT_EQ(result, minus);
    record.ftw = 1;
    const tvfreq large = hertz(1000);
    FTW_calcRealFin(&record, &large, &result);
    EXPECT_EQ(result, hertz(INT64_MAX, UINT64_MAX)) << "does not fit";
    record.ftw = 0;
    FTW_calcRealFin(&record, &large, &result);
    EXPECT_EQ(result, hertz(0));
}

} // namespace
