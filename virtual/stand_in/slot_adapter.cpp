#include "virtual/stand_in/slot_adapter.h"

#include "device/device.h"
#include "virtual/platform/clock.h"
#include "virtual/stand_in/slot_adapter_unit.h"

using namespace vi;

namespace slot_adapter {
namespace {

constexpr uint64_t transfer_ns = 20'000, transfersOfCall = 3; // on average
constexpr double frequencyAtStart_Hz = 100e6, hertzPerMegahertz = 1e6;

std::mutex unitMutex;
Unit unit;

} // namespace

Access::Access() : guard_(unitMutex) {
    clock_spend(transfersOfCall * transfer_ns);
}

Unit* Access::operator->() const {
    return &unit;
}

Unit& Access::operator*() const {
    return unit;
}

Channel selected(const Device* device) {
    return device->selectedBoard != 0 ? channelB : channelA;
}

} // namespace slot_adapter

void virtual_adapter_install(Bench& bench) {
    using namespace slot_adapter;
    unit = {};
    unit.bench = &bench;
    unit.frequency_Hz = frequencyAtStart_Hz;
    unit.divThreshold_MHz = uint32_t(bench.boards.prescalerThreshold_Hz / hertzPerMegahertz);
    unit.lowPath = true;
    unit.reference = Reference::crystal100MHz;
    unit.loopMode = 1;
    if (bench.boards.hasHighInput) // these boards start with their preamplifiers on
        changeBoth(unit, [](ChannelSettings& s) { s.preamplifier = true; });
    device_boardsStoodIn = true;
    installCarrier();
    installAnalog();
}
