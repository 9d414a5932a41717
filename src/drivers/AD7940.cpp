#include "drivers/AD7940.h"

#include "drivers/register_fields.h"

#include <cstdio>

namespace {

constexpr char name[] = "AD7940";
constexpr size_t frameBytes = 2;
constexpr Field conversion{0, 1, 14}; // bit 0: the bus samples one clock late
static_assert(fieldsFit({conversion}, 8 * frameBytes));

} // namespace

void AD7940_init(AD7940* chip, uint32_t address, uint32_t board) {
    chip_attach(&chip->bus, "AD7940 ADC", address, board, chip_clockPhase);
}

uint32_t AD7940_getValue(const AD7940* chip) {
    chip_carryOn(chip_receive(&chip->bus, name, frameBytes));
    return field_get(static_cast<uint32_t>(chip_receive(&chip->bus, name, frameBytes)), conversion);
}

void AD7940_printErrMsg(const AD7940* chip, const char* what) {
    chip_printErrMsg(&chip->bus, name, what);
}

void AD7940_printInfo(const AD7940* chip) {
    chip_printInfo(&chip->bus, name);
    printf("\tvalue: %u\n", AD7940_getValue(chip));
}
