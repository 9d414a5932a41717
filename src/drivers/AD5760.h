#pragma once
/// AD5760: 16-bit DAC that tunes the device under test. chip.h tells the common shape.

#include "drivers/chip.h"

struct AD5760 {
    ChipBus bus;
    uint32_t data; // words of the chip with their register numbers
    uint32_t control;
};

/// Offset binary, SDO off, output weakly grounded, value 0.
void AD5760_init(AD5760* chip, uint32_t address, uint32_t board);

/// Values above 65535 are refused. Writes the data and then has the chip take it over to the output.
[[nodiscard]] int AD5760_setValue(AD5760* chip, uint32_t value);
[[nodiscard]] int AD5760_setDacFormatBinary(AD5760* chip);
[[nodiscard]] int AD5760_disableSdo(AD5760* chip);

/// What drives the output: nothing, the DAC, or a resistor of 6 kohm to ground.
[[nodiscard]] int AD5760_setOutputHiZ(AD5760* chip);
[[nodiscard]] int AD5760_setOutputDac(AD5760* chip);
[[nodiscard]] int AD5760_setOutputWeakGnd(AD5760* chip);

void AD5760_printErrMsg(const AD5760* chip, const char* what);
void AD5760_printInfo(const AD5760* chip);
