#include "parsed.h"
#include "scpi/text/power_unit.h"
#include "scpi/text/suffix.h"
#include "scpi/text/text_format.h"
#include "scpi/text/text_parse.h"

#include <cmath>

namespace {

constexpr tvpow unset = -777;

class PowerUnit : public testing::Test {
protected:
    ~PowerUnit() override { unitPower.current = nullptr; }

    static int setUnit(const std::string& text) { return scpi_unit_setPowerUnit(ExactText(text)); }
    static std::string unitName() {
        char copied[scpi_unitNameSize];
        const char* pointed = nullptr;
        scpi_unit_getPowerUnit(copied, &pointed);
        EXPECT_STREQ(copied, pointed);
        return pointed;
    }
    template <int flags = 0> static std::pair<int, tvpow> parse(const std::string& text) {
        return parsed<tvpow>([](char* of, tvpow* power) { return scpi_str2tv_pow(of, power, flags); }, text, unset);
    }
    static std::string print(tvpow power, int flags) {
        char text[100] = "before";
        int32_t length = -1;
        const int error = scpi_tv_pow2strf(&power, text, sizeof text, &length, flags);
        EXPECT_EQ(std::string(text).size(), static_cast<size_t>(length));
        return error == 0 ? text : text + std::to_string(error);
    }
};

TEST_F(PowerUnit, EveryUnitReadsAsDbmOn50OhmsAndAllButLinearOnesWithAPrefixShowIt) {
    constexpr double ohms = 50;
    const std::pair<const char*, double (*)(double)> quantities[] = {
        {"W", [](double watts) { return watts; }},
        {"V", [](double volts) { return volts * volts / ohms; }},
        {"A", [](double amperes) { return amperes * amperes * ohms; }},
    };
    for (const auto& [quantity, watts] : quantities)
        for (const auto& [prefix, factor] : {std::pair("", 1.0), std::pair("m", 1e-3), std::pair("u", 1e-6)})
            for (const bool logarithmic : {false, true}) {
                const std::string unit = (logarithmic ? "dB" : "") + std::string(prefix) + quantity;
                const double power =
                    logarithmic ? 10 * std::log10(watts(factor) / 1e-3) + 3 : 10 * std::log10(watts(3 * factor) / 1e-3);
                EXPECT_NEAR(parse("+3E0 " + unit).second, power, 1e-5) << unit;
                const std::string before = unitName();
                const bool settable = logarithmic || factor == 1;
                EXPECT_EQ(setUnit(unit), settable ? 0 : -131);
                EXPECT_EQ(unitName(), settable ? unit : before);
                if (settable) {
                    EXPECT_NEAR(std::stod(print(static_cast<tvpow>(power), 0)), 3, 2e-5) << unit;
                    EXPECT_NEAR(parse("3").second, power, 1e-5) << unit;
                }
                EXPECT_EQ(parse<suffixIgnoreCurrent>("3"), std::pair(0, 3.0F)) << unit;
            }
    EXPECT_EQ(parse("5 dB").second, 35);
    EXPECT_EQ(setUnit("dbm"), 0);
    EXPECT_EQ(unitName(), "dBmW");
    EXPECT_EQ(setUnit("Hz"), -131);
    EXPECT_EQ(unitName(), "dBmW");
    EXPECT_EQ(scpi_unit_setPowerUnit(nullptr), -224);
}

TEST_F(PowerUnit, PowersWithoutALogarithmAreOutOfRange) {
    for (const char* text : {"0 W", "-1 W", "0 V", "-2 mA"})
        EXPECT_EQ(parse(text), std::pair(-222, unset)) << text;
    const float infinity = HUGE_VALF;
    tvpow power = unset;
    EXPECT_EQ(scpi_tv_powIndBm(&infinity, 0, unitNone, &power), -222);
    EXPECT_EQ(power, unset);
}

TEST_F(PowerUnit, AnswersFollowTheUserAndTheFlags) {
    EXPECT_EQ(print(10, textFixed), "10.000000");
    EXPECT_EQ(print(-3.456F, textFixed | textTwoDecimals | textDeviceUnit), "-3.46");
    ASSERT_EQ(setUnit("W"), 0);
    EXPECT_EQ(print(10, textFixed), "0.010000");
    EXPECT_EQ(print(10, textTwoDecimals), "0.01");
    EXPECT_EQ(print(10, textDeviceUnit), "10.000000");
    EXPECT_EQ(print(5000, textFixed), "-222"); // 1E497 W
}

} // namespace
