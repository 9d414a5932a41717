#include "numeric/tvmath.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <numeric>
#include <random>

namespace {

constexpr double pi = tvmath_pi;

TEST(Math, SquareRootIsExactNearOneAndStopsAfterEightSteps) {
    EXPECT_EQ(tvmath_sqrt(-4), 0);
    for (double x = 0.05; x < 200; x *= 1.07)
        EXPECT_NEAR(tvmath_sqrt(x), std::sqrt(x), 1e-14 * x + 1e-15) << x;
    // From far away each step halves: 1e12 / 2^8, and the residue that the sum of the halved x / y terms leaves.
    EXPECT_NEAR(tvmath_sqrt(1e12), 1e12 / 256, 100);
}

TEST(Math, IntegersHoldInRangeWrapOrCarry) {
    EXPECT_EQ(tvmath_abs(INT32_MIN), INT32_MAX);
    EXPECT_EQ(tvmath_pow(0x10001, 3), 0x30001U); // wraps
    EXPECT_EQ(tvmath_integerLog2(0x7FFFFFFF), 30U);
    const tvmath_uint128 one{1, 0};
    tvmath_uint128 sum{~0ULL, 6};
    tvmath_add_uint128(&sum, &one, &sum);
    EXPECT_EQ(std::pair(sum.low, sum.high), std::pair(uint64_t{0}, uint64_t{7}));
}

TEST(Math, RoundsToThePowerWhoseOneAndAHalfTimesExceeds) {
    EXPECT_EQ(tvmath_roundToPow2(0), 1U);
    const auto check = [](uint32_t x) {
        uint64_t power = 2;
        while (power + power / 2 <= x)
            power *= 2;
        EXPECT_EQ(tvmath_roundToPow2(x), std::min(power, uint64_t{1} << 31)) << x;
    };
    for (uint32_t x = 1; x < 20000; ++x)
        check(x);
    for (const uint32_t x : {0x5FFFFFFFU, 0x60000000U, 0xBFFFFFFFU, 0xC0000000U, 0xFFFFFFFFU})
        check(x);
}

TEST(Math, TwoStagesShareWithoutLossUntilBothAreFull) {
    constexpr int32_t low = 5;
    constexpr int32_t high = 31;
    int32_t first = 0;
    int32_t second = 0;
    for (int32_t total = 0; total < 80; ++total) {
        tvmath_distributeValue2(total, low, high, &first, &second);
        EXPECT_EQ(first + second, std::min(total, 2 * high)) << total;
        EXPECT_EQ(second == 0, total <= low) << total;
        EXPECT_EQ(first == high, total >= 2 * high - low) << total;
        EXPECT_TRUE(second == 0 || first == high || first - second == low || first - second == low - 1) << total;
    }
    tvmath_distributeValue2(INT32_MAX, INT32_MAX - 1, INT32_MAX, &first, &second); // the sums need more than 32 bits
    EXPECT_EQ(first, INT32_MAX - 1);
    EXPECT_EQ(second, 1);
}

TEST(Math, AnglesAreFittedToTheCircleAndWavesFollowTheirClosedForms) {
    EXPECT_EQ(tvmath_fitAngleInto2rad(2 * pi), 0);
    EXPECT_EQ(tvmath_fitAngleInto2rad(-2 * pi), 2 * pi);
    for (double angle = -100; angle < 100; angle += 0.173) {
        const double fitted = tvmath_fitAngleInto2rad(angle);
        EXPECT_TRUE(fitted >= 0 && fitted <= 2 * pi) << angle;
        EXPECT_NEAR(std::sin(fitted), std::sin(angle), 1e-12) << angle;
        EXPECT_NEAR(std::cos(fitted), std::cos(angle), 1e-12) << angle;
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
    const std::tuple<double, int32_t, int32_t, int32_t> cases[] = {
        {pi, 100, 22, 7},  {pi, 400, 355, 113},      {-0.75, 100, -3, 4}, {1e-9, 100, 0, 1},
        {99.4, 50, 49, 1}, {0.333, 2000, 333, 1000}, {5, 1, 0, 1},        {std::sqrt(2), 200, 140, 99},
    };
    for (const auto& [x, limit, numerator, denominator] : cases) {
        int32_t n = -1;
        int32_t d = -1;
        EXPECT_EQ(tvmath_rationalApproximation(x, limit, &n, &d), x < 0 ? 1 : 0);
        EXPECT_EQ(std::pair(n, d), std::pair(numerator, denominator)) << x << " below " << limit;
    }
}

TEST(Math, GreatestCommonDivisorAgreesWithEuclid) {
    EXPECT_EQ(tvmath_gcd(~0ULL, 0), ~0ULL);
    EXPECT_EQ(tvmath_gcd(~0ULL, ~0ULL - 2), 1U); // the sum of the two needs 65 bits
    std::mt19937_64 random(4);
    for (int i = 0; i < 20000; ++i) {
        const uint64_t common = random() >> (random() % 64) << (random() % 64);
        const uint64_t a = (random() >> (random() % 64)) * common; // products wrap: any value will do
        const uint64_t b = (random() >> (random() % 64)) * common;
        ASSERT_EQ(tvmath_gcd(a, b), std::gcd(a, b)) << a << ' ' << b;
    }
}

TEST(Math, WideQuotientsHoldAtTheEndsAndWhereEstimatesMissMost) {
    const struct {
        tvmath_uint128 n;
        uint64_t divisor, quotient, rest;
    } quotients[] = {{{5, 0}, 0, UINT64_MAX, 0},
                     {{0, 7}, 7, UINT64_MAX, 0},
                     {{UINT64_MAX, 6}, 7, UINT64_MAX, 6},
                     {{2, UINT64_MAX - 1}, UINT64_MAX, UINT64_MAX, 1},
                     {{5, 3}, 7, 7905747460161236407U, 4}};
    for (const auto& c : quotients) {
        uint64_t rest = 1;
        EXPECT_EQ(tvmath_div_uint128(c.n, c.divisor, &rest), c.quotient) << c.n.high << ' ' << c.divisor;
        EXPECT_EQ(rest, c.rest);
    }
    // Where the high word of the divisor alone gives a digit that is too large, and where it gives the largest.
    const uint64_t top = uint64_t{1} << 63;
    EXPECT_EQ(tvmath_fraction_uint128({0, top - 1}, {UINT64_MAX, top}), UINT64_MAX - 3);
    EXPECT_EQ(tvmath_fraction_uint128({UINT64_MAX - 1, top}, {UINT64_MAX, top}), UINT64_MAX);
    for (const tvmath_uint128 d : {tvmath_uint128{0, 0}, {7, 3}, {6, 3}})
        EXPECT_EQ(tvmath_fraction_uint128({7, 3}, d), UINT64_MAX) << "no fraction";
}

} // namespace
