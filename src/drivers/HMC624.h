#pragma once
/// HMC624: step attenuator, 0 to 31.5 dB. chip.h tells the common shape.

#include "drivers/chip.h"

struct HMC624 {
    ChipBus bus;
    uint32_t attenuation; // steps of 0.5 dB, 0 to 63
};

/// Attenuation 0. The second form is for a chip behind an inverter in its latch enable line.
void HMC624_init(HMC624* chip, uint32_t address, uint32_t board);
void HMC624_initInvertedLE(HMC624* chip, uint32_t address, uint32_t board);

/// In steps; values above 63 count as 63.
[[nodiscard]] int HMC624_setAttenuation(HMC624* chip, uint32_t attenuation);
[[nodiscard]] uint32_t HMC624_getAttenuation(const HMC624* chip);

void HMC624_printErrMsg(const HMC624* chip, const char* what);
void HMC624_printInfo(const HMC624* chip);
