#pragma once
/// A virtual unit under the record of the instrument, without the rest of the start.

#include "acquisition/TVPN_ADFPGA.h"
#include "device/device.h"
#include "device/device_acquisition.h"
#include "drivers/tvspi.h"
#include "identity/device_config_sn.h"
#include "virtual/stand_in/slot_adapter.h"
#include "virtual/unit/unit.h"

#include <array>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>

/// Gives the record the unit of a serial number with a DUT at its input. Units of a generation of the acquisition board
/// share one, since its driver takes memory that is never given back: its bench and its noise start anew.
inline vi::Unit& attachUnit(Device* device, const char* serial, const vi::Dut& dut, uint64_t seed = 1) {
    static std::array<std::unique_ptr<vi::Unit>, 2> units;
    static std::array<TVPN_ADFPGA, 2> drivers;
    const vi::UnitBoards boards = vi::unitBoards_of(serial);
    const bool second = boards.fpga == vi::FpgaGeneration::second;
    std::unique_ptr<vi::Unit>& unit = units[second];
    const bool isNew = unit == nullptr;
    if (isNew)
        unit = std::make_unique<vi::Unit>(boards, vi::DutFile{"", dut, {}}, seed);
    else
        unit->fit(boards);
    unit->connect();
    vi::bench_init(&unit->bench, boards, {"", dut, {}}, seed);
    unit->acquisition.core().reseed(seed);
    EXPECT_EQ(tvspiOpen(), 0);
    if (isNew)
        TVPN_ADFPGA_init(&drivers[second], second ? adfpga_firstSecondGeneration : 2);
    device->adfpga = &drivers[second];
    registerAcquisitionFunctions();
    virtual_adapter_install(unit->bench);
    strcpy(device_config_sn, serial);
    Device_setDefaults(device);
    return *unit;
}
