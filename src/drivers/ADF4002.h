#pragma once
/// ADF4002: PLL of the acquisition clock. chip.h tells the common shape.

#include "drivers/pll_latches.h"

struct ADF4002 {
    PllLatches latches;
};

/// R = N = 1, output pin three-state. `mode` is the SPI mode word.
void ADF4002_init(ADF4002* chip, uint32_t address, uint32_t board, uint32_t mode);

/// `r` 1 to 16383, `n` 1 to 8191; others are refused.
[[nodiscard]] int ADF4002_setManualRNConfig(ADF4002* chip, uint32_t r, uint32_t n);
/// What the output pin shows: 0 nothing, 1 digital lock detect, 2 the N divider, 3 high, 4 the R divider, 5 analog lock
/// detect, 6 serial data, 7 low; above that refused.
[[nodiscard]] int ADF4002_setMUX(ADF4002* chip, uint32_t mux);
[[nodiscard]] int ADF4002_powerUp(ADF4002* chip);

void ADF4002_printErrMsg(const ADF4002* chip, const char* what);
void ADF4002_printInfo(const ADF4002* chip);
