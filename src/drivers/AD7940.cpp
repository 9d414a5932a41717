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

int AD7940_read(const AD7940* chip, uint32_t* value) {
    uint64_t frame = 0;
    chip_carryOn(chip_read(&chip->bus, name, frameBytes, &frame)); // of the conversion before
    const int status = chip_read(&chip->bus, name, frameBytes, &frame);
    *value = field_get(static_cast<uint32_t>(frame), conversion);
    return status;
}

uint32_t AD7940_getValue(const AD7940* chip) {
    uint32_t value = 0;
    chip_carryOn(AD7940_read(chip, &value));
    return value;
}

void AD7940_printErrMsg(const AD7940* chip, const char* what) {
    chip_printErrMsg(&chip->bus, name, what);
}

void AD7940_printInfo(const AD7940* chip) {
    chip_printInfo(&chip->bus, name);
    printf("\tvalue: %u\n", AD7940_getValue(chip));
}
