#pragma once
/// Values as answer text. Every formatter writes a text with its NUL within `room` bytes at `dst`, puts the length
/// without the NUL into `length` (null: not wanted) and returns 0. A text that with its NUL is longer than the room
/// gives -400 and length 0, and `dst`, if it has any room, is the empty text. Nothing is ever written beyond the room.

#include "numeric/tvtypes.h"

#include <cstdint>

/// Fixed forms show no digits that the value does not hold: they are those of the shortest decimal that reads back as
/// the same double (or single, for powers), filled up with zeros, or rounded where that has more places.

/// Flags of the formatters whose names end in "strf".
enum TextFlags : int {
    textFixed = 1,       // doubles and times: nine places instead of "%lE"
    textTwoDecimals = 4, // powers: two places instead of six
    textDeviceUnit = 8,  // powers: in dBm whatever the user's unit
};

[[nodiscard]] int scpi_double2strf(double value, char* dst, int room, int32_t* length, int flags);
/// Nine places, as the next two.
[[nodiscard]] int scpi_double2str(double value, char* dst, int room, int32_t* length);
[[nodiscard]] int scpi_float2str(float value, char* dst, int room, int32_t* length);
/// In radians; null reads as 0.
[[nodiscard]] int scpi_tv_angle2str(const tv_angle* value, char* dst, int room, int32_t* length);

/// In seconds; null gives "0.0".
[[nodiscard]] int scpi_tv_time2strf(const tv_time* value, char* dst, int room, int32_t* length, int flags);
/// "%lE"
[[nodiscard]] int scpi_tv_time2str(const tv_time* value, char* dst, int room, int32_t* length);

/// In Hz with 20 decimals, truncated: 1000000000.00000000000000000000. Null reads as 0.
[[nodiscard]] int scpi_tv_freq2str(const tvfreq* value, char* dst, int room, int32_t* length);

/// In the user's power unit, or in dBm with textDeviceUnit; null gives "0". Returns -222 with length 0 for a power that
/// is not finite in the user's unit.
[[nodiscard]] int scpi_tv_pow2strf(const tvpow* value, char* dst, int room, int32_t* length, int flags);
/// In the user's unit, six places.
[[nodiscard]] int scpi_tv_pow2str(const tvpow* value, char* dst, int room, int32_t* length);

/// "0" or "1".
[[nodiscard]] int scpi_bool2str(bool value, char* dst, int room, int32_t* length);
[[nodiscard]] int scpi_uint2str(uint32_t value, char* dst, int room, int32_t* length);
[[nodiscard]] int scpi_int2str(int32_t value, char* dst, int room, int32_t* length);
/// In double quotes, whatever the text holds; null gives "".
[[nodiscard]] int scpi_chararray2str(const char* value, char* dst, int room, int32_t* length);

/// The frequency as scpi_tv_freq2str writes it, on the debug channel.
void tvfreqPrint(const tvfreq* f);
