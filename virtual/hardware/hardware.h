#pragma once
/// One unit with the errors of its own: its boards as the SPI bus and the real-time devices show them, in front of the
/// bench.

#include "virtual/acquisition/acquisition_board.h"
#include "virtual/bus/spi_bus.h"
#include "virtual/hardware/board_box.h"
#include "virtual/panel/front_panel.h"
#include "virtual/physics/bench.h"
#include "virtual/physics/bench_source.h"

namespace vi {

/// To be built before the firmware starts and to outlive it.
struct Hardware {
    Hardware(const UnitBoards& kind, DutFile dut, uint64_t seed);
    ~Hardware();
    Hardware(const Hardware&) = delete;
    Hardware& operator=(const Hardware&) = delete;

    /// Makes the unit the one that the firmware finds when it opens its devices, as a new unit is.
    void connect();

    struct OwnBench : Bench {
        OwnBench(const UnitBoards& kind, DutFile dut, uint64_t seed);
    };
    OwnBench bench;
    BenchSource source{bench};
    SpiBus bus;
    AcquisitionBoard acquisition;
    BoardBox boards;
    FrontPanel panel; // on a node where the unit has one
};

} // namespace vi
