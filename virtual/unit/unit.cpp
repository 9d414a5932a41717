#include "virtual/unit/unit.h"

#include "platform/tvko.h"

#include <utility>

namespace vi {

Unit::Unit(const UnitBoards& boards, DutFile dut, uint64_t seed)
    : acquisition(bus, {boards.fpga, boards.acquisitionPll}, source, seed) {
    bench_init(&bench, boards, std::move(dut), seed);
    connect();
}

Unit::~Unit() {
    rtdm_unregister(&bus);
}

void Unit::connect() {
    rtdm_register(tvko_deviceName, &bus);
    rtdm_register(sampleStream_deviceName, &acquisition.stream());
}

} // namespace vi
