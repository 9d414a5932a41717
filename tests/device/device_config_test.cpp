#include "device/device_config.h"

#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <limits>
#include <string>

namespace {

using namespace std::string_literals;

/// A unit's own /tolvane, /media/ram and protection scripts lie around the program.
class DeviceConfigTest : public testing::Test {
protected:
    void SetUp() override {
        std::filesystem::remove_all("/tolvane/dev/fwupdate");
        std::filesystem::remove_all("/tolvane/cust/model_name_ext");
        put("/tolvane/dev/sn", "220-336306910-0001\n");
        device_config_init();
    }

    static void put(const std::string& path, const std::string& content) {
        std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
    }
    static std::string get(const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    static std::string serialNumberOf(const std::string& fileContent) {
        put("/tolvane/dev/sn", fileContent);
        char number[serialNumberSize];
        device_config_readSN(number);
        return number;
    }
    /// The scripts that ran, in order, and the state that they left the tree in.
    static std::string protectionCalls() {
        std::ifstream log("/run/unit/calls.log");
        std::string calls, line;
        while (std::getline(log, line))
            for (const char* script : {"write_tv", "protect_tv", "write_root", "protect_root"})
                if (line.find(script) != std::string::npos)
                    calls += script + " "s;
        put("/run/unit/calls.log", "");
        return calls + get("/run/unit/protection/tv");
    }
};

constexpr char bracket[] = "write_tv protect_tv protected\n";

TEST_F(DeviceConfigTest, TheSerialNumberIsTheFirstLineInUpperCase) {
    EXPECT_EQ(serialNumberOf("22a-3b6306910-00fF\r\nrest"), "22A-3B6306910-00FF");
    EXPECT_EQ(serialNumberOf("220-336306910-0001"), "220-336306910-0001");
    EXPECT_EQ(serialNumberOf(""), "000-000000000-0000");
    EXPECT_EQ(serialNumberOf("\n220-336306910-0001"), "000-000000000-0000");
    EXPECT_EQ(serialNumberOf(std::string(100, 'x')), std::string(32, 'X'));
    std::filesystem::remove("/tolvane/dev/sn");
    char number[serialNumberSize];
    device_config_readSN(number);
    EXPECT_STREQ(number, "000-000000000-0000");
}

TEST_F(DeviceConfigTest, TheSerialNumberIsReadOnFirstUse) {
    memset(device_config_sn, 0, sizeof device_config_sn);
    EXPECT_STREQ(device_config_getSN(), "220-336306910-0001");
}

TEST_F(DeviceConfigTest, TheSerialNumberChangesOnlyForWhoKnowsTheOldOne) {
    int changed = 7;
    protectionCalls();
    EXPECT_EQ(device_config_setSN("220-336306910-0002", "241-336306910-0003", &changed), -113);
    EXPECT_EQ(changed, 0);
    EXPECT_EQ(protectionCalls(), "protected\n");
    EXPECT_STREQ(device_config_getSN(), "220-336306910-0001");

    EXPECT_EQ(device_config_setSN("220-336306910-0001", "241-33630691a-0003", &changed), 0);
    EXPECT_EQ(changed, 1);
    EXPECT_EQ(protectionCalls(), bracket);
    EXPECT_STREQ(device_config_getSN(), "241-33630691A-0003");
    EXPECT_TRUE(device_config_isTVPNM());
    EXPECT_EQ(get("/tolvane/dev/sn"), "241-33630691A-0003");

    for (const std::string& bad : {""s, "220 336"s, "220\n336"s, std::string(33, '1')})
        EXPECT_EQ(device_config_setSN("241-33630691A-0003", bad.c_str(), nullptr), -113) << bad;
    EXPECT_EQ(get("/tolvane/dev/sn"), "241-33630691A-0003");
}

TEST_F(DeviceConfigTest, ASerialNumberThatCannotBeStoredIsReported) {
    std::filesystem::remove("/tolvane/dev/sn");
    std::filesystem::create_directory("/tolvane/dev/sn");
    int changed = 7;
    protectionCalls();
    EXPECT_EQ(device_config_setSN("000-000000000-0000", "241-336306910-0003", &changed), -113);
    EXPECT_EQ(changed, 0);
    EXPECT_EQ(protectionCalls(), bracket);
    std::filesystem::remove("/tolvane/dev/sn");
}

TEST_F(DeviceConfigTest, AnUnfinishedUpdateShowsInTheVersion) {
    EXPECT_STREQ(device_config_getFWVersion(), "0.4.92");
    device_config_reset_cause = 1;
    put("/tolvane/dev/fwupdate", "");
    device_config_init();
    EXPECT_STREQ(device_config_getFWVersion(), "0.0.1");
    EXPECT_EQ(device_config_reset_cause, 0);
}

TEST_F(DeviceConfigTest, OptionsFollowTheControllerBoard) {
    char options[optionsTextSize];
    device_config_getOptionsString(options);
    EXPECT_STREQ(options, "0");
    device_config_sn[5] = '4';
    device_config_getOptionsString(options);
    EXPECT_STREQ(options, "0,FS");
}

TEST_F(DeviceConfigTest, TheModelNameTakesAnExtensionOfFourteenCharacters) {
    const struct {
        const char* text;
        const char* kept;
        const char* bracketed;
        const char* stored;
    } cases[] = {
        {"LAB 3", "LAB 3", "[LAB 3]", "[LAB 3]"},
        {"abcdefghijklm", "abcdefghijklm", "[abcdefghijklm]", "[abcdefghijklm]"},
        {"abcdefghijklmn", "abcdefghijklmn", "[abcdefghijklmn]", "[abcdefghijklmn"},
        {"abcdefghijklmnopqrst", "abcdefghijklmn", "[abcdefghijklmn]", "[abcdefghijklmn"},
        {"x]", "x]", "[x]]", "[x]]"},
        {"", "", "", ""},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(device_config_setModelNameExt(c.text), 0);
        EXPECT_EQ(get("/tolvane/cust/model_name_ext"), c.stored);
        device_config_init(); // a restart keeps it
        for (int again = 0; again < 2; ++again) {
            EXPECT_STREQ(device_config_getModelNameExt(), c.kept);
            EXPECT_STREQ(device_config_getModelNameExt_bracketed(), c.bracketed);
        }
    }
    put("/tolvane/cust/model_name_ext", "[A]\r\n[B]\n");
    device_config_loadModelNameExt();
    EXPECT_STREQ(device_config_getModelNameExt(), "A");
    std::filesystem::remove("/tolvane/cust/model_name_ext");
    device_config_loadModelNameExt();
    EXPECT_STREQ(device_config_getModelNameExt_bracketed(), "");
}

TEST_F(DeviceConfigTest, TheBootDelayStaysWithinItsLimits) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const struct {
        double given, stored;
    } cases[] = {{60.0, 60.0}, {60.1, 0.0}, {-1.0, 0.0}, {12.5, 12.5}, {nan, 0.0}, {1e300, 0.0}};
    for (const auto& [given, stored] : cases) {
        double seconds = -1;
        EXPECT_EQ(device_config_storeBootDelay(given), 0);
        EXPECT_EQ(device_config_loadBootDelay(&seconds), 0);
        EXPECT_EQ(seconds, stored) << given;
    }
    EXPECT_EQ(get("/tolvane/dev/bootdelay"), "0.000000");
    for (const char* text : {"61", "-0.5", "nan", "soon", ""}) {
        double seconds = -1;
        put("/tolvane/dev/bootdelay", text);
        EXPECT_EQ(device_config_loadBootDelay(&seconds), 0);
        EXPECT_EQ(seconds, 0.0) << text;
    }
    std::filesystem::remove("/tolvane/dev/bootdelay");
    double seconds = -1;
    EXPECT_EQ(device_config_loadBootDelay(&seconds), -200);
    EXPECT_EQ(seconds, 0.0);
}

TEST_F(DeviceConfigTest, TuningWordsAndSensitivitiesHaveAFileEach) {
    EXPECT_EQ(device_config_storeVcoTuning(0x04030201, 0), 0);
    EXPECT_EQ(device_config_storeVcoTuning(77, 12), 0);
    EXPECT_EQ(get("/tolvane/dev/vcotuning"), "\x01\x02\x03\x04");
    uint32_t word = 0;
    EXPECT_EQ(device_config_loadVcoTuning(&word, 12), 0);
    EXPECT_EQ(word, 77u);
    put("/tolvane/dev/vcotuning", "abc");
    EXPECT_EQ(device_config_loadVcoTuning(&word, 0), -200);
    EXPECT_EQ(device_config_loadVcoTuning(&word, 3), -200);
    EXPECT_EQ(word, 77u);

    double hertzPerVolt = 0;
    EXPECT_EQ(device_config_setVcoSensitivity(254.3, 0), 0);
    EXPECT_EQ(device_config_setVcoSensitivity(-1e308, 1), 0);
    EXPECT_EQ(get("/tolvane/dev/vcosensa"), "254.300000\n");
    EXPECT_EQ(device_config_getVcoSensitivity(&hertzPerVolt, 5), 0);
    EXPECT_EQ(hertzPerVolt, -1e308);
    EXPECT_EQ(device_config_getVcoSensitivity(&hertzPerVolt, 0), 0);
    EXPECT_EQ(hertzPerVolt, 254.3);
    std::filesystem::remove("/tolvane/dev/vcosensa");
    EXPECT_EQ(device_config_getVcoSensitivity(&hertzPerVolt, 0), -200);
    EXPECT_EQ(hertzPerVolt, 254.3);
}

TEST_F(DeviceConfigTest, AWriteIsBracketedAndAFailedOneKeepsTheOldContent) {
    put("/tolvane/dev/note", "old");
    protectionCalls();
    EXPECT_EQ(device_config_storeString("/tolvane/dev/note", "new"), 0);
    EXPECT_EQ(protectionCalls(), bracket);
    EXPECT_EQ(get("/tolvane/dev/note"), "new");

    std::filesystem::create_directory("/tolvane/dev/note.new"); // no room for the draft
    EXPECT_EQ(device_config_storeString("/tolvane/dev/note", "newer"), -200);
    EXPECT_EQ(device_config_storeBinary("/tolvane/missing/note", "x", 1), -200);
    EXPECT_EQ(protectionCalls(), "write_tv protect_tv "s + bracket);
    EXPECT_EQ(get("/tolvane/dev/note"), "new");
    std::filesystem::remove("/tolvane/dev/note.new");
    EXPECT_EQ(device_config_storeString(("/tolvane/dev/" + std::string(300, 'n')).c_str(), "x"), -200);
}

TEST_F(DeviceConfigTest, AReadNeverLeavesTheBuffer) {
    char text[5];
    put("/tolvane/dev/note", "1234567");
    EXPECT_EQ(device_config_loadString("/tolvane/dev/note", text, sizeof text), 0);
    EXPECT_STREQ(text, "1234");
    EXPECT_EQ(device_config_loadString("/tolvane/dev", text, sizeof text), -200);
    EXPECT_STREQ(text, "");
    EXPECT_EQ(device_config_loadBinary("/tolvane/dev/note", text, sizeof text), 0);
    EXPECT_EQ(std::string(text, sizeof text), "12345");
    put("/tolvane/dev/note", "1234");
    EXPECT_EQ(device_config_loadBinary("/tolvane/dev/note", text, sizeof text), -200);
}

TEST_F(DeviceConfigTest, TheGpibAddressNeedsTheOption) {
    char address[16];
    put("/tolvane/dev/gpib", "18\nrest");
    EXPECT_EQ(device_config_getGPIBaddr(address, sizeof address), 0);
    EXPECT_STREQ(address, "18");
    std::filesystem::remove("/tolvane/dev/gpib");
    EXPECT_EQ(device_config_getGPIBaddr(address, sizeof address), 0);
    EXPECT_STREQ(address, "0");
    put("/tolvane/dev/gpib", "18\n");
    device_config_sn[11] = '0';
    EXPECT_EQ(device_config_getGPIBaddr(address, sizeof address), -113);
}

TEST_F(DeviceConfigTest, OnlyAnAddressReachesTheShell) {
    char address[16];
    for (const char* good : {"7", "18", "18,96", "5 101"}) {
        protectionCalls();
        EXPECT_EQ(device_config_setGPIBaddr(good), 0);
        EXPECT_EQ(protectionCalls(), bracket);
        EXPECT_EQ(device_config_getGPIBaddr(address, sizeof address), 0);
        EXPECT_STREQ(address, good);
    }
    for (const char* bad : {"", "1'; touch /tolvane/cust/owned; echo '2", "$(reboot)", "1\n2", "1\\c2", "-n", "1,",
                            ",1", "1,2,3", "1234567890123456", "\xc3\xa9"})
        EXPECT_EQ(device_config_setGPIBaddr(bad), -224) << bad;
    EXPECT_EQ(get("/tolvane/dev/gpib"), "5 101\n");
    EXPECT_FALSE(std::filesystem::exists("/tolvane/cust/owned"));
}

} // namespace
