#include "numeric/tvmath.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <numeric>
#include <random>

namespace {

constexpr double pi = tvmath_pi;
constexpr int32_t lowest = std::numeric_limits<int32_t>::min();
constexpr int32_t highest = std::numeric_limits<int32_t>::max();

TEST(Math, SquareRootIsExactNearOneAndStopsAfterEightSteps) {
    EXPECT_EQ(tvmath_sqrt(0), 0);
    EXPECT_EQ(tvmath_sqrt(-4), 0);
    for (double x = 0.05; x < 200; x *= 1.07)
        EXPECT_NEAR(tvmath_sqrt(x), std::sqrt(x), 1e-14 * x + 1e-15) << x;
    // From far away each step halves: 1e12 / 2^8, and the residue that the sum of the halved x / y terms leaves.
    EXPECT_NEAR(tvmath_sqrt(1e12), 1e12 / 256, 100);
}

TEST(Math, IntegersAtTheEndsOfTheirRange) {
    EXPECT_EQ(tvmath_abs(lowest), highest);
    EXPECT_EQ(tvmath_abs(lowest + 1), highest);
    EXPECT_EQ(tvmath_abs(-5), 5);
    EXPECT_EQ(tvmath_signum(lowest), -1);
    EXPECT_EQ(tvmath_signum(0), 0);
    EXPECT_EQ(tvmath_signum(highest), 1);
}

TEST(Math, AnUnorderedPairGivesTheSecond) {
    const double undefined = std::nan("");
    EXPECT_EQ(tvmath_mind(undefined, 1), 1);
    EXPECT_EQ(tvmath_maxd(undefined, 1), 1);
    EXPECT_TRUE(std::isnan(tvmath_mind(1, undefined)));
    EXPECT_TRUE(std::isnan(tvmath_maxf(1, std::nanf(""))));
}

TEST(Math, RoundsToThePowerWhoseOneAndAHalfTimesExceeds) {
    EXPECT_EQ(tvmath_roundToPow2(0), 1U);
    const auto bySearch = [](uint32_t x) {
        uint64_t power = 2;
        while (power + power / 2 <= x)
            power *= 2;
        return power;
    };
    for (uint32_t x = 1; x < 20000; ++x)
        ASSERT_EQ(tvmath_roundToPow2(x), bySearch(x)) << x;
    for (const uint32_t x : {0x5FFFFFFFU, 0x60000000U, 0x80000000U, 0xBFFFFFFFU})
        EXPECT_EQ(tvmath_roundToPow2(x), bySearch(x)) << x;
    EXPECT_EQ(tvmath_roundToPow2(0xC0000000), 0x80000000U);
    EXPECT_EQ(tvmath_roundToPow2(0xFFFFFFFF), 0x80000000U);
}

TEST(Math, TwoStagesShareWithoutLossUntilBothAreFull) {
    constexpr int32_t low = 5;
    constexpr int32_t high = 31;
    int32_t previousFirst = 0;
    int32_t previousSecond = 0;
    for (int32_t total = 0; total < 80; ++total) {
        int32_t first = -1;
        int32_t second = -1;
        tvmath_distributeValue2(total, low, high, &first, &second);
        EXPECT_EQ(first + second, std::min(total, 2 * high)) << total;
        EXPECT_LE(first, high);
        EXPECT_GE(first, previousFirst) << total;
        EXPECT_GE(second, previousSecond) << total;
        if (total <= low) {
            EXPECT_EQ(first, total);
        }
        previousFirst = first;
        previousSecond = second;
    }
    int32_t first = 0;
    int32_t second = 0;
    tvmath_distributeValue2(20, low, high, &first, &second);
    EXPECT_EQ(first, 12);
    EXPECT_EQ(second, 8);
    tvmath_distributeValue2(highest, highest - 1, highest, &first, &second); // the sums need more than 32 bits
    EXPECT_EQ(first, highest - 1);
    EXPECT_EQ(second, 1);
}

TEST(Math, WideProductsAndSumsFollowSchoolbookArithmetic) {
    constexpr uint64_t words[] = {0, 1, 0xFFFFFFFF, 0x100000000, 0x8000000000000000, ~1ULL, ~0ULL, 0xFEDCBA9876543210};
    for (const uint64_t a : words) {
        for (const uint64_t b : words) {
            // a * b from four 32-bit products
            const uint64_t ll = (a & 0xFFFFFFFF) * (b & 0xFFFFFFFF);
            const uint64_t lh = (a & 0xFFFFFFFF) * (b >> 32);
            const uint64_t hl = (a >> 32) * (b & 0xFFFFFFFF);
            const uint64_t hh = (a >> 32) * (b >> 32);
            const uint64_t middle = (ll >> 32) + (lh & 0xFFFFFFFF) + (hl & 0xFFFFFFFF);
            tvmath_uint128 product;
            tvmath_mul_uint64(&product, a, b);
            EXPECT_EQ(product.low, (ll & 0xFFFFFFFF) | middle << 32);
            EXPECT_EQ(product.high, hh + (lh >> 32) + (hl >> 32) + (middle >> 32));

            // (a, b) + (b, a), one bit at a time
            const tvmath_uint128 left{a, b};
            const tvmath_uint128 right{b, a};
            tvmath_uint128 sum = left;
            tvmath_add_uint128(&sum, &sum, &right);
            tvmath_uint128 expected{0, 0};
            unsigned carry = 0;
            for (unsigned bit = 0; bit < 128; ++bit) {
                const auto at = [bit](const tvmath_uint128& x) {
                    return static_cast<unsigned>((bit < 64 ? x.low : x.high) >> (bit % 64) & 1);
                };
                const unsigned digit = at(left) + at(right) + carry;
                (bit < 64 ? expected.low : expected.high) |= uint64_t{digit & 1} << (bit % 64);
                carry = digit >> 1;
            }
            EXPECT_EQ(sum.low, expected.low);
            EXPECT_EQ(sum.high, expected.high);
        }
    }
}

TEST(Math, FixedPointTruncatesAndStaysInRange) {
    const struct {
        double x;
        FixedPointU32U32 expected;
    } cases[] = {
        {-0.5, {0, 0}},
        {0, {0, 0}},
        {1.5, {1, 0x80000000}},
        {std::ldexp(1.0, -32), {0, 1}},
        {std::ldexp(0.999, -32), {0, 0}},
        {4294967295.75, {0xFFFFFFFF, 0xC0000000}},
        {4294967296.0, {0xFFFFFFFF, 0xFFFFFFFF}},
        {std::numeric_limits<double>::infinity(), {0xFFFFFFFF, 0xFFFFFFFF}},
        {std::nan(""), {0, 0}},
    };
    for (const auto& [x, expected] : cases) {
        FixedPointU32U32 result{7, 7};
        tvmath_double2FixedPointU32U32(&result, x);
        EXPECT_EQ(result.integer, expected.integer) << x;
        EXPECT_EQ(result.fraction, expected.fraction) << x;
    }
}

TEST(Math, PowersWrapAndLogarithmsRoundDown) {
    EXPECT_EQ(tvmath_pow(0, 0), 1U);
    for (const uint32_t base : {0U, 1U, 2U, 3U, 10U, 0xFFFFFFFFU}) {
        uint32_t product = 1;
        for (uint32_t n = 0; n < 40; ++n, product *= base)
            ASSERT_EQ(tvmath_pow(base, n), product) << base << '^' << n;
    }
    EXPECT_EQ(tvmath_integerLog2(0), 0U);
    EXPECT_EQ(tvmath_integerLog2(1), 0U);
    for (uint32_t n = 1; n < 32; ++n) {
        EXPECT_EQ(tvmath_integerLog2(1U << n), n);
        EXPECT_EQ(tvmath_integerLog2((1U << n) - 1), n - 1);
    }
    EXPECT_EQ(tvmath_integerLog2(0xFFFFFFFF), 31U);
}

TEST(Math, AnglesAreFittedToTheSamePointOfTheCircle) {
    EXPECT_EQ(tvmath_fitAngleInto2rad(0), 0);
    EXPECT_EQ(tvmath_fitAngleInto2rad(2 * pi), 0);
    EXPECT_EQ(tvmath_fitAngleInto2rad(-2 * pi), 2 * pi);
    for (double angle = -100; angle < 100; angle += 0.37) {
        const double fitted = tvmath_fitAngleInto2rad(angle);
        EXPECT_GE(fitted, 0) << angle;
        EXPECT_LE(fitted, 2 * pi) << angle;
        EXPECT_NEAR(std::sin(fitted), std::sin(angle), 1e-12) << angle;
        EXPECT_NEAR(std::cos(fitted), std::cos(angle), 1e-12) << angle;
    }
    EXPECT_DOUBLE_EQ(tvmath_degree2rad(90), pi / 2);
    EXPECT_DOUBLE_EQ(tvmath_rad2degree(-pi), -180);
}

TEST(Math, WaveFormsFollowTheirClosedForms) {
    for (double angle = -20; angle < 20; angle += 0.173) {
        // saw and triangle by way of the inverse functions of the circle
        const double saw = std::atan2(std::sin(angle - pi), std::cos(angle - pi)) / pi;
        EXPECT_NEAR(tvmath_rampup(angle), saw, 1e-12) << angle;
        EXPECT_NEAR(tvmath_rampdown(angle), -saw, 1e-12) << angle;
        EXPECT_NEAR(tvmath_triangle(angle), 1 - std::acos(std::cos(angle)) / (pi / 2), 1e-7) << angle;
        EXPECT_EQ(tvmath_square(angle), std::cos(angle) > 0 ? 1.0 : -1.0) << angle;
    }
    EXPECT_EQ(tvmath_square(pi / 2), -1.0);
    EXPECT_EQ(tvmath_square(3 * pi / 2), -1.0);
}

TEST(Math, RationalApproximationFindsTheKnownConvergents) {
    const struct {
        double x;
        int32_t limit;
        int32_t numerator;
        int32_t denominator;
    } cases[] = {
        {pi, 100, 22, 7},         {pi, 400, 355, 113}, {-0.75, 100, -3, 4}, {0, 50, 0, 1},
        {2.5, 1000, 5, 2},        {1e-9, 100, 0, 1},   {99.4, 50, 49, 1},   {std::sqrt(2), 200, 140, 99},
        {0.333, 2000, 333, 1000}, {5, 1, 0, 1},
    };
    for (const auto& [x, limit, numerator, denominator] : cases) {
        int32_t n = -1;
        int32_t d = -1;
        EXPECT_EQ(tvmath_rationalApproximation(x, limit, &n, &d), x < 0 ? 1 : 0);
        EXPECT_EQ(n, numerator) << x << " below " << limit;
        EXPECT_EQ(d, denominator) << x << " below " << limit;
    }
}

TEST(Math, GreatestCommonDivisorAgreesWithEuclid) {
    EXPECT_EQ(tvmath_gcd(0, 0), 0U);
    EXPECT_EQ(tvmath_gcd(0, 12), 12U);
    EXPECT_EQ(tvmath_gcd(~0ULL, 0), ~0ULL);
    EXPECT_EQ(tvmath_gcd(~0ULL, ~0ULL - 2), 1U); // the sum of the two needs 65 bits
    std::mt19937_64 random(4);
    for (int i = 0; i < 20000; ++i) {
        const uint64_t common = random() >> (random() % 64);
        const uint64_t a = (random() >> (random() % 64)) * common; // products wrap: any value will do
        const uint64_t b = (random() >> (random() % 64)) * common;
        ASSERT_EQ(tvmath_gcd(a, b), std::gcd(a, b)) << a << ' ' << b;
    }
}

} // namespace
