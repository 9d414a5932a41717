#pragma once
/// The leaves of the command tree: one value with a getter, a setter and perhaps limits. Each member implements query
/// and set once for its type. Slots are handed over as pointers; null or an unregistered slot is an absent feature.
///
/// Query: without parameter the value of `get`; MINimum and MAXimum read a limit that is there; anything else, or an
/// absent getter, leaves -113. Set: MINimum and MAXimum stand for the limits; a number out of limits is clamped
/// silently (time and angle are not); an absent setter leaves -113. What is wrong with a parameter comes back as its
/// code, and nothing is set.

#include "device_table/slot.h"
#include "numeric/tvtypes.h"
#include "scpi/text/power_unit.h"
#include "scpi/text/text_format.h"
#include "scpi/text/text_parse.h"
#include "scpi/unit.h"

namespace scpi {

template <class Value, class... Index> struct NumberSlots {
    const Slot<Value(Device*, Index...)>* get = nullptr;
    const Slot<int(Device*, Index..., Value)>* set = nullptr;
    const Slot<Value(Device*, Index...)>* getMin = nullptr;
    const Slot<Value(Device*, Index...)>* getMax = nullptr;
};

template <class... Index> struct SwitchSlots {
    const Slot<int(Device*, Index...)>* get = nullptr;
    const Slot<int(Device*, Index...)>* enable = nullptr;
    const Slot<int(Device*, Index...)>* disable = nullptr;
};

/// Values that go over the device table by pointer.
using FreqSlots = NumberSlots<const tvfreq*>;
using PowSlots = NumberSlots<const tvpow*>;
using TimeSlots = NumberSlots<const tv_time*>;
using AngleSlots = NumberSlots<const tv_angle*>;

template <class SlotType> bool isPresent(const SlotType* slot) {
    return slot != nullptr && static_cast<bool>(*slot);
}

} // namespace scpi

void scpi_node_freq(scpi::Unit& unit, const scpi::FreqSlots& slots);
/// `unitFlags` is 8 for a command from the front panel, whose values without a suffix are in dBm whatever the unit.
void scpi_node_pow(scpi::Unit& unit, int unitFlags, const scpi::PowSlots& slots);
void scpi_node_time(scpi::Unit& unit, const scpi::TimeSlots& slots);
void scpi_node_angle(scpi::Unit& unit, const scpi::AngleSlots& slots);
void scpi_node_double(scpi::Unit& unit, const scpi::NumberSlots<double>& slots);
/// A double with the suffixes of `unitTable`, answered in exponential form.
void scpi_node_dblunit(scpi::Unit& unit, const scpi_unit_table* unitTable, const scpi::NumberSlots<double>& slots);
void scpi_node_float(scpi::Unit& unit, const scpi::NumberSlots<float>& slots);
void scpi_node_int32(scpi::Unit& unit, const scpi::NumberSlots<int32_t>& slots);
void scpi_node_uint32(scpi::Unit& unit, const scpi::NumberSlots<uint32_t>& slots);
void scpi_node_bool(scpi::Unit& unit, const scpi::SwitchSlots<>& slots);

/// The same with the node's numeric suffix as second argument of every device function.
void scpi_node_index_double(scpi::Unit& unit, const scpi::NumberSlots<double, int32_t>& slots);
void scpi_node_index_float(scpi::Unit& unit, const scpi::NumberSlots<float, int32_t>& slots);
void scpi_node_index_uint32(scpi::Unit& unit, const scpi::NumberSlots<uint32_t, int32_t>& slots);
void scpi_node_index_bool(scpi::Unit& unit, const scpi::SwitchSlots<int32_t>& slots);

/// One choice of an enumerated setting: 0 or -113 where the slot is absent, else what it returns.
int scpi_isEnumElement(const Slot<int(Device*)>& slot, Device* device);
int scpi_setEnumElement(const Slot<int(Device*)>& slot, Device* device);
