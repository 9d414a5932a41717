#pragma once
/// The accessors of the settings, made from their rows. A setter returns 0 or a negative error number; what the row
/// says beyond storing follows the value. The names beneath are for those who call an accessor without its slot.

#include "base/error_codes.h"
#include "measure/settings/setting_follow.h"
#include "measure/settings/setting_rows.h"

// Where the accessors of a row work. `addressed` tells whether the commands reach the record, `active` whether the
// hardware follows it.

struct PhaseNoise { // configPN_
    static MeasConfig& record() { return configPN; }
    static bool addressed() { return true; }
    static bool active() { return measurement_mode == measurementModePN; }
};
struct InForce { // config_
    static MeasConfig& record() { return *configPNPtr; }
    static bool addressed() { return true; }
    static bool active() { return measurement_mode == measurementModePN; }
};
struct Sweep { // configVCO_
    static VcoConfig& record() { return configVCO; }
    static bool addressed() { return selected_config == measurementModeVCO; }
    static bool active() { return false; }
};
struct SweepRun { // configVCO_, the phase noise runs of the sweep
    static MeasConfig& record() { return active() ? *configPNPtr : configVCO.config; } // a sweep's own copy in a sweep
    static bool addressed() { return true; }
    static bool active() { return measurement_mode == measurementModeVCO; }
};
struct Baseband { // configBB_
    static BasebandConfig& record() { return configBB; }
};

template <auto field> using ValueOf = typename FieldOf<field>::Value;

/// What the number of a record that the commands do not reach reads, and what switching there returns.
inline constexpr int unaddressed = 3;

/// The limits of a number on the boards of this unit.
template <auto field> const Limits& setting_limits() {
    constexpr const auto& row = rowOf<field>;
    if (row.limitsOfBoard != nullptr)
        return analogBoard().*row.limitsOfBoard;
    return row.limits;
}
template <auto field> ValueOf<field> setting_min(Device*) {
    return static_cast<ValueOf<field>>(setting_limits<field>().min);
}
template <auto field> ValueOf<field> setting_max(Device*) {
    return static_cast<ValueOf<field>>(setting_limits<field>().max);
}

template <class Where, auto field> ValueOf<field> setting_get(Device*) {
    return Where::addressed() ? (Where::record().*field).get() : ValueOf<field>{unaddressed};
}

template <class Where, auto field> int setting_set(Device* device, ValueOf<field> value) {
    constexpr const auto& row = rowOf<field>;
    if (!Where::addressed())
        return scpi::illegalParameterValue;
    auto& record = Where::record();
    if constexpr (row.beyond == Beyond::asStoreByDoes)
        row.storeBy(&record, value);
    else if constexpr (row.beyond == Beyond::heldToLimits)
        record.*field = limited(value, row.limits);
    else if constexpr (row.beyond == Beyond::raisedToMin)
        record.*field = std::fmax(value, row.limits.min);
    else
        record.*field = value;
    if constexpr (row.outdates != nothingElse || row.moves)
        return setting_follow(device, &record, row.outdates, row.moves, Where::active());
    return 0;
}

template <class Where, auto field> int setting_is(Device*) {
    return Where::addressed() && Where::record().*field != 0;
}

template <class Where, auto field, uint32_t value> int setting_switch(Device* device) {
    constexpr const auto& row = rowOf<field>;
    if (!Where::addressed())
        return unaddressed;
    auto& record = Where::record();
    record.*field = value;
    if constexpr (row.moves)
        return setting_follow(device, &record, nothingElse, row.moves,
                              row.when == Moves::inEveryMode || Where::active());
    return 0;
}

// A choice is reached whatever configuration is selected.

template <class Where, auto field> int setting_chosen(Device*) {
    return static_cast<int>((Where::record().*field).get());
}

template <class Where, auto field> int setting_choose(Device*, int code) {
    constexpr const auto& row = rowOf<field>;
    auto& record = Where::record();
    record.*field = static_cast<uint32_t>(code);
    if constexpr (row.alwaysTakes != nullptr)
        if (code == redoAlways)
            record.*row.alwaysTakes = redoAlways;
    return 0;
}

// clang-format off

inline constexpr auto& configPN_setFrequency = setting_set<PhaseNoise, &MeasConfig::frequency>;
inline constexpr auto& configPN_disableAutoFrequency = setting_switch<PhaseNoise, &MeasConfig::autoFrequency, 0>;
inline constexpr auto& configPN_setRedoFrequency = setting_choose<PhaseNoise, &MeasConfig::redoFrequency>;
inline constexpr auto& configPN_setOffsetMin = setting_set<PhaseNoise, &MeasConfig::offsetMin>;
inline constexpr auto& configPN_setOffsetMax = setting_set<PhaseNoise, &MeasConfig::offsetMax>;
inline constexpr auto& configPN_setSpotFrequency = setting_set<PhaseNoise, &MeasConfig::spotFrequency>;
inline constexpr auto& configPN_setIterations = setting_set<PhaseNoise, &MeasConfig::iterations>;
inline constexpr auto& configPN_setCorrelations = setting_set<PhaseNoise, &MeasConfig::correlations>;
inline constexpr auto& configPN_setPointsPerDecade = setting_set<PhaseNoise, &MeasConfig::pointsPerDecade>;
inline constexpr auto& configPN_setAttenuation = setting_set<PhaseNoise, &MeasConfig::attenuation>;
inline constexpr auto& configPN_setRedoAttenuation = setting_choose<PhaseNoise, &MeasConfig::redoAttenuation>;
inline constexpr auto& configPN_getIFgain = setting_get<PhaseNoise, &MeasConfig::ifGain>;
inline constexpr auto& configPN_isAutoIFgain = setting_is<PhaseNoise, &MeasConfig::autoIFgain>;
inline constexpr auto& configPN_enableAutoIFgain = setting_switch<PhaseNoise, &MeasConfig::autoIFgain, 1>;
inline constexpr auto& configPN_setRedoIFgain = setting_choose<PhaseNoise, &MeasConfig::redoIFgain>;
inline constexpr auto& configPN_setRedoKphi = setting_choose<PhaseNoise, &MeasConfig::redoKphi>;
inline constexpr auto& configPN_enableSmoothing = setting_switch<PhaseNoise, &MeasConfig::smoothing, 1>;
inline constexpr auto& configPN_disableSmoothing = setting_switch<PhaseNoise, &MeasConfig::smoothing, 0>;
inline constexpr auto& configPN_setSmoothingAperture = setting_set<PhaseNoise, &MeasConfig::smoothingAperture>;
inline constexpr auto& configPN_disableSpurOmission = setting_switch<PhaseNoise, &MeasConfig::spurOmission, 0>;

inline constexpr auto& config_getFrequency = setting_get<InForce, &MeasConfig::frequency>;
inline constexpr auto& config_setRedoFrequency = setting_choose<InForce, &MeasConfig::redoFrequency>;
inline constexpr auto& config_setPoints = setting_set<InForce, &MeasConfig::points>;
inline constexpr auto& config_enablePulse = setting_switch<PhaseNoise, &MeasConfig::pulseEnabled, 1>;
inline constexpr auto& config_disablePulse = setting_switch<PhaseNoise, &MeasConfig::pulseEnabled, 0>;

inline constexpr auto& configVCO_setVoltagePoints = setting_set<Sweep, &VcoConfig::voltagePoints>;
inline constexpr auto& configVCO_setOffsetMin = setting_set<SweepRun, &MeasConfig::offsetMin>;
inline constexpr auto& configVCO_setOffsetMax = setting_set<SweepRun, &MeasConfig::offsetMax>;
inline constexpr auto& configVCO_setCorrelations = setting_set<SweepRun, &MeasConfig::correlations>;
inline constexpr auto& configVCO_setSpotFrequency = setting_set<SweepRun, &MeasConfig::spotFrequency>;

// clang-format on
