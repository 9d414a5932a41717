#include "scpi/text/text_format.h"
#include "scpi/text/text_parse.h"

#include <array>
#include <gtest/gtest.h>
#include <random>
#include <string>

namespace {

constexpr uint64_t half = uint64_t{1} << 63;

std::string print(const tvfreq& f) {
    char text[100];
    int32_t length = 0;
    EXPECT_EQ(scpi_tv_freq2str(&f, text, sizeof text, &length), 0);
    EXPECT_EQ(std::string(text).size(), static_cast<size_t>(length));
    return text;
}

/// 64 binary places of 20 decimals, each found by doubling the decimals by hand.
uint64_t binaryFraction(std::array<int, 20> decimals) {
    uint64_t fraction = 0;
    for (int bit = 0; bit < 64; ++bit) {
        int carry = 0;
        for (size_t i = decimals.size(); i-- > 0;) {
            const int twice = decimals[i] * 2 + carry;
            decimals[i] = twice % 10;
            carry = twice / 10;
        }
        fraction = fraction * 2 + static_cast<uint64_t>(carry);
    }
    return fraction;
}

/// 20 decimals of 64 binary places, each found by multiplying the places by ten in bytes.
std::string decimalsOf(uint64_t fraction) {
    std::array<unsigned, 8> bytes{};
    for (size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = fraction >> (8 * i) & 0xFF;
    std::string decimals;
    for (int i = 0; i < 20; ++i) {
        unsigned carry = 0;
        for (unsigned& byte : bytes) {
            const unsigned product = byte * 10 + carry;
            byte = product & 0xFF;
            carry = product >> 8;
        }
        decimals += static_cast<char>('0' + carry);
    }
    return decimals;
}

TEST(FrequencyText, OneFrequencyHasManySpellings) {
    for (std::string text : {"1.5GHz", "1.5 GHZ", "1500 MHz", "1500MAHZ", "1.5E9", "15E8", "1500mhz", "1.5e6 kHz",
                             "+1500000000", "1500000000 Hz", "0.0000015E6 gHz", "1500000000000000000000000000E-18"}) {
        tvfreq f{-1, 1};
        const std::string original = text;
        EXPECT_EQ(scpi_str2tv_freq(text.data(), &f), 0) << original;
        EXPECT_EQ(f, (tvfreq{1500000000, 0})) << original;
    }
}

TEST(FrequencyText, ReadsEndsOfRangeCarriesAndSigns) {
    const struct {
        const char* text;
        int error;
        tvfreq expected;
    } cases[] = {
        {"0.5", 0, {0, half}},
        {"-0.5", 0, {-1, half}},
        {"-1", 0, {-1, 0}},
        {"-0", 0, {0, 0}},
        {"0.75 kHz", 0, {750, 0}},
        {"0.00000000000000000006", 0, {0, 1}}, // 2^-64 is 5.4e-20
        {"0.00000000000000000002", 0, {0, 0}},
        {"0.99999999999999999997", 0, {1, 0}}, // the carry of the rounding reaches the whole part
        {"0.99999999999999999996", 0, {0, ~0ULL}},
        {"0.99999999999999999999999", 0, {1, 0}},
        {"0.49999999999999999999", 0, {0, half}},
        {"9223372036854775807", 0, {INT64_MAX, 0}},
        {"9223372036854775808", 0, {INT64_MAX, 0}},
        {"9223372036854775807.9999999999999999999999", 0, {INT64_MAX, 0}},
        {"-9223372036854775807", 0, {-INT64_MAX, 0}},
        {"9.9E37", 0, {INT64_MAX, 0}},
        {"-9.9E37", 0, {-INT64_MAX, 0}},
        {"1E30 GHz", -222, {7, 7}},
        {"5 dBm", -131, {7, 7}},
        {"5 V/Hz", -131, {7, 7}},
        {"Hz", -224, {7, 7}},
        {"1e", -131, {7, 7}},
    };
    for (const auto& [text, error, expected] : cases) {
        std::string copy = text;
        tvfreq f{7, 7};
        EXPECT_EQ(scpi_str2tv_freq(copy.data(), &f), error) << text;
        EXPECT_EQ(f.intPart, expected.intPart) << text;
        EXPECT_EQ(f.fracPart, expected.fracPart) << text;
    }
}

TEST(FrequencyText, PrintsTwentyDecimalsTruncated) {
    const struct {
        tvfreq f;
        const char* expected;
    } cases[] = {
        {{1000000000, 0}, "1000000000.00000000000000000000"},
        {{0, half}, "0.50000000000000000000"},
        {{-1, half}, "-0.50000000000000000000"},
        {{-1, half / 2}, "-0.75000000000000000000"},
        {{0, 1}, "0.00000000000000000005"},
        {{0, ~0ULL}, "0.99999999999999999994"},
        {{INT64_MAX, ~0ULL}, "9223372036854775807.99999999999999999994"},
        {{INT64_MIN, 0}, "-9223372036854775808.00000000000000000000"},
        {{INT64_MIN, 1}, "-9223372036854775807.99999999999999999994"},
    };
    for (const auto& [f, expected] : cases)
        EXPECT_EQ(print(f), expected);
}

TEST(FrequencyText, EveryFrequencyComesBackFromItsText) {
    std::mt19937_64 random(64);
    for (int i = 0; i < 100'000; ++i) {
        // 29 digits are exact: with 20 decimals a whole part of nine. Longer ones leave the last decimals open.
        const auto whole = static_cast<int64_t>(random() % 1'000'000'000) * (random() % 2 == 0 ? 1 : -1);
        const uint64_t fraction = random() << (random() % 64);
        const tvfreq f{whole, fraction};
        std::string text = print(f);
        if (whole >= 0) {
            ASSERT_EQ(text, std::to_string(whole) + '.' + decimalsOf(fraction));
        }
        tvfreq back{7, 7};
        ASSERT_EQ(scpi_str2tv_freq(text.data(), &back), 0) << text;
        ASSERT_EQ(back, f) << print(f);
    }
}

TEST(FrequencyText, TwentyDecimalsBecomeBitsAsByDoublingThem) {
    std::mt19937_64 random(20);
    for (int i = 0; i < 50'000; ++i) {
        std::array<int, 20> decimals{};
        std::string text = std::to_string(random() % 1000) + '.';
        for (int& digit : decimals) {
            digit = random() % 4 == 0 ? 9 : static_cast<int>(random() % 10);
            text += static_cast<char>('0' + digit);
        }
        const int64_t whole = std::stoll(text);
        decimals[19] += 3;
        for (size_t at = 19; at > 0; --at) {
            decimals[at - 1] += decimals[at] / 10;
            decimals[at] %= 10;
        }
        tvfreq expected{whole, 0};
        if (decimals[0] == 10)
            expected.intPart += 1;
        else
            expected.fracPart = binaryFraction(decimals);
        tvfreq f{7, 7};
        ASSERT_EQ(scpi_str2tv_freq((text + "12345").data(), &f), 0); // digits behind the twentieth count for nothing
        ASSERT_EQ(f, expected) << text;
    }
}

} // namespace
