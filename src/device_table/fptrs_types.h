#pragma once
/// Types in the signatures of the device table.
///
/// Rules of calling: the first argument is the instrument. Setters and actions return 0 or a negative number of
/// base/error_codes.h; "is" operations return a truth value; getters of a quantity that goes over the table as a record
/// (tvfreq, tvpow, some tv_time) return a pointer that stays valid for the life of the process, and their setters take
/// one; getters of a plain number return it. An int32_t after the instrument is the numeric
/// suffix of the command: a supply, a stage, a source, counted as the user counts it.

#include "device_table/slot.h"
#include "numeric/tvtypes.h"

#include <cstdint>

struct DeviceStatusRegisters;
struct TVCONT;

inline constexpr int reportTextSize = 2048;     // bytes of a caller's buffer for a report, end included
inline constexpr int calibrationDateSize = 256; // the same for the date of the calibration
inline constexpr int listTextSize = 64;         // the same for a list of gains or capacitors
