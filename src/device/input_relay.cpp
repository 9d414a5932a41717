#include "device/input_relay.h"

#include "device/forward.h"

namespace {

void move(Device* device, bool high) {
    const auto setRelay = high ? TVPN_DUT_SUPPLY_setDutRelayHigh : TVPN_DUT_SUPPLY_setDutRelayLow;
    static_cast<void>(setRelay(&device->dutSupply)); // a frame that fails goes out with the next move
}

int followCounter(Device* device, bool high) {
    return TVPNX_ALG_setCounterInput(device->selectedAlg, high);
}

} // namespace

void inputRelay_follow(Device* device, bool high) {
    move(device, high);
    device->lowPath = high ? 0 : 1;
    inputRelay_followCounters(device, high);
}

void inputRelay_followOne(Device* device, bool high) {
    move(device, high);
    device->lowPath = high ? 0 : 1;
    followCounter(device, high);
}

void inputRelay_followCounters(Device* device, bool high) {
    onBothChannels(device, [=] { return followCounter(device, high); });
}
