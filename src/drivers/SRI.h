#pragma once
/// Shift register in: the output latches of all boards, up to 64 lines. Bit n of the shadow is line n. The preset forms
/// change the shadow only, so that several lines can change together with the next transfer. chip.h tells the common
/// shape.

#include "drivers/chip.h"

struct SRI {
    ChipBus bus;
    uint32_t length;  // bytes, 1 to 8
    uint64_t value;   // shadow
    uint64_t latched; // what the register holds
    bool known;       // `latched` is true: false before the first transfer and after one that failed
};

/// Starts with the `length` bytes at `values`, line 0 in bit 0 of the first, and sends them. A length above 8 counts
/// as 8.
void SRI_init(SRI* sri, uint32_t address, uint32_t board, const uint8_t* values, uint32_t length);

// A bit from 64 on and a byte from 8 on do not exist: their operations do nothing and give 0.

void SRI_presetSetBit(SRI* sri, uint32_t bit);
void SRI_presetClearBit(SRI* sri, uint32_t bit);
void SRI_presetChangeByte(SRI* sri, uint32_t index, uint8_t value);
void SRI_presetValue(SRI* sri, uint64_t value);

/// Send the shadow; the two are the same.
[[nodiscard]] int SRI_applyPreset(SRI* sri);
[[nodiscard]] int SRI_writeValue(SRI* sri);
[[nodiscard]] int SRI_applyPreset_async(SRI* sri);
[[nodiscard]] int SRI_writeValue_async(SRI* sri);
/// Sends the shadow unless the register is known to hold it.
[[nodiscard]] int SRI_applyChanges(SRI* sri);

/// Change and send.
[[nodiscard]] int SRI_setBit(SRI* sri, uint32_t bit);
[[nodiscard]] int SRI_clearBit(SRI* sri, uint32_t bit);
[[nodiscard]] int SRI_changeByte(SRI* sri, uint32_t index, uint8_t value);
[[nodiscard]] int SRI_setValue(SRI* sri, uint64_t value);

/// The shadow.
[[nodiscard]] uint32_t SRI_getBit(const SRI* sri, uint32_t bit);
[[nodiscard]] uint64_t SRI_getValue(const SRI* sri);

void SRI_printErrMsg(const SRI* sri, const char* what);
void SRI_printInfo(const SRI* sri);
