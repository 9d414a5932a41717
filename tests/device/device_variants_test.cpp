#include "device/device_variants.h"

#include <cstring>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <vector>

namespace {

constexpr std::string_view characters = "0123456789A";

/// A position of the serial number and the characters there that its questions answer with yes, question by question.
/// *: only in units of generations 2 and 5.
struct Position {
    std::string answers;
    std::vector<bool (*)()> questions;
};
const Position positions[] = {
    {"1: 1 1 1 2 4 24",
     {device_config_isTVPNL, device_config_isTVPNLFamily, device_config_isTVPNY, device_config_isTVPNX,
      device_config_isTVPNM, device_config_isTVPNXFamily}},
    {"4: 2 2 3 4 34 234",
     {device_config_usesFpHcAt91, device_config_usesFpAt91, device_config_usesFpTpStm, device_config_usesFpHcStm,
      device_config_usesFpStm, device_config_usesFp}},
    {"5: 23456789A 3456789A 4",
     {device_config_usesTvcont_1EorNewer, device_config_usesTvcont_1ForNewer, device_config_usesOptionFs}},
    {"6: 1 1 2 3 4 5 6",
     {device_config_usesTVPNX_ALG_1B, device_config_usesTVPNX_ALG_TO1B, device_config_usesTVPNX_ALG_1C,
      device_config_usesTVPNX_ALG_2A, device_config_usesTVPNX_ALG_2B, device_config_usesTVPNX_ALG_2C,
      device_config_usesTVPNX_ALG_2D}},
    {"7: 23456789A 2 3 5",
     {device_config_usesTvpnDutSupply, device_config_isTvpnDutSupply_5V_0A15, device_config_isTvpnDutSupply_12V_1A,
      device_config_isTvpnDutRelayOnly}},
    {"9: 2 3456789A 4 5 6 123456789A",
     {device_config_usesTVPN_ADFPGA_1B, device_config_usesTVPN_ADFPGA_1C_FVST, device_config_usesTVPN_ADFPGA_1D,
      device_config_usesTVPN_ADFPGA_1E, device_config_usesTVPN_ADFPGA_2A, device_config_usesBattery}},
    {"10: 5 7* 8* 9* 89* 123456789A* 3 4 57",
     {device_config_usesTVPN_IS6G, device_config_usesTVPN_IS, device_config_usesTVPN_IS_2A,
      device_config_usesTVPN_IS_2B, device_config_usesTVPN_IS_2, device_config_hasInternalRef, device_config_usesPE3,
      device_config_usesPE4, device_config_usesPE5}},
    {"11: 123456789A", {device_config_usesGPIB}},
    {"12: 1*", {device_config_isAnalog2BCDModified}},
};

/// One character at a time on a number that says nothing else.
TEST(DeviceVariantsTest, EachCharacterAnswersItsOwnQuestions) {
    for (const char generation : characters)
        for (const auto& [answers, questions] : positions) {
            std::istringstream in(answers);
            std::string yes;
            in >> yes;
            const size_t own = std::stoul(yes);
            for (const auto ask : questions) {
                in >> yes;
                if (yes.ends_with('*'))
                    yes = generation == '2' || generation == '5' ? yes.substr(0, yes.size() - 1) : "";
                for (size_t position = 1; position < 18; ++position) {
                    std::string found;
                    for (const char character : characters) {
                        strcpy(device_config_sn, "000-000000000-0000");
                        device_config_sn[0] = generation;
                        device_config_sn[position] = character;
                        if (ask())
                            found += character;
                    }
                    EXPECT_EQ(found, position == own ? yes : "") << generation << " at " << position << ": " << answers;
                }
            }
        }
}

} // namespace
