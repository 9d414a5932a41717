#include "scpi/tree/sense.h"

namespace scpi {

/// The device table has the selection as a signed number (-1 without internal sources), the command as an unsigned one.
void sense_internalReference(Unit& unit) {
    const auto read = [](Device* device) {
        return static_cast<uint32_t>(Device_getInternalReferenceSelection(device));
    };
    const auto select = [](Device* device, uint32_t selection) {
        return Device_setInternalReferenceSelection(device, static_cast<int>(selection));
    };
    const Slot<uint32_t(Device*)> get(Device_getInternalReferenceSelection ? +read : nullptr);
    const Slot<int(Device*, uint32_t)> set(Device_setInternalReferenceSelection ? +select : nullptr);
    scpi_node_uint32(unit, {.get = &get, .set = &set});
}

} // namespace scpi
