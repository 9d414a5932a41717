// The RF output: switch of the controller board, and the source boards.

#include "boards/tvcont.h"
#include "core/abstime.h"
#include "device/device_operations.h"
#include "device/forward.h"
#include "device_table/device_fptrs.h"
#include "identity/device_variants.h"

namespace {

constexpr SlotRegistrar fill{"device"};

constexpr uint64_t settling6g_us = 15'000, settling_us = 300, settled_us = 100;

enum class Rf { off, on };

void waitForSwitch(const Device* device) {
    tvstuff_delay_us(device->is6g != nullptr ? settling6g_us : settling_us);
}

/// The source of the selected channel.
int switchSource(Device* device, Rf rf) {
    const bool on = rf == Rf::on;
    if (device->is6g != nullptr)
        return on ? TVPN_IS6G_RFOn(device->is6g, device->selectedChannel)
                  : TVPN_IS6G_RFOff(device->is6g, device->selectedChannel);
    if (device->selectedIs == nullptr)
        return 0;
    if (device_config_usesTVPN_IS_2())
        return on ? TVPN_IS_2A_enableRf(device->selectedIs) : TVPN_IS_2A_disableRf(device->selectedIs);
    return on ? TVPN_IS_powerUp(device->selectedIs) : TVPN_IS_fastPowerDown(device->selectedIs);
}

int enableRf(Device* device) {
    device->rfEnabled = 1;
    TVCONT_enableRF(device->tvcont);
    waitForSwitch(device);
    onBothChannels(device, [=] { return switchSource(device, Rf::on); });
    tvstuff_delay_us(settled_us);
    return 0;
}

int disableRf(Device* device) {
    onBothChannels(device, [=] { return switchSource(device, Rf::off); });
    TVCONT_disableRF(device->tvcont);
    device->rfEnabled = 0;
    return 0;
}

/// False for a channel that there is not.
bool select(Device* device, int channel) {
    switch (channel) {
    case 1: device_selectA(device); return true;
    case 2: device_selectB(device); return true;
    default: return false;
    }
}

int enableRfOneChannel(Device* device, int channel) {
    waitForSwitch(device);
    if (select(device, channel))
        switchSource(device, Rf::on);
    tvstuff_delay_us(settled_us);
    return 0;
}

int disableRfOneChannel(Device* device, int channel) {
    if (select(device, channel))
        switchSource(device, Rf::off);
    return 0;
}

int getRFOutputState(Device* device) {
    return device->rfEnabled;
}

} // namespace

void device_registerRf() {
    fill(Device_enableRf, enableRf);
    fill(Device_disableRf, disableRf);
    fill(Device_enableRfOneChannel, enableRfOneChannel);
    fill(Device_disableRfOneChannel, disableRfOneChannel);
    fill(Device_isRfEnabled, getRFOutputState);
}
