#pragma once
/// The columns of a row about a setting (setting_rows.h). A column that a setting must have has no default: a row
/// without it does not compile.

#include "base/shared.h"
#include "device_table/device_fptrs.h"
#include "measure/preparation/analog_board.h"
#include "measure/settings/measurement_configuration.h"

#include <array>
#include <optional>

/// Of a setting that a reset leaves as it is, because a measurement finds it.
struct LeftByReset {};
inline constexpr LeftByReset leftByReset{};

/// What a reset gives a setting.
template <class T> struct Default {
    constexpr Default(T given) : value(given) {}
    constexpr Default(LeftByReset) {}
    std::optional<T> value;
};

/// What a setter does with a value outside the limits. The commands that ask for the limits hold to them before.
enum class Beyond { stored, heldToLimits, raisedToMin, asStoreByDoes };

/// What a new value makes stale, besides the hardware.
enum Outdated : uint32_t {
    nothingElse = 0,
    outputGrid = 1, // made anew at the next run
    stagePlan = 2,  // handed over at once, in the mode of the record
};

/// In which mode a new value moves the hardware: in that of its record, or in all.
enum class Moves { inItsMode, inEveryMode };

/// The slots of an accessor. Null: there is none. `setBy` stands in for the setter of the row where that has rules of
/// its own.
template <class T> struct NumberSlots {
    Slot<T(Device*)>* get = nullptr;
    Slot<int(Device*, T)>* set = nullptr;
    int (*setBy)(Device*, T) = nullptr;
};
struct SwitchSlots {
    Slot<int(Device*)>* is = nullptr;
    Slot<int(Device*)>* enable = nullptr;
    Slot<int(Device*)>* disable = nullptr;
};
using ChoiceSlots = NumberSlots<int>;

/// A number with a range. `own` are the accessors on the record that the setting is of, `inForce` those on the record
/// in force.
template <class Record, class T> struct Number {
    Shared<T> Record::*field;
    Limits limits;
    Limits AnalogBoard::*limitsOfBoard = nullptr; // where the analog boards differ; takes the place of `limits`
    Default<T> initial;
    void (*storeBy)(Record*, double) = nullptr; // with Beyond::asStoreByDoes: stores more than the field
    Beyond beyond = Beyond::stored;
    uint32_t outdates = nothingElse;
    std::optional<HardwareSide> moves{};
    NumberSlots<T> own{};
    NumberSlots<T> inForce{};
    Slot<T(Device*)>* min = nullptr;
    Slot<T(Device*)>* max = nullptr;
};

/// Several numbers with one range that are set together; their operations are in config_vco.h.
template <class Record, size_t count> struct NumberList {
    std::array<Shared<double>, count> Record::*field;
    Limits limits;
    Default<std::array<double, count>> initial;
};

/// On or off.
template <class Record> struct Switch {
    Shared<uint32_t> Record::*field;
    Default<uint32_t> initial;
    std::optional<HardwareSide> moves{};
    Moves when = Moves::inItsMode;
    SwitchSlots own{};
    SwitchSlots inForce{};
};

/// One of the codes of an enumeration. The keywords of its commands are its limits.
template <class Record> struct Choice {
    Shared<uint32_t> Record::*field;
    Default<uint32_t> initial;
    Shared<uint32_t> Record::*alwaysTakes = nullptr; // becomes redoAlways with this one
    ChoiceSlots own{};
    ChoiceSlots inForce{};
};

/// Converts to whatever an initialiser asks for: with it the compiler counts the fields of a record.
struct AnyField {
    template <class T> operator T() const;
};
template <class Record, class... Fields> consteval size_t fieldCount() {
    if constexpr (requires { Record{Fields{}..., AnyField{}}; })
        return fieldCount<Record, Fields..., AnyField>();
    else
        return sizeof...(Fields);
}
