#pragma once
/// What AD9268 and AD9467, the ADCs of the acquisition board, share: the register set of their maker. Settings of
/// outputs and test take effect with a transfer, which the operations here send themselves.

#include "drivers/chip.h"

struct FastAdc {
    ChipBus bus;
    uint32_t outputMode; // register 20
    uint32_t testMode;   // register 13
};

enum class FastAdcFormat : uint32_t { offsetBinary = 0, twosComplement = 1 };

inline constexpr uint32_t fastAdc_testOff = 0;
inline constexpr uint32_t fastAdc_testModeMax = 7;

[[nodiscard]] int fastAdc_writeRegister(const FastAdc* adc, const char* chipName, uint32_t number, uint32_t value);
/// What was written to the buffered registers takes effect.
[[nodiscard]] int fastAdc_transfer(const FastAdc* adc, const char* chipName);
/// Registers to their power-on values; takes 1000 us.
[[nodiscard]] int fastAdc_softReset(const FastAdc* adc, const char* chipName);

/// Low-voltage differential outputs instead of CMOS levels, on chips that have both.
[[nodiscard]] int fastAdc_setLvds(FastAdc* adc, const char* chipName);
/// Outputs on, neither inverted nor disabled.
[[nodiscard]] int fastAdc_setFormat(FastAdc* adc, const char* chipName, FastAdcFormat format);
/// Inverts the outputs, in the format in force.
[[nodiscard]] int fastAdc_setInvert(FastAdc* adc, const char* chipName);
/// Switches the outputs off, until a format is set.
[[nodiscard]] int fastAdc_setDisable(FastAdc* adc, const char* chipName);
/// 0 off, 1 mid-scale, 2 and 3 positive and negative full scale, 4 checkerboard, 5 and 6 long and short pseudo-random
/// sequence, 7 words of ones and zeros; above that refused.
[[nodiscard]] int fastAdc_setTestMode(FastAdc* adc, const char* chipName, uint32_t mode);

void fastAdc_printInfo(const FastAdc* adc, const char* chipName);
