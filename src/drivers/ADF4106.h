#pragma once
/// ADF4106: the dividers in front of the analog board's frequency counter. The feedback ratio is N = P * B + A with the
/// prescaler P; it holds for A up to B only. chip.h tells the common shape.

#include "drivers/pll_latches.h"

struct ADF4106 {
    PllLatches latches;
};

/// R = 1, B = 4, A = 0, prescaler 8, output pin three-state.
void ADF4106_init(ADF4106* chip, uint32_t address, uint32_t board);

/// `r` 1 to 16383, others are refused; `n` with prescaler 64, up to 524287, and anything above as that.
[[nodiscard]] int ADF4106_setManualRNConfig(ADF4106* chip, uint32_t r, uint32_t n);
/// `a` up to 63, `b` up to 8191, `prescaler` 8, 16, 32 or 64; others are refused.
[[nodiscard]] int ADF4106_setNDivider(ADF4106* chip, uint32_t a, uint32_t b, uint32_t prescaler);
/// 1 to 16383; others are refused.
[[nodiscard]] int ADF4106_setRDivider(ADF4106* chip, uint32_t r);
/// What the output pin shows: 0 nothing, 1 digital lock detect, 2 the N divider, 3 high, 4 the R divider, 5 analog lock
/// detect, 6 serial data, 7 low; above that refused.
[[nodiscard]] int ADF4106_setMUX(ADF4106* chip, uint32_t mux);
[[nodiscard]] int ADF4106_setCpPinThreeState(ADF4106* chip);
[[nodiscard]] int ADF4106_powerUp(ADF4106* chip);

void ADF4106_printErrMsg(const ADF4106* chip, const char* what);
void ADF4106_printInfo(const ADF4106* chip);
