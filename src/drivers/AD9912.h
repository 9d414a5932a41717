#pragma once
/// AD9912: DDS of the 2A, 2B and double-channel source boards. The word takes effect with the next I/O update. chip.h
/// tells the common shape.

#include "drivers/FTW.h"
#include "drivers/chip.h"

struct AD9912 {
    ChipBus bus;
    FTW ftw;            // 48 bits
    uint32_t fullScale; // 0 to 1023: DAC current of 0.12 mA * (72 + 192 * fullScale / 1024)
    uint32_t power;     // register 0x0010
};

/// Sends the power register (all on) and full scale 511. The word, 0, is not sent.
void AD9912_init(AD9912* chip, uint32_t address, uint32_t board);

[[nodiscard]] int AD9912_powerUp(AD9912* chip);
[[nodiscard]] int AD9912_powerDown(AD9912* chip);
/// Above 1023 is refused.
[[nodiscard]] int AD9912_setFsc(AD9912* chip, uint32_t fullScale);

/// Clock and output frequency, stored without a calculation; and the calculation of the word from them.
void AD9912_presetDDSIn(AD9912* chip, tvfreq clock);
void AD9912_presetDDSOut(AD9912* chip, tvfreq frequency);
void AD9912_calculatePreset(AD9912* chip);
/// The word in the record.
[[nodiscard]] uint64_t AD9912_getFtwOnly(const AD9912* chip);
/// Sends the low 48 bits of `word` and keeps them in the record; the frequencies there stay.
[[nodiscard]] int AD9912_applyFtwOnly(AD9912* chip, uint64_t word);

/// Store, calculate and send.
[[nodiscard]] int AD9912_setDDSIn(AD9912* chip, tvfreq clock);
[[nodiscard]] int AD9912_setDDSOut(AD9912* chip, tvfreq frequency);

void AD9912_printErrMsg(const AD9912* chip, const char* what);
void AD9912_printInfo(const AD9912* chip);
