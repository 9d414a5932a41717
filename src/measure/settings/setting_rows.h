#pragma once
/// The rows of device_table/settings/ as the measurement sees them: field, slots, limits, default, what a new value
/// makes stale or moves. The accessors are templates over them (config_accessors.h); registerAutomeasureFunctions fills
/// the slots with those, and a reset gives the defaults.

#include "measure/settings/config_inforce.h"
#include "measure/settings/config_pn.h"
#include "measure/settings/config_vco.h"
#include "measure/settings/setting.h"

inline constexpr Limits tuneVoltageLimits{-5, 21};
inline constexpr Limits referenceSensLimits{0, 100000};
inline constexpr Limits referenceVoltageLimits{3, 20};
inline constexpr Limits kphiLimits{0.01, 50};

/// `row` of the setting that a field is; there is none for a field without a row.
template <auto field> struct SettingOf;
template <auto field> inline constexpr const auto& rowOf = SettingOf<field>::row;

// clang-format off
// NOLINTBEGIN(bugprone-macro-parentheses): what the macros get are names

#define ROW(Kind, Record, setting, itsSlots, ...) \
    template <> struct SettingOf<&Record::setting> { \
        static constexpr Kind<&Record::setting> row{.field = &Record::setting, .slots = itsSlots, __VA_ARGS__}; \
    };

#define NUMBER(type, field, slots, name, ...) ROW(NumberAt, MeasSettings, field, configPN_##field, __VA_ARGS__)
#define SWITCH(field, slots, name, ...) ROW(SwitchAt, MeasSettings, field, configPN_##field, __VA_ARGS__)
#define CHOICE(field, slots, name, ...) ROW(ChoiceAt, MeasSettings, field, configPN_##field, __VA_ARGS__)
#include "device_table/settings/phase_noise.inc"

#define NUMBER(type, field, slots, name, ...) ROW(NumberAt, Detected, field, configPN_##field, __VA_ARGS__)
#include "device_table/settings/detected.inc"

#define NUMBER(type, field, slots, name, ...) ROW(NumberAt, VcoSettings, field, configVCO_##field, __VA_ARGS__)
#define SWITCH(field, slots, name, ...) ROW(SwitchAt, VcoSettings, field, configVCO_##field, __VA_ARGS__)
#define CHOICE(field, slots, name, ...) ROW(ChoiceAt, VcoSettings, field, configVCO_##field, __VA_ARGS__)
#define LIST(field, count, ...) ROW(ListAt, VcoSettings, field, {}, __VA_ARGS__)
#include "device_table/settings/sweep.inc"

#define CHOICE(field, slots, name, ...) ROW(ChoiceAt, BasebandConfig, field, configBB_##field, __VA_ARGS__)
#include "device_table/settings/baseband.inc"

#undef ROW

/// Calls `visit.operator()<field>()` for each setting of a record.
void setting_forEach(const MeasSettings*, auto visit) {
#define NUMBER(type, field, ...) visit.template operator()<&MeasSettings::field>();
#define SWITCH(field, ...) visit.template operator()<&MeasSettings::field>();
#define CHOICE(field, ...) visit.template operator()<&MeasSettings::field>();
#include "device_table/settings/phase_noise.inc"
}
void setting_forEach(const Detected*, auto visit) {
#define NUMBER(type, field, ...) visit.template operator()<&Detected::field>();
#include "device_table/settings/detected.inc"
}
void setting_forEach(const VcoSettings*, auto visit) {
#define NUMBER(type, field, ...) visit.template operator()<&VcoSettings::field>();
#define SWITCH(field, ...) visit.template operator()<&VcoSettings::field>();
#define CHOICE(field, ...) visit.template operator()<&VcoSettings::field>();
#define LIST(field, ...) visit.template operator()<&VcoSettings::field>();
#include "device_table/settings/sweep.inc"
}
void setting_forEach(const BasebandConfig*, auto visit) {
#define CHOICE(field, ...) visit.template operator()<&BasebandConfig::field>();
#include "device_table/settings/baseband.inc"
}
// NOLINTEND(bugprone-macro-parentheses)
// clang-format on
