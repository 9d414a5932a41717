// Who fills which slot, and which nobody fills, against the list in slots.txt; on units of several models.
#include "core/process.h"
#include "device/device.h"
#include "device_table/device_fptrs.h"
#include "drivers/tvspi.h"
#include "identity/device_config.h"
#include "links/panel/panel_mirror.h"
#include "measure/run/measure.h"
#include "measure/settings/measurement_configuration.h"
#include "virtual/hardware/hardware.h"
#include "virtual/platform/clock.h"

#include <algorithm>
#include <fnmatch.h>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <vector>

namespace {

struct Entry {
    const char* name;
    const char* (*filledBy)();
};
constexpr Entry entries[] = {
#define SLOT(slot) {#slot, [] { return slot.filledBy(); }},
#include "slot_entries.inc"
#undef SLOT
};

struct Row {
    std::string names, room; // a file name pattern; a dash for nobody
    int slots = 0;
};

std::vector<Row> listed() {
    std::vector<Row> rows;
    std::ifstream file(SLOT_LIST);
    for (std::string line, names, room; std::getline(file, line);)
        if (std::istringstream words(line); !line.starts_with('#') && words >> names >> room)
            rows.push_back({names, room});
    return rows;
}

TEST(Slots, AreFilledByTheRoomsOfTheListAndByNobodyElse) {
    std::vector<Row> rows = listed();
    vi::Hardware unit(vi::unitBoards_of(device_config_getSN()), vi::DutFile{"", {100e6, 8, {{{1, -100}}}, {}, {}}, {}},
                      1);
    ASSERT_EQ(tvspiOpen(), 0);
    Device* const device = Device_create();
    debug_device = device;
    device_config_init();
    EXPECT_EQ(Device_init(device, measure_init), 0);
    panelMirror_register();
    Device_registerMandatoryFunctions();
    for (const Entry& entry : entries) {
        const auto fits = [&](const Row& row) { return fnmatch(row.names.c_str(), entry.name, 0) == 0; };
        const auto last = std::find_if(rows.rbegin(), rows.rend(), fits);
        ASSERT_NE(last, rows.rend()) << entry.name;
        ++last->slots;
        const char* const room = entry.filledBy();
        EXPECT_EQ(room != nullptr ? room : "-", last->room) << entry.name;
    }
    for (const Row& row : rows)
        EXPECT_GT(row.slots, 0) << row.names << " is the last row for no slot";

    Device_sealSlots(); // as the start ends
    vi::clock_setMode(vi::TimeMode::fast);
    EXPECT_EQ(Automeasure_config_setMeasurementMode(device, measurementModeVCO), 0);
    EXPECT_EQ(Automeasure_config_reset(device), 0);
    EXPECT_EQ(Device_initImmediate(device), 0);
    slot_carryOn(Automeasure_waitForMeasurement(device, 1, 0)); // without a DUT it finds nothing
    EXPECT_EQ(Device_refusedSlots(), 0) << "a slot filled behind the start";
}

} // namespace
