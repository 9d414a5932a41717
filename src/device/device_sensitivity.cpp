// Tuning sensitivities of the sources, Hz/V. A unit without source boards has none: 0.

#include "device/device_operations.h"
#include "device/forward.h"
#include "device_table/device_fptrs.h"

namespace {

constexpr SlotRegistrar fill{"device"};
constexpr auto source = &Device::selectedIs;

template <auto of6g, auto ofPair> double get(Device* device) {
    if (device->is6g != nullptr)
        return of6g(device->is6g, device->selectedChannel);
    return device->selectedIs != nullptr ? ofPair(device->selectedIs) : 0.0;
}

template <auto of6g, auto ofPair> int set(Device* device, double sensitivity) {
    if (device->is6g != nullptr)
        slot_carryOn(of6g(device->is6g, device->selectedChannel, sensitivity)); // the channel is there
    else if (device->selectedIs != nullptr)
        ofPair(device->selectedIs, sensitivity);
    return 0;
}

template <auto ofPair> int setOfPair(Device* device, double sensitivity) {
    if (device->selectedIs != nullptr)
        ofPair(device->selectedIs, sensitivity);
    return 0;
}

} // namespace

void device_registerSensitivity() {
    fill(Device_getFmSensitivity, get<TVPN_IS6G_getFmSensitivity, TVPN_IS_getFmSensitivity>);
    fill(Device_getVcoSensitivity, get<TVPN_IS6G_getVcoSensitivity, TVPN_IS_getVcoSensitivity>);
    fill(Device_setVcoSensitivity, set<TVPN_IS6G_setVcoSensitivity, TVPN_IS_setVcoSensitivity>);
    fill(Device_getVco100MSensitivity, get<TVPN_IS6G_getVcoSensitivity, TVPN_IS_getVco100MSensitivity>);
    fill(Device_setVco100MSensitivity, set<TVPN_IS6G_setVcoSensitivity, TVPN_IS_setVco100MSensitivity>);
    forwardIfThere<source, TVPN_IS_getVco10MSensitivity>(fill, Device_getVco10MSensitivity);
    fill(Device_setVco10MSensitivity, setOfPair<TVPN_IS_setVco10MSensitivity>);
    forwardIfThere<source, TVPN_IS_getVco1000MSensitivity>(fill, Device_getVco1000MSensitivity);
    fill(Device_setVco1000MSensitivity, setOfPair<TVPN_IS_setVco1000MSensitivity>);
}
