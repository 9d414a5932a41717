#pragma once
/// AD9268: ADC of the acquisition board, first generation, both channels in one chip. The operations are those of
/// fast_adc.h. chip.h tells the common shape.

#include "drivers/fast_adc.h"

struct AD9268 {
    FastAdc adc;
};

/// Resets the chip: CMOS outputs in offset binary.
void AD9268_init(AD9268* chip, uint32_t address, uint32_t board);
[[nodiscard]] int AD9268_softReset(AD9268* chip);
/// Low-voltage differential outputs instead of CMOS levels.
[[nodiscard]] int AD9268_setOutputTypeLvds(AD9268* chip);
[[nodiscard]] int AD9268_setOutputModeOffsetBinary(AD9268* chip);
[[nodiscard]] int AD9268_setOutputMode2Complement(AD9268* chip);
[[nodiscard]] int AD9268_setOutputModeInvert(AD9268* chip);
[[nodiscard]] int AD9268_setOutputModeDisable(AD9268* chip);
[[nodiscard]] int AD9268_setTestMode(AD9268* chip, uint32_t mode);

void AD9268_printErrMsg(const AD9268* chip, const char* what);
void AD9268_printInfo(const AD9268* chip);
