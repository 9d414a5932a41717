#pragma once
/// Shift register out: status lines of a board, up to 64. chip.h tells the common shape.

#include "drivers/chip.h"

struct SRO {
    ChipBus bus;
    uint32_t length; // bytes, 1 to 8
};

/// A length above 8 counts as 8. Sends nothing.
void SRO_init(SRO* sro, uint32_t address, uint32_t board, uint32_t length);

/// The lines, line 0 in bit 0; 0 if the bus failed. The highest line cannot be read: the bus samples one clock late, so
/// the first bit out is lost.
[[nodiscard]] uint64_t SRO_getValue64(const SRO* sro);
/// The frame as the bus reads it: the lines one place further up.
[[nodiscard]] uint64_t SRO_getValue64_unshifted(const SRO* sro);

void SRO_printErrMsg(const SRO* sro, const char* what);
/// Takes a reading.
void SRO_printInfo(const SRO* sro);
