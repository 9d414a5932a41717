#include "../core/contents.h"
#include "../core/full_disk.h"
#include "device_table/device_fptrs.h"
#include "engine_fixture.h"
#include "scpi/settings_store.h"
#include "tests/slots.h"

#include <filesystem>
#include <fstream>

using namespace engine;

namespace {

std::string settings(int number) {
    return "/tolvane/cust/sav" + std::to_string(number);
}

auto openFiles() {
    const std::filesystem::directory_iterator files("/proc/self/fd");
    return std::distance(begin(files), end(files));
}

class SettingsStore : public Engine {
protected:
    SettingsStore() {
        std::filesystem::create_directories("/tolvane/cust");
        scpi_link_init(&link_list, &link_file, 128, 128, "File");
    }
    ~SettingsStore() override {
        scpi_link_destroy(&link_file);
        fill.clear(Device_getStoredScpiParameters);
    }
    int32_t recall(int32_t number) { return inPass(scpi_recallDeviceSettings, number); }
    int32_t store(int32_t number) { return inPass(scpi_storeDeviceSettings, number); }
    int32_t inPass(int32_t (*operation)(scpi_link*, int32_t), int32_t number) {
        MutexLock access(deviceAccessMutex);
        return operation(&link_, number);
    }
};

} // namespace

TEST_F(SettingsStore, ARecallRunsTheFilesLinesAndDropsTheirErrors) {
    std::ofstream(settings(7)) << ":SENS:PN:AVER 4\nSENS:NONSENSE\nLIST 1,nonsense\n\nOUTP3 ON\nBLOC?\n"
                               << std::string(70, ' ') << "SENS:PN:CORR 8\nSENS:PN:AVER 9"; // too long; no newline
    const auto before = openFiles();
    EXPECT_EQ(recall(7), 0);
    EXPECT_EQ(commands(), (Texts{"aver(4)", "list 1,nonsense", "outp(ON)3", "corr(8)"}));
    EXPECT_EQ(errors(), Codes{});
    {
        MutexLock access(deviceAccessMutex);
        EXPECT_FALSE(scpi_exec_sendingBlockData(&link_file));
    }
    EXPECT_EQ(recall(8), 0); // no such file
    EXPECT_EQ(openFiles(), before);
}

TEST_F(SettingsStore, NumbersHaveThreeDigits) {
    fill(Device_getStoredScpiParameters, [](Device*) { return "OUTP2\n"; });
    for (const auto operation : {scpi_storeDeviceSettings, scpi_recallDeviceSettings, scpi_deleteDeviceSettings})
        for (const auto& [number, result] : {std::pair{-1, undefinedHeader}, {0, 0}, {999, 0}, {1000, undefinedHeader}})
            EXPECT_EQ(inPass(operation, number), result) << number;
}

TEST_F(SettingsStore, AListThatACommandFileCutsOffTakesNoLineOfARecall) {
    std::ofstream(settings(0)) << "LIST 1,2," << std::string(300, '3');
    runCommandFile(&link_file, settings(0));
    commands();
    std::ofstream(settings(7)) << ":SENS:PN:AVER 4\n:SENS:PN:CORR 8\n";
    EXPECT_EQ(recall(7), 0);
    EXPECT_EQ(commands(), (Texts{"aver(4)", "corr(8)"}));
}

TEST_F(SettingsStore, StoringAsksForEachSettingOfTheDevicesList) {
    EXPECT_EQ(store(1), undefinedHeader); // a device without a list
    fill(Device_getStoredScpiParameters, [](Device*) { return "SENS:PN:AVER\nNONSENSE\nOUTP2\n"; });
    EXPECT_EQ(store(1), 0);
    constexpr char stored[] = ":SENS:PN:AVER 1\n:NONSENSE \n:OUTP2 1\n\n";
    EXPECT_EQ(contents(settings(1).c_str()), stored);
    fill(Device_getStoredScpiParameters, [](Device*) { return "OUTP2\n"; });
    {
        const FullDisk full;
        EXPECT_EQ(store(1), executionError);
    }
    EXPECT_EQ(contents(settings(1).c_str()), stored);
    EXPECT_EQ(errors(), Codes{});
}
