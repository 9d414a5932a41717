#include "device/device.h"
#include "device_table/device_fptrs.h"
#include "tests/slots.h"

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

TEST(DeviceTableTest, ASealedTableStaysAsItIs) {
    Device_openSlots();
    fill(Device_selftest, returnSeven);
    fill(Device_getName, [](Device*) { return "TVPNX"; });
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

} // namespace
