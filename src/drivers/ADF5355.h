#pragma once
/// ADF5355: VCO of the 2A and 2B source boards. chip.h tells the common shape.

#include "drivers/chip.h"
#include "numeric/tvtypes.h"

#include <array>

inline constexpr size_t ADF5355_registers = 13;

struct ADF5355 {
    ChipBus bus;
    std::array<uint32_t, ADF5355_registers> reg; // R0 to R12, with their numbers in the low four bits
};

/// Sends all registers, from R12 down to R0, which tunes the VCO to 4 GHz.
void ADF5355_init(ADF5355* chip, uint32_t address);

/// Lowest frequency of the VCO in Hz.
constexpr int64_t adf5355_getFvcoMin() {
    return 3'400'000'000;
}

/// Has the chip choose the VCO band for `frequency`, as the VCO itself makes it, in steps of 10 MHz / 2^24, cut; takes
/// 10 ms. Refuses frequencies outside 0 to under 655.36 GHz, the end of the register.
[[nodiscard]] int ADF5355_selectVco(ADF5355* chip, tvfreq frequency);
/// Divider between the VCO and output A: 1, 2, 4, 8, 16, 32, 64; others are refused.
[[nodiscard]] int ADF5355_setRfDvidier(ADF5355* chip, uint32_t divider);
/// Output A: 0 -4 dBm, 1 -1 dBm, 2 +2 dBm, 3 +5 dBm; others are refused.
[[nodiscard]] int ADF5355_setRfOutAOutputGain(ADF5355* chip, uint32_t gain);
[[nodiscard]] int ADF5355_enableRfOutA(ADF5355* chip);
[[nodiscard]] int ADF5355_disableRfOutA(ADF5355* chip);
/// Output B: the VCO doubled.
[[nodiscard]] int ADF5355_enableRfOutB(ADF5355* chip);
[[nodiscard]] int ADF5355_disableRfOutB(ADF5355* chip);
[[nodiscard]] int ADF5355_powerUp(ADF5355* chip);
[[nodiscard]] int ADF5355_powerDown(ADF5355* chip);

void ADF5355_printErrMsg(const ADF5355* chip, const char* what);
void ADF5355_printInfo(const ADF5355* chip);
