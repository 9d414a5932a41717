#include "scpi/text/decimal.h"
#include "scpi/text/keyword.h"
#include "scpi/text/text_parse.h"

#include <cmath>
#include <cstdlib>
#include <gtest/gtest.h>
#include <random>
#include <string>

namespace {

constexpr int32_t intMax = std::numeric_limits<int32_t>::max();
constexpr int32_t intMin = std::numeric_limits<int32_t>::min();
constexpr uint32_t uintMax = std::numeric_limits<uint32_t>::max();

std::string canonical(std::string text) {
    char out[scpi_stddecstrSize];
    int unitType = -1;
    int logExponent = -1;
    const int error = scpi_str2stddecstr(text.data(), out, &unitType, nullptr, &logExponent, 0);
    return error == 0 ? out : std::to_string(error);
}

TEST(TextParse, TheCanonicalStringKeepsFortyOneDigitsAndShiftsTheFirstTwentyNine) {
    const std::string digits = "12345678901234567890123456789012345678901"; // 41
    const struct {
        std::string text;
        std::string expected;
    } cases[] = {
        {"0", "+.0000000000000000000000000000000000000000"},
        {"-007.50", "-7.500000000000000000000000000000000000000"},
        {"0.05", "+.0500000000000000000000000000000000000000"},
        {".5E1", "+5.000000000000000000000000000000000000000"},
        {"1E-39", "+.0000000000000000000000000000000000000010"},
        {"1E-99", "+.0000000000000000000000000000000000000000"},
        // The thirtieth digit gives way to the point, those behind it stay where they are.
        {"1." + digits.substr(1), "+1.2345678901234567890123456789" + digits.substr(30)},
        {digits + "E-20", "+123456789012345678901.23456789" + digits.substr(30)},
        {digits + "E-12", "+12345678901234567890123456789." + digits.substr(30)},
        {digits + "E-3", "+12345678901234567890123456789012345678.01"},
        {digits + "9999E-49", "+.0000123456789012345678901234567890123456"},
    };
    for (auto [text, expected] : cases) {
        expected.resize(scpi_stddecstrLength, '0');
        EXPECT_EQ(canonical(text), expected) << text;
    }
}

TEST(TextParse, NumbersHaveOneFormAndTheRestIsRefused) {
    const double unset = -77;
    const struct {
        const char* text;
        int error;
        double value;
    } cases[] = {
        {"5", 0, 5},
        {"+5", 0, 5},
        {"-5.25", 0, -5.25},
        {"5.", 0, 5},
        {".5", 0, 0.5},
        {"5 ", 0, 5},
        {"5\t ", 0, 5},
        {"1e", 0, 1},
        {"1E", 0, 1},
        {"1e ", 0, 1},
        {"1 e3", 0, 1000},
        {"1e 3", 0, 1000},
        {"1e+3", 0, 1000},
        {"1500e-3", 0, 1.5},
        {"000000000000000000000000000000000000000000000000001", 0, 1},
        {"9.9E37", 0, 9.9e37},
        {"-9.9E37", 0, -9.9e37},
        {"9.89999E37", 0, 9.89999e37},
        {"99E36", 0, 9.9e37},
        {"9.91E37", -222, unset},
        {"9.9000000000000000000000000001E37", -222, unset},
        {"1E38", -222, unset},
        {"1e99", -222, unset},
        {"", -224, unset},
        {" ", -224, unset},
        {"+", -224, unset},
        {"-", -224, unset},
        {".", -224, unset},
        {"-.", -224, unset},
        {"e5", -224, unset},
        {" e5", -224, unset},
        {"1.2.3", -224, unset},
        {"1ee3", -224, unset},
        {"1e3e", -224, unset},
        {"1eE3", -224, unset},
        {"1E3E4", -224, unset},
        {"1e3.5", -224, unset},
        {"1e3a", -224, unset},
        {"1e-", -224, unset},
        {"1e5-3", -224, unset},
        {"1e5 6", -224, unset},
        {"--5", -224, unset},
        {"+-5", -224, unset},
        {"5-", -224, unset},
        {" 5", -224, unset},
        {"1 000", -224, unset},
        {"1,5", -224, unset},
        {"0x10", -224, unset},
        {"inf", -224, unset},
        {"NAN", -224, unset},
        {"5\n", -224, unset},
        {"5Hz", -224, unset},
        {"\xff", -224, unset},
    };
    for (const auto& [text, error, value] : cases) {
        std::string copy = text;
        double parsed = unset;
        EXPECT_EQ(scpi_str2double(copy.data(), &parsed), error) << text;
        EXPECT_EQ(parsed, value) << text;
    }
    double parsed = unset;
    EXPECT_EQ(scpi_str2double(nullptr, &parsed), -224);
}

TEST(TextParse, DoublesAgreeWithTheLibraryToTheLastBit) {
    std::mt19937_64 random(25);
    for (int i = 0; i < 100'000; ++i) {
        const auto digits = static_cast<int>(random() % 18);
        char text[64];
        const double exact = std::ldexp(static_cast<double>(random()), -static_cast<int>(random() % 100));
        std::snprintf(text, sizeof text, "%s%.*E", random() % 2 == 0 ? "-" : "", digits, exact);
        const double expected = std::strtod(text, nullptr);
        double parsed = 0;
        ASSERT_EQ(scpi_str2double(text, &parsed), 0) << text;
        ASSERT_EQ(parsed, expected) << text;
    }
}

TEST(TextParse, IntegersRoundHalvesAwayFromZeroAndStopAtTheEndsOfTheirRange) {
    const struct {
        const char* text;
        int32_t expected;
        uint32_t expectedUnsigned;
    } cases[] = {
        {"0", 0, 0},
        {"0.4", 0, 0},
        {"0.5", 1, 1},
        {"-0.4", 0, 0},
        {"-0.5", -1, 0},
        {"2.5", 3, 3},
        {"2.49999999", 2, 2},
        {"-2.5", -3, 0},
        {"-5", -5, 0},
        {"9.5", 10, 10},
        {"0.04E1", 0, 0},
        {"5E-2", 0, 0},
        {"12E2", 1200, 1200},
        {"2147483646.5", intMax, 2147483647},
        {"2147483647", intMax, 2147483647},
        {"2147483647.5", intMax, 2147483648},
        {"2147483648", intMax, 2147483648},
        {"-2147483647.5", intMin, 0},
        {"-2147483648", intMin, 0},
        {"-2147483648.5", intMin, 0},
        {"4294967295", intMax, uintMax},
        {"4294967295.9", intMax, uintMax},
        {"4294967296", intMax, uintMax},
        {"18446744073709551616", intMax, uintMax},
        {"18446744073709551621", intMax, uintMax}, // 2^64 + 5
        {"9.9E37", intMax, uintMax},
        {"-9.9E37", intMin, 0},
    };
    for (const auto& [text, expected, expectedUnsigned] : cases) {
        std::string copy = text;
        int32_t value = -77;
        EXPECT_EQ(scpi_str2int(copy.data(), &value), 0) << text;
        EXPECT_EQ(value, expected) << text;
        copy = text;
        uint32_t natural = 77;
        EXPECT_EQ(scpi_str2uint(copy.data(), &natural), 0) << text;
        EXPECT_EQ(natural, expectedUnsigned) << text;
    }
}

TEST(TextParse, SuffixesMoveThePointOfTheirQuantity) {
    const struct {
        int (*parse)(char*, double*);
        const char* text;
        int error;
        double value;
    } cases[] = {
        {scpi_str2tv_time, "5", 0, 5},
        {scpi_str2tv_time, "5S", 0, 5},
        {scpi_str2tv_time, "5 MS", 0, 5e-3},
        {scpi_str2tv_time, "2.5E3us", 0, 2.5e-3},
        {scpi_str2tv_time, "7ns", 0, 7e-9},
        {scpi_str2tv_time, "7 ps ", 0, 7e-12},
        {scpi_str2tv_time, "7 ks", -131, 0},
        {scpi_str2tv_time, "5.", -131, 0}, // the point ends the text, so it is a suffix
        {scpi_str2tv_time, "1e", -131, 0},
        {scpi_str2tv_time, "ms", -224, 0},
        {scpi_str2tv_time, "-ms", -224, 0},
        {scpi_str2tv_time, "1E37s", 0, 1e37},
        {scpi_str2tv_time, "1E40ms", 0, 1e37},
        {scpi_str2tv_time, "1E41ms", -222, 0},
        {scpi_str2tv_angle, "2", 0, 2},
        {scpi_str2tv_angle, "2 RAD", 0, 2},
        {scpi_str2tv_angle, "180deg", 0, 180 * 0.017453292519943295},
        {scpi_str2tv_angle, "180 s", -131, 0},
        {scpi_str2ratio, "0.25", 0, 0.25},
        {scpi_str2ratio, "25pct", 0, 0.25},
        {scpi_str2ratio, "100 PPM", 0, 1e-4},
        {scpi_str2ratio, "25%", -224, 0},
    };
    for (const auto& [parse, text, error, value] : cases) {
        std::string copy = text;
        double parsed = 0;
        EXPECT_EQ(parse(copy.data(), &parsed), error) << text;
        EXPECT_EQ(parsed, value) << text;
    }
    std::string text = "5";
    EXPECT_EQ(scpi_str2tv_angle(text.data(), nullptr), -200);
    double ms = 0;
    text = "5 ms";
    EXPECT_EQ(scpi_str2double_unit(text.data(), &ms, &unitTime), 0);
    EXPECT_EQ(ms, 5e-3);
    float single = 0;
    text = "0.1";
    EXPECT_EQ(scpi_str2float(text.data(), &single), 0);
    EXPECT_EQ(single, 0.1F);
}

TEST(TextParse, KeywordsHaveTwoForms) {
    const struct {
        const char* literal;
        const char* text;
        int expected;
    } cases[] = {
        {"MINimum", "MIN", 1},
        {"MINimum", "min", 1},
        {"MINimum", "mInImUm", 1},
        {"MINimum", "MIN  ", 1},
        {"MINimum", "MINIMUM ", 1},
        {"MINimum", "MINI", 0},
        {"MINimum", "MI", 0},
        {"MINimum", "MINIMUMS", 0},
        {"MINimum", "MIN 5", 0},
        {"MINimum", " MIN", 0},
        {"MINimum", "", 0},
        {"MINimum", nullptr, 0},
        {"ON", "on", 1},
        {"ON", "ON\t", 1},
        {"ON", "ON\n", 0},
        {"ON", "ONE", 0},
        {"OFF", "OFFSET", 0},
        {"CH1Short", "ch1s", 1},
        {"CH1Short", "CH1SHORT", 1},
        {"CH1Short", "CH1", 0},
    };
    for (const auto& [literal, text, expected] : cases)
        EXPECT_EQ(scpi_isParam(literal, text), expected) << literal << ' ' << (text != nullptr ? text : "null");
}

TEST(TextParse, SwitchesTakeWordsAndNumbers) {
    const struct {
        const char* text;
        int error;
        bool expected;
    } cases[] = {
        {"ON", 0, true},     {"off", 0, false}, {"1", 0, true},      {"0", 0, false},
        {"0.4", 0, false},   {"0.5", 0, true},  {"-3", 0, true},     {"1e9", 0, true},
        {"YES", -224, true}, {"", -224, true},  {"ON1", -224, true},
    };
    for (const auto& [text, error, expected] : cases) {
        std::string copy = text;
        bool value = error != 0 || !expected; // stays as it is after an error
        EXPECT_EQ(scpi_str2bool(copy.data(), &value), error) << text;
        EXPECT_EQ(value, expected) << text;
    }
    bool value = true;
    EXPECT_EQ(scpi_str2bool(nullptr, &value), -224);
}

TEST(TextParse, QuotedTextEndsAtTheLastQuote) {
    const struct {
        const char* text;
        const char* expected; // null: refused
    } cases[] = {
        {"\"abc\"", "abc"}, {"\"\"", ""},  {" x\"a b\" tail", "a b"}, {"\"a\"b\"", "a\"b"}, {"\"abc", nullptr},
        {"abc", nullptr},   {"", nullptr}, {"'abc'", nullptr},
    };
    for (const auto& [text, expected] : cases) {
        std::string copy = text;
        char* start = nullptr;
        EXPECT_EQ(scpi_str2chararray(copy.data(), &start), expected != nullptr ? 0 : -224) << text;
        if (expected != nullptr) {
            EXPECT_STREQ(start, expected);
        } else {
            EXPECT_EQ(copy, text);
        }
    }
    char* start = nullptr;
    EXPECT_EQ(scpi_str2chararray(nullptr, &start), -224);
}

} // namespace
