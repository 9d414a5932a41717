#pragma once
/// The small files of the unit that outlive a restart, and the helpers that read and write them.
///
/// A write replaces the whole file at once: whoever loses power in it finds the old content or the new.

#include <cstddef>
#include <cstdint>

/// Reads at most `size` - 1 bytes and ends the text. Returns 0, or -200 with an empty text if the file cannot be read.
[[nodiscard]] int device_config_loadString(const char* path, char* buffer, size_t size);

/// Reads exactly `size` bytes. Returns 0, or -200 if the file is missing or shorter; `buffer` is lost then.
[[nodiscard]] int device_config_loadBinary(const char* path, void* buffer, size_t size);

/// Writes inside a protected write. Return 0, or -200 with the old content kept.
[[nodiscard]] int device_config_storeString(const char* path, const char* text);
[[nodiscard]] int device_config_storeBinary(const char* path, const void* buffer, size_t size);

inline constexpr double BOOT_DELAY_MIN = 0.0;  // s
inline constexpr double BOOT_DELAY_MAX = 60.0; // s

/// Time that start-up waits for the reference to warm up, in seconds. What lies outside the limits counts as 0. A file
/// that cannot be read gives 0 and returns -200.
int device_config_loadBootDelay(double* seconds);
[[nodiscard]] int device_config_storeBootDelay(double seconds);

/// Tuning word of a reference oscillator; `index` 0 is the only or first one. Return 0 or -200 (`word` untouched).
[[nodiscard]] int device_config_loadVcoTuning(uint32_t* word, unsigned index);
[[nodiscard]] int device_config_storeVcoTuning(uint32_t word, unsigned index);

/// Tuning sensitivity of an internal source, of channel A for `channel` 0, else of B. The unit is the caller's. Return
/// 0 or -200 (`value` untouched).
[[nodiscard]] int device_config_getVcoSensitivity(double* value, int channel);
[[nodiscard]] int device_config_setVcoSensitivity(double value, int channel);

/// Address on the GPIB bus as text, "0" if there is none. Returns 0, or -113 on a unit without GPIB (empty text).
[[nodiscard]] int device_config_getGPIBaddr(char* buffer, size_t size);

/// Stores the address: a number, or a primary and a secondary one with a comma, a point or a blank between. Returns 0,
/// -224 for any other text, or -200 if the file could not be written (the old address stays).
[[nodiscard]] int device_config_setGPIBaddr(const char* text);
