#pragma once
/// AD7940: 14-bit ADC for tune voltages, supplies and power detectors. chip.h tells the common shape.

#include "drivers/chip.h"

struct AD7940 {
    ChipBus bus;
};

/// Sends nothing.
void AD7940_init(AD7940* chip, uint32_t address, uint32_t board);
/// A fresh conversion, 0 to 16383 of the supply voltage: the second of two readings, as the first hands out what stood
/// at the input long ago. 0 if the bus failed.
/// 14 bits. Returns 0, or -200 with a value of 0.
[[nodiscard]] int AD7940_read(const AD7940* chip, uint32_t* value);
[[nodiscard]] uint32_t AD7940_getValue(const AD7940* chip);

void AD7940_printErrMsg(const AD7940* chip, const char* what);
/// Takes a reading.
void AD7940_printInfo(const AD7940* chip);
