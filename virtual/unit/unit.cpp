#include "virtual/unit/unit.h"

#include "platform/tvko.h"

#include <utility>

namespace vi {

Unit::Unit(const UnitBoards& kind, DutFile dut, uint64_t seed)
    : acquisition(bus, {kind.fpga, kind.acquisitionPll}, source, seed) {
    bench_init(&bench, kind, std::move(dut), seed);
    fit(kind);
    connect();
}

void Unit::fit(const UnitBoards& kind) {
    boards.reset();
    boards.emplace(bus, bench, kind);
}

Unit::~Unit() {
    rtdm_unregister(&bus);
}

void Unit::connect() {
    rtdm_register(tvko_deviceName, &bus);
    rtdm_register(sampleStream_deviceName, &acquisition.stream());
}

} // namespace vi
