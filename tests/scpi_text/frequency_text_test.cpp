#include "parsed.h"
#include "scpi/text/text_format.h"
#include "scpi/text/text_parse.h"

#include <random>

namespace {

__extension__ using Wide = unsigned __int128;

constexpr uint64_t half = uint64_t{1} << 63;
constexpr tvfreq unset{7, 7};

std::string print(const tvfreq& f) {
    char text[100];
    EXPECT_EQ(scpi_tv_freq2str(&f, text, sizeof text, nullptr), 0);
    return text;
}

/// 20 decimals of 64 binary places, each of them what passes the top when the places are multiplied by ten.
std::string decimalsOf(uint64_t fraction) {
    std::string decimals;
    for (Wide rest = fraction; decimals.size() < 20; rest = static_cast<uint64_t>(rest)) {
        rest *= 10;
        decimals += static_cast<char>('0' + static_cast<int>(rest >> 64));
    }
    return decimals;
}

TEST(FrequencyText, OneFrequencyHasManySpellings) {
    for (const char* text : {"1.5GHz", "1.5 GHZ", "1500 MHz", "1500MAHZ", "15E8", "1500mhz", "1.5e6 kHz", "+1500000000",
                             "1500000000 Hz", "0.0000015E6 gHz", "1500000000000000000000000000E-18"})
        EXPECT_EQ(parsed(scpi_str2tv_freq, text), std::pair(0, tvfreq{1500000000, 0})) << text;
}

TEST(FrequencyText, ReadsEndsOfRangeCarriesAndSigns) {
    const struct {
        const char* text;
        int error;
        tvfreq expected;
    } cases[] = {
        {"-0.5", 0, {-1, half}},
        {"0.00000000000000000006", 0, {0, 1}}, // 2^-64 is 5.4e-20
        {"0.99999999999999999997", 0, {1, 0}}, // the carry of the rounding reaches the whole part
        {"0.99999999999999999996", 0, {0, ~0ULL}},
        {"9223372036854775808", 0, {INT64_MAX, 0}},
        {"9223372036854775807.9999999999999999999999", 0, {INT64_MAX, 0}},
        {"-9.9E37", 0, {-INT64_MAX, 0}},
        {"1E30 GHz", -222, unset},
        {"5 V/Hz", -131, unset},
    };
    for (const auto& [text, error, expected] : cases)
        EXPECT_EQ(parsed(scpi_str2tv_freq, text, unset), std::pair(error, expected)) << text;
}

TEST(FrequencyText, EveryFrequencyReadsAsItsDecimalsAndComesBack) {
    EXPECT_EQ(print({0, 1}), "0.00000000000000000005");
    EXPECT_EQ(print({-1, half / 2}), "-0.75000000000000000000");
    EXPECT_EQ(print({INT64_MAX, ~0ULL}), "9223372036854775807.99999999999999999994");
    EXPECT_EQ(print({INT64_MIN, 0}), "-9223372036854775808.00000000000000000000");
    EXPECT_EQ(print({INT64_MIN, 1}), "-9223372036854775807.99999999999999999994");
    std::mt19937_64 random(64);
    for (int i = 0; i < 100'000; ++i) {
        // 29 digits are exact: with 20 decimals a whole part of nine. Longer ones leave the last decimals open.
        const auto whole = static_cast<int64_t>(random() % 1'000'000'000) * (random() % 2 == 0 ? 1 : -1);
        const tvfreq f{whole, random() << (random() % 64)};
        const std::string text = print(f);
        if (whole >= 0) {
            ASSERT_EQ(text, std::to_string(whole) + '.' + decimalsOf(f.fracPart));
        }
        ASSERT_EQ(parsed(scpi_str2tv_freq, text), std::pair(0, f)) << text;
    }
}

} // namespace
