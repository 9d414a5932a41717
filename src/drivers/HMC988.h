#pragma once
/// HMC988: output divider of the 1B source board. chip.h tells the common shape.

#include "drivers/chip.h"

#include <array>

struct HMC988 {
    ChipBus bus;
    uint32_t chipId;             // 0 to 7, set by the chip's pins; a chip takes frames with its own only
    std::array<uint32_t, 8> reg; // 1 to 7 in use, 9 bits each
};

/// Divider 4, all stages powered.
void HMC988_init(HMC988* chip, uint32_t address, uint32_t board, uint32_t chipId);

/// 1, 2, 4, 8, 16, 32; others are refused.
[[nodiscard]] int HMC988_setDivider(HMC988* chip, uint32_t divider);
[[nodiscard]] int HMC988_powerUp(HMC988* chip);
[[nodiscard]] int HMC988_powerDown(HMC988* chip);
/// The chip biases its input itself.
[[nodiscard]] int HMC988_enableRxBufferDcBias(HMC988* chip);
/// The divider no longer listens to the pin that starts it in step with others.
[[nodiscard]] int HMC988_disableExternalSyncPin(HMC988* chip);

void HMC988_printErrMsg(const HMC988* chip, const char* what);
void HMC988_printInfo(const HMC988* chip);
