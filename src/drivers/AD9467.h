#pragma once
/// AD9467: ADC of the acquisition board, second generation, one record for each of the two. The operations are those of
/// fast_adc.h. chip.h tells the common shape.

#include "drivers/fast_adc.h"

struct AD9467 {
    FastAdc adc;
};

/// Resets the chip, then sets its output current and the direct-coupled input.
void AD9467_init(AD9467* chip, uint32_t address, uint32_t board);
[[nodiscard]] int AD9467_softReset(AD9467* chip);

[[nodiscard]] int AD9467_setOutputModeOffsetBinary(AD9467* chip);
[[nodiscard]] int AD9467_setOutputMode2Complement(AD9467* chip);
[[nodiscard]] int AD9467_setOutputModeInvert(AD9467* chip);
[[nodiscard]] int AD9467_setOutputModeDisable(AD9467* chip);
[[nodiscard]] int AD9467_setTestMode(AD9467* chip, uint32_t mode);

void AD9467_printErrMsg(const AD9467* chip, const char* what);
void AD9467_printInfo(const AD9467* chip);
