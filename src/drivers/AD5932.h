#pragma once
/// AD5932: sweep generator, the wave form of the low-frequency generator. A control or frequency word takes effect with
/// the next pulse on the chip's CTRL pin, which is the board's. chip.h tells the common shape.

#include "drivers/FTW.h"
#include "drivers/chip.h"

struct AD5932 {
    ChipBus bus;
    uint32_t control;
    FTW ftw; // 24 bits
};

/// Sine, MSB output off, clock 50 MHz, output 5 MHz.
void AD5932_init(AD5932* chip, uint32_t address, uint32_t board);

/// Clock and output frequency; both send the word.
[[nodiscard]] int AD5932_setRefFreq(AD5932* chip, tvfreq clock);
[[nodiscard]] int AD5932_setStartFreq(AD5932* chip, tvfreq frequency);

[[nodiscard]] int AD5932_setSineOut(AD5932* chip);
[[nodiscard]] int AD5932_setTriangleOut(AD5932* chip);
/// The square wave on the MSB pin.
[[nodiscard]] int AD5932_enableMsbout(AD5932* chip);
[[nodiscard]] int AD5932_disableMsbout(AD5932* chip);
/// The DAC behind sine and triangle.
[[nodiscard]] int AD5932_powerUp(AD5932* chip);
[[nodiscard]] int AD5932_powerDown(AD5932* chip);

void AD5932_printErrMsg(const AD5932* chip, const char* what);
void AD5932_printInfo(const AD5932* chip);
