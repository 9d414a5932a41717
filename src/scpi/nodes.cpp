#include "scpi/nodes.h"

#include "scpi/parameters.h"
#include "scpi/text/ascii.h"
#include "scpi/text/keyword.h"

#include <type_traits>

namespace scpi {
namespace {

/// What a type's members need: how a value is read, printed, limited and handed over.
template <class Held, auto Parse, auto Format, bool Clamp, bool ByPointer> struct ValueTraits {
    using Value = Held;
    using Passed = std::conditional_t<ByPointer, const Held*, Held>;
    static constexpr bool clamps = Clamp;

    static int32_t parse(char* text, Value* value) { return Parse(text, value); }
    static int32_t format(const Value& value, char* dst, int room, int32_t* length) {
        if constexpr (std::is_invocable_v<decltype(Format), const Value*, char*, int, int32_t*>)
            return Format(&value, dst, room, length);
        else
            return Format(value, dst, room, length);
    }
    static Passed pass(const Value& value) {
        if constexpr (ByPointer)
            return &value;
        else
            return value;
    }
    /// False if an absent record was handed back.
    static bool take(Passed passed, Value& value) {
        if constexpr (ByPointer) {
            if (passed == nullptr)
                return false;
            value = *passed;
        } else {
            value = passed;
        }
        return true;
    }
    static bool less(const Value& a, const Value& b) {
        if constexpr (std::is_same_v<Value, tvfreq>)
            return tvfreqCompare(&a, &b) < 0;
        else
            return a < b;
    }
};

using Freq = ValueTraits<tvfreq, scpi_str2tv_freq, scpi_tv_freq2str, true, true>;
using Time = ValueTraits<tv_time, scpi_str2tv_time, scpi_tv_time2str, false, true>;
using Angle = ValueTraits<tv_angle, scpi_str2tv_angle, scpi_tv_angle2str, false, true>;
using Double = ValueTraits<double, scpi_str2double, scpi_double2str, true, false>;
using Float = ValueTraits<float, scpi_str2float, scpi_float2str, true, false>;
using Int32 = ValueTraits<int32_t, scpi_str2int, scpi_int2str, true, false>;
using Uint32 = ValueTraits<uint32_t, scpi_str2uint, scpi_uint2str, true, false>;

/// Reads a limit or value through a slot that may be absent.
template <class Traits, class SlotType, class... Index>
bool fetch(const SlotType* slot, Device* device, typename Traits::Value& value, Index... index) {
    return isPresent(slot) && Traits::take((*slot)(device, index...), value);
}

template <class Traits, class Slots, class Format, class... Index>
void query(Unit& unit, const Slots& slots, Format format, Index... index) {
    typename Traits::Value value{};
    bool known = false;
    if (scpi_getParameters(unit.cursor, {}) == 0) {
        known = fetch<Traits>(slots.get, unit.device, value, index...);
    } else {
        char* which = nullptr;
        if (const int32_t error = _scpi_getParameters(unit.cursor, &which); error != 0) {
            unit.errorCode = error;
            return;
        }
        if (scpi_isParam("MINimum", which))
            known = fetch<Traits>(slots.getMin, unit.device, value, index...);
        else if (scpi_isParam("MAXimum", which))
            known = fetch<Traits>(slots.getMax, unit.device, value, index...);
    }
    if (known)
        unit.errorCode = format(value, unit.answer, unit.answerRoom, &unit.answerLength);
}

template <class Traits, class Slots, class Parse, class... Index>
void set(Unit& unit, const Slots& slots, Parse parse, Index... index) {
    if (!isPresent(slots.set))
        return;
    typename Traits::Value low{};
    typename Traits::Value high{};
    typename Traits::Value value{};
    const bool hasLow = fetch<Traits>(slots.getMin, unit.device, low, index...);
    const bool hasHigh = fetch<Traits>(slots.getMax, unit.device, high, index...);
    char* text = nullptr;
    if (const int32_t error = _scpi_getParameters(unit.cursor, &text); error != 0) {
        unit.errorCode = error;
        return;
    }
    const bool isWord = isLetter(*text);
    if (hasLow && isWord && scpi_isParam("MINimum", text)) {
        value = low;
    } else if (hasHigh && isWord && scpi_isParam("MAXimum", text)) {
        value = high;
    } else if (const int32_t error = parse(text, &value); error != 0) {
        unit.errorCode = error;
        return;
    }
    if (Traits::clamps && hasLow && Traits::less(value, low))
        value = low;
    if (Traits::clamps && hasHigh && Traits::less(high, value))
        value = high;
    unit.errorCode = (*slots.set)(unit.device, index..., Traits::pass(value));
}

template <class Traits, class Slots, class... Index> void number(Unit& unit, const Slots& slots, Index... index) {
    if (unit.mode == modeQuery)
        query<Traits>(unit, slots, Traits::format, index...);
    else if (unit.mode == modeSet)
        set<Traits>(unit, slots, Traits::parse, index...);
}

template <class Slots, class... Index> void onOff(Unit& unit, const Slots& slots, Index... index) {
    if (unit.mode == modeQuery) {
        if (!isPresent(slots.get))
            return;
        const bool value = (*slots.get)(unit.device, index...) != 0;
        unit.errorCode = scpi_getParameters(unit.cursor, {});
        if (unit.errorCode == 0)
            unit.errorCode = scpi_bool2str(value, unit.answer, unit.answerRoom, &unit.answerLength);
    } else if (unit.mode == modeSet && isPresent(slots.enable) && isPresent(slots.disable)) {
        char* text = nullptr;
        bool value = false;
        unit.errorCode = _scpi_getParameters(unit.cursor, &text);
        if (unit.errorCode == 0)
            unit.errorCode = scpi_str2bool(text, &value);
        if (unit.errorCode == 0)
            unit.errorCode = value ? (*slots.enable)(unit.device, index...) : (*slots.disable)(unit.device, index...);
    }
}

} // namespace
} // namespace scpi

using namespace scpi;

void scpi_node_freq(Unit& unit, const FreqSlots& slots) {
    number<Freq>(unit, slots);
}
void scpi_node_time(Unit& unit, const TimeSlots& slots) {
    number<Time>(unit, slots);
}
void scpi_node_angle(Unit& unit, const AngleSlots& slots) {
    number<Angle>(unit, slots);
}
void scpi_node_double(Unit& unit, const NumberSlots<double>& slots) {
    number<Double>(unit, slots);
}
void scpi_node_float(Unit& unit, const NumberSlots<float>& slots) {
    number<Float>(unit, slots);
}
void scpi_node_int32(Unit& unit, const NumberSlots<int32_t>& slots) {
    number<Int32>(unit, slots);
}
void scpi_node_uint32(Unit& unit, const NumberSlots<uint32_t>& slots) {
    number<Uint32>(unit, slots);
}
void scpi_node_bool(Unit& unit, const SwitchSlots<>& slots) {
    onOff(unit, slots);
}

void scpi_node_pow(Unit& unit, int unitFlags, const PowSlots& slots) {
    using Pow = ValueTraits<tvpow, nullptr, nullptr, true, true>;
    if (unit.mode == modeQuery)
        query<Pow>(unit, slots, [](const tvpow& value, char* dst, int room, int32_t* length) {
            return scpi_tv_pow2str(&value, dst, room, length);
        });
    else if (unit.mode == modeSet)
        set<Pow>(unit, slots,
                 [unitFlags](char* text, tvpow* value) { return scpi_str2tv_pow(text, value, unitFlags); });
}

void scpi_node_dblunit(Unit& unit, const scpi_unit_table* unitTable, const NumberSlots<double>& slots) {
    constexpr int exponentialForm = 2;
    if (unit.mode == modeQuery)
        query<Double>(unit, slots, [](double value, char* dst, int room, int32_t* length) {
            return scpi_double2strf(value, dst, room, length, exponentialForm);
        });
    else if (unit.mode == modeSet)
        set<Double>(unit, slots,
                    [&](char* text, double* value) { return scpi_str2double_unit(text, value, unitTable); });
}

void scpi_node_index_double(Unit& unit, const NumberSlots<double, int32_t>& slots) {
    number<Double>(unit, slots, unit.index);
}
void scpi_node_index_float(Unit& unit, const NumberSlots<float, int32_t>& slots) {
    number<Float>(unit, slots, unit.index);
}
void scpi_node_index_uint32(Unit& unit, const NumberSlots<uint32_t, int32_t>& slots) {
    number<Uint32>(unit, slots, unit.index);
}
void scpi_node_index_bool(Unit& unit, const SwitchSlots<int32_t>& slots) {
    onOff(unit, slots, unit.index);
}

int scpi_isEnumElement(const Slot<int(Device*)>& slot, Device* device) {
    return slot ? slot(device) : 0;
}
int scpi_setEnumElement(const Slot<int(Device*)>& slot, Device* device) {
    return slot ? slot(device) : scpi::undefinedHeader;
}
