// Who fills which slot, and which nobody fills, against the list in slots.txt; on units of several models.
#include "core/process.h"
#include "device/device.h"
#include "device_table/device_fptrs.h"
#include "drivers/tvspi.h"
#include "identity/device_config.h"
#include "measure/run/measure.h"
#include "measure/settings/measurement_configuration.h"
#include "virtual/platform/clock.h"
#include "virtual/unit/unit.h"

#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <string>

namespace {

struct Entry {
    const char* name;
    const char* (*filledBy)();
};
constexpr Entry entries[] = {
#include "slot_entries.inc"
};

/// A line a slot: its name and the room that fills it, or a dash.
std::map<std::string, std::string> listed() {
    std::map<std::string, std::string> rooms;
    std::ifstream file(SLOT_LIST);
    for (std::string name, room; file >> name >> room;)
        rooms[name] = room;
    return rooms;
}

TEST(Slots, AreFilledByTheRoomsOfTheListAndByNobodyElse) {
    std::map<std::string, std::string> expected = listed();
    EXPECT_EQ(expected.size(), std::size(entries));
    vi::Unit unit(vi::unitBoards_of(device_config_getSN()), vi::DutFile{"", {100e6, 8, {{{1, -100}}}, {}, {}}, {}}, 1);
    ASSERT_EQ(tvspiOpen(), 0);
    Device* const device = Device_create();
    debug_device = device;
    device_config_init();
    EXPECT_EQ(Device_init(device, measure_init), 0);
    Device_registerMandatoryFunctions();
    for (const Entry& entry : entries) {
        const char* const room = entry.filledBy();
        EXPECT_EQ(room != nullptr ? room : "-", expected[entry.name]) << entry.name;
    }

    Device_sealSlots(); // as the start ends
    vi::clock_setMode(vi::TimeMode::fast);
    EXPECT_EQ(Automeasure_config_setMeasurementMode(device, measurementModeVCO), 0);
    EXPECT_EQ(Automeasure_config_reset(device), 0);
    EXPECT_EQ(Device_initImmediate(device), 0);
    slot_carryOn(Automeasure_waitForMeasurement(device, 1, 0)); // without a DUT it finds nothing
    EXPECT_EQ(Device_refusedSlots(), 0) << "a slot filled behind the start";
}

} // namespace
