#pragma once
/// AD7680: 16-bit ADC on the controller board. chip.h tells the common shape.

#include "drivers/chip.h"

struct AD7680 {
    ChipBus bus;
};

/// Sends nothing.
void AD7680_init(AD7680* chip, uint32_t address, uint32_t board);
/// One conversion, 0 to 65535 of the supply voltage; 0 if the bus failed.
[[nodiscard]] uint32_t AD7680_getValue(const AD7680* chip);

void AD7680_printErrMsg(const AD7680* chip, const char* what);
/// Takes a reading.
void AD7680_printInfo(const AD7680* chip);
