// The DUT supply.

#include "device/device_operations.h"
#include "device/forward.h"
#include "device_table/device_fptrs.h"

namespace {

constexpr SlotRegistrar fill{"device"};
constexpr auto supply = &Device::dutSupply;

} // namespace

void device_registerSupply() {
    forward<supply, TVPN_DUT_SUPPLY_getVoltage>(fill, Device_getSupplyOutputVoltage);
    forward<supply, TVPN_DUT_SUPPLY_setVoltage>(fill, Device_setSupplyOutputVoltage);
    forward<supply, TVPN_DUT_SUPPLY_getVoltageMin>(fill, Device_getSupplyOutputVoltageMin);
    forward<supply, TVPN_DUT_SUPPLY_getVoltageMax>(fill, Device_getSupplyOutputVoltageMax);
    forward<supply, TVPN_DUT_SUPPLY_setVoltageDac>(fill, Device_setSupplyOutputVoltageDac);
    forward<supply, TVPN_DUT_SUPPLY_getCurrent>(fill, Device_getSupplyOutputCurrent);
    forward<supply, TVPN_DUT_SUPPLY_setCurrent>(fill, Device_setSupplyOutputCurrent);
    forward<supply, TVPN_DUT_SUPPLY_getCurrentMin>(fill, Device_getSupplyOutputCurrentMin);
    forward<supply, TVPN_DUT_SUPPLY_getCurrentMax>(fill, Device_getSupplyOutputCurrentMax);
    forward<supply, TVPN_DUT_SUPPLY_getCurrentAdc>(fill, Device_getSupplyOutputCurrentAdc);
    forward<supply, TVPN_DUT_SUPPLY_measureCurrent>(fill, Device_measureSupplyOutputCurrent);
    forward<supply, TVPN_DUT_SUPPLY_isEnabled>(fill, Device_isSupplyOutputEnabled);
    forward<supply, TVPN_DUT_SUPPLY_enable>(fill, Device_enableSupplyOutput);
    forward<supply, TVPN_DUT_SUPPLY_disable>(fill, Device_disableSupplyOutput);
}
