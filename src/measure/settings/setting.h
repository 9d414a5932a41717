#pragma once
/// The columns of a row about a setting (device_table/settings/), after its slots. A column that a setting must have
/// has no default: a row without it does not compile.

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

/// A number with a range. `setBy` and `inForceSetBy` stand in for a setter of the row that has rules of its own.
template <class Record, class T> struct Number {
    Shared<T> Record::*field;
    const NumberSetting<T>& slots;
    Limits limits;
    Limits AnalogBoard::*limitsOfBoard = nullptr; // where the analog boards differ; takes the place of `limits`
    Default<T> initial;
    void (*storeBy)(Record*, double) = nullptr; // with Beyond::asStoreByDoes: stores more than the field
    Beyond beyond = Beyond::stored;
    uint32_t outdates = nothingElse;
    std::optional<HardwareSide> moves{};
    int (*setBy)(Device*, T) = nullptr;
    int (*inForceSetBy)(Device*, T) = nullptr;
};

struct NoSlots {};
/// Several numbers with one range that are set together; their operations are in config_vco.h.
template <class Record, size_t count> struct NumberList {
    std::array<Shared<double>, count> Record::*field;
    NoSlots slots{};
    Limits limits;
    Default<std::array<double, count>> initial;
};

/// On or off.
template <class Record> struct Switch {
    Shared<uint32_t> Record::*field;
    const SwitchSetting& slots;
    Default<uint32_t> initial;
    std::optional<HardwareSide> moves{};
    Moves when = Moves::inItsMode;
};

/// One of the codes of an enumeration. The keywords of its commands are its limits.
template <class Record> struct Choice {
    Shared<uint32_t> Record::*field;
    const ChoiceSetting& slots;
    Default<uint32_t> initial;
    Shared<uint32_t> Record::*alwaysTakes = nullptr; // becomes redoAlways with this one
    int (*setBy)(Device*, int) = nullptr;
};

/// Record and type of a field.
template <class T> struct SettingField;
template <class R, class T> struct SettingField<Shared<T> R::*> {
    using Record = R;
    using Value = T;
};
template <class R, size_t size> struct SettingField<std::array<Shared<double>, size> R::*> {
    using Record = R;
    static constexpr size_t count = size;
};
template <auto field> using FieldOf = SettingField<std::remove_const_t<decltype(field)>>;

template <auto field> using NumberAt = Number<typename FieldOf<field>::Record, typename FieldOf<field>::Value>;
template <auto field> using SwitchAt = Switch<typename FieldOf<field>::Record>;
template <auto field> using ChoiceAt = Choice<typename FieldOf<field>::Record>;
template <auto field> using ListAt = NumberList<typename FieldOf<field>::Record, FieldOf<field>::count>;
