#include "scpi/text/power_unit.h"
#include "scpi/text/suffix.h"
#include "scpi/text/text_format.h"
#include "scpi/text/text_parse.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <string>

namespace {

constexpr float infinity = std::numeric_limits<float>::infinity();

class PowerUnit : public testing::Test {
protected:
    ~PowerUnit() override { unitPower.current = nullptr; }

    static int setUnit(std::string text) { return scpi_unit_setPowerUnit(text.data()); }
    static int parse(std::string text, tvpow* power, int flags = 0) {
        return scpi_str2tv_pow(text.data(), power, flags);
    }
    static std::string print(tvpow power, int flags) {
        char text[100];
        const int error = scpi_tv_pow2strf(&power, text, sizeof text, nullptr, flags);
        return error == 0 ? text : std::to_string(error);
    }
};

TEST_F(PowerUnit, EverySuffixReadsAsDbmOn50Ohms) {
    // Expected from P = U^2 / R = I^2 * R in watts; for a unit in dB the reference it counts from.
    const auto dBm = [](double watts) { return 10 * std::log10(watts / 1e-3); };
    constexpr double ohms = 50;
    const struct {
        const char* text;
        double expected;
    } cases[] = {
        {"-17.5", -17.5},
        {"5 dBm", 5},
        {"5 dBmW", 5},
        {"5 dB", 35},
        {"5 DBW", 35},
        {"5dBuW", -25},
        {"2 W", dBm(2)},
        {"2 mW", dBm(2e-3)},
        {"2 UW", dBm(2e-6)},
        {"3 V", dBm(9 / ohms)},
        {"1 mV", dBm(1e-6 / ohms)},
        {"30E1 uV", dBm(9e-8 / ohms)},
        {"2 A", dBm(4 * ohms)},
        {"2 mA", dBm(4e-6 * ohms)},
        {"2 uA", dBm(4e-12 * ohms)},
        {"6 dBV", dBm(1 / ohms) + 6},
        {"6 dBmV", dBm(1e-6 / ohms) + 6},
        {"107 dBuV", dBm(1e-12 / ohms) + 107},
        {"-6 dBA", dBm(ohms) - 6},
        {"-6 dBmA", dBm(1e-6 * ohms) - 6},
        {"-6 dBuA", dBm(1e-12 * ohms) - 6},
    };
    for (const auto& [text, expected] : cases) {
        tvpow power = -777;
        EXPECT_EQ(parse(text, &power), 0) << text;
        EXPECT_NEAR(power, expected, 1e-5) << text;
    }
}

TEST_F(PowerUnit, PowersWithoutALogarithmAreOutOfRange) {
    for (const char* text : {"0 W", "-1 W", "0 V", "-2 mA"}) {
        tvpow power = -777;
        EXPECT_EQ(parse(text, &power), -222) << text;
        EXPECT_EQ(power, -777) << text;
    }
    tvpow power = -777;
    EXPECT_EQ(parse("5 Hz", &power), -131);
    EXPECT_EQ(parse("dBm", &power), -224);
    float value = infinity;
    EXPECT_EQ(scpi_tv_powIndBm(&value, 0, unitNone, &power), -222);
    value = -3;
    EXPECT_EQ(scpi_tv_powIndBm(&value, 0, unitNone, &power), 0);
    EXPECT_EQ(power, -3);
}

TEST_F(PowerUnit, TheUsersUnitHasNoLinearPrefix) {
    const struct {
        const char* text;
        int error;
        const char* name; // afterwards
    } cases[] = {
        {"mW", -131, "dBmW"}, {"W", 0, "W"},        {"uV", -131, "W"},    {"v", 0, "V"},
        {"A", 0, "A"},        {"dBm", 0, "dBmW"},   {"DB", 0, "dBW"},     {"dBuV", 0, "dBuV"},
        {"dBmA", 0, "dBmA"},  {"kW", -131, "dBmA"}, {"Hz", -131, "dBmA"}, {"dBuW", 0, "dBuW"},
    };
    for (const auto& [text, error, name] : cases) {
        EXPECT_EQ(setUnit(text), error) << text;
        char copied[scpi_unitNameSize];
        const char* pointed = nullptr;
        scpi_unit_getPowerUnit(copied, &pointed);
        EXPECT_STREQ(copied, name) << text;
        EXPECT_STREQ(pointed, name) << text;
    }
    EXPECT_EQ(scpi_unit_setPowerUnit(nullptr), -224);
    scpi_unit_getPowerUnit(nullptr, nullptr);
}

TEST_F(PowerUnit, ANumberWithoutSuffixIsInTheUsersUnitUnlessTheFlagsSayDbm) {
    ASSERT_EQ(setUnit("W"), 0);
    tvpow power = -777;
    EXPECT_EQ(parse("2", &power), 0);
    EXPECT_NEAR(power, 33.0103, 1e-5);
    EXPECT_EQ(parse("2", &power, suffixIgnoreCurrent), 0);
    EXPECT_EQ(power, 2);
    EXPECT_EQ(parse("2 dBm", &power), 0);
    EXPECT_EQ(power, 2);
}

TEST_F(PowerUnit, EveryUsersUnitReadsBackWhatItShows) {
    for (const char* unit : {"dBmW", "W", "V", "A", "dBuW", "dBW", "dBuA", "dBmA", "dBA", "dBuV", "dBmV", "dBV"}) {
        ASSERT_EQ(setUnit(unit), 0) << unit;
        for (const tvpow power : {-100.0F, -3.01F, 0.0F, 17.5F, 60.0F}) {
            float shown = 0;
            EXPECT_EQ(scpi_tv_pow_unit_dev2user(&power, &shown), 0);
            char text[64];
            std::snprintf(text, sizeof text, "%.9E", static_cast<double>(shown));
            tvpow back = -777;
            EXPECT_EQ(parse(text, &back), 0) << text << ' ' << unit;
            EXPECT_NEAR(back, power, 2e-5) << text << ' ' << unit;
        }
    }
}

TEST_F(PowerUnit, AnswersFollowTheUserAndTheFlags) {
    EXPECT_EQ(print(10, textFixed), "10.000000");
    EXPECT_EQ(print(-3.456F, textFixed | textTwoDecimals | textDeviceUnit), "-3.46");
    ASSERT_EQ(setUnit("W"), 0);
    EXPECT_EQ(print(10, textFixed), "0.010000");
    EXPECT_EQ(print(10, textTwoDecimals), "0.01");
    EXPECT_EQ(print(10, textDeviceUnit), "10.000000");
    EXPECT_EQ(print(5000, textFixed), "-222"); // 1E497 W
    EXPECT_EQ(print(5000, textDeviceUnit), "5000.000000");
    ASSERT_EQ(setUnit("dBuV"), 0);
    EXPECT_EQ(print(0, 0), "106.989700");
    char text[8];
    int32_t length = -1;
    const tvpow endless = infinity;
    EXPECT_EQ(scpi_tv_pow2str(&endless, text, sizeof text, &length), -222);
    EXPECT_EQ(length, 0);
    EXPECT_EQ(scpi_tv_pow2str(nullptr, text, sizeof text, &length), 0);
    EXPECT_STREQ(text, "0");
}

} // namespace
