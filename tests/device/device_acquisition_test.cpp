#include "acquisition/adfpga_capture.h"
#include "acquisition/adfpga_link.h"
#include "base/error_codes.h"
#include "device/device.h"
#include "device/device_acquisition.h"
#include "device_table/device_fptrs.h"
#include "drivers/tvspi.h"

#include <algorithm>
#include <atomic>
#include <gtest/gtest.h>
#include <string>
#include <thread>

TEST(DeviceAcquisition, OperationsReachTheBoard) {
    static TVPN_ADFPGA board;
    static std::string commands;
    tvspiRegisterSendFunction([](uint32_t address, uint32_t length, uint32_t, const void* data) {
        if (address == 251) {
            commands.append(static_cast<const char*>(data), length);
            std::reverse(commands.end() - length, commands.end());
        }
        return 0;
    });
    TVPN_ADFPGA_init(&board, 1);
    Device* const device = Device_create();
    device->adfpga = &board;
    registerAcquisitionFunctions();

    EXPECT_EQ(Device_fpgaCommandsImmediate(device, "ping,stagea"), 0);
    EXPECT_EQ(commands, std::string("ping\0stagea\0", 12));

    EXPECT_EQ(Device_getFdSamplingFreq(device, 7), 12.5);

    EXPECT_EQ(Device_setReferenceSource10MExternal(device), 0);
    EXPECT_FALSE(Device_isReferenceSource10MInternal(device));
    EXPECT_EQ(Device_setReferenceSource10MInternal(device), 0);
    EXPECT_TRUE(Device_isReferenceSource10MInternal(device));

    EXPECT_EQ(Device_setTriggerSourceB(device), 0);
    EXPECT_TRUE(Device_isTriggerSourceB(device) == 1 && Device_isTriggerSourceImmediate(device) == 0);
    EXPECT_EQ(Device_setTriggerModeOut(device), 0);
    EXPECT_TRUE(Device_isTriggerModeOut(device) == 1 && Device_isTriggerModeIn(device) == 0);
    EXPECT_EQ(Device_setFvstBDivider(device, 9), 0);
    EXPECT_TRUE(Device_getFvstBDivider(device) == 9 && Device_getFvstADivider(device) == 1);
    EXPECT_EQ(Device_captureFvstSamples(device), scpi::hardwareMissing) << "no option";

    static std::atomic<bool> released{false};
    TVPN_ADFPGA_startTransferTask(&board, [](void* its) -> void* {
        while (!released)
            std::this_thread::yield();
        TVPN_ADFPGA_exitTransferTask(static_cast<TVPN_ADFPGA*>(its), 0);
        return nullptr;
    });
    const tv_time now = -1, long_s = 1e300;
    EXPECT_EQ(Device_complete(device, &now), 0);
    commands.clear();
    EXPECT_EQ(Device_capturePhaseNoiseFdSamples(device), scpi::settingsConflict);
    EXPECT_EQ(Device_getFilteredSamples(device, 1), scpi::settingsConflict);
    EXPECT_EQ(Device_captureFvstSamples(device), scpi::settingsConflict);
    EXPECT_EQ(Device_phaseNoiseSampling_startHMode(device), scpi::settingsConflict);
    EXPECT_EQ(commands, "") << "the capture that goes on was disturbed";
    released = true;
    EXPECT_EQ(Device_complete(device, &long_s), 1);
}
