#pragma once
/// LTC6950: PLL and clock dividers of the acquisition board. chip.h tells the common shape.

#include "drivers/chip.h"

#include <array>

inline constexpr size_t LTC6950_registers = 23;

struct LTC6950 {
    /// Registers from 0 up: reference 1, feedback 100, outputs 0, 3 and 4 divided by 4.
    static constexpr std::array<uint8_t, LTC6950_registers> reg_default = {
        0x00, 0x04, 0x30, 0x08, 0x0F, 0x3B, 0x00, 0x00, 0x01, 0x00, 0x64, 0x44,
        0x80, 0x84, 0x00, 0x01, 0x00, 0x00, 0x80, 0x84, 0x00, 0x04, 0x00};

    ChipBus bus;
    std::array<uint8_t, LTC6950_registers> reg;
};

void LTC6950_init(LTC6950* chip, uint32_t address, uint32_t board);
/// Sends all registers.
[[nodiscard]] int LTC6950_write(const LTC6950* chip);

/// Tests of the charge pump: it sinks or sources its current all the time. There is no way back but LTC6950_init.
[[nodiscard]] int LTC6950_CP_sink(LTC6950* chip);
[[nodiscard]] int LTC6950_CP_source(LTC6950* chip);

void LTC6950_printErrMsg(const LTC6950* chip, const char* what);
void LTC6950_printInfo(const LTC6950* chip);
