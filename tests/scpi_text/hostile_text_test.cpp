#include "scpi/text/decimal.h"
#include "scpi/text/keyword.h"
#include "scpi/text/power_unit.h"
#include "scpi/text/text_parse.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <string>

namespace {

/// A text in memory that ends right behind its NUL, so that the sanitizers see every step beyond it.
struct ExactText {
    std::unique_ptr<char[]> bytes;

    explicit ExactText(const std::string& text) : bytes(new char[text.size() + 1]) {
        std::memcpy(bytes.get(), text.c_str(), text.size() + 1);
    }
    operator char*() const { return bytes.get(); }
};

int parseDouble(const std::string& text, double* value) {
    return scpi_str2double(ExactText(text), value);
}

TEST(HostileText, VeryLongNumbersAreReadToTheirEnd) {
    const std::string manyZeros(10'000, '0');
    const std::string manyNines(10'000, '9');
    const std::string hugeExponent(1'000, '9');
    const struct {
        std::string text;
        int error;
        double value;
    } cases[] = {
        {manyZeros + "7", 0, 7},
        {"7." + manyZeros, 0, 7},
        {"7." + manyNines, 0, 8},
        {manyNines, -222, 0},
        {manyNines + "E-9999", 0, 10},
        {"0." + manyZeros + "5E10001", 0, 5},
        {"5" + manyZeros + "E-10000", 0, 5},
        {manyNines + "x", -224, 0},
        {"1." + manyZeros + ".", -224, 0},
        {"1E" + hugeExponent, -222, 0},
        {"1E-" + hugeExponent, 0, 0},
        {"0." + manyZeros + "1E" + hugeExponent, -222, 0},
        {"1E" + manyZeros + "3", 0, 1000},
        {"1" + std::string(10'000, ' '), 0, 1},
        {std::string(10'000, 'e'), -224, 0},
        {std::string(10'000, '.'), -224, 0},
        {std::string(10'000, '-'), -224, 0},
    };
    for (const auto& [text, error, value] : cases) {
        double parsed = 0;
        EXPECT_EQ(parseDouble(text, &parsed), error) << text.substr(0, 20);
        EXPECT_EQ(parsed, value) << text.substr(0, 20);
    }
    tvfreq f{7, 7};
    EXPECT_EQ(scpi_str2tv_freq(ExactText(manyZeros + "1." + manyZeros + "GHz"), &f), 0);
    EXPECT_EQ(f, (tvfreq{1000000000, 0}));
    EXPECT_EQ(scpi_str2tv_freq(ExactText("1" + std::string(10'000, 'H')), &f), -131);
}

/// What a number is, by another road: a grammar instead of a pipeline.
bool isNumber(std::string text) {
    // The blanks among the test's bytes; a newline is none.
    const auto trimmed = [](const std::string& part) {
        const size_t last = part.find_last_not_of(" \t\x01");
        return part.substr(0, last + 1);
    };
    const size_t mark = text.find_first_of("eE");
    std::string exponent = mark == std::string::npos ? "" : trimmed(text.substr(mark + 1));
    std::string mantissa = trimmed(text.substr(0, mark));
    const auto dropSign = [](std::string& part) {
        if (!part.empty() && (part[0] == '+' || part[0] == '-'))
            part.erase(0, 1);
    };
    dropSign(mantissa);
    const size_t points = static_cast<size_t>(std::count(mantissa.begin(), mantissa.end(), '.'));
    if (points > 1 || mantissa.size() == points || mantissa.find_first_not_of("0123456789.") != std::string::npos)
        return false;
    exponent.erase(0, exponent.find_first_not_of(" \t\x01"));
    if (exponent.empty())
        return true;
    dropSign(exponent);
    return !exponent.empty() && exponent.find_first_not_of("0123456789") == std::string::npos;
}

TEST(HostileText, RandomBytesGiveANumberOrAnErrorAndNothingElse) {
    const std::string alphabet = "0123456789012345.+-eE \t\nHzkMGdBmWVAsu/\"#\x01\x7f\x80\xff";
    std::mt19937 random(2);
    int accepted = 0;
    for (int i = 0; i < 200'000; ++i) {
        // Half of the texts from the characters of a plain number, so that enough of them are one.
        const size_t letters = i % 2 == 0 ? 20 : alphabet.size();
        std::string text;
        for (size_t left = random() % (i % 50 == 0 ? 100 : 9); left > 0; --left)
            text += alphabet[random() % letters];

        char out[scpi_stddecstrSize];
        int unitType = -1;
        int logExponent = -1;
        const int error = scpi_str2stddecstr(ExactText(text), out, &unitType, nullptr, &logExponent, 0);
        if (!isNumber(text)) {
            ASSERT_EQ(error, -224) << text;
        } else if (error != 0) {
            ASSERT_EQ(error, -222) << text;
            ASSERT_TRUE(text.find_first_of("eE") != std::string::npos || text.size() > 38) << text;
        } else {
            ++accepted;
            ASSERT_EQ(std::strlen(out), static_cast<size_t>(scpi_stddecstrLength)) << text;
            ASSERT_TRUE(out[0] == '+' || out[0] == '-') << text;
            ASSERT_EQ(std::count(out, out + scpi_stddecstrLength, '.'), 1) << text;
            ASSERT_EQ(std::strspn(out + 1, "0123456789."), static_cast<size_t>(scpi_stddecstrLength - 1)) << text;
            char* end = nullptr;
            const double expected = std::strtod(text.c_str(), &end);
            if (*end == '\0' && std::abs(expected) > 1e-22) {
                ASSERT_NEAR(scpi_stdstr2double(out) / expected, 1, 1e-15) << text;
            }
        }

        // The others must only survive and keep to their codes.
        tvfreq f;
        double real;
        float single;
        int32_t integer;
        uint32_t natural;
        bool flag;
        char* start;
        for (const int code : {scpi_str2tv_freq(ExactText(text), &f), scpi_str2tv_pow(ExactText(text), &single, 0),
                               scpi_str2tv_angle(ExactText(text), &real), scpi_str2tv_time(ExactText(text), &real),
                               scpi_str2ratio(ExactText(text), &real), scpi_str2int(ExactText(text), &integer),
                               scpi_str2uint(ExactText(text), &natural), scpi_str2float(ExactText(text), &single),
                               scpi_str2bool(ExactText(text), &flag), scpi_str2chararray(ExactText(text), &start),
                               scpi_unit_setPowerUnit(ExactText(text))})
            ASSERT_TRUE(code == 0 || code == -131 || code == -222 || code == -224) << code << ' ' << text;
        unitPower.current = nullptr;
        ASSERT_EQ(scpi_isParam("MINimum", ExactText(text)), 0) << text;
    }
    EXPECT_GT(accepted, 20'000); // the comparison above has had its share
}

} // namespace
