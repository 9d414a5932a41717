#include "virtual/unit/unit.h"

#include "platform/panel_node.h"
#include "platform/tvko.h"

#include <utility>

namespace vi {

Unit::OwnBench::OwnBench(const UnitBoards& kind, DutFile dut, uint64_t seed) {
    bench_init(this, kind, std::move(dut), seed);
    bench_setIndividual(this);
}

Unit::Unit(const UnitBoards& kind, DutFile dut, uint64_t seed)
    : bench(kind, std::move(dut), seed), acquisition(bus, {kind.fpga, kind.acquisitionPll}, source, seed),
      boards(bus, bench, kind), panel(kind.panel) {
    connect();
}

Unit::~Unit() {
    rtdm_unregister(&bus);
    rtdm_unregister(&panel);
}

void Unit::connect() {
    rtdm_register(tvko_deviceName, &bus);
    rtdm_register(sampleStream_deviceName, &acquisition.stream());
    if (bench.boards.panel != PanelKind::none)
        rtdm_register(panelNode_path, &panel);
}

} // namespace vi
