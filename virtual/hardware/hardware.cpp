#include "virtual/hardware/hardware.h"

#include "platform/panel_node.h"
#include "platform/tvko.h"

#include <utility>

namespace vi {

Hardware::OwnBench::OwnBench(const UnitBoards& kind, DutFile dut, uint64_t seed) {
    bench_init(this, kind, std::move(dut), seed);
    bench_setIndividual(this);
}

Hardware::Hardware(const UnitBoards& kind, DutFile dut, uint64_t seed)
    : bench(kind, std::move(dut), seed), acquisition(bus, {kind.fpga, kind.acquisitionPll}, source, seed),
      boards(bus, bench, kind), panel(kind.panel) {
    connect();
}

Hardware::~Hardware() {
    rtdm_unregister(&bus);
    rtdm_unregister(&panel);
}

void Hardware::connect() {
    rtdm_register(tvko_deviceName, &bus);
    rtdm_register(sampleStream_deviceName, &acquisition.stream());
    if (bench.boards.panel != PanelKind::none)
        rtdm_register(panelNode_path, &panel);
}

} // namespace vi
