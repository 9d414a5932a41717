#pragma once
/// The slots of the settings, from their rows in settings/: phase_noise.inc, detected.inc, sweep.inc, baseband.inc. A
/// row is all that there is to a setting but its command: its field in the record (measure/settings), these slots, the
/// accessors in them, limits, default, and what a new value makes stale or moves. The command names it:
/// setting<configPN_offsetMin> (scpi/tree/leaves.h).
///
///     NUMBER(type, field, slots, name, .limits = {0.01, 50e6}, .initial = 1e3, ...)
///     SWITCH(field, slots, name, .initial = 1, ...)      on or off
///     CHOICE(field, slots, name, .initial = 0, ...)      one of the codes of an enumeration
///     LIST(field, count, .limits = ..., .initial = ...)  numbers with one range, set together
///
/// `slots` tells which there are, with `name` in their names, as the macros below have them. What follows `name` are
/// columns of measure/settings/setting.h, in its order; without a limit or a default a row does not compile. Comments
/// in the rows tell meaning and unit.

#include "device_table/fptrs_types.h"

/// The slots of one access to a setting. Null: there is none.
template <class Value> struct NumberAccess {
    Slot<Value(Device*)>* get = nullptr;
    Slot<int(Device*, Value)>* set = nullptr;
};
struct SwitchAccess {
    Slot<int(Device*)>* is = nullptr;
    Slot<int(Device*)>* enable = nullptr;
    Slot<int(Device*)>* disable = nullptr;
};

/// All slots of a setting: on the record that it is of, and on the record in force.
template <class Value> struct NumberSetting {
    NumberAccess<Value> own{};
    NumberAccess<Value> inForce{};
    Slot<Value(Device*)>* min = nullptr;
    Slot<Value(Device*)>* max = nullptr;
};
struct SwitchSetting {
    SwitchAccess own{};
    SwitchAccess inForce{};
};
struct ChoiceSetting {
    NumberAccess<int> own{};
    NumberAccess<int> inForce{};
};

// clang-format off
// NOLINTBEGIN(bugprone-macro-parentheses): what the macros get are names

#define SLOT(name, ...) inline Slot<__VA_ARGS__> Automeasure_##name;
#define ACCESS_SLOTS(type, record, name) \
    SLOT(record##_get##name, type(Device*)) SLOT(record##_set##name, int(Device*, type))
#define ACCESS(record, name) {&Automeasure_##record##_get##name, &Automeasure_##record##_set##name}
#define LIMIT_SLOTS(type, get, name) SLOT(get##Min##name, type(Device*)) SLOT(get##Max##name, type(Device*))
#define LIMITS(get, name) &Automeasure_##get##Min##name, &Automeasure_##get##Max##name

#define NUMBER_SLOTS(type, field, record, get, name) \
    ACCESS_SLOTS(type, record, name) LIMIT_SLOTS(type, get, name) \
    inline constexpr NumberSetting<type> field{ACCESS(record, name), {}, LIMITS(get, name)};
#define NUMBER_own(type, field, name) NUMBER_SLOTS(type, field, configPN, config_get, name)
#define NUMBER_ownOldLimits(type, field, name) NUMBER_SLOTS(type, field, configPN, get, name)
#define NUMBER_sweep(type, field, name) NUMBER_SLOTS(type, field, configVCO, configVCO_get, name)
#define NUMBER_both(type, field, name) \
    ACCESS_SLOTS(type, configPN, name) ACCESS_SLOTS(type, config, name) LIMIT_SLOTS(type, config_get, name) \
    inline constexpr NumberSetting<type> field{ACCESS(configPN, name), ACCESS(config, name), LIMITS(config_get, name)};
#define NUMBER_inForce(type, field, name) \
    ACCESS_SLOTS(type, config, name) LIMIT_SLOTS(type, config_get, name) \
    inline constexpr NumberSetting<type> field{{}, ACCESS(config, name), LIMITS(config_get, name)};
#define NUMBER_unasked(type, field, name) \
    SLOT(configPN_set##name, int(Device*, type)) LIMIT_SLOTS(type, config_get, name) \
    inline constexpr NumberSetting<type> field{{nullptr, &Automeasure_configPN_set##name}, {}, LIMITS(config_get, name)};
#define NUMBER_none(type, field, name) inline constexpr NumberSetting<type> field{};

#define SWITCH_SLOTS(record, is, name) \
    SLOT(record##_##is, int(Device*)) SLOT(record##_enable##name, int(Device*)) SLOT(record##_disable##name, int(Device*))
#define SWITCH_ACCESS(record, is, name) \
    {&Automeasure_##record##_##is, &Automeasure_##record##_enable##name, &Automeasure_##record##_disable##name}
#define SWITCH_OF(field, record, is, name) \
    SWITCH_SLOTS(record, is, name) inline constexpr SwitchSetting field{SWITCH_ACCESS(record, is, name)};
#define SWITCH_own(field, name) SWITCH_OF(field, configPN, is##name, name)
#define SWITCH_enabled(field, name) SWITCH_OF(field, configPN, is##name##Enabled, name)
#define SWITCH_pulse(field, name) SWITCH_OF(field, config, get##name##Status, name)
#define SWITCH_sweep(field, name) SWITCH_OF(field, configVCO, is##name##Enabled, name)
#define SWITCH_both(field, name) \
    SWITCH_SLOTS(configPN, is##name, name) SWITCH_SLOTS(config, is##name, name) \
    inline constexpr SwitchSetting field{SWITCH_ACCESS(configPN, is##name, name), SWITCH_ACCESS(config, is##name, name)};
#define SWITCH_unasked(field, name) \
    SLOT(configPN_enable##name, int(Device*)) SLOT(configPN_disable##name, int(Device*)) \
    inline constexpr SwitchSetting field{{nullptr, &Automeasure_configPN_enable##name, &Automeasure_configPN_disable##name}};

#define CHOICE_SLOTS(field, record, name) \
    ACCESS_SLOTS(int, record, name) inline constexpr ChoiceSetting field{ACCESS(record, name)};
#define CHOICE_UNASKED(field, record, name) \
    SLOT(record##_set##name, int(Device*, int)) \
    inline constexpr ChoiceSetting field{{nullptr, &Automeasure_##record##_set##name}};
#define CHOICE_own(field, name) CHOICE_SLOTS(field, configPN, name)
#define CHOICE_sweep(field, name) CHOICE_SLOTS(field, config, name)
#define CHOICE_unasked(field, name) CHOICE_UNASKED(field, configPN, name)
#define CHOICE_baseband(field, name) CHOICE_UNASKED(field, configBB, name)
#define CHOICE_both(field, name) \
    ACCESS_SLOTS(int, configPN, name) ACCESS_SLOTS(int, config, name) \
    inline constexpr ChoiceSetting field{ACCESS(configPN, name), ACCESS(config, name)};

// NOLINTEND(bugprone-macro-parentheses)
// clang-format on

#define NUMBER(type, field, slots, name, ...) NUMBER_##slots(type, configPN_##field, name)
#define SWITCH(field, slots, name, ...) SWITCH_##slots(configPN_##field, name)
#define CHOICE(field, slots, name, ...) CHOICE_##slots(configPN_##field, name)
#include "device_table/settings/phase_noise.inc"

#define NUMBER(type, field, slots, name, ...) NUMBER_##slots(type, configPN_##field, name)
#include "device_table/settings/detected.inc"

#define NUMBER(type, field, slots, name, ...) NUMBER_##slots(type, configVCO_##field, name)
#define SWITCH(field, slots, name, ...) SWITCH_##slots(configVCO_##field, name)
#define CHOICE(field, slots, name, ...) CHOICE_##slots(configVCO_##field, name)
#include "device_table/settings/sweep.inc"

#define CHOICE(field, slots, name, ...) CHOICE_##slots(configBB_##field, name)
#include "device_table/settings/baseband.inc"

#undef SLOT
#undef ACCESS_SLOTS
#undef ACCESS
#undef LIMIT_SLOTS
#undef LIMITS
