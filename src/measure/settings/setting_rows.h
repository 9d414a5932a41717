#pragma once
/// The settings, one row each: field, limits, default, what a new value makes stale or moves, and the slots that its
/// accessors fill. The record tells meaning and unit. The accessors are templates over the rows (config_accessors.h);
/// registerAutomeasureFunctions fills the slots with them, and a reset gives the defaults.
///
/// A new setting is its field in the record, a row here, the declaration of its slots in fptrs_configuration.h, and a
/// row in the command tree.

#include "measure/settings/config_inforce.h"
#include "measure/settings/config_pn.h"
#include "measure/settings/config_vco.h"
#include "measure/settings/setting.h"

inline constexpr Limits tuneVoltageLimits{-5, 21};
inline constexpr Limits referenceSensLimits{0, 100000};
inline constexpr Limits referenceVoltageLimits{3, 20};
inline constexpr Limits kphiLimits{0.01, 50};

inline constexpr Number<MeasSettings, double> measNumbers[] = {
    {.field = &MeasSettings::offsetMin,
     .limits = {0.01, 50e6},
     .initial = 1e3,
     .storeBy = config_storeOffsetMin,
     .beyond = Beyond::asStoreByDoes,
     .outdates = outputGrid | stagePlan,
     .own = {&Automeasure_configPN_getOffsetMin, &Automeasure_configPN_setOffsetMin},
     .min = &Automeasure_config_getMinOffsetMin,
     .max = &Automeasure_config_getMaxOffsetMin},
    {.field = &MeasSettings::offsetMax,
     .limits = {0.1, 50e6},
     .initial = 50e6,
     .storeBy = config_storeOffsetMax,
     .beyond = Beyond::asStoreByDoes,
     .outdates = outputGrid | stagePlan,
     .own = {&Automeasure_configPN_getOffsetMax, &Automeasure_configPN_setOffsetMax},
     .min = &Automeasure_config_getMinOffsetMax,
     .max = &Automeasure_config_getMaxOffsetMax},
    {.field = &MeasSettings::spotFrequency,
     .limits = {10, 50e6},
     .initial = 0,
     .moves = sideSpotFrequency,
     .own = {&Automeasure_configPN_getSpotFrequency, &Automeasure_configPN_setSpotFrequency},
     .min = &Automeasure_config_getMinSpotFrequency,
     .max = &Automeasure_config_getMaxSpotFrequency},
    {.field = &MeasSettings::attenuation,
     .limits = {0, 32},
     .initial = 0,
     .beyond = Beyond::heldToLimits,
     .moves = sideAttenuation,
     .own = {&Automeasure_configPN_getAttenuation, &Automeasure_configPN_setAttenuation},
     .min = &Automeasure_config_getMinAttenuation,
     .max = &Automeasure_config_getMaxAttenuation},
    {.field = &MeasSettings::spurThreshold,
     .limits = {1, 70},
     .initial = 1,
     .own = {&Automeasure_configPN_getSpurThreshold, &Automeasure_configPN_setSpurThreshold},
     .min = &Automeasure_getMinSpurThreshold,
     .max = &Automeasure_getMaxSpurThreshold},
    {.field = &MeasSettings::smoothingAperture,
     .limits = {0.05, 20},
     .initial = 0.1,
     .own = {&Automeasure_configPN_getSmoothingAperture, &Automeasure_configPN_setSmoothingAperture},
     .min = &Automeasure_getMinSmoothingAperture,
     .max = &Automeasure_getMaxSmoothingAperture},
    // Their commands name them by a channel or in pairs: accessors in config_pn.h.
    {.field = &MeasSettings::functionRangeStart, .limits = unlimited, .initial = 10},
    {.field = &MeasSettings::functionRangeStop, .limits = unlimited, .initial = 50e6},
    {.field = &MeasSettings::referenceSens, .limits = referenceSensLimits, .initial = 1},
    {.field = &MeasSettings::referenceVoltage1, .limits = referenceVoltageLimits, .initial = 5},
    {.field = &MeasSettings::referenceVoltage2, .limits = referenceVoltageLimits, .initial = 5},
};

inline constexpr Number<Detected, double> detectedNumbers[] = {
    {.field = &Detected::frequency,
     .limits = {1e6, 29.5e9},
     .initial = 100e6,
     .moves = sideFrequency,
     .own = {&Automeasure_configPN_getFrequency, &Automeasure_configPN_setFrequency},
     .inForce = {&Automeasure_config_getFrequency, &Automeasure_config_setFrequency, config_setFrequency},
     .min = &Automeasure_config_getMinFrequency,
     .max = &Automeasure_config_getMaxFrequency},
    {.field = &Detected::power,
     .limits = {-20, 20},
     .initial = leftByReset,
     .inForce = {&Automeasure_config_getPower, &Automeasure_config_setPower},
     .min = &Automeasure_config_getMinPower,
     .max = &Automeasure_config_getMaxPower},
    {.field = &Detected::ifGain,
     .limits = unlimited,
     .limitsOfBoard = &AnalogBoard::ifGain,
     .initial = leftByReset, // the reset sets 0 on the boards
     .own = {&Automeasure_configPN_getIFgain, &Automeasure_configPN_setIFgain, configPN_setIFgain},
     .min = &Automeasure_config_getMinIFgain,
     .max = &Automeasure_config_getMaxIFgain},
    {.field = &Detected::kphiA,
     .limits = kphiLimits,
     .initial = -1,
     .own = {.set = &Automeasure_configPN_setKphi, .setBy = configPN_setKphi},
     .min = &Automeasure_config_getMinKphi,
     .max = &Automeasure_config_getMaxKphi},
    {.field = &Detected::kphiB, .limits = kphiLimits, .initial = -1},
    {.field = &Detected::loopBandwidth,
     .limits = {1, 1000},
     .initial = 1,
     .beyond = Beyond::raisedToMin,
     .own = {&Automeasure_configPN_getLoopBandwidth, &Automeasure_configPN_setLoopBandwidth},
     .min = &Automeasure_config_getMinLoopBandwidth,
     .max = &Automeasure_config_getMaxLoopBandwidth},
    {.field = &Detected::refSensA, .limits = referenceSensLimits, .initial = 1},
    {.field = &Detected::refSensB, .limits = referenceSensLimits, .initial = 1},
};

inline constexpr Number<MeasSettings, int32_t> measCounts[] = {
    {.field = &MeasSettings::iterations,
     .limits = {1, 10000},
     .initial = 1,
     .own = {&Automeasure_configPN_getIterations, &Automeasure_configPN_setIterations},
     .min = &Automeasure_config_getMinIterations,
     .max = &Automeasure_config_getMaxIterations},
    {.field = &MeasSettings::correlations,
     .limits = {1, 10000},
     .initial = 1,
     .outdates = stagePlan,
     .own = {&Automeasure_configPN_getCorrelations, &Automeasure_configPN_setCorrelations},
     .min = &Automeasure_config_getMinCorrelations,
     .max = &Automeasure_config_getMaxCorrelations},
    {.field = &MeasSettings::pointsPerDecade,
     .limits = {2, pointsPerDecadeMax},
     .initial = 120,
     .outdates = outputGrid,
     .own = {&Automeasure_configPN_getPointsPerDecade, &Automeasure_configPN_setPointsPerDecade},
     .min = &Automeasure_config_getMinPointsPerDecade,
     .max = &Automeasure_config_getMaxPointsPerDecade},
    {.field = &MeasSettings::points, .limits = unlimited, .initial = 0, .outdates = outputGrid},
};

inline constexpr Switch<MeasSettings> measSwitches[] = {
    {.field = &MeasSettings::autoFrequency,
     .initial = 1,
     .own = {&Automeasure_configPN_isAutoFrequency, &Automeasure_configPN_enableAutoFrequency,
             &Automeasure_configPN_disableAutoFrequency},
     .inForce = {&Automeasure_config_isAutoFrequency, &Automeasure_config_enableAutoFrequency,
                 &Automeasure_config_disableAutoFrequency}},
    {.field = &MeasSettings::freqInit,
     .initial = 0,
     .own = {.enable = &Automeasure_configPN_enableFreqInit, .disable = &Automeasure_configPN_disableFreqInit}},
    {.field = &MeasSettings::autoAttenuation,
     .initial = 1,
     .own = {&Automeasure_configPN_isAutoAttenuation, &Automeasure_configPN_enableAutoAttenuation,
             &Automeasure_configPN_disableAutoAttenuation}},
    {.field = &MeasSettings::autoIFgain,
     .initial = 1,
     .own = {&Automeasure_configPN_isAutoIFgain, &Automeasure_configPN_enableAutoIFgain,
             &Automeasure_configPN_disableAutoIFgain}},
    {.field = &MeasSettings::autoKphi,
     .initial = 1,
     .own = {&Automeasure_configPN_isAutoKphi, &Automeasure_configPN_enableAutoKphi,
             &Automeasure_configPN_disableAutoKphi}},
    {.field = &MeasSettings::autoLoopBW,
     .initial = 1,
     .own = {&Automeasure_configPN_isAutoLoopBW, &Automeasure_configPN_enableAutoLoopBW,
             &Automeasure_configPN_disableAutoLoopBW}},
    {.field = &MeasSettings::smoothing,
     .initial = 1,
     .own = {&Automeasure_configPN_isSmoothingEnabled, &Automeasure_configPN_enableSmoothing,
             &Automeasure_configPN_disableSmoothing}},
    {.field = &MeasSettings::spurOmission,
     .initial = 1,
     .own = {&Automeasure_configPN_isSpurOmissionEnabled, &Automeasure_configPN_enableSpurOmission,
             &Automeasure_configPN_disableSpurOmission}},
    {.field = &MeasSettings::pulseEnabled,
     .initial = 0,
     .moves = sidePulse,
     .when = Moves::inEveryMode,
     .own = {&Automeasure_config_getPulseStatus, &Automeasure_config_enablePulse, &Automeasure_config_disablePulse}},
};

inline constexpr Choice<MeasSettings> measChoices[] = {
    // A new frequency invalidates the detector constants: searched always, they are measured always.
    {.field = &MeasSettings::redoFrequency,
     .initial = redoAlways,
     .alwaysTakes = &MeasSettings::redoKphi,
     .own = {&Automeasure_configPN_getRedoFrequency, &Automeasure_configPN_setRedoFrequency},
     .inForce = {&Automeasure_config_getRedoFrequency, &Automeasure_config_setRedoFrequency}},
    {.field = &MeasSettings::redoAttenuation,
     .initial = redoAlways,
     .own = {&Automeasure_configPN_getRedoAttenuation, &Automeasure_configPN_setRedoAttenuation}},
    {.field = &MeasSettings::redoKphi,
     .initial = redoAlways,
     .own = {&Automeasure_configPN_getRedoKphi, &Automeasure_configPN_setRedoKphi}},
    {.field = &MeasSettings::redoIFgain,
     .initial = redoAlways,
     .own = {&Automeasure_configPN_getRedoIFgain, &Automeasure_configPN_setRedoIFgain}},
    {.field = &MeasSettings::measurementMethod,
     .initial = methodCrossCorrelation,
     .own = {.set = &Automeasure_configPN_setMeasurementMethod, .setBy = configPN_setMeasurementMethod}},
    {.field = &MeasSettings::reference,
     .initial = referenceNormal,
     .own = {.set = &Automeasure_configPN_setReference, .setBy = configPN_setReference}},
};

inline constexpr Number<VcoSettings, double> sweepNumbers[] = {
    {.field = &VcoSettings::voltageStart,
     .limits = tuneVoltageLimits,
     .initial = 0,
     .own = {&Automeasure_configVCO_getVoltageStart, &Automeasure_configVCO_setVoltageStart},
     .min = &Automeasure_configVCO_getMinVoltageStart,
     .max = &Automeasure_configVCO_getMaxVoltageStart},
    {.field = &VcoSettings::voltageStop,
     .limits = tuneVoltageLimits,
     .initial = 5,
     .own = {&Automeasure_configVCO_getVoltageStop, &Automeasure_configVCO_setVoltageStop},
     .min = &Automeasure_configVCO_getMinVoltageStop,
     .max = &Automeasure_configVCO_getMaxVoltageStop},
    {.field = &VcoSettings::tuneDelay, .limits = {0, 10e6}, .initial = 0}, // handed over by address: config_vco.h
};

inline constexpr Number<VcoSettings, int32_t> sweepCounts[] = {
    {.field = &VcoSettings::voltagePoints,
     .limits = {1, vcoPointsMax},
     .initial = 10,
     .own = {&Automeasure_configVCO_getVoltagePoints, &Automeasure_configVCO_setVoltagePoints},
     .min = &Automeasure_configVCO_getMinVoltagePoints,
     .max = &Automeasure_configVCO_getMaxVoltagePoints},
};

inline constexpr NumberList<VcoSettings, vcoPnOffsets> sweepLists[] = {
    {.field = &VcoSettings::pnOffset, .limits = {10, 50e6}, .initial = std::array{1e4, 1e5, 1e6, 1e7}},
};

inline constexpr Switch<VcoSettings> sweepSwitches[] = {
    {.field = &VcoSettings::frequencyEnabled,
     .initial = 1,
     .own = {&Automeasure_configVCO_isFrequencyEnabled, &Automeasure_configVCO_enableFrequency,
             &Automeasure_configVCO_disableFrequency}},
    {.field = &VcoSettings::powerEnabled,
     .initial = 1,
     .own = {&Automeasure_configVCO_isPowerEnabled, &Automeasure_configVCO_enablePower,
             &Automeasure_configVCO_disablePower}},
    {.field = &VcoSettings::kvcoEnabled,
     .initial = 1,
     .own = {&Automeasure_configVCO_isKVCOEnabled, &Automeasure_configVCO_enableKVCO,
             &Automeasure_configVCO_disableKVCO}},
    {.field = &VcoSettings::kPushEnabled,
     .initial = 0,
     .own = {&Automeasure_configVCO_isKPushEnabled, &Automeasure_configVCO_enableKPush,
             &Automeasure_configVCO_disableKPush}},
    {.field = &VcoSettings::iSupplyEnabled,
     .initial = 1,
     .own = {&Automeasure_configVCO_isISupplyEnabled, &Automeasure_configVCO_enableISupply,
             &Automeasure_configVCO_disableISupply}},
    {.field = &VcoSettings::phaseNoiseEnabled,
     .initial = 1,
     .own = {&Automeasure_configVCO_isPhaseNoiseEnabled, &Automeasure_configVCO_enablePhaseNoise,
             &Automeasure_configVCO_disablePhaseNoise}},
};

inline constexpr Choice<VcoSettings> sweepChoices[] = {
    {.field = &VcoSettings::dutType,
     .initial = 0,
     .own = {&Automeasure_config_getVCODUTType, &Automeasure_config_setVCODUTType}},
};

inline constexpr Choice<BasebandConfig> basebandChoices[] = {
    {.field = &BasebandConfig::measurementMethod,
     .initial = methodCrossCorrelation,
     .own = {.set = &Automeasure_configBB_setMeasurementMethod, .setBy = configBB_setMeasurementMethod}},
};

// A field that has been forgotten here does not compile.
static_assert(fieldCount<MeasSettings>() ==
                  std::size(measNumbers) + std::size(measCounts) + std::size(measSwitches) + std::size(measChoices),
              "a setting has no row");
constexpr size_t unsettable = 3; // frequencyRaw, frequencyRounded, powerRaw
static_assert(fieldCount<Detected>() == std::size(detectedNumbers) + unsettable, "a setting has no row");
static_assert(fieldCount<VcoSettings>() == std::size(sweepNumbers) + std::size(sweepCounts) + std::size(sweepLists) +
                                               std::size(sweepSwitches) + std::size(sweepChoices),
              "a setting has no row");
