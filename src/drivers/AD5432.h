#pragma once
/// AD5432: 10-bit multiplying DAC, the amplitude of the low-frequency generator. chip.h tells the common shape.

#include "drivers/chip.h"

struct AD5432 {
    ChipBus bus;
    uint32_t value; // 0 to 1023
};

/// Ends the chip's daisy-chain mode and sends value 0.
void AD5432_init(AD5432* chip, uint32_t address, uint32_t board);
/// 1024 and above are refused.
[[nodiscard]] int AD5432_setValue(AD5432* chip, uint32_t value);

void AD5432_printErrMsg(const AD5432* chip, const char* what);
void AD5432_printInfo(const AD5432* chip);
