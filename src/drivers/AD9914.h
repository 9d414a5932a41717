#pragma once
/// AD9914: DDS of the 1B source board. What is written takes effect with the next I/O update. chip.h tells the common
/// shape.

#include "drivers/FTW.h"
#include "drivers/chip.h"

#include <array>

inline constexpr size_t AD9914_controls = 4;

struct AD9914 {
    ChipBus bus;
    std::array<uint32_t, AD9914_controls> control; // registers 0 to 3
    FTW ftw;                                       // 32 bits
    int (*ioUpdate)();                             // pulses the I/O update line of all boards
};

/// Sends the control registers; the chip is powered down then. `ioUpdate` is the operation of the controller board, for
/// AD9914_calibrateDac.
void AD9914_init(AD9914* chip, uint32_t address, uint32_t board, int (*ioUpdate)());

/// Does not touch the record's control registers.
[[nodiscard]] int AD9914_writeRegister(const AD9914* chip, uint32_t number, uint32_t value);

[[nodiscard]] int AD9914_powerUp(AD9914* chip);
[[nodiscard]] int AD9914_powerDown(AD9914* chip);
/// The word comes from the profile that the pins select.
[[nodiscard]] int AD9914_enableProfileMode(AD9914* chip);
/// Takes 4000 us and two I/O updates. -221, told on the error output, in power-down.
[[nodiscard]] int AD9914_calibrateDac(AD9914* chip);

/// Clock and output frequency, stored without a calculation; and the calculation of the word from them.
void AD9914_presetInputFrequency(AD9914* chip, tvfreq clock);
void AD9914_presetOutputFrequency(AD9914* chip, tvfreq frequency);
void AD9914_calculateFtw(AD9914* chip);
/// Rounds the word in the record to a multiple of 2^`n`; one beyond 32 bits counts as the highest that fits.
void AD9914_roundFtw(AD9914* chip, uint32_t n);
/// Sends the word in the record to all eight profiles.
[[nodiscard]] int AD9914_applyFtw(const AD9914* chip);
/// Puts a word into the record and sends it.
[[nodiscard]] int AD9914_setFtw(AD9914* chip, uint32_t word);
[[nodiscard]] uint32_t AD9914_getFtw(const AD9914* chip);

void AD9914_printErrMsg(const AD9914* chip, const char* what);
void AD9914_printInfo(const AD9914* chip);
