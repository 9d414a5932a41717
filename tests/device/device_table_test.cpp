#include "device/device.h"
#include "device/device_config_sn.h"
#include "device/device_fptrs.h"

#include <cstring>
#include <gtest/gtest.h>

namespace {

int returnSeven(Device*) {
    return 7;
}

class DeviceTableTest : public testing::Test {
protected:
    void SetUp() override { Device_unregisteredFunctionCalls = 0; }

    Device* device = Device_create();
};

TEST_F(DeviceTableTest, AnEmptySlotAnswersZeroAndCountsTheCall) {
    Slot<double(Device*, double)> unregistered;
    Slot<const tvfreq*(Device*)> null{nullptr};
    EXPECT_FALSE(unregistered);
    EXPECT_FALSE(null);
    EXPECT_EQ(unregistered(device, 3.5), 0.0);
    EXPECT_EQ(null(device), nullptr);
    EXPECT_EQ(null(device), nullptr);
    EXPECT_EQ(Device_unregisteredFunctionCalls, 3);
}

TEST_F(DeviceTableTest, AFilledSlotCallsAndCanBeEmptiedAgain) {
    for (Slot<int(Device*)>* slot : {&Device_getStatus, &Device_isVvaSensitivyLow}) {
        EXPECT_FALSE(*slot);
        *slot = returnSeven;
        EXPECT_TRUE(*slot);
        EXPECT_EQ((*slot)(device), 7);
        EXPECT_EQ(Device_unregisteredFunctionCalls, 0);
        slot->unregister();
        EXPECT_FALSE(*slot);
    }
}

TEST_F(DeviceTableTest, MandatoryFunctionsFillWhatIsEmptyAndKeepWhatIsThere) {
    Device_getSourceIndexMax = returnSeven;
    Device_getSourceIndexMin = nullptr;
    Device_registerMandatoryFunctions();
    EXPECT_EQ(Device_getDefaultSourceIndex(device), 1);
    EXPECT_EQ(Device_getSourceIndexMin(device), 1);
    EXPECT_EQ(Device_getSourceIndexMax(device), 7);
    EXPECT_EQ(Device_unregisteredFunctionCalls, 0);
}

TEST_F(DeviceTableTest, TheRecordComesUpOnTheDefaultsOfItsModel) {
    const struct {
        const char* serialNumber;
        const char* name;
        int64_t frequencyMax_Hz;
        bool internalReference;
    } models[] = {
        {"220-336306910-0001", "TVPNX", 29'500'000'000, true},
        {"240-336306910-0001", "TVPNM", 7'000'000'000, true},
        {"020-336306910-0001", "TVPNX", 29'500'000'000, false},
        {"220-336306010-0001", "TVPNX", 29'500'000'000, false},
    };
    for (const auto& model : models) {
        strcpy(device_config_sn, model.serialNumber);
        device->selectedBoard = 1;
        device->rfEnabled = 1;
        device->statusRegisters.ese = 5;
        EXPECT_EQ(Device_init(device), 0);
        EXPECT_STREQ(Device_getName(device), model.name) << model.serialNumber;
        EXPECT_EQ(*Device_getFrequency(device), (tvfreq{100'000'000, 0}));
        EXPECT_EQ(Device_getFrequencyMin(device)->intPart, 1'000'000);
        EXPECT_EQ(Device_getFrequencyMax(device)->intPart, model.frequencyMax_Hz) << model.serialNumber;
        EXPECT_EQ(device->referenceInternal, model.internalReference) << model.serialNumber;
        EXPECT_EQ(device->rfEnabled, 0);
        EXPECT_TRUE(Device_isPhaseNoiseAlgBoardASelected(device));
        EXPECT_EQ(Device_getStatusRegisters(device)->ese, 0);
    }
}

TEST_F(DeviceTableTest, OneChannelIsSelectedAtATime) {
    registerDeviceFunctions();
    EXPECT_EQ(Device_selectPhaseNoiseAlgBoardB(device), 0);
    EXPECT_TRUE(Device_isPhaseNoiseAlgBoardBSelected(device));
    EXPECT_FALSE(Device_isPhaseNoiseAlgBoardASelected(device));
    EXPECT_EQ(Device_selectPhaseNoiseAlgBoardA(device), 0);
    EXPECT_TRUE(Device_isPhaseNoiseAlgBoardASelected(device));
    EXPECT_FALSE(Device_isPhaseNoiseAlgBoardBSelected(device));
}

tvfreq frequencyGiven;
int gainGiven = -1;

TEST_F(DeviceTableTest, StartBringsWhatIsRegisteredToTheFirstCarrierAndReportsTheSelfTest) {
    Device_setFrequencyFixed = [](Device*, const tvfreq* frequency) {
        frequencyGiven = *frequency;
        return 0;
    };
    Device_setLnaGain = [](Device*, int gain) { return gainGiven = gain; };
    Device_selftest = [](Device*) { return -3; };
    EXPECT_EQ(Device_init(device), -3);
    EXPECT_EQ(frequencyGiven, (tvfreq{100'000'000, 0}));
    EXPECT_EQ(gainGiven, 0);
    Device_setFrequencyFixed.unregister();
    Device_setLnaGain.unregister();
    Device_selftest.unregister();
}

} // namespace
