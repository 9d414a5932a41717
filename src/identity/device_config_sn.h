#pragma once
/// The serial number of the unit, "000-000000000-0000": its characters tell the hardware (device_variants.h).

inline constexpr int serialNumberSize = 33; // 32 characters and the end

/// The number in force, upper case, zeros behind its end.
inline char device_config_sn[serialNumberSize] = {};

/// The number in force; reads the file first if there is none yet.
[[nodiscard]] const char* device_config_getSN();

/// Reads the first line of the file into `buffer` (serialNumberSize bytes), in upper case and filled up with zeros.
/// A missing or empty file gives "000-000000000-0000".
void device_config_readSN(char* buffer);

/// Writes the file and reads it back. Returns 0 if it holds `text` then, else -1.
[[nodiscard]] int device_config_writeSN(const char* text);

/// Gives the unit another number. `current` must be the one in the file, `next` 1 to 32 printable characters without
/// blanks; lower case is stored as upper case. Boards are built from the number at start, so it takes effect for them
/// at the next one. `changed` may be null: 1 on success, else 0. Returns 0 or -113; if the file could not be written,
/// `next` is in force until the end of the process all the same.
[[nodiscard]] int device_config_setSN(const char* current, const char* next, int* changed);
