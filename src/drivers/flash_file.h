#pragma once
/// Files to and from a serial flash: what its two drivers do alike.

#include <cstdint>
#include <span>

/// A flash as files see it. The operations return 0 or -200.
struct FlashForFiles {
    const char* chip;           // its name in messages
    uint32_t sectorBytes;       // written, and read back, at a time
    uint32_t compareBytes;      // compared at a time, at most sectorBytes
    const char* differenceText; // of a difference; its address follows
    void* record;
    int (*writeSector)(void* record, uint32_t address, std::span<const uint8_t> data);
    int (*read)(void* record, uint32_t address, std::span<uint8_t> data);
    int (*eraseSector)(void* record, uint32_t address);
};

inline constexpr int flash_writeAttempts = 4; // of a sector

/// Writes a file into erased flash from `address` on, sector by sector, and reads each back. One that differs is
/// erased and written again, three times at most. Returns 0, or -200 after the first sector that could not be written,
/// or if the file cannot be read; what lies behind is then not written.
[[nodiscard]] int flash_writeFile(const FlashForFiles& flash, const char* path, uint32_t address);
/// Writes `bytes` from `address` on to a file, which is replaced.
[[nodiscard]] int flash_readFile(const FlashForFiles& flash, const char* path, uint32_t address, uint32_t bytes);
/// Returns 0 if the flash holds the file from `address` on, else -200; the first difference is told.
[[nodiscard]] int flash_compareFile(const FlashForFiles& flash, const char* path, uint32_t address);
