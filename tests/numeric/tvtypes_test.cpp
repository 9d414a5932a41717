#include "numeric/tvtypes.h"

#include <array>
#include <bitset>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <string>
#include <vector>

/// For the messages of a failed comparison.
void PrintTo(const tvfreq& f, std::ostream* out) {
    *out << '{' << f.intPart << ", 0x" << std::hex << f.fracPart << std::dec << '}';
}

namespace {

constexpr uint64_t half = uint64_t{1} << 63;
constexpr int64_t lowestInt = std::numeric_limits<int64_t>::min();
constexpr int64_t highestInt = std::numeric_limits<int64_t>::max();

/// The second way to compute: a 192-bit two's-complement number, one bit at a time.
using Bits = std::bitset<192>;

Bits toBits(const tvfreq& f) {
    Bits bits;
    for (size_t i = 0; i < 64; ++i) {
        bits[i] = f.fracPart >> i & 1;
        bits[64 + i] = static_cast<uint64_t>(f.intPart) >> i & 1;
        bits[128 + i] = f.intPart < 0;
    }
    return bits;
}

uint64_t wordAt(const Bits& bits, size_t low) {
    return ((bits >> low) & Bits(~0ULL)).to_ullong();
}

tvfreq toFreq(const Bits& bits) {
    return {static_cast<int64_t>(wordAt(bits, 64)), wordAt(bits, 0)};
}

Bits add(const Bits& a, const Bits& b) {
    Bits sum;
    bool carry = false;
    for (size_t i = 0; i < sum.size(); ++i) {
        sum[i] = a[i] ^ b[i] ^ carry;
        carry = a[i] + b[i] + carry > 1;
    }
    return sum;
}

Bits negate(const Bits& a) {
    return add(~a, Bits(1));
}

Bits multiply(const Bits& a, uint32_t m) {
    Bits product;
    for (size_t i = 0; i < 32; ++i)
        if (m >> i & 1)
            product = add(product, a << i);
    return product;
}

Bits shiftRight(const Bits& a, size_t n) {
    return a[191] ? ~(~a >> n) : a >> n;
}

Bits divide(const Bits& a, uint32_t d) {
    const Bits magnitude = a[191] ? negate(a) : a;
    Bits quotient;
    uint64_t remainder = 0;
    for (size_t i = magnitude.size(); i-- > 0;) {
        remainder = remainder * 2 + magnitude[i];
        quotient[i] = remainder >= d;
        if (remainder >= d)
            remainder -= d;
    }
    return a[191] ? negate(quotient) : quotient;
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

TEST(Frequency, AddsSubtractsAndComparesLikeAdditionBitByBit) {
    const std::vector<tvfreq> values = hardValues();
    for (const tvfreq& a : values) {
        tvfreq inverse;
        tvfreqInvert(&inverse, &a);
        EXPECT_EQ(inverse, toFreq(negate(toBits(a)))) << testing::PrintToString(a);
        for (const tvfreq& b : values) {
            const Bits difference = add(toBits(a), negate(toBits(b)));
            tvfreq sum = a; // a result may be an operand
            tvfreqAdd(&sum, &sum, &b);
            tvfreq rest = b;
            tvfreqSubtract(&rest, &a, &rest);
            ASSERT_EQ(sum, toFreq(add(toBits(a), toBits(b))));
            ASSERT_EQ(rest, toFreq(difference));
            ASSERT_EQ(tvfreqCompare(&a, &b), difference.none() ? 0 : difference[191] ? -1 : 1);
        }
    }
}

TEST(Frequency, MultipliesAndDividesLikeLongArithmeticBitByBit) {
    for (const tvfreq& f : hardValues()) {
        for (const uint32_t m : hardFactors) {
            const Bits product = multiply(toBits(f), m);
            tvfreq result = f;
            uint32_t overflow = 0;
            tvfreqMultiplyByUint32_ov(&result, &result, m, &overflow);
            ASSERT_EQ(result, toFreq(product)) << testing::PrintToString(f) << " * " << m;
            if (!tvfreqNegative(&f)) {
                ASSERT_EQ(overflow, wordAt(product, 128));
            }

            result = f;
            tvfreqMultiplyByInt32(&result, &result, static_cast<int32_t>(m));
            ASSERT_EQ(result, toFreq(product));

            const auto d = static_cast<int32_t>(m);
            if (d > 0) {
                result = f;
                tvfreqDivideByInt32(&result, &result, d);
                ASSERT_EQ(result, toFreq(divide(toBits(f), m))) << testing::PrintToString(f) << " / " << m;
            }
        }
    }
}

TEST(Frequency, MultipliesByAFixedPointPairOfAnySize) {
    for (const tvfreq& f : hardValues()) {
        for (const uint32_t integer : hardFactors) {
            for (const uint32_t fraction : hardFactors) {
                const Bits whole = multiply(toBits(f), integer);
                const Bits part = multiply(shiftRight(toBits(f), 32), fraction);
                const FixedPointU32U32 multiplier{integer, fraction};
                tvfreq result = f;
                tvfreqMultiplyByFixedPointU32U32(&result, &result, &multiplier);
                ASSERT_EQ(result, toFreq(add(whole, part))) << testing::PrintToString(f);
            }
        }
    }
}

TEST(Frequency, ShiftsThroughBothWords) {
    for (const tvfreq& f : hardValues()) {
        for (unsigned n = 0; n < 64; ++n) {
            tvfreq right = f;
            tvfreqShiftRight(&right, n);
            ASSERT_EQ(right, toFreq(shiftRight(toBits(f), n))) << testing::PrintToString(f) << " >> " << n;
            tvfreq left = f;
            tvfreqShiftLeft(&left, n);
            ASSERT_EQ(left, toFreq(toBits(f) << n)) << testing::PrintToString(f) << " << " << n;
        }
    }
}

TEST(Frequency, MultipliesByADoubleToWithinThirtyTwoBits) {
    const struct {
        double factor;
        tvfreq expected; // of 6.9 GHz
    } cases[] = {
        {-1.0, {0, 0}}, {0.0, {0, 0}}, {std::nan(""), {0, 0}}, {0.5, {3450000000, 0}}, {2.25, {15525000000, 0}},
    };
    const tvfreq f{6900000000, 0};
    for (const auto& [factor, expected] : cases) {
        tvfreq result;
        tvfreqMultiplyByDouble(&result, &f, &factor);
        EXPECT_EQ(result, expected) << factor;
    }
    const double factor = 1.023; // exact to 2^-32, so to 1.6 Hz here
    tvfreq result;
    tvfreqMultiplyByDouble(&result, &f, &factor);
    EXPECT_LE(tvfreq2double(&result, nullptr), 6.9e9 * factor);
    EXPECT_NEAR(tvfreq2double(&result, nullptr), 6.9e9 * factor, 6.9e9 / 4294967296.0);
}

TEST(Frequency, DivisorsOutsideTheRangeGiveZero) {
    for (const int32_t d : {0, -1, std::numeric_limits<int32_t>::min()}) {
        tvfreq result{5, 5};
        tvfreqDivideByInt32(&result, &result, d);
        EXPECT_EQ(result, (tvfreq{0, 0})) << d;
    }
}

TEST(Frequency, IsLimitedToWholeHertz) {
    const struct {
        tvfreq f;
        tvfreq expected;
    } cases[] = {
        {{9, ~0ULL}, {10, 0}}, {{10, 0}, {10, 0}}, {{10, half}, {10, half}}, {{19, ~0ULL}, {19, ~0ULL}},
        {{20, 0}, {20, 0}},    {{20, 1}, {20, 0}}, {{21, 0}, {20, 0}},       {{-1, half}, {10, 0}},
    };
    for (const auto& [f, expected] : cases) {
        tvfreq limited = f;
        tvfreqLimitInt(&limited, 10, 20);
        EXPECT_EQ(limited, expected) << testing::PrintToString(f);
    }
}

TEST(Frequency, ConvertsFromAndToFloatingPoint) {
    const struct {
        double value;
        tvfreq expected;
    } cases[] = {
        {0.0, {0, 0}},
        {1.5, {1, half}},
        {1e9 + 0.25, {1000000000, half / 2}},
        {-3.5, {-3, 0}}, // the fraction of a negative value is dropped
        {-0.75, {0, 0}},
        {-7.0, {-7, 0}},
        {std::ldexp(1.0, -64), {0, 1}},
        {std::ldexp(1.0, -65), {0, 0}},
        {1.0 - std::ldexp(1.0, -53), {0, ~0ULL << 11}},
        {1e300, {highestInt, ~0ULL}},
        {std::ldexp(1.0, 63), {highestInt, ~0ULL}},
        {-std::ldexp(1.0, 63), {lowestInt, 0}},
        {-std::numeric_limits<double>::infinity(), {lowestInt, 0}},
        {std::nan(""), {0, 0}},
    };
    for (const auto& [value, expected] : cases) {
        tvfreq f;
        double2tvfreq(&value, &f);
        EXPECT_EQ(f, expected) << value;
        const auto single = static_cast<float>(value);
        if (single == value) {
            float2tvfreq(&single, &f);
            EXPECT_EQ(f, expected) << value;
        }
    }
    const tvfreq minusHalf{-1, half};
    double asDouble = 0;
    EXPECT_EQ(tvfreq2double(&minusHalf, &asDouble), -0.5);
    EXPECT_EQ(asDouble, -0.5);
    // Single precision rounds each word before the sum: 2^24 + 1 loses its last bit, and 1 - 2^-64 becomes 1.
    const tvfreq uneven{(1 << 24) + 1, ~0ULL};
    float asFloat = 0;
    EXPECT_EQ(tvfreq2float(&uneven, &asFloat), 16777216.0F);
    EXPECT_EQ(asFloat, 16777216.0F);
    EXPECT_EQ(tv_abstime2tv_time(1500000000), 1500000000.0 * 1e-9);
}

TEST(FrequencyList, TakesPositiveWholeHertzUntilFull) {
    std::array<tvfreq, 2> list{};
    int32_t count = 0;
    for (const tvfreq& passedOver : {tvfreq{0, half}, tvfreq{0, 0}, tvfreq{-5, 0}})
        EXPECT_EQ(tvfreqArrayAppend(list.data(), 2, &count, passedOver), 0);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(tvfreqArrayAppend(list.data(), 2, &count, {1, 0}), 0);
    EXPECT_EQ(tvfreqArrayAppend(list.data(), 2, &count, {7, 3}), 0);
    EXPECT_EQ(tvfreqArrayAppend(list.data(), 2, &count, {8, 0}), -321);
    EXPECT_EQ(tvfreqArrayAppend(list.data(), 2, &count, {0, half}), -321);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(list[1], (tvfreq{7, 3}));
}

TEST(FrequencyList, IsSortedBySignedWholeAndUnsignedFraction) {
    tvfreq list[] = {{3, 0}, {-1, half}, {3, ~0ULL}, {-1, half / 2}, {lowestInt, 5}, {3, 1}};
    const tvfreq expected[] = {{lowestInt, 5}, {-1, half / 2}, {-1, half}, {3, 0}, {3, 1}, {3, ~0ULL}};
    tvfreqSortArrayAscending(list, 6);
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(list[i], expected[i]) << i;
    tvfreqSortArrayAscending(list, 0);
    EXPECT_EQ(list[0], expected[0]);
}

TEST(FrequencyList, RepeatsAreRemovedFromTheSecondElementOnSkippingTheGap) {
    const struct {
        std::vector<int64_t> list;
        std::vector<int64_t> expected;
    } cases[] = {
        {{5, 5, 6, 5}, {5, 5, 6}},    // index 0 is never compared
        {{0, 5, 5, 5, 5}, {0, 5, 5}}, // the one in the gap is passed over, then caught as an element of its own
        {{0, 1, 2, 1, 3, 2}, {0, 1, 2, 3}}, {{4}, {4}}, {{}, {}},
    };
    for (const auto& [list, expected] : cases) {
        std::vector<tvfreq> frequencies;
        for (const int64_t hertz : list)
            frequencies.push_back({hertz, 9});
        int32_t count = -1;
        tvfreqSkipArrayMultiples(frequencies.data(), static_cast<int32_t>(list.size()), &count);
        std::vector<int64_t> left;
        for (int32_t i = 0; i < count; ++i)
            left.push_back(frequencies[static_cast<size_t>(i)].intPart);
        EXPECT_EQ(left, expected);
    }
}

TEST(Power, ArithmeticReadsTheSignOfItsFactor) {
    const tvpow minusTen = -10;
    tvpow result = minusTen;
    tvpowMultiplyByInt32(&result, &result, -3);
    EXPECT_EQ(result, 30.0F);
    tvpowMultiplyByUint32(&result, &minusTen, 0xFFFFFFFF);
    EXPECT_EQ(result, -42949672960.0F);
    tvpowDivideByInt32(&result, &minusTen, -4);
    EXPECT_EQ(result, 2.5F);
    tvpowSubtract(&result, &result, &minusTen);
    EXPECT_EQ(result, 12.5F);
    const tvpow undefined = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(tvpowCompare(&minusTen, &result), -1);
    EXPECT_EQ(tvpowCompare(&result, &minusTen), 1);
    EXPECT_EQ(tvpowCompare(&result, &undefined), 0);
}

TEST(Address, GoesThroughTextAndBack) {
    for (const char* text : {"0.0.0.0", "192.168.1.254", "255.255.255.255", "1.2.3.4"}) {
        uint32_t address = 0;
        EXPECT_EQ(stringToIpv4(&address, text), 0) << text;
        char back[ipv4TextSize];
        EXPECT_EQ(ipv4ToString(back, address), 0);
        EXPECT_STREQ(back, text);
    }
    uint32_t address = 0;
    EXPECT_EQ(stringToIpv4(&address, "10.1.2.3"), 0);
    EXPECT_EQ(address, 0x0A010203U);
}

TEST(Address, AnythingButFourOctetsIsRefusedAndStoresNothing) {
    const char* const broken[] = {"",
                                  "1",
                                  "1.2.3",
                                  "1.2.3.4.5",
                                  "1..3.4",
                                  ".1.2.3",
                                  "1.2.3.",
                                  "1.2.3.4 ",
                                  "256.1.1.1",
                                  "1.2.3.4x",
                                  "1.2.3.999999999999999999999",
                                  "a.b.c.d",
                                  "1,2,3,4",
                                  "-1.2.3.4",
                                  nullptr};
    for (const char* text : broken) {
        uint32_t address = 0xDEADBEEF;
        EXPECT_EQ(stringToIpv4(&address, text), -224) << (text != nullptr ? text : "null");
        EXPECT_EQ(address, 0xDEADBEEFU);
    }
}

TEST(BitField, EveryFieldIsWrittenAndReadAlone) {
    constexpr uint32_t before = 0xA5C3967E;
    constexpr uint32_t value = 0x93B1C5D7;
    for (unsigned msb = 0; msb < 32; ++msb) {
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
}

} // namespace
