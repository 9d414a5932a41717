#pragma once
/// Parameters of a command from text to value. All return 0, or a negative SCPI code with the value untouched: -131 for
/// a suffix that the quantity does not have, -224 for text that is no number (a null text included), -222 for 1E38 and
/// more (9.9E37, the mark for infinity, passes). All work in place: the text is cut with NULs.

#include "numeric/tvtypes.h"
#include "scpi/text/suffix.h"

#include <cstdint>

[[nodiscard]] int scpi_str2double(char* text, double* value);
/// In the base unit of `unitTable`, whose logarithmic rows leave the number as it is; a null table takes no suffix.
[[nodiscard]] int scpi_str2double_unit(char* text, double* value, const scpi_unit_table* unitTable);
[[nodiscard]] int scpi_str2float(char* text, float* value);
/// Rounded to the nearest integer, halves away from zero; numbers beyond the range give its nearer end, so a negative
/// one gives 0 as an unsigned.
[[nodiscard]] int scpi_str2int(char* text, int32_t* value);
[[nodiscard]] int scpi_str2uint(char* text, uint32_t* value);

[[nodiscard]] int scpi_str2tv_freq(char* text, tvfreq* frequency);
[[nodiscard]] int scpi_str2tv_time(char* text, tv_time* time);
/// Returns -200 for a null `angle`.
[[nodiscard]] int scpi_str2tv_angle(char* text, tv_angle* angle);
/// 1.0 for "1", "100 PCT" or "1E6 PPM".
[[nodiscard]] int scpi_str2ratio(char* text, double* ratio);
/// In dBm. A number without a suffix is in the user's power unit, with suffixIgnoreCurrent in `flags` in dBm. Also
/// returns -222 for a power without a logarithm: 0 W, -1 V.
[[nodiscard]] int scpi_str2tv_pow(char* text, tvpow* power, int flags);

/// "ON", "OFF", or a number, which is true unless it rounds to 0.
[[nodiscard]] int scpi_str2bool(char* text, bool* value);
/// What stands between the first and the last double quote; the last becomes the NUL at the end of `start`. Returns
/// -224 without two quotes.
[[nodiscard]] int scpi_str2chararray(char* text, char** start);
