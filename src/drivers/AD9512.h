#pragma once
/// AD9512: distribution of the ADC clock to five outputs. What is written takes effect with AD9512_update. chip.h tells
/// the common shape.

#include "drivers/chip.h"

#include <array>

inline constexpr uint32_t AD9512_outputs = 5; // 0 to 2 LVPECL, 3 and 4 LVDS or CMOS

/// Two registers of an output's divider.
struct AD9512_divider {
    uint8_t times; // input cycles that the output is low (high nibble) and high (low nibble), less 1 each
    uint8_t setup; // bypass and phase
};

struct AD9512 {
    ChipBus bus;
    std::array<uint8_t, AD9512_outputs> output; // level and power
    std::array<AD9512_divider, AD9512_outputs> divider;
    uint8_t clockInput;
};

/// The chip's power-on values, in force: input 1, all outputs on, ratio 2.
void AD9512_init(AD9512* chip, uint32_t address, uint32_t board);

/// Everything written since the last update takes effect at once.
[[nodiscard]] int AD9512_update(const AD9512* chip);

// An output above 4 is refused.

/// `level` 0 to 3.
[[nodiscard]] int AD9512_setLevel(AD9512* chip, uint32_t output, uint32_t level);
[[nodiscard]] int AD9512_powerUp(AD9512* chip, uint32_t output);
[[nodiscard]] int AD9512_powerDown(AD9512* chip, uint32_t output);
/// `ratio` 1 to 32. Any other ratio leaves the divider as it is, sends it again and gives -224.
[[nodiscard]] int AD9512_setDivideRatio(AD9512* chip, uint32_t output, uint32_t ratio);

/// Input 1, or with any other number input 2.
[[nodiscard]] int AD9512_setClockInput(AD9512* chip, uint32_t input);

void AD9512_printErrMsg(const AD9512* chip, const char* what);
void AD9512_printInfo(const AD9512* chip);
