#include "scpi/text/text_format.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <string>

namespace {

using Formatter = std::function<int(char*, int, int32_t*)>;

std::string format(const Formatter& formatter) {
    char text[400];
    int32_t length = -1;
    EXPECT_EQ(formatter(text, sizeof text, &length), 0);
    EXPECT_EQ(static_cast<int32_t>(std::strlen(text)), length);
    return text;
}

TEST(TextFormat, DoublesReadAsTheLibraryPrintsThem) {
    std::mt19937_64 random(9);
    std::vector<double> values = {
        0.0,    -0.0,     0.5,       9.5,          999999.5, 1e22,         1e23,        5e-324, 1.7976931348623157e308,
        9.9e37, HUGE_VAL, -HUGE_VAL, std::nan(""), 2.5e-10,  0.0000000005, 0.0000000015};
    for (int i = 0; i < 20'000; ++i) {
        const uint64_t bits = random();
        double value = 0;
        std::memcpy(&value, &bits, sizeof value);
        if (std::isfinite(value))
            values.push_back(value);
        values.push_back(
            std::ldexp(static_cast<double>(random() >> 40), -static_cast<int>(random() % 24))); // many ties
    }
    for (const double value : values) {
        char fixed[400];
        char scientific[400];
        std::snprintf(fixed, sizeof fixed, "%.9lf", value);
        std::snprintf(scientific, sizeof scientific, "%lE", value);
        ASSERT_EQ(format([=](char* dst, int room, int32_t* n) { return scpi_double2str(value, dst, room, n); }), fixed);
        ASSERT_EQ(format([=](char* dst, int room, int32_t* n) { return scpi_double2strf(value, dst, room, n, 2); }),
                  scientific);
    }
}

TEST(TextFormat, EveryTextNeedsRoomForItselfAndItsNul) {
    const double time = 1.5e-3;
    const double angle = -0.25;
    const float power = -12.5F;
    const tvfreq frequency{-3, 1};
    const struct {
        const char* expected;
        Formatter formatter;
    } cases[] = {
        {"-1.500000000", [](char* d, int r, int32_t* n) { return scpi_double2strf(-1.5, d, r, n, 3); }},
        {"-1.500000E+00", [](char* d, int r, int32_t* n) { return scpi_double2strf(-1.5, d, r, n, 2); }},
        {"0.100000001", [](char* d, int r, int32_t* n) { return scpi_float2str(0.1F, d, r, n); }},
        {"-0.250000000", [&](char* d, int r, int32_t* n) { return scpi_tv_angle2str(&angle, d, r, n); }},
        {"0.000000000", [](char* d, int r, int32_t* n) { return scpi_tv_angle2str(nullptr, d, r, n); }},
        {"1.500000E-03", [&](char* d, int r, int32_t* n) { return scpi_tv_time2str(&time, d, r, n); }},
        {"0.001500000", [&](char* d, int r, int32_t* n) { return scpi_tv_time2strf(&time, d, r, n, 1); }},
        {"0.0", [](char* d, int r, int32_t* n) { return scpi_tv_time2strf(nullptr, d, r, n, 1); }},
        {"-2.99999999999999999994", [&](char* d, int r, int32_t* n) { return scpi_tv_freq2str(&frequency, d, r, n); }},
        {"0.00000000000000000000", [](char* d, int r, int32_t* n) { return scpi_tv_freq2str(nullptr, d, r, n); }},
        {"-12.500000", [&](char* d, int r, int32_t* n) { return scpi_tv_pow2str(&power, d, r, n); }},
        {"0", [](char* d, int r, int32_t* n) { return scpi_tv_pow2str(nullptr, d, r, n); }},
        {"1", [](char* d, int r, int32_t* n) { return scpi_bool2str(true, d, r, n); }},
        {"0", [](char* d, int r, int32_t* n) { return scpi_bool2str(false, d, r, n); }},
        {"4294967295", [](char* d, int r, int32_t* n) { return scpi_uint2str(4294967295U, d, r, n); }},
        {"-2147483648", [](char* d, int r, int32_t* n) { return scpi_int2str(INT32_MIN, d, r, n); }},
        {"\"a\"b\"", [](char* d, int r, int32_t* n) { return scpi_chararray2str("a\"b", d, r, n); }},
        {"\"\"", [](char* d, int r, int32_t* n) { return scpi_chararray2str("", d, r, n); }},
        {"\"\"", [](char* d, int r, int32_t* n) { return scpi_chararray2str(nullptr, d, r, n); }},
    };
    for (const auto& [expected, formatter] : cases) {
        const auto length = static_cast<int32_t>(std::strlen(expected));
        EXPECT_EQ(format(formatter), expected);
        for (int room = -1; room <= length + 1; ++room) {
            std::string buffer(64, '~');
            int32_t written = -1;
            const bool fits = room == length + 1;
            EXPECT_EQ(formatter(buffer.data(), room, &written), fits ? 0 : -400) << expected << " in " << room;
            EXPECT_EQ(written, fits ? length : 0) << expected << " in " << room;
            const auto touched = static_cast<size_t>(std::max(room, 0));
            EXPECT_EQ(buffer.find_first_not_of('~', touched), std::string::npos) << expected << " in " << room;
            if (room > 0) {
                EXPECT_STREQ(buffer.c_str(), fits ? expected : "");
            }
        }
        char text[64];
        EXPECT_EQ(formatter(text, sizeof text, nullptr), 0);
        EXPECT_STREQ(text, expected);
    }
}

} // namespace
