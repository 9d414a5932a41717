#include "numeric/tvtypes.h"

#include <cmath>
#include <gtest/gtest.h>
#include <random>
#include <vector>

/// For the messages of a failed comparison.
void PrintTo(const tvfreq& f, std::ostream* out) {
    *out << '{' << f.intPart << ", 0x" << std::hex << f.fracPart << std::dec << '}';
}

namespace {

__extension__ using Wide = unsigned __int128;
__extension__ using SignedWide = __int128;

constexpr uint64_t half = uint64_t{1} << 63;

Wide toWide(const tvfreq& f) {
    return static_cast<Wide>(static_cast<uint64_t>(f.intPart)) << 64 | f.fracPart;
}
SignedWide toSigned(const tvfreq& f) {
    return static_cast<SignedWide>(toWide(f));
}
tvfreq toFreq(Wide bits) {
    return {static_cast<int64_t>(bits >> 64), static_cast<uint64_t>(bits)};
}

/// By doubling and adding, one bit of `m` at a time; `overflow` is what leaves the top.
tvfreq multiply(Wide f, uint32_t m, uint32_t* overflow) {
    Wide product = 0;
    *overflow = 0;
    for (int bit = 31; bit >= 0; --bit) {
        *overflow = *overflow * 2 + static_cast<uint32_t>(product >> 127);
        product *= 2;
        if (m >> bit & 1) {
            product += f;
            *overflow += product < f;
        }
    }
    return toFreq(product);
}

/// Every pair of words at which a carry, a borrow or a sign turns over, and random ones.
std::vector<tvfreq> hardValues() {
    constexpr uint64_t words[] = {0,        1,    0x7FFFFFFF, 0x80000000, 0xFFFFFFFF, 0x100000000, 0xFFFFFFFF00000000,
                                  half - 1, half, half + 1,   ~1ULL,      ~0ULL,      3ULL << 62,  0x5555555555555555};
    std::vector<tvfreq> values;
    for (const uint64_t high : words)
        for (const uint64_t low : words)
            values.push_back({static_cast<int64_t>(high), low});
    std::mt19937_64 random(11);
    for (int i = 0; i < 200; ++i)
        values.push_back({static_cast<int64_t>(random() >> (random() % 64)), random()});
    return values;
}

constexpr uint32_t hardFactors[] = {0, 1, 2, 3, 7, 10, 0xFFFF, 0x10001, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFE, 0xFFFFFFFF};

// Throughout, a result may be an operand.

TEST(Frequency, AddsSubtractsComparesAndShiftsAsOneNumber) {
    const std::vector<tvfreq> values = hardValues();
    for (const tvfreq& a : values) {
        tvfreq result = a;
        tvfreqInvert(&result, &result);
        EXPECT_EQ(result, toFreq(0 - toWide(a))) << testing::PrintToString(a);
        for (const tvfreq& b : values) {
            result = a;
            tvfreqAdd(&result, &result, &b);
            ASSERT_EQ(result, toFreq(toWide(a) + toWide(b)));
            result = b;
            tvfreqSubtract(&result, &a, &result);
            ASSERT_EQ(result, toFreq(toWide(a) - toWide(b)));
            ASSERT_EQ(tvfreqCompare(&a, &b), (toSigned(a) > toSigned(b)) - (toSigned(a) < toSigned(b)));
        }
        for (unsigned n = 0; n < 64; ++n) {
            result = a;
            tvfreqShiftRight(&result, n);
            ASSERT_EQ(result, toFreq(static_cast<Wide>(toSigned(a) >> n))) << testing::PrintToString(a) << " >> " << n;
            result = a;
            tvfreqShiftLeft(&result, n);
            ASSERT_EQ(result, toFreq(toWide(a) << n)) << testing::PrintToString(a) << " << " << n;
        }
    }
}

TEST(Frequency, MultipliesAndDividesWithAllItsBits) {
    for (const tvfreq& f : hardValues())
        for (const uint32_t m : hardFactors) {
            uint32_t expectedOverflow = 0;
            const tvfreq product = multiply(toWide(f), m, &expectedOverflow);
            tvfreq result = f;
            uint32_t overflow = 0;
            tvfreqMultiplyByUint32_ov(&result, &result, m, &overflow);
            ASSERT_EQ(result, product) << testing::PrintToString(f) << " * " << m;
            ASSERT_TRUE(tvfreqNegative(&f) || overflow == expectedOverflow) << testing::PrintToString(f) << " * " << m;
            const auto signedFactor = static_cast<int32_t>(m);
            result = f;
            tvfreqMultiplyByInt32(&result, &result, signedFactor);
            ASSERT_EQ(result, product);
            result = f;
            tvfreqDivideByInt32(&result, &result, signedFactor);
            const SignedWide quotient = signedFactor > 0 ? toSigned(f) / signedFactor : 0; // no other divisor counts
            ASSERT_EQ(result, toFreq(static_cast<Wide>(quotient))) << testing::PrintToString(f) << " / " << m;

            for (const uint32_t fraction : hardFactors) {
                const tvfreq part = multiply(static_cast<Wide>(toSigned(f) >> 32), fraction, &overflow);
                const FixedPointU32U32 multiplier{m, fraction};
                result = f;
                tvfreqMultiplyByFixedPointU32U32(&result, &result, &multiplier);
                ASSERT_EQ(result, toFreq(toWide(product) + toWide(part))) << testing::PrintToString(f);
            }
        }
}

TEST(Frequency, IsLimitedToWholeHertz) {
    const std::pair<tvfreq, tvfreq> cases[] = {
        {{9, ~0ULL}, {10, 0}}, {{10, half}, {10, half}}, {{19, ~0ULL}, {19, ~0ULL}},
        {{20, 1}, {20, 0}},    {{21, 0}, {20, 0}},       {{-1, half}, {10, 0}},
    };
    for (auto [f, expected] : cases) {
        tvfreqLimitInt(&f, 10, 20);
        EXPECT_EQ(f, expected);
    }
}

TEST(Frequency, ConvertsFromAndToFloatingPoint) {
    const std::pair<double, tvfreq> cases[] = {
        {1e9 + 0.25, {1000000000, half / 2}},
        {-3.5, {-3, 0}}, // the fraction of a negative value is dropped
        {std::ldexp(1.0, -64), {0, 1}},
        {1.0 - std::ldexp(1.0, -53), {0, ~0ULL << 11}},
        {std::ldexp(1.0, 63), {INT64_MAX, ~0ULL}},
        {-std::ldexp(1.0, 63), {INT64_MIN, 0}},
        {-HUGE_VAL, {INT64_MIN, 0}},
        {std::nan(""), {0, 0}},
    };
    for (const auto& [value, expected] : cases) {
        tvfreq f;
        double2tvfreq(&value, &f);
        EXPECT_EQ(f, expected) << value;
        if (const auto single = static_cast<float>(value); single == value) {
            float2tvfreq(&single, &f);
            EXPECT_EQ(f, expected) << value;
        }
    }
    const tvfreq one{1, 0};
    for (const auto& [factor, expected] :
         {std::pair{-0.5, tvfreq{0, 0}}, {0x1.ffp-32, {0, 1ULL << 32}}, {4294967296.0, {0xFFFFFFFF, ~0ULL << 32}}}) {
        tvfreq product{7, 7}; // of 64 bits of the factor
        tvfreqMultiplyByDouble(&product, &one, &factor);
        EXPECT_EQ(product, expected) << factor;
    }
    const tvfreq minusHalf{-1, half};
    EXPECT_EQ(tvfreq2double(&minusHalf, nullptr), -0.5);
    // Single precision rounds each word before the sum: 2^24 + 1 loses its last bit, and 1 - 2^-64 becomes 1.
    const tvfreq uneven{(1 << 24) + 1, ~0ULL};
    EXPECT_EQ(tvfreq2float(&uneven, nullptr), 16777216.0F);
}

TEST(FrequencyList, TakesPositiveWholeHertzUntilFull) {
    std::vector<tvfreq> list(2);
    int32_t count = 0;
    const auto append = [&](const tvfreq& f) { return tvfreqArrayAppend(list.data(), 2, &count, f); };
    for (const tvfreq& f : {tvfreq{0, half}, tvfreq{1, 0}, tvfreq{0, 0}, tvfreq{-5, 0}, tvfreq{7, 3}})
        EXPECT_EQ(append(f), 0);
    EXPECT_EQ(append({8, 0}), -321);
    EXPECT_EQ(append({0, half}), -321);
    EXPECT_EQ(list, (std::vector<tvfreq>{{1, 0}, {7, 3}}));
}

TEST(FrequencyList, IsSortedBySignedWholeAndUnsignedFraction) {
    std::vector<tvfreq> list{{3, 0}, {-1, half}, {3, ~0ULL}, {-1, half / 2}, {INT64_MIN, 5}, {3, 1}};
    tvfreqSortArrayAscending(list.data(), 6);
    EXPECT_EQ(list, (std::vector<tvfreq>{{INT64_MIN, 5}, {-1, half / 2}, {-1, half}, {3, 0}, {3, 1}, {3, ~0ULL}}));
}

TEST(FrequencyList, RepeatsAreRemovedFromTheSecondElementOnSkippingTheGap) {
    const tvfreq a{4, 9};
    const tvfreq b{5, 9};
    const tvfreq c{5, 8};
    const std::pair<std::vector<tvfreq>, std::vector<tvfreq>> cases[] = {
        {{b, b, c, b}, {b, b, c}},    // index 0 is never compared
        {{a, b, b, b, b}, {a, b, b}}, // the one in the gap is passed over, then caught as an element of its own
        {{c, b, a, b, c, a}, {c, b, a, c}},
    };
    for (auto [list, expected] : cases) {
        int32_t count = -1;
        tvfreqSkipArrayMultiples(list.data(), static_cast<int32_t>(list.size()), &count);
        list.resize(static_cast<size_t>(count));
        EXPECT_EQ(list, expected);
    }
}

TEST(Address, IsFourOctetsAndNothingElse) {
    uint32_t address = 1;
    for (const char* text : {"0.0.0.0", "192.168.1.254", "255.255.255.255", "10.1.2.3"}) {
        EXPECT_EQ(stringToIpv4(&address, text), 0) << text;
        char back[ipv4TextSize];
        EXPECT_EQ(ipv4ToString(back, address), 0);
        EXPECT_STREQ(back, text);
    }
    for (const char* text :
         {"", "1.2.3", "1.2.3.4.5", "1..3.4", ".1.2.3", "1.2.3.", "1.2.3.4 ", "256.1.1.1", "1.2.3.4x",
          "1.2.3.999999999999999999999", "a.b.c.d", "1,2,3,4", "-1.2.3.4", static_cast<const char*>(nullptr)})
        EXPECT_EQ(stringToIpv4(&address, text), -224) << (text != nullptr ? text : "null");
    EXPECT_EQ(address, 0x0A010203U) << "a refused text stores nothing";
}

TEST(BitField, EveryFieldIsWrittenAndReadAlone) {
    constexpr uint32_t before = 0xA5C3967E;
    constexpr uint32_t value = 0x93B1C5D7;
    for (unsigned msb = 0; msb < 32; ++msb)
        for (unsigned lsb = 0; lsb <= msb; ++lsb) {
            uint32_t expected = before;
            for (unsigned bit = lsb; bit <= msb; ++bit)
                expected = (expected & ~(1U << bit)) | ((value >> (bit - lsb) & 1) << bit);
            uint32_t word = before;
            setBfU32(&word, msb, lsb, value);
            EXPECT_EQ(word, expected) << msb << ':' << lsb;
            EXPECT_EQ(getBfU32(word, msb, lsb), value & (0xFFFFFFFF >> (31 - (msb - lsb)))) << msb << ':' << lsb;
        }
}

} // namespace
