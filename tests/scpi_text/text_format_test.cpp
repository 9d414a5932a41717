#include "scpi/text/text_format.h"

#include <bit>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <random>
#include <string>

namespace {

std::string printed(double value) {
    char text[400];
    EXPECT_EQ(scpi_double2str(value, text, sizeof text, nullptr), 0);
    return text;
}

/// From 2^23 on nine places show digits that a double does not hold; from 2^53 on it has no places.
bool holdsNinePlaces(double value) {
    return !(std::fabs(value) >= 0x1p23 && std::fabs(value) < 0x1p53);
}

TEST(TextFormat, DoublesReadAsTheLibraryPrintsThem) {
    std::mt19937_64 random(9);
    std::vector<double> values = {0.0,  -0.0, 0.5,    9.5,      999999.5,  1e22,         1e23,    5e-324,
                                  1e38, 0.1F, 9.9e37, HUGE_VAL, -HUGE_VAL, std::nan(""), 2.5e-10, 0.0000000015};
    for (int i = 0; i < 20'000; ++i) {
        if (const auto value = std::bit_cast<double>(random()); std::isfinite(value))
            values.push_back(value);
        values.push_back(std::ldexp(random() >> 40, -static_cast<int>(random() % 24))); // many ties
    }
    for (const double value : values) {
        char expected[400];
        char text[400];
        std::snprintf(expected, sizeof expected, "%.9lf", value);
        if (holdsNinePlaces(value)) {
            ASSERT_EQ(printed(value), expected);
        } else {
            ASSERT_EQ(std::strtod(printed(value).c_str(), nullptr), std::strtod(expected, nullptr));
        }
        std::snprintf(expected, sizeof expected, "%lE", value);
        ASSERT_EQ(scpi_double2strf(value, text, sizeof text, nullptr, 2), 0);
        ASSERT_STREQ(text, expected);
    }
}

/// A double holds 15 digits, a single 6.
TEST(TextFormat, DigitsReadAsTheyWereWritten) {
    std::mt19937_64 random(10);
    for (int i = 0; i < 20'000; ++i) {
        const int places = static_cast<int>(random() % 10);
        std::string written = std::to_string(random() % 1'000'000'000'000'000 + 1'000'000'000'000'000).substr(1);
        written.insert(written.size() - static_cast<size_t>(places), 1, '.');
        written = "1" + written.substr(1) + std::string(static_cast<size_t>(9 - places), '0');
        ASSERT_EQ(printed(std::strtod(written.c_str(), nullptr)), written);
        char text[64];
        const std::string level =
            "-" + std::to_string(10 + random() % 90) + "." + std::to_string(random() % 10) + "00000";
        const float power = std::strtof(level.c_str(), nullptr);
        ASSERT_EQ(scpi_tv_pow2str(&power, text, sizeof text, nullptr), 0);
        ASSERT_EQ(text, level);
    }
}

TEST(TextFormat, EveryTextNeedsRoomForItselfAndItsNul) {
    const double time = 1.5e-3;
    const double angle = -0.25;
    const float power = -12.5F;
    const tvfreq frequency{-3, 1};
    const struct {
        const char* expected;
        std::function<int(char*, int, int32_t*)> formatter;
    } cases[] = {
        {"-1.500000E+00", [](char* d, int r, int32_t* n) { return scpi_double2strf(-1.5, d, r, n, 2); }},
        {"0.100000001", [](char* d, int r, int32_t* n) { return scpi_float2str(0.1F, d, r, n); }},
        {"-0.250000000", [&](char* d, int r, int32_t* n) { return scpi_tv_angle2str(&angle, d, r, n); }},
        {"1.500000E-03", [&](char* d, int r, int32_t* n) { return scpi_tv_time2str(&time, d, r, n); }},
        {"0.0", [](char* d, int r, int32_t* n) { return scpi_tv_time2strf(nullptr, d, r, n, 1); }},
        {"-2.99999999999999999994", [&](char* d, int r, int32_t* n) { return scpi_tv_freq2str(&frequency, d, r, n); }},
        {"0.00000000000000000000", [](char* d, int r, int32_t* n) { return scpi_tv_freq2str(nullptr, d, r, n); }},
        {"-12.500000", [&](char* d, int r, int32_t* n) { return scpi_tv_pow2str(&power, d, r, n); }},
        {"0", [](char* d, int r, int32_t* n) { return scpi_tv_pow2str(nullptr, d, r, n); }},
        {"4294967295", [](char* d, int r, int32_t* n) { return scpi_uint2str(4294967295U, d, r, n); }},
        {"-2147483648", [](char* d, int r, int32_t* n) { return scpi_int2str(INT32_MIN, d, r, n); }},
        {"\"a\"b\"", [](char* d, int r, int32_t* n) { return scpi_chararray2str("a\"b", d, r, n); }},
        {"\"\"", [](char* d, int r, int32_t* n) { return scpi_chararray2str(nullptr, d, r, n); }},
    };
    for (const auto& [expected, formatter] : cases) {
        const auto length = static_cast<int32_t>(std::strlen(expected));
        for (int room = -1; room <= length + 2; ++room) {
            std::string buffer(64, '~');
            int32_t written = -1;
            const bool fits = room > length;
            EXPECT_EQ(formatter(buffer.data(), room, &written), fits ? 0 : -400) << expected << " in " << room;
            EXPECT_EQ(written, fits ? length : 0) << expected << " in " << room;
            const auto touched = static_cast<size_t>(std::max(room, 0));
            EXPECT_EQ(buffer.find_first_not_of('~', touched), std::string::npos) << expected << " in " << room;
            if (room > 0) {
                EXPECT_STREQ(buffer.c_str(), fits ? expected : "");
            }
            EXPECT_EQ(formatter(buffer.data(), room, nullptr), fits ? 0 : -400) << "and nobody asks for the length";
        }
    }
}

} // namespace
