#include "tests/virtual/started_unit.h"

#include "core/tvmem.h"
#include "drivers/tvspi.h"
#include "identity/device_config_sn.h"
#include "measure/settings/config_mode.h"
#include "tests/virtual/factory_file.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>

namespace {

// In place of the pool of the process, which takes nothing back: one that each start begins anew.
constexpr uint32_t thresholdAtPowerOn_MHz = 9900;

constexpr size_t cacheLine = 64;
alignas(cacheLine) std::array<std::byte, tvmemBufferSize> pool;
int32_t taken = 0;

void emptyPool() {
    std::fill_n(pool.begin(), taken, std::byte{0});
    taken = 0;
}

} // namespace

void* tvmemAlloc(int32_t size) {
    if (size < 0 || size > tvmemBufferSize - taken)
        return nullptr;
    taken += size;
    return pool.data() + taken - size;
}
void tvmemFree(void*) {}
int32_t tvmemAllocated() {
    return taken;
}

vi::Hardware& startUnit(Device** device, const char* serial, const vi::Dut& dut, uint64_t seed) {
    static std::unique_ptr<vi::Hardware> unit;
    unit.reset();
    unit = std::make_unique<vi::Hardware>(vi::unitBoards_of(serial), vi::DutFile{"", dut, {}}, seed);
    emptyPool();
    layFactoryFile(serial);
    strcpy(device_config_sn, serial);
    EXPECT_EQ(tvspiOpen(), 0);
    *device = Device_create();
    configPN.frequencyRounded = 0; // of sources that are gone
    threshold_freq_high = thresholdAtPowerOn_MHz;
    EXPECT_EQ(Device_init(*device, initMeasurementConfiguration), 0);
    return *unit;
}
