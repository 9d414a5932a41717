#pragma once
/// The user's power unit (UNIT:POWer) and the way between it and the device unit, dBm. Volts and amperes are those on
/// 50 ohms. The user's unit is one of the process; main thread only.

#include "numeric/tvtypes.h"

inline constexpr int scpi_unitNameSize = 5; // bytes of a unit's name with its NUL

/// Makes the unit at the end of `text` the user's. Returns 0; -131 for an unknown unit and for a linear one with a
/// prefix: "W" can be the default, "mW" cannot; -224 for a null text.
[[nodiscard]] int scpi_unit_setPowerUnit(char* text);

/// Gives the unit's name, "dBmW" unless one was set: copied to `dst` (scpi_unitNameSize bytes) and as a pointer to
/// static text. Either may be null.
void scpi_unit_getPowerUnit(char* dst, const char** name);

/// From dBm to the user's unit. Returns 0, or -222 (`value` untouched) if the result is not finite.
[[nodiscard]] int scpi_tv_pow_unit_dev2user(const tvpow* power, float* value);

/// From a value in a unit of type `unitType` (UnitType), logarithmic ones times 10^`logExponent`, to dBm. Returns 0, or
/// -222
/// (`dbm` untouched) for a power without a logarithm.
[[nodiscard]] int scpi_tv_powIndBm(const float* value, int logExponent, int unitType, tvpow* dbm);
