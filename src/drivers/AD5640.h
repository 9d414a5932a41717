#pragma once
/// AD5640 (14 bits) and AD5660 (16 bits): DACs that tune and set voltages on all boards. chip.h tells the common shape.

#include "drivers/chip.h"

struct AD5640 {
    ChipBus bus;
    uint32_t value;    // data and operating mode as the chip gets them
    uint32_t isAD5660; // 0 AD5640, 1 AD5660
};

/// Both send value 0 in mode 0.
void AD5640_init(AD5640* chip, uint32_t address, uint32_t board);
void AD5660_init(AD5640* chip, uint32_t address, uint32_t board);

/// `value` of 14 bits on either chip, 16383 (65535 of 65535 from 16384 on) at most.
[[nodiscard]] int AD5640_setValue(AD5640* chip, uint32_t value);
/// `value` of 16 bits, 65535 at most; an AD5640 drops the low 2.
[[nodiscard]] int AD5640_setValue16(AD5640* chip, uint32_t value);
/// 0 normal; powered down with the output at 1: 1 kohm to ground, 2: 100 kohm to ground, 3: floating.
[[nodiscard]] int AD5640_setOpMode(AD5640* chip, uint32_t mode);
[[nodiscard]] int AD5640_writeValue(const AD5640* chip);

void AD5640_printErrMsg(const AD5640* chip, const char* what);
void AD5640_printInfo(const AD5640* chip);
