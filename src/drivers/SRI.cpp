#include "drivers/SRI.h"

#include "base/error_codes.h"
#include "drivers/tvspi.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>

namespace {

constexpr char name[] = "SRI";
constexpr uint32_t lengthMax = 8;
constexpr uint32_t bits = 8 * lengthMax;

int sent(SRI* sri, int result) {
    sri->latched = sri->value;
    sri->known = result == 0;
    return result;
}

} // namespace

void SRI_init(SRI* sri, uint32_t address, uint32_t board, const uint8_t* values, uint32_t length) {
    *sri = {};
    chip_attach(&sri->bus, "ShiftRegisterIn", address, board, 0);
    sri->length = std::min(length, lengthMax);
    sri->value = chip_fromMemory(values, sri->length);
    chip_carryOn(SRI_writeValue(sri));
}

void SRI_presetSetBit(SRI* sri, uint32_t bit) {
    if (bit < bits)
        sri->value |= uint64_t{1} << bit;
}

void SRI_presetClearBit(SRI* sri, uint32_t bit) {
    if (bit < bits)
        sri->value &= ~(uint64_t{1} << bit);
}

void SRI_presetChangeByte(SRI* sri, uint32_t index, uint8_t value) {
    if (index >= lengthMax)
        return;
    const uint32_t low = 8 * index;
    sri->value = (sri->value & ~(uint64_t{0xFF} << low)) | uint64_t{value} << low;
}

void SRI_presetValue(SRI* sri, uint64_t value) {
    sri->value = value;
}

int SRI_applyPreset(SRI* sri) {
    return sent(sri, chip_send(&sri->bus, name, sri->value, sri->length));
}

int SRI_applyChanges(SRI* sri) {
    return sri->known && sri->latched == sri->value ? 0 : SRI_applyPreset(sri);
}

int SRI_writeValue(SRI* sri) {
    return SRI_applyPreset(sri);
}

int SRI_applyPreset_async(SRI* sri) {
    std::array<uint8_t, lengthMax> bytes;
    chip_toMemory(sri->value, bytes.data(), bytes.size());
    if (tvspiSend_async(sri->bus.address, sri->length, sri->bus.mode, bytes.data()) == 0)
        return sent(sri, 0);
    SRI_printErrMsg(sri, "SPI write failed");
    return sent(sri, scpi::executionError);
}

int SRI_writeValue_async(SRI* sri) {
    return SRI_applyPreset_async(sri);
}

int SRI_setBit(SRI* sri, uint32_t bit) {
    SRI_presetSetBit(sri, bit);
    return bit < bits ? SRI_applyPreset(sri) : 0;
}

int SRI_clearBit(SRI* sri, uint32_t bit) {
    SRI_presetClearBit(sri, bit);
    return bit < bits ? SRI_applyPreset(sri) : 0;
}

int SRI_changeByte(SRI* sri, uint32_t index, uint8_t value) {
    SRI_presetChangeByte(sri, index, value);
    return index < lengthMax ? SRI_applyPreset(sri) : 0;
}

int SRI_setValue(SRI* sri, uint64_t value) {
    SRI_presetValue(sri, value);
    return SRI_applyPreset(sri);
}

uint32_t SRI_getBit(const SRI* sri, uint32_t bit) {
    return bit < bits ? static_cast<uint32_t>(sri->value >> bit & 1) : 0;
}

uint64_t SRI_getValue(const SRI* sri) {
    return sri->value;
}

void SRI_printErrMsg(const SRI* sri, const char* what) {
    chip_printErrMsg(&sri->bus, name, what);
}

void SRI_printInfo(const SRI* sri) {
    chip_printInfo(&sri->bus, name);
    printf("\tbytes: %u\n\tvalue: 0x%0*" PRIX64 "\n", sri->length, static_cast<int>(2 * sri->length), sri->value);
}
