/// SYSTem and MEMory:FILE, on the file tree of a unit.

#include "fake_instrument.h"
#include "identity/device_config.h"
#include "tests/slots.h"

#include <cstdio>
#include <filesystem>
#include <fstream>

namespace tree {
namespace {

using System = Tree;

TEST_F(System, ErrorsAreReadOldestFirst) {
    converse({{"SYST:ERR?;ERR:ALL?;:SYST:VERS?", "0,\"No error\";0,\"No error\";1999.0\n"},
              {"NOSUCH;:*ESE;:SYST:ERR?;ERR:NEXT?", "-113,\"Undefined header\";-109,\"Missing parameter\"\n"},
              {"*IDN? 1;:NOSUCH;:SYST:ERR:ALL?", "-108,\"Parameter not allowed\",-113,\"Undefined header\"\n"}});
}

TEST_F(System, TextsAreQuotedAndChecked) {
    snprintf(device_config_sn, sizeof device_config_sn, "523-456789912-0007"); // with the GPIB option
    constexpr char settings[] = R"(SYST:COMM:LAN:IP="10.0.0.17":"10.0.0.256" SYST:COMM:LAN:GATE="10.0.0.1":"10.0.0"
        SYST:COMM:LAN:SUBN="255.255.255.0":"255.0.255.0" SYST:COMM:GPIB:ADDR="19":"x" SYST:NAME="Lab-3":"Lab)";
    for (const auto& [header, good, _] : itemsOf(settings))
        converse({{header + ' ' + good, ""}});
    for (const auto& [header, good, bad] : itemsOf(settings)) {
        refuses({{(' ' + bad).c_str(), -224}, {" 17", -224}, {"", -109}, {" \"1\",2", -108}}, header);
        converse({{header + '?', good + '\n'}});
    }
    EXPECT_EQ(tell("*IDN?").substr(0, 24), "Tolvane AG,TVPNX[Lab-3],");
    converse({{"SYST:NAME \"\";NAME?", "\"\"\n"}});
    const std::string mac = tell("SYST:COMM:LAN:MAC?");
    EXPECT_TRUE(mac.starts_with('"') && mac.ends_with("\"\n")) << mac;
    snprintf(device_config_sn, sizeof device_config_sn, "523-456789002-0007");
    refuses({{"SYST:COMM:GPIB:ADDR?", -113}});
}

TEST_F(System, TheFrontPanelIsLockedWhereThereIsOne) {
    static int locks, releases;
    converse({{"SYST:LOCK;:SYST:LOCK:REL", "", {-113, -113}}});
    fill(hcupdate_lock, [] { return ++locks, 0; });
    fill(hcupdate_release, [] { return ++releases, -1; });
    converse({{"SYST:LOCK;:SYST:LOCK;:SYST:LOCK 1;:SYST:LOCK:REL", "", {-108, -241}}});
    EXPECT_EQ(locks, 2);
    EXPECT_EQ(releases, 1);
    fill.clear(hcupdate_lock);
    fill.clear(hcupdate_release);
}

TEST_F(System, LinkAndLanSettingsAreWords) {
    converse({{"SYST:COMM:LAN:CONF MAN;CONF?", "MAN\n"},
              {"SYST:COMM:LAN:CONF DHCP;CONF?", "DHCP\n"},
              {"SYST:COMM:LAN:CONF auto;CONF?", "AUTO\n"},
              {"SYST:COMM:LAN:CONF MANUAL;CONF STATIC;CONF?", "MAN\n", {-113}},
              {"SYST:COMM:QUER:ECHO ON;ECHO?", "1\n"},
              {"NOSUCH?", "\n", {-113}},
              {"SYST:COMM:QUER:ECHO MAYBE;ECHO OFF", "", {-224}},
              {"NOSUCH?", "", {-113}},
              {"SYST:COMM:SOCK:ECHO ON;ECHO MAYBE;ECHO?", "0\n", {-224}}});
    tell("SYST:COMM:QUER:ECHO ON");
    EXPECT_EQ(tell(&link_socket, "SYST:COMM:QUER:ECHO?"), "0\n") << "another link";
    device_config_setLanConfigAuto();
}

TEST_F(System, TheUsersFilesAreCountedAndDeleted) {
    std::ofstream("/tolvane/cust/notes.txt") << std::string(50000, 'x');
    unsigned free = 0, used = 0;
    ASSERT_EQ(sscanf(tell("MEM:FILE:FREE?").c_str(), "%u,%u", &free, &used), 2);
    EXPECT_TRUE(free > 0 && used >= 50000) << free << ',' << used;
    refuses({{"MEM:FILE:DEL:ALL 1", -108}});
    EXPECT_TRUE(std::filesystem::exists("/tolvane/cust/notes.txt"));
    converse({{"MEM:FILE:DEL:ALL", ""}});
    EXPECT_FALSE(std::filesystem::exists("/tolvane/cust/notes.txt"));
}

} // namespace
} // namespace tree
