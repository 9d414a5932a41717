#include "parsed.h"
#include "scpi/text/decimal.h"
#include "scpi/text/keyword.h"
#include "scpi/text/text_parse.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <random>
#include <vector>

namespace {

TEST(TextParse, TheCanonicalStringKeepsFortyOneDigitsAndShiftsTheFirstTwentyNine) {
    const std::string digits = "12345678901234567890123456789012345678901"; // 41
    const std::pair<std::string, std::string> cases[] = {
        {"-007.50", "-7.5"},
        {".5E1", "+5."},
        // The thirtieth digit gives way to the point, those behind it stay where they are.
        {"1." + digits.substr(1), "+1.2345678901234567890123456789" + digits.substr(30)},
        {digits + "E-3", "+12345678901234567890123456789012345678.01"},
        {digits + "9999E-49", "+.0000123456789012345678901234567890123456"},
    };
    for (auto [text, expected] : cases) {
        expected.resize(scpi_stddecstrLength, '0');
        char out[scpi_stddecstrSize];
        int ignored = 0;
        EXPECT_EQ(scpi_str2stddecstr(text.data(), out, &ignored, nullptr, &ignored, 0), 0) << text;
        EXPECT_EQ(out, expected) << text;
    }
}

TEST(TextParse, NumbersHaveOneFormAndEndAtTheMarkForInfinity) {
    const std::pair<const char*, double> accepted[] = {
        {"-9.9E37", -9.9e37}, {"9.900000000000000000000000000001E37", 9.9e37}, {"9.89999E37", 9.89999e37}};
    for (const auto& [text, value] : accepted)
        EXPECT_EQ(parsed(scpi_str2double, text), std::pair(0, value)) << text;
    for (const char* text : {"9.91E37", "9.90000000000000000000000000001E37", "-1E38", "1e99"})
        EXPECT_EQ(parsed(scpi_str2double, text, 7), std::pair(-222, 7.0)) << text;
    for (const char* text :
         {"", " ", "e5", "1.2.3", "1ee3", "1e3.5", "1e5 6", " 5", "1,5", "0x10", "inf", "NAN", "5\n"})
        EXPECT_EQ(parsed(scpi_str2double, text, 7), std::pair(-224, 7.0)) << text;
}

TEST(TextParse, DoublesAgreeWithTheLibraryToTheLastBit) {
    std::mt19937_64 random(25);
    for (int i = 0; i < 100'000; ++i) {
        const auto digits = static_cast<int>(random() % 18);
        char text[64];
        const double exact = std::ldexp(random(), -static_cast<int>(random() % 100));
        std::snprintf(text, sizeof text, "%s%.*E", random() % 2 == 0 ? "-" : "", digits, exact);
        const double expected = std::strtod(text, nullptr);
        ASSERT_EQ(parsed(scpi_str2double, text), std::pair(0, expected)) << text;
        ASSERT_EQ(parsed(scpi_str2float, text), std::pair(0, static_cast<float>(expected))) << text;
    }
}

TEST(TextParse, IntegersRoundHalvesAwayFromZeroAndStopAtTheEndsOfTheirRange) {
    const auto expect = [](const std::string& text, int64_t rounded) {
        const auto integer = static_cast<int32_t>(std::clamp<int64_t>(rounded, INT32_MIN, INT32_MAX));
        const auto natural = static_cast<uint32_t>(std::clamp<int64_t>(rounded, 0, UINT32_MAX));
        EXPECT_EQ(parsed(scpi_str2int, text), std::pair(0, integer)) << text;
        EXPECT_EQ(parsed(scpi_str2uint, text), std::pair(0, natural)) << text;
    };
    const int64_t wholes[] = {0, 2, 9, 2147483646, 2147483647, 2147483648, 4294967294, 4294967295, 4294967296};
    for (const int64_t whole : wholes)
        for (const auto& [decimals, up] :
             {std::pair("", 0), std::pair(".4999", 0), std::pair(".5", 1), std::pair(".9", 1)})
            for (const int sign : {1, -1})
                expect((sign < 0 ? "-" : "") + std::to_string(whole) + decimals, sign * (whole + up));
    expect("0.05E1", 1);
    expect("5E-2", 0);
    expect("18446744073709551621", INT64_MAX); // 2^64 + 5
    expect("-9.9E37", INT64_MIN);
}

TEST(TextParse, SuffixesMoveThePointOfTheirQuantity) {
    const struct {
        int (*parse)(char*, double*);
        const char* text;
        int error;
        double value;
    } cases[] = {
        {scpi_str2tv_time, "5MS", 0, 5e-3},
        {scpi_str2tv_time, "2.5E3us", 0, 2.5e-3},
        {scpi_str2tv_time, "7 ps ", 0, 7e-12},
        {scpi_str2tv_time, "1E40ms", 0, 1e37},
        {scpi_str2tv_time, "1E41ms", -222, 7},
        {scpi_str2tv_time, "7 ks", -131, 7},
        {scpi_str2tv_time, "5.", -131, 7}, // the point ends the text, so it is a suffix
        {scpi_str2tv_time, "-ms", -224, 7},
        {scpi_str2tv_angle, "2 RAD", 0, 2},
        {scpi_str2tv_angle, "180deg", 0, 180 * 0.017453292519943295},
        {scpi_str2ratio, "25pct", 0, 0.25},
        {scpi_str2ratio, "100 PPM", 0, 1e-4},
        {scpi_str2ratio, "25%", -224, 7},
    };
    for (const auto& [parse, text, error, value] : cases)
        EXPECT_EQ(parsed(parse, text, 7), std::pair(error, value)) << text;
    EXPECT_EQ(scpi_str2tv_angle(ExactText("5"), nullptr), -200);
}

TEST(TextParse, KeywordsHaveTwoForms) {
    const struct {
        const char* literal;
        const char* text;
        int expected;
    } cases[] = {
        {"MINimum", "MIN", 1},  {"MINimum", "mInImUm", 1}, {"MINimum", "MIN  ", 1},     {"MINimum", "minimum\t", 1},
        {"MINimum", "MINI", 0}, {"MINimum", "MI", 0},      {"MINimum", "MINIMUMS", 0},  {"MINimum", "MIN 5", 0},
        {"MINimum", " MIN", 0}, {"MINimum", "", 0},        {"MINimum", "MIN\n", 0},     {"OFF", "off", 1},
        {"OFF", "OFFSET", 0},   {"CH1Short", "ch1s", 1},   {"CH1Short", "CH1SHORT", 1}, {"CH1Short", "CH1", 0}};
    for (const auto& [literal, text, expected] : cases)
        EXPECT_EQ(scpi_isParam(literal, text), expected) << literal << ' ' << text;
    EXPECT_EQ(scpi_isParam("OFF", nullptr), 0);
}

TEST(TextParse, SwitchesTakeWordsAndNumbers) {
    for (const char* text : {"ON", "on ", "1", "0.5", "-3", "1e9"})
        EXPECT_EQ(parsed(scpi_str2bool, text, false), std::pair(0, true)) << text;
    for (const char* text : {"OFF", "off", "0", "0.4"})
        EXPECT_EQ(parsed(scpi_str2bool, text, true), std::pair(0, false)) << text;
    for (const char* text : {"YES", "", "ON1"})
        for (const bool before : {false, true})
            EXPECT_EQ(parsed(scpi_str2bool, text, before), std::pair(-224, before)) << text;
}

TEST(TextParse, QuotedTextEndsAtTheLastQuote) {
    const std::pair<const char*, const char*> cases[] = {
        {"\"abc\"", "abc"}, {"\"\"", ""},  {" x\"a b\" tail", "a b"}, {"\"a\"b\"", "a\"b"},
        {"\"abc", nullptr}, {"", nullptr}, {"'abc'", nullptr},
    }; // null: refused
    for (const auto& [text, expected] : cases) {
        const ExactText copy(text);
        char* start = nullptr;
        EXPECT_EQ(scpi_str2chararray(copy, &start), expected != nullptr ? 0 : -224) << text;
        EXPECT_STREQ(start, expected) << text;
    }
    char* start = nullptr;
    EXPECT_EQ(scpi_str2chararray(nullptr, &start), -224);
}

} // namespace
