/// SYSTem and MEMory:FILE, on the file tree of a unit.

#include "device/device_config.h"
#include "fake_instrument.h"

#include <cstdio>
#include <filesystem>
#include <fstream>

namespace tree {
namespace {

class System : public Tree {};

TEST_F(System, ErrorsAreReadOldestFirst) {
    EXPECT_EQ(tell("SYST:ERR?"), "0,\"No error\"\n");
    tell("NOSUCH;:*ESE;:*IDN? 1");
    EXPECT_EQ(tell("SYST:ERR?;ERR:NEXT?"), "-113,\"Undefined header\";-109,\"Missing parameter\"\n");
    tell("NOSUCH");
    EXPECT_EQ(tell("SYST:ERR:ALL?"), "-108,\"Parameter not allowed\",-113,\"Undefined header\"\n");
    EXPECT_EQ(tell("SYST:ERR:ALL?;:SYST:VERS?"), "0,\"No error\";1999.0\n");
}

TEST_F(System, TheNameIsExtendedByTheCustomer) {
    tell("SYST:NAME \"Lab 3\"");
    EXPECT_EQ(tell("SYST:NAME?"), "\"Lab 3\"\n");
    EXPECT_EQ(tell("*IDN?").substr(0, 24), "Tolvane AG,TVPNX[Lab 3],");
    EXPECT_EQ(errors(), Codes{});
    for (const auto& [line, code] : {Refusal{"SYST:NAME Lab", -224},
                                     {"SYST:NAME \"Lab", -224},
                                     {"SYST:NAME", -109},
                                     {"SYST:NAME \"a\",\"b\"", -108}}) {
        tell(line);
        EXPECT_EQ(errors(), Codes{code}) << line;
    }
    EXPECT_EQ(tell("SYST:NAME?"), "\"Lab 3\"\n");
    tell("SYST:NAME \"\"");
    EXPECT_EQ(tell("SYST:NAME?"), "\"\"\n");
}

TEST_F(System, AddressesAreQuotedAndChecked) {
    const struct {
        const char* header;
        const char* good;
        const char* bad;
    } rows[] = {
        {"SYST:COMM:LAN:IP", "10.0.0.17", "10.0.0.256"},
        {"SYST:COMM:LAN:SUBN", "255.255.255.0", "255.0.255.0"},
        {"SYST:COMM:LAN:GATE", "10.0.0.1", "10.0.0"},
    };
    for (const auto& [header, good, bad] : rows) {
        SCOPED_TRACE(header);
        const std::string name = header;
        tell(name + " \"" + good + "\"");
        EXPECT_EQ(errors(), Codes{});
        tell(name + " \"" + bad + "\"");
        tell(name + " 10.9.9.9");
        EXPECT_EQ(errors(), (Codes{-224, -224}));
        EXPECT_EQ(tell(name + "?"), std::string("\"") + good + "\"\n");
    }
}

TEST_F(System, TheLanModeIsAWord) {
    for (const auto& [parameter, reply] :
         {std::pair{"MAN", "MAN\n"}, {"DHCP", "DHCP\n"}, {"auto", "AUTO\n"}, {"MANUAL", "MAN\n"}}) {
        tell(std::string("SYST:COMM:LAN:CONF ") + parameter);
        EXPECT_EQ(tell("SYST:COMM:LAN:CONF?"), reply);
    }
    EXPECT_EQ(errors(), Codes{});
    tell("SYST:COMM:LAN:CONF STATIC");
    EXPECT_EQ(errors(), Codes{-113});
    EXPECT_EQ(tell("SYST:COMM:LAN:CONF?"), "MAN\n");
    device_config_setLanConfigAuto();
    const std::string mac = tell("SYST:COMM:LAN:MAC?");
    EXPECT_TRUE(mac.starts_with('"') && mac.ends_with("\"\n")) << mac;
}

TEST_F(System, GpibNeedsTheOption) {
    snprintf(device_config_sn, sizeof device_config_sn, "523-456789002-0007");
    EXPECT_EQ(tell("SYST:COMM:GPIB:ADDR?"), "");
    EXPECT_EQ(errors(), Codes{-113});
    snprintf(device_config_sn, sizeof device_config_sn, "523-456789912-0007");
    tell("SYST:COMM:GPIB:ADDR \"19\"");
    EXPECT_EQ(tell("SYST:COMM:GPIB:ADDR?"), "\"19\"\n");
    EXPECT_EQ(errors(), Codes{});
    tell("SYST:COMM:GPIB:ADDR 19");
    EXPECT_EQ(errors(), Codes{-224});
}

TEST_F(System, QueryEchoBelongsToTheLink) {
    EXPECT_EQ(tell("SYST:COMM:QUER:ECHO?"), "0\n");
    tell("SYST:COMM:QUER:ECHO ON");
    EXPECT_EQ(tell("SYST:COMM:QUER:ECHO?"), "1\n");
    EXPECT_EQ(tell("NOSUCH?"), "\n");
    EXPECT_EQ(tell(&link_socket, "SYST:COMM:QUER:ECHO?"), "0\n");
    tell("SYST:COMM:QUER:ECHO OFF");
    EXPECT_EQ(tell("NOSUCH?"), "");
    tell("SYST:COMM:SOCK:ECHO ON");
    EXPECT_EQ(tell("SYST:COMM:SOCK:ECHO?"), "0\n");
    EXPECT_EQ(errors(), (Codes{-113, -113}));
    tell("SYST:COMM:QUER:ECHO MAYBE;:SYST:COMM:SOCK:ECHO MAYBE");
    EXPECT_EQ(errors(), (Codes{-224, -224}));
}

TEST_F(System, TheUsersFilesAreCountedAndDeleted) {
    std::ofstream("/tolvane/cust/notes.txt") << std::string(50000, 'x');
    unsigned free = 0;
    unsigned used = 0;
    ASSERT_EQ(sscanf(tell("MEM:FILE:FREE?").c_str(), "%u,%u", &free, &used), 2);
    EXPECT_GT(free, 0u);
    EXPECT_GE(used, 50000u);
    EXPECT_NE(tell("MEM:FILE:FREE:ALL?"), "");
    tell("MEM:FILE:DEL:ALL 1");
    EXPECT_EQ(errors(), Codes{-108});
    EXPECT_TRUE(std::filesystem::exists("/tolvane/cust/notes.txt"));
    tell("MEM:FILE:DEL:ALL");
    EXPECT_EQ(errors(), Codes{});
    EXPECT_FALSE(std::filesystem::exists("/tolvane/cust/notes.txt"));
}

} // namespace
} // namespace tree
