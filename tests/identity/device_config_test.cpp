#include "identity/device_config.h"
#include "identity/device_config_lan.h"
#include "tests/core/contents.h"

#include <atomic>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <thread>

namespace {

using namespace std::string_literals;
using std::filesystem::remove;

/// The system's commands that ran since the last look, and the state that they left the tree in.
std::string systemCalls() {
    const std::string calls = contents("/run/unit/calls.log");
    put("/run/unit/calls.log", "");
    return calls + contents("/run/unit/protection/tv");
}
constexpr char bracket[] = "write_tv\nprotect_tv\nprotected\n";

/// A unit's own /tolvane, /media/ram and protection scripts lie around the program.
struct DeviceConfigTest : testing::Test {
    DeviceConfigTest() {
        remove("/tolvane/dev/fwupdate");
        put("/tolvane/dev/sn", "220-336306910-0001\n");
        device_config_init();
        systemCalls();
    }
};

TEST_F(DeviceConfigTest, TheSerialNumberIsTheFirstLineInUpperCase) {
    memset(device_config_sn, 0, sizeof device_config_sn);
    EXPECT_STREQ(device_config_getSN(), "220-336306910-0001"); // read on first use
    const std::pair<std::string, std::string> files[] = {{"22a-3b6306910-00fF\r\nrest", "22A-3B6306910-00FF"},
                                                         {"\n220-1", "000-000000000-0000"},
                                                         {std::string(100, 'x'), std::string(32, 'X')}};
    for (const auto& [content, expected] : files) {
        put("/tolvane/dev/sn", content);
        device_config_readSN(device_config_sn);
        EXPECT_EQ(device_config_sn, expected);
    }
    remove("/tolvane/dev/sn");
    device_config_readSN(device_config_sn);
    EXPECT_STREQ(device_config_sn, "000-000000000-0000");
}

TEST_F(DeviceConfigTest, TheSerialNumberChangesOnlyForWhoKnowsTheOldOne) {
    int changed = 7;
    EXPECT_EQ(device_config_setSN("220-336306910-0002", "241-336306910-0003", &changed), -113);
    EXPECT_EQ(changed, 0);
    EXPECT_EQ(systemCalls(), "protected\n");
    EXPECT_EQ(device_config_setSN("220-336306910-0001", "241-33630691a-0003", &changed), 0);
    EXPECT_EQ(changed, 1);
    EXPECT_EQ(systemCalls(), bracket);
    EXPECT_STREQ(device_config_getSN(), "241-33630691A-0003");
    for (const std::string& bad : {""s, "220 336"s, "220\n336"s, std::string(33, '1')})
        EXPECT_EQ(device_config_setSN("241-33630691A-0003", bad.c_str(), nullptr), -113) << bad;
    EXPECT_EQ(contents("/tolvane/dev/sn"), "241-33630691A-0003");

    remove("/tolvane/dev/sn");
    std::filesystem::create_directory("/tolvane/dev/sn"); // nothing can be stored there
    EXPECT_EQ(device_config_setSN("000-000000000-0000", "241-336306910-0003", &changed), -113);
    EXPECT_EQ(changed, 0);
    EXPECT_EQ(systemCalls(), bracket);
    remove("/tolvane/dev/sn");
}

TEST_F(DeviceConfigTest, AnUnfinishedUpdateShowsInTheVersion) {
    EXPECT_STREQ(device_config_getFWVersion(), "0.4.92");
    device_config_reset_cause = 1;
    put("/tolvane/dev/fwupdate", "");
    device_config_init();
    EXPECT_STREQ(device_config_getFWVersion(), "0.0.1");
    EXPECT_EQ(device_config_reset_cause, 0);
}

TEST_F(DeviceConfigTest, TheModelNameTakesAnExtensionOfFourteenCharacters) {
    for (const std::string text : {"LAB 3", "abcdefghijklmnopqrst", "x]", ""}) {
        EXPECT_EQ(device_config_setModelNameExt(text.c_str()), 0);
        const std::string kept = text.substr(0, 14), bracketed = kept.empty() ? "" : '[' + kept + ']';
        for (int restart = 0; restart < 2; ++restart) {
            EXPECT_EQ(device_config_getModelNameExt(), kept);
            EXPECT_EQ(device_config_getModelNameExt_bracketed(), bracketed);
            device_config_init();
        }
    }
    remove("/tolvane/cust/model_name_ext");
    device_config_loadModelNameExt();
    EXPECT_STREQ(device_config_getModelNameExt_bracketed(), "");
}

TEST_F(DeviceConfigTest, TheBootDelayStaysWithinItsLimits) {
    double seconds = -1;
    for (const double given : {60.0, 60.1, -1.0, std::nan("")}) {
        const double stored = given == 60.0 ? given : 0.0;
        EXPECT_EQ(device_config_storeBootDelay(given), 0);
        EXPECT_EQ(device_config_loadBootDelay(&seconds), 0);
        EXPECT_EQ(seconds, stored) << given;
    }
    put("/tolvane/dev/bootdelay", "61");
    EXPECT_EQ(device_config_loadBootDelay(&(seconds = -1)), 0);
    EXPECT_EQ(seconds, 0.0);
    remove("/tolvane/dev/bootdelay");
    EXPECT_EQ(device_config_loadBootDelay(&(seconds = -1)), -200);
    EXPECT_EQ(seconds, 0.0);
}

TEST_F(DeviceConfigTest, TuningWordsAndSensitivitiesHaveAFileEach) {
    uint32_t word = 0;
    EXPECT_EQ(device_config_storeVcoTuning(0x04030201, 0) | device_config_storeVcoTuning(77, 12), 0);
    EXPECT_EQ(contents("/tolvane/dev/vcotuning"), "\x01\x02\x03\x04");
    EXPECT_EQ(device_config_loadVcoTuning(&word, 12), 0);
    EXPECT_EQ(word, 77u);
    EXPECT_EQ(device_config_loadVcoTuning(&(word = 1), 3), -200);
    EXPECT_EQ(word, 1u);

    double hertzPerVolt = 0;
    EXPECT_EQ(device_config_setVcoSensitivity(254.3, 0) | device_config_setVcoSensitivity(-1e308, 1), 0);
    EXPECT_EQ(contents("/tolvane/dev/vcosensa"), "254.300000\n");
    EXPECT_EQ(device_config_getVcoSensitivity(&hertzPerVolt, 5), 0);
    remove("/tolvane/dev/vcosensa");
    EXPECT_EQ(device_config_getVcoSensitivity(&hertzPerVolt, 0), -200);
    EXPECT_EQ(hertzPerVolt, -1e308);
}

TEST_F(DeviceConfigTest, AWriteIsBracketedAndAFailedOneKeepsTheOldContent) {
    EXPECT_EQ(device_config_storeString("/tolvane/dev/note", "new"), 0);
    EXPECT_EQ(systemCalls(), bracket);
    std::filesystem::create_directory("/tolvane/dev/note.~new"); // no room for the draft
    EXPECT_EQ(device_config_storeString("/tolvane/dev/note", "newer"), -200);
    EXPECT_EQ(device_config_storeBinary("/tolvane/dev", "x", 1), -200);
    EXPECT_FALSE(remove("/tolvane/dev.~new")) << "a draft stayed";
    EXPECT_EQ(systemCalls(), "write_tv\nprotect_tv\n"s + bracket);
    EXPECT_EQ(contents("/tolvane/dev/note"), "new");
    remove("/tolvane/dev/note.~new");
}

TEST_F(DeviceConfigTest, AReadNeverLeavesTheBuffer) {
    char text[6] = "";
    put("/tolvane/dev/note", "1234567");
    EXPECT_EQ(device_config_loadBinary("/tolvane/dev/note", text, 5), 0);
    EXPECT_STREQ(text, "12345");
    EXPECT_EQ(device_config_loadString("/tolvane/dev/note", text, 4), 0);
    EXPECT_EQ(std::string(text, 5), "123\0"s + "5");
    EXPECT_EQ(device_config_loadString("/tolvane/dev", text, 4), -200);
    EXPECT_STREQ(text, "");
    put("/tolvane/dev/note", "1234");
    EXPECT_EQ(device_config_loadBinary("/tolvane/dev/note", text, 5), -200);
}

/// What the address file says now, or the error.
std::string gpibAddress() {
    char address[16];
    const int error = device_config_getGPIBaddr(address, sizeof address);
    return error == 0 ? address : std::to_string(error);
}

TEST_F(DeviceConfigTest, OnlyAGpibAddressReachesTheShell) {
    put("/tolvane/dev/gpib", "18\nrest");
    EXPECT_EQ(gpibAddress(), "18");
    remove("/tolvane/dev/gpib");
    EXPECT_EQ(gpibAddress(), "0");
    for (const char* good : {"7", "18", "18,96", "5 101"}) {
        EXPECT_EQ(device_config_setGPIBaddr(good), 0);
        EXPECT_EQ(systemCalls(), bracket);
        EXPECT_EQ(gpibAddress(), good);
    }
    for (const char* bad : {"", "1'; touch /tolvane/cust/owned; echo '2", "$(reboot)", "1\n2", "1\\c2", "-n", "1,",
                            ",1", "1,2,3", "1234567890123456", "\xc3\xa9"})
        EXPECT_EQ(device_config_setGPIBaddr(bad), -224) << bad;
    EXPECT_EQ(contents("/tolvane/dev/gpib"), "5 101\n");
    device_config_sn[11] = '0'; // without the option
    EXPECT_EQ(gpibAddress(), "-113");
}

// The network.

constexpr char modeFile[] = "/tolvane/dev/conf/syst_comm_lan_conf";

/// Address, mask and gateway of the record.
std::string settings() {
    return std::string(device_config_getIP()) + ' ' + device_config_getSubn() + ' ' + device_config_getGW();
}
/// The same when the system has been asked.
std::string current() {
    device_config_getLanConfig();
    return settings();
}

constexpr char unitSettings[] = "192.168.7.20 255.255.255.0 192.168.7.1"; // of the sandbox

TEST(DeviceConfigLanTest, TheSettingsComeFromTheSystem) {
    EXPECT_EQ(current(), unitSettings);
    EXPECT_FALSE(std::filesystem::exists("/media/ram/gateway"));
    ASSERT_EQ(system("ip addr add 169.254.9.9/16 dev eth0 label eth0:avahi"), 0); // goes before the interface
    EXPECT_EQ(current(), "169.254.9.9 255.255.0.0 192.168.7.1");
    ASSERT_EQ(system("ip addr flush dev eth0"), 0);
    EXPECT_EQ(current(), "0.0.0.0 0.0.0.0 0.0.0.0");
    ASSERT_EQ(system("/etc/init.d/ifplugd.init start"), 0);
}

TEST(DeviceConfigLanTest, ARefreshShowsNoHalfWayState) {
    EXPECT_EQ(current(), unitSettings);
    std::atomic<bool> done{false};
    std::thread watch([&] {
        for (int i = 0; i < 5; ++i)
            device_config_getLanConfig();
        done = true;
    });
    while (!done) {
        EXPECT_EQ(settings(), unitSettings);
        std::this_thread::yield();
    }
    watch.join();
}

TEST(DeviceConfigLanTest, TheModeIsTheStoredWord) {
    for (const auto& [content, mode] :
         {std::pair{"MAN\n", 'M'}, {"DHCP", 'D'}, {"AUTO\n", 'A'}, {"MANUAL\n", 'A'}, {"", 'A'}}) {
        put(modeFile, content);
        device_config_getLanConfig();
        EXPECT_EQ(device_config_isLanConfigAuto(), mode == 'A') << content;
        EXPECT_EQ(device_config_isLanConfigDhcp(), mode == 'D') << content;
        EXPECT_EQ(device_config_isLanConfigMan(), mode == 'M') << content;
    }
}

TEST(DeviceConfigLanTest, OnlyAddressesAreStoredAndAMaskIsARunOfOnes) {
    EXPECT_EQ(device_config_setIP("010.0.0.1") | device_config_setGW("10.0.0.254"), 0);
    for (const char* good : {"255.255.255.0", "128.0.0.0", "255.255.255.255", "255.255.240.0"}) {
        EXPECT_EQ(device_config_setSubn(good), 0) << good;
        EXPECT_STREQ(device_config_getSubn(), good);
    }
    for (const auto set : {device_config_setIP, device_config_setGW, device_config_setSubn})
        for (const char* bad : {"10.0.0", "10.0.0.256", "10.0.0.1'; reboot; '", ""})
            EXPECT_EQ(set(bad), -224) << bad;
    for (const char* bad : {"255.0.255.0", "0.0.0.0", "127.255.255.255", "255.255.255.1"})
        EXPECT_EQ(device_config_setSubn(bad), -224) << bad;
    EXPECT_EQ(settings(), "10.0.0.1 255.255.240.0 10.0.0.254");
}

TEST(DeviceConfigLanTest, AStaticAddressReachesTheSystemAndTheDefaultTakesItBack) {
    const std::string loopback = contents("/tolvane/dev/conf/lo_conf");
    ASSERT_EQ(device_config_setIP("192.168.7.44") | device_config_setGW("192.168.7.2"), 0);
    ASSERT_EQ(device_config_setSubn("255.255.0.0"), 0);
    device_config_setLanConfigMan();
    systemCalls();
    EXPECT_EQ(device_config_setLanConfig(), 0);
    EXPECT_EQ(contents(modeFile) + contents("/etc/network/configuration"), "MAN\nMAN\n");
    EXPECT_EQ(contents("/etc/network/interfaces"), loopback +
                                                       "auto eth0\niface eth0 inet static\n   address 192.168.7.44\n"
                                                       "   netmask 255.255.0.0\n   gateway 192.168.7.2\n");
    EXPECT_EQ(systemCalls(), "write_tv\nwrite_root\nprotect_root\nprotect_tv\n"
                             "ifplugd.init stop\nifplugd.init start\nprotected\n");
    EXPECT_EQ(current(), "192.168.7.44 255.255.0.0 192.168.7.2");

    EXPECT_EQ(device_config_setDefaultLanConfig(), 0);
    EXPECT_EQ(contents(modeFile) + contents("/etc/network/configuration"), "AUTO\nAUTO\n");
    EXPECT_EQ(contents("/etc/network/interfaces"), loopback + contents("/tolvane/dev/conf/eth0_dhcp_conf"));
    EXPECT_EQ(current(), unitSettings);
}

TEST(DeviceConfigLanTest, TheHardwareAddressIsCutToTheBuffer) {
    for (const auto& [size, address] : {std::pair{32, "02:1b:c5:20:00:01"}, {6, "02:1b"}, {1, ""}}) {
        char text[32] = "#";
        EXPECT_EQ(device_config_getMacAddr(text, static_cast<size_t>(size)), 0);
        EXPECT_STREQ(text, address);
    }
}

} // namespace
