#pragma once
/// The decimal pipeline that every number goes through on its way in: the text becomes a canonical decimal string, the
/// point is moved in the digits by the exponent and by the unit's power of ten, and only then a value is made of it. So
/// "1.5 GHz", "1500MHZ" and "15E8" are the same digits, and no rounding of a double stands between a frequency and its
/// text.
///
/// A canonical string has 42 bytes and a NUL: "+" or "-", then digits without leading zeros with a "." among them,
/// filled up with "0". Its first 29 digits are exact; values stay below 1E38.

#include "numeric/tvtypes.h"
#include "scpi/text/suffix.h"

#include <cstdint>

inline constexpr int scpi_stddecstrLength = 42;
inline constexpr int scpi_stddecstrSize = scpi_stddecstrLength + 1;

/// Makes the canonical string of `text` in `out` (scpi_stddecstrSize bytes). With a unit table the suffix is taken off
/// the text in place and its power of ten put into the digits; that of a logarithmic unit goes to `logExponent`
/// instead. Without one (null), `unitType` is unitNone. `logExponent` is 0 unless told otherwise. Returns 0; -131 for
/// an unknown suffix; -224 for what is no number, a null text included; -222 from 1E38 up and between 9.9E37, which is
/// the mark for infinity, and 1E38. The outputs tell nothing after a failure.
[[nodiscard]] int scpi_str2stddecstr(char* text, char* out, int* unitType, const scpi_unit_table* unitTable,
                                     int* logExponent, int flags);

/// The double nearest to a canonical string.
double scpi_stdstr2double(const char* string);
/// The integer nearest to it, halves away from zero; limited to the range of the type.
int32_t scpi_stdstr2int(const char* string);
/// The same; a negative number gives 0.
uint32_t scpi_stdstr2uint(const char* string);
/// Takes the first 20 decimals, rounded up by 3e-20: a frequency below 1 GHz, whose text with 20 truncated decimals is
/// exact in all digits, comes back from it as the same frequency (2^-64 is 5.4e-20). A whole part beyond 2^63 - 1 Hz
/// gives that.
void scpi_stdfmtstr2tv_freq(const char* string, tvfreq* frequency);
