#include "parsed.h"
#include "scpi/text/decimal.h"
#include "scpi/text/keyword.h"
#include "scpi/text/power_unit.h"
#include "scpi/text/text_parse.h"

#include <cmath>
#include <cstdlib>
#include <random>
#include <regex.h>

namespace {

struct Pattern {
    regex_t compiled;

    explicit Pattern(const char* pattern) { regcomp(&compiled, pattern, REG_EXTENDED | REG_NOSUB); }
    ~Pattern() { regfree(&compiled); }
    [[nodiscard]] bool matches(const char* text) const { return regexec(&compiled, text, 0, nullptr, 0) == 0; }
};

TEST(HostileText, VeryLongNumbersAreReadToTheirEnd) {
    const std::string manyZeros(10'000, '0');
    const std::string manyNines(10'000, '9');
    const struct {
        std::string text;
        int error;
        double value;
    } cases[] = {
        {"7." + manyNines, 0, 8},
        {manyNines, -222, 0},
        {"0." + manyZeros + "5E10001", 0, 5},
        {"5" + manyZeros + "E-10000", 0, 5},
        {std::string(10'000, 'e'), -224, 0},
        {"1E-" + manyNines, 0, 0},
        {"0." + manyZeros + "1E" + manyNines, -222, 0},
    };
    for (const auto& [text, error, value] : cases)
        EXPECT_EQ(parsed(scpi_str2double, text), std::pair(error, value)) << text.substr(0, 20);
    EXPECT_EQ(parsed(scpi_str2tv_freq, manyZeros + "1." + manyZeros + "GHz"), std::pair(0, tvfreq{1000000000, 0}));
    EXPECT_EQ(parsed(scpi_str2tv_freq, "1" + std::string(10'000, 'H')).first, -131);
}

TEST(HostileText, RandomBytesGiveANumberOrAnErrorAndNothingElse) {
    const std::string alphabet = "0123456789012345.+-eE \t\nHzkMGdBmWVAsu/\"#\x01\x7f\x80\xff";
    const std::string blanks = " \t\x01"; // of the alphabet; a newline is none
    const Pattern number("^[+-]?([0-9]+[.]?[0-9]*|[.][0-9]+)[ \t\x01]*([eE][ \t\x01]*([+-]?[0-9]+)?[ \t\x01]*)?$");
    const Pattern canonical("^[+-][0-9]*[.][0-9]*$");
    std::mt19937 random(2);
    int accepted = 0;
    for (int i = 0; i < 200'000; ++i) {
        // Half of the texts from the characters of a plain number, so that enough of them are one.
        const size_t letters = i % 2 == 0 ? 21 : alphabet.size();
        std::string text;
        for (size_t left = random() % (i % 50 == 0 ? 100 : 9); left > 0; --left)
            text += alphabet[random() % letters];

        char out[scpi_stddecstrSize];
        int ignored = 0;
        const int error = scpi_str2stddecstr(ExactText(text), out, &ignored, nullptr, &ignored, 0);
        if (!number.matches(text.c_str())) {
            ASSERT_EQ(error, -224) << text;
        } else {
            std::string plain = text;
            std::erase_if(plain, [&](char c) { return blanks.find(c) != std::string::npos; });
            const double expected = std::strtod(plain.c_str(), nullptr);
            // A zero may fail for its exponent.
            ASSERT_TRUE(expected == 0 || error == (std::abs(expected) > 9.9e37 ? -222 : 0)) << error << ' ' << text;
            if (error == 0) {
                ++accepted;
                ASSERT_TRUE(canonical.matches(out)) << text;
                ASSERT_EQ(std::strlen(out), static_cast<size_t>(scpi_stddecstrLength)) << text;
                // 40 decimals are left of a small number
                ASSERT_NEAR(scpi_stdstr2double(out), expected, std::abs(expected) * 1e-15 + 1e-40) << text;
            }
        }

        // The others must only survive and keep to their codes.
        const auto power = [](char* of, float* value) { return scpi_str2tv_pow(of, value, 0); };
        for (const int code :
             {parsed(scpi_str2tv_freq, text).first, parsed<float>(power, text).first,
              parsed(scpi_str2tv_angle, text).first, parsed(scpi_str2tv_time, text).first,
              parsed(scpi_str2ratio, text).first, parsed(scpi_str2int, text).first, parsed(scpi_str2uint, text).first,
              parsed(scpi_str2float, text).first, parsed(scpi_str2bool, text).first,
              parsed(scpi_str2chararray, text).first, scpi_unit_setPowerUnit(ExactText(text))})
            ASSERT_TRUE(code == 0 || code == -131 || code == -222 || code == -224) << code << ' ' << text;
        unitPower.current = nullptr;
        ASSERT_EQ(scpi_isParam("MINimum", ExactText(text)), 0) << text;
    }
    EXPECT_GT(accepted, 20'000); // the comparison above has had its share
}

} // namespace
