#include "identity/device_config.h"
#include "interrupted_files.h"
#include "tests/core/contents.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <string>

namespace {

using namespace std::string_literals;

TEST(InterruptedWrites, LeaveASmallFileOldOrNew) {
    const struct {
        const char* path;
        const char* before;
        const char* after;
        int (*write)();
    } files[] = {
        {"/tolvane/dev/gpib", "18\n", "7\n", [] { return device_config_setGPIBaddr("7"); }},
        {"/tolvane/dev/sn", "220-336306910-0001\n", "220-336306910-0002",
         [] { return device_config_setSN("220-336306910-0001", "220-336306910-0002", nullptr); }},
        {"/tolvane/dev/bootdelay", "1", "2.000000", [] { return device_config_storeBootDelay(2); }},
        {"/tolvane/dev/vcotuning", "old!", "abcd", [] { return device_config_storeVcoTuning(0x64636261, 0); }},
        {"/tolvane/dev/vcosensa", "1.5\n", "2.500000\n", [] { return device_config_setVcoSensitivity(2.5, 0); }},
        {"/tolvane/cust/model_name_ext", "[OLD]", "[NEW]", [] { return device_config_setModelNameExt("NEW"); }},
    };
    for (const auto& file : files) {
        SCOPED_TRACE(file.path);
        const auto start = [&] {
            put(file.path, file.before);
            device_config_init();
        };
        const auto isWhole = [&] { return contents(file.path) == file.before || contents(file.path) == file.after; };
        int step = 0;
        const WithoutSystemScripts quick;
        for (bool ended = false; !ended; ++step) {
            start();
            ended = killedAtStep_ends(step, [&] { (void)file.write(); });
            EXPECT_TRUE(isWhole()) << "killed at step " << step << ": " << contents(file.path);
        }
        EXPECT_EQ(contents(file.path), file.after);
        EXPECT_GT(step, 5);
        step = 0;
        for (bool refused = true; refused; ++step) {
            int error = 0;
            start();
            refused = refuseStep(step, [&] { error = file.write(); });
            EXPECT_TRUE(isWhole()) << "refused at step " << step << ": " << contents(file.path);
            EXPECT_TRUE(error != 0 || contents(file.path) == file.after) << "lost without a word at step " << step;
        }
        const std::string draft = file.path + ".~new"s, ofUser = file.path + ".new"s;
        EXPECT_FALSE(std::filesystem::exists(draft));
        put(draft, "of a killed process");
        put(ofUser, "kept");
        device_config_finishInterruptedWrites();
        EXPECT_FALSE(std::filesystem::exists(draft));
        EXPECT_TRUE(std::filesystem::remove(ofUser));
    }
}

struct LanSettings {
    void (*setMode)();
    const char* address;
};

int apply(const LanSettings& settings) {
    settings.setMode();
    if (const int error = device_config_setIP(settings.address); error != 0)
        return error;
    if (const int error = device_config_setSubn("255.255.0.0"); error != 0)
        return error;
    return device_config_setLanConfig();
}

using Files = std::map<std::string, std::string>;

Files lanFiles() {
    Files files;
    for (const char* path : {"/tolvane/dev/conf/syst_comm_lan_conf", "/tolvane/dev/conf/eth0_static_conf",
                             "/etc/network/configuration", "/etc/network/interfaces"})
        files[path] = contents(path);
    return files;
}

/// All of one file set, in which the stanza of a fixed address counts in that mode only.
bool isInForce(Files files, Files wanted) {
    if (wanted["/etc/network/configuration"] != "MAN\n")
        files.erase("/tolvane/dev/conf/eth0_static_conf"), wanted.erase("/tolvane/dev/conf/eth0_static_conf");
    return files == wanted;
}

TEST(InterruptedWrites, LeaveTheNetworkSettingsOldOrNewAfterTheNextStart) {
    const WithoutSystemScripts quick;
    const LanSettings dynamic{device_config_setLanConfigDhcp, "10.0.0.1"},
        automatic{device_config_setLanConfigAuto, "10.0.0.1"}, fixed{device_config_setLanConfigMan, "10.0.0.2"},
        other{device_config_setLanConfigMan, "10.0.0.3"};
    const std::pair<LanSettings, LanSettings> changes[] = {
        {automatic, fixed}, {fixed, other}, {fixed, dynamic}, {dynamic, automatic}};
    for (const auto& [from, next] : changes) {
        const LanSettings& to = next; // a lambda may take it
        ASSERT_EQ(apply(to), 0);
        const Files after = lanFiles();
        ASSERT_EQ(apply(from), 0);
        const Files before = lanFiles();
        const auto restore = [&] {
            for (const auto& [path, content] : before)
                put(path, content);
        };
        int step = 0;
        for (bool ended = false; !ended; ++step) {
            restore();
            ended = killedAtStep_ends(step, [&] { (void)apply(to); });
            for (const auto& [path, content] : lanFiles())
                EXPECT_TRUE(content == before.at(path) || content == after.at(path)) << step << ' ' << path << content;
            device_config_finishInterruptedWrites();
            EXPECT_TRUE(isInForce(lanFiles(), after) || (!ended && isInForce(lanFiles(), before)))
                << "step " << step << testing::PrintToString(lanFiles());
        }
        EXPECT_GT(step, 20);
        step = 0;
        for (bool refused = true; refused; ++step) {
            int error = 0;
            restore();
            refused = refuseStep(step, [&] { error = apply(to); });
            EXPECT_TRUE(error != 0 || isInForce(lanFiles(), after)) << "lost without a word at step " << step;
            device_config_finishInterruptedWrites();
            EXPECT_TRUE(isInForce(lanFiles(), before) || isInForce(lanFiles(), after)) << "step " << step;
        }
    }
}

TEST(InterruptedWrites, AStartClosesTheProtectionAndLeavesANetworkInStepAlone) {
    ASSERT_EQ(device_config_setDefaultLanConfig(), 0);
    const std::string tv = "/run/unit/protection/tv", root = "/run/unit/protection/root", calls = "/run/unit/calls.log";
    for (const std::string& path : {tv, root})
        put(path, "writable\n");
    put(calls, "");
    device_config_finishInterruptedWrites();
    EXPECT_EQ(contents(tv) + contents(root), "protected\nprotected\n");
    EXPECT_EQ(contents(calls), "protect_root\nprotect_tv\n");

    put("/etc/network/interfaces", ""); // found after a kill
    device_config_finishInterruptedWrites();
    EXPECT_EQ(contents("/etc/network/interfaces"),
              contents("/tolvane/dev/conf/lo_conf") + contents("/tolvane/dev/conf/eth0_dhcp_conf"));
    EXPECT_NE(contents(calls).find("ifplugd.init start"), std::string::npos) << "the network runs on the old settings";
}

} // namespace
