#pragma once
/// MCP4131: digital resistor on the controller board. chip.h tells the common shape.

#include "drivers/chip.h"

struct MCP4131 {
    ChipBus bus;
    uint32_t wiper; // 0 to 127
};

/// Wiper 0.
void MCP4131_init(MCP4131* chip, uint32_t address, uint32_t board);

/// Above 127 is refused.
[[nodiscard]] int MCP4131_setWiper(MCP4131* chip, uint32_t wiper);
/// `ratio` of 127, cut; above 1 counts as 1, below 0 and NaN as 0.
[[nodiscard]] int MCP4131_setWiperRatio(MCP4131* chip, double ratio);
[[nodiscard]] double MCP4131_getWiperRatio(const MCP4131* chip);

void MCP4131_printErrMsg(const MCP4131* chip, const char* what);
void MCP4131_printInfo(const MCP4131* chip);
