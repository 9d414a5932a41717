#include "device/device.h"
#include "device_table/device_fptrs.h"
#include "identity/device_config_sn.h"
#include "tests/slots.h"

#include <cstring>
#include <gtest/gtest.h>

namespace {

Device* const device = Device_create();

int returnSeven(Device*) {
    return 7;
}

TEST(DeviceTableTest, AnEmptySlotAnswersZeroAndCountsTheCall) {
    Slot<double(Device*, double)> unregistered;
    Slot<const tvfreq*(Device*)> null{nullptr};
    Slot<int(Device*)> filled(returnSeven);
    EXPECT_TRUE(filled && !unregistered && !null);
    Device_unregisteredFunctionCalls = 0;
    EXPECT_EQ(filled(device), 7);
    EXPECT_EQ(Device_unregisteredFunctionCalls, 0);
    EXPECT_EQ(unregistered(device, 3.5), 0.0);
    EXPECT_EQ(null(device), nullptr);
    fill.clear(filled);
    EXPECT_TRUE(!filled && filled(device) == 0);
    EXPECT_EQ(Device_unregisteredFunctionCalls, 3);
}

TEST(DeviceTableTest, MandatoryFunctionsFillWhatIsEmptyAndKeepWhatIsThere) {
    fill(Device_getSourceIndexMax, returnSeven);
    fill(Device_getSourceIndexMin, nullptr);
    Device_registerMandatoryFunctions();
    EXPECT_EQ(Device_getDefaultSourceIndex(device), 1);
    EXPECT_EQ(Device_getSourceIndexMin(device), 1);
    EXPECT_EQ(Device_getSourceIndexMax(device), 7);
}

TEST(DeviceTableTest, TheRecordComesUpOnTheDefaultsOfItsModel) {
    const struct {
        const char* serialNumber;
        const char* name;
        int64_t frequencyMax_Hz;
        bool internalReference;
    } models[] = {{"220-336306910-0001", "TVPNX", 29'500'000'000, true},
                  {"240-336306910-0001", "TVPNM", 7'000'000'000, true},
                  {"020-336306910-0001", "TVPNX", 29'500'000'000, false}};
    for (const auto& [serialNumber, name, frequencyMax_Hz, internalReference] : models) {
        strcpy(device_config_sn, serialNumber);
        device->rfEnabled = 1;
        device->statusRegisters.ese = 5;
        EXPECT_EQ(Device_init(device), 0);
        EXPECT_STREQ(Device_getName(device), name) << serialNumber;
        EXPECT_EQ(*Device_getFrequency(device), (tvfreq{100'000'000, 0}));
        EXPECT_EQ(Device_getFrequencyMin(device)->intPart, 1'000'000);
        EXPECT_EQ(Device_getFrequencyMax(device)->intPart, frequencyMax_Hz) << serialNumber;
        EXPECT_EQ(device->referenceInternal, internalReference) << serialNumber;
        EXPECT_TRUE(device->rfEnabled == 0 && Device_getStatusRegisters(device)->ese == 0);
    }
}

TEST(DeviceTableTest, ASealedTableStaysAsItIs) {
    Device_openSlots();
    fill(Device_selftest, returnSeven);
    Device_sealSlots();
    fill(Device_selftest, [](Device*) { return 8; });
    fill.clear(Device_getName);
    EXPECT_EQ(Device_selftest(device), 7);
    EXPECT_STREQ(Device_selftest.filledBy(), "test");
    EXPECT_TRUE(Device_getName);
    EXPECT_EQ(Device_refusedSlots(), 2);
    Device_openSlots(); // as each new instrument does
    fill.clear(Device_selftest);
    EXPECT_EQ(Device_selftest.filledBy(), nullptr);
    EXPECT_EQ(Device_refusedSlots(), 0);
}

tvfreq frequencyGiven;
int gainGiven = -1;

TEST(DeviceTableTest, StartBringsWhatIsRegisteredToTheFirstCarrierAndReportsTheSelfTest) {
    fill(Device_setFrequencyFixed, [](Device*, const tvfreq* frequency) { return frequencyGiven = *frequency, 0; });
    fill(Device_setLnaGain, [](Device*, int gain) { return gainGiven = gain; });
    fill(Device_selftest, [](Device*) { return -3; });
    EXPECT_EQ(Device_init(device), -3);
    EXPECT_EQ(frequencyGiven, (tvfreq{100'000'000, 0}));
    EXPECT_EQ(gainGiven, 0);
    fill.clear(Device_setFrequencyFixed);
    fill.clear(Device_setLnaGain);
    fill.clear(Device_selftest);
}

} // namespace
