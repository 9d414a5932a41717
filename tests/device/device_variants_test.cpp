#include "device/device_variants.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>

namespace {

using Predicate = bool (*)();

struct Question {
    const char* name;
    Predicate ask;
};
#define QUESTION(name)                                                                                                 \
    { #name, device_config_##name }

constexpr Question questions[] = {
    QUESTION(isTVPNL),
    QUESTION(isTVPNLFamily),
    QUESTION(isTVPNY),
    QUESTION(isTVPNX),
    QUESTION(isTVPNM),
    QUESTION(isTVPNXFamily),
    QUESTION(usesFpHcAt91),
    QUESTION(usesFpAt91),
    QUESTION(usesFpTpStm),
    QUESTION(usesFpHcStm),
    QUESTION(usesFpStm),
    QUESTION(usesFp),
    QUESTION(usesTvcont_1EorNewer),
    QUESTION(usesTvcont_1ForNewer),
    QUESTION(usesOptionFs),
    QUESTION(usesTVPNX_ALG_1B),
    QUESTION(usesTVPNX_ALG_TO1B),
    QUESTION(usesTVPNX_ALG_1C),
    QUESTION(usesTVPNX_ALG_2A),
    QUESTION(usesTVPNX_ALG_2B),
    QUESTION(usesTVPNX_ALG_2C),
    QUESTION(usesTVPNX_ALG_2D),
    QUESTION(isAnalog2BCDModified),
    QUESTION(usesTvpnDutSupply),
    QUESTION(isTvpnDutSupply_5V_0A15),
    QUESTION(isTvpnDutSupply_12V_1A),
    QUESTION(isTvpnDutRelayOnly),
    QUESTION(usesTVPN_ADFPGA_1B),
    QUESTION(usesTVPN_ADFPGA_1C_FVST),
    QUESTION(usesTVPN_ADFPGA_1D),
    QUESTION(usesTVPN_ADFPGA_1E),
    QUESTION(usesTVPN_ADFPGA_2A),
    QUESTION(usesBattery),
    QUESTION(usesTVPN_IS6G),
    QUESTION(usesTVPN_IS),
    QUESTION(usesTVPN_IS_2A),
    QUESTION(usesTVPN_IS_2B),
    QUESTION(usesTVPN_IS_2),
    QUESTION(hasInternalRef),
    QUESTION(usesPE3),
    QUESTION(usesPE4),
    QUESTION(usesPE5),
    QUESTION(usesGPIB),
};
#undef QUESTION

/// Names of the questions that a unit answers with yes, in the order above.
std::string yesOf(const char* serialNumber) {
    strcpy(device_config_sn, serialNumber);
    std::string names;
    for (const auto& [name, ask] : questions)
        if (ask())
            names += std::string(names.empty() ? "" : " ") + name;
    return names;
}

TEST(DeviceVariantsTest, TheNumberTellsTheHardware) {
    const struct {
        const char* serialNumber;
        const char* yes;
    } units[] = {
        {"000-000000000-0000", ""},
        {"999-999999999-9999", "usesTvcont_1EorNewer usesTvcont_1ForNewer usesTvpnDutSupply usesTVPN_ADFPGA_1C_FVST "
                               "usesBattery usesGPIB"}, // not of a generation that has the newer sources
        {"220-336306910-0001", "isTVPNX isTVPNXFamily usesFpTpStm usesFpStm usesFp usesTvcont_1EorNewer "
                               "usesTvcont_1ForNewer usesTVPNX_ALG_2D usesTvpnDutSupply isTvpnDutSupply_12V_1A "
                               "usesTVPN_ADFPGA_1C_FVST usesTVPN_ADFPGA_2A usesBattery usesTVPN_IS_2B usesTVPN_IS_2 "
                               "hasInternalRef usesGPIB"},
    };
    for (const auto& [serialNumber, yes] : units)
        EXPECT_EQ(yesOf(serialNumber), yes) << serialNumber;
}

/// One character at a time on a number of the present generation that says nothing else.
TEST(DeviceVariantsTest, EachCharacterAnswersItsOwnQuestions) {
    const struct {
        size_t position;
        char character;
        const char* yes;
    } cases[] = {
        {0, '5', ""},
        {1, '1', "isTVPNL isTVPNLFamily isTVPNY"},
        {1, '2', "isTVPNX isTVPNXFamily"},
        {1, '3', ""},
        {1, '4', "isTVPNM isTVPNXFamily"},
        {2, '9', ""},
        {4, '1', ""},
        {4, '2', "usesFpHcAt91 usesFpAt91 usesFp"},
        {4, '3', "usesFpTpStm usesFpStm usesFp"},
        {4, '4', "usesFpHcStm usesFpStm usesFp"},
        {5, '1', ""},
        {5, '2', "usesTvcont_1EorNewer"},
        {5, '3', "usesTvcont_1EorNewer usesTvcont_1ForNewer"},
        {5, '4', "usesTvcont_1EorNewer usesTvcont_1ForNewer usesOptionFs"},
        {6, '1', "usesTVPNX_ALG_1B usesTVPNX_ALG_TO1B"},
        {6, '2', "usesTVPNX_ALG_1C"},
        {6, '3', "usesTVPNX_ALG_2A"},
        {6, '4', "usesTVPNX_ALG_2B"},
        {6, '5', "usesTVPNX_ALG_2C"},
        {6, '6', "usesTVPNX_ALG_2D"},
        {7, '1', ""},
        {7, '2', "usesTvpnDutSupply isTvpnDutSupply_5V_0A15"},
        {7, '3', "usesTvpnDutSupply isTvpnDutSupply_12V_1A"},
        {7, '5', "usesTvpnDutSupply isTvpnDutRelayOnly"},
        {7, 'A', "usesTvpnDutSupply"},
        {8, '9', ""},
        {9, '2', "usesTVPN_ADFPGA_1B usesBattery"},
        {9, '3', "usesTVPN_ADFPGA_1C_FVST usesBattery"},
        {9, '4', "usesTVPN_ADFPGA_1C_FVST usesTVPN_ADFPGA_1D usesBattery"},
        {9, '5', "usesTVPN_ADFPGA_1C_FVST usesTVPN_ADFPGA_1E usesBattery"},
        {9, '6', "usesTVPN_ADFPGA_1C_FVST usesTVPN_ADFPGA_2A usesBattery"},
        {10, '1', "hasInternalRef"},
        {10, '3', "hasInternalRef usesPE3"},
        {10, '4', "hasInternalRef usesPE4"},
        {10, '5', "usesTVPN_IS6G hasInternalRef usesPE5"},
        {10, '7', "usesTVPN_IS hasInternalRef usesPE5"},
        {10, '8', "usesTVPN_IS_2A usesTVPN_IS_2 hasInternalRef"},
        {10, '9', "usesTVPN_IS_2B usesTVPN_IS_2 hasInternalRef"},
        {11, '1', "usesGPIB"},
        {12, '1', "isAnalog2BCDModified"},
        {13, '9', ""},
        {17, '9', ""},
    };
    for (const auto& [position, character, yes] : cases) {
        std::string number = "200-000000000-0000";
        number[position] = character;
        EXPECT_EQ(yesOf(number.c_str()), yes) << number;
    }
}

TEST(DeviceVariantsTest, SomeHardwareNeedsAUnitOfItsGeneration) {
    EXPECT_EQ(yesOf("500-000000801-0000"), "isAnalog2BCDModified usesTVPN_IS_2A usesTVPN_IS_2 hasInternalRef");
    EXPECT_EQ(yesOf("000-000000801-0000"), "");
    EXPECT_EQ(yesOf("100-000000700-0000"), "usesPE5");
    EXPECT_EQ(yesOf("100-000000500-0000"), "usesTVPN_IS6G usesPE5");
}

} // namespace
