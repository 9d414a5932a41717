#include "scpi/tree/sense.h"

namespace scpi {

/// The device table has the selection as a signed number (-1 without internal sources), the command as an unsigned one.
void sense_internalReference(Unit& unit) {
    Slot<uint32_t(Device*)> get;
    Slot<int(Device*, uint32_t)> set;
    if (Device_getInternalReferenceSelection)
        get = [](Device* device) { return static_cast<uint32_t>(Device_getInternalReferenceSelection(device)); };
    if (Device_setInternalReferenceSelection)
        set = [](Device* device, uint32_t selection) {
            return Device_setInternalReferenceSelection(device, static_cast<int>(selection));
        };
    scpi_node_uint32(unit, {.get = &get, .set = &set});
}

} // namespace scpi
