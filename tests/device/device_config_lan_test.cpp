#include "device/device_config_lan.h"

#include <atomic>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <thread>

namespace {

using namespace std::string_literals;

void put(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::trunc) << content;
}
std::string get(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

// The unit of the sandbox: eth0 at 192.168.7.20, gateway 192.168.7.1.

TEST(DeviceConfigLanTest, TheSettingsComeFromTheSystem) {
    put("/tolvane/dev/conf/syst_comm_lan_conf", "DHCP\n");
    device_config_getLanConfig();
    EXPECT_STREQ(device_config_getIP(), "192.168.7.20");
    EXPECT_STREQ(device_config_getSubn(), "255.255.255.0");
    EXPECT_STREQ(device_config_getGW(), "192.168.7.1");
    EXPECT_FALSE(std::filesystem::exists("/media/ram/gateway"));
}

TEST(DeviceConfigLanTest, ALinkLocalAliasGoesBeforeTheInterface) {
    ASSERT_EQ(system("ip addr add 169.254.9.9/16 dev eth0 label eth0:avahi"), 0);
    device_config_getLanConfig();
    EXPECT_STREQ(device_config_getIP(), "169.254.9.9");
    EXPECT_STREQ(device_config_getSubn(), "255.255.0.0");
    ASSERT_EQ(system("ip addr del 169.254.9.9/16 dev eth0"), 0);
}

TEST(DeviceConfigLanTest, ARefreshShowsNoHalfWayState) {
    device_config_getLanConfig();
    std::atomic<bool> done{false};
    std::thread watch([&] {
        for (int i = 0; i < 5; ++i)
            device_config_getLanConfig();
        done = true;
    });
    while (!done) {
        EXPECT_STREQ(device_config_getIP(), "192.168.7.20");
        EXPECT_STREQ(device_config_getGW(), "192.168.7.1");
        std::this_thread::yield();
    }
    watch.join();
}

TEST(DeviceConfigLanTest, AnUnpluggedUnitHasNoAddress) {
    ASSERT_EQ(system("ip addr flush dev eth0"), 0);
    device_config_getLanConfig();
    EXPECT_STREQ(device_config_getIP(), "0.0.0.0");
    EXPECT_STREQ(device_config_getSubn(), "0.0.0.0");
    EXPECT_STREQ(device_config_getGW(), "0.0.0.0");
    ASSERT_EQ(system("/etc/init.d/ifplugd.init start"), 0);
}

TEST(DeviceConfigLanTest, TheModeIsTheStoredWord) {
    const struct {
        const char* content;
        bool isAuto, isDhcp, isMan;
    } cases[] = {
        {"MAN\n", false, false, true},    {"DHCP", false, true, false}, {"AUTO\n", true, false, false},
        {"MANUAL\n", true, false, false}, {"", true, false, false},
    };
    for (const auto& c : cases) {
        put("/tolvane/dev/conf/syst_comm_lan_conf", c.content);
        device_config_getLanConfig();
        EXPECT_EQ(device_config_isLanConfigAuto(), c.isAuto) << c.content;
        EXPECT_EQ(device_config_isLanConfigDhcp(), c.isDhcp) << c.content;
        EXPECT_EQ(device_config_isLanConfigMan(), c.isMan) << c.content;
    }
}

TEST(DeviceConfigLanTest, OnlyAddressesAreStored) {
    EXPECT_EQ(device_config_setIP("010.0.0.1"), 0);
    EXPECT_STREQ(device_config_getIP(), "10.0.0.1");
    EXPECT_EQ(device_config_setGW("10.0.0.254"), 0);
    for (const char* bad : {"10.0.0", "10.0.0.256", "10.0.0.1'; reboot; '", ""}) {
        EXPECT_EQ(device_config_setIP(bad), -224) << bad;
        EXPECT_EQ(device_config_setGW(bad), -224) << bad;
        EXPECT_EQ(device_config_setSubn(bad), -224) << bad;
    }
    EXPECT_STREQ(device_config_getIP(), "10.0.0.1");
    EXPECT_STREQ(device_config_getGW(), "10.0.0.254");
}

TEST(DeviceConfigLanTest, AMaskIsARunOfOnes) {
    for (const char* good : {"255.255.255.0", "128.0.0.0", "255.255.255.255", "255.255.240.0"}) {
        EXPECT_EQ(device_config_setSubn(good), 0) << good;
        EXPECT_STREQ(device_config_getSubn(), good);
    }
    for (const char* bad : {"255.0.255.0", "0.0.0.0", "127.255.255.255", "255.255.255.1"})
        EXPECT_EQ(device_config_setSubn(bad), -224) << bad;
    EXPECT_STREQ(device_config_getSubn(), "255.255.240.0");
}

TEST(DeviceConfigLanTest, AStaticAddressReachesTheSystemAndTheDefaultTakesItBack) {
    ASSERT_EQ(device_config_setIP("192.168.7.44"), 0);
    ASSERT_EQ(device_config_setSubn("255.255.0.0"), 0);
    ASSERT_EQ(device_config_setGW("192.168.7.2"), 0);
    device_config_setLanConfigMan();
    put("/run/unit/calls.log", "");
    EXPECT_EQ(device_config_setLanConfig(), 0);
    EXPECT_EQ(get("/tolvane/dev/conf/syst_comm_lan_conf"), "MAN\n");
    EXPECT_EQ(get("/etc/network/configuration"), "MAN\n");
    const std::string stanza = "auto eth0\niface eth0 inet static\n   address 192.168.7.44\n   netmask 255.255.0.0\n"
                               "   gateway 192.168.7.2\n";
    EXPECT_EQ(get("/etc/network/interfaces"), get("/tolvane/dev/conf/lo_conf") + stanza);
    size_t at = 0; // the order of the brackets and of the link watcher
    for (const char* call :
         {"write_tv", "write_root", "protect_root", "protect_tv", "ifplugd.init stop", "ifplugd.init start"}) {
        at = get("/run/unit/calls.log").find(call, at);
        EXPECT_NE(at, std::string::npos) << call;
    }
    device_config_getLanConfig();
    EXPECT_STREQ(device_config_getIP(), "192.168.7.44");
    EXPECT_STREQ(device_config_getSubn(), "255.255.0.0");
    EXPECT_STREQ(device_config_getGW(), "192.168.7.2");
    EXPECT_TRUE(device_config_isLanConfigMan());

    EXPECT_EQ(device_config_setDefaultLanConfig(), 0);
    EXPECT_EQ(get("/tolvane/dev/conf/syst_comm_lan_conf"), "AUTO\n");
    EXPECT_EQ(get("/etc/network/interfaces"),
              get("/tolvane/dev/conf/lo_conf") + get("/tolvane/dev/conf/eth0_dhcp_conf"));
    device_config_getLanConfig();
    EXPECT_STREQ(device_config_getIP(), "192.168.7.20");
}

TEST(DeviceConfigLanTest, TheHardwareAddressIsCutToTheBuffer) {
    char text[32];
    EXPECT_EQ(device_config_getMacAddr(text, sizeof text), 0);
    EXPECT_STREQ(text, "02:1b:c5:20:00:01");
    EXPECT_EQ(device_config_getMacAddr(text, 6), 0);
    EXPECT_STREQ(text, "02:1b");
}

} // namespace
