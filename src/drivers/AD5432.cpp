#include "drivers/AD5432.h"

#include "base/error_codes.h"
#include "drivers/register_fields.h"

#include <cstdio>

namespace {

constexpr char name[] = "AD5432";
constexpr size_t frameBytes = 2;

constexpr Field data{0, 2, 10};
constexpr Field control{0, 12, 4};
static_assert(fieldsFit({data, control}, 8 * frameBytes));

constexpr uint32_t daisyChainOff = field_put(0, control, 9);
constexpr uint32_t loadAndUpdate = field_put(0, control, 1);
static_assert(daisyChainOff == 36864 && loadAndUpdate == 0x1000);

} // namespace

void AD5432_init(AD5432* chip, uint32_t address, uint32_t board) {
    *chip = {};
    chip_attach(&chip->bus, "AD5432 DAC", address, board, chip_clockPhase);
    chip_carryOn(chip_send(&chip->bus, name, daisyChainOff, frameBytes));
    chip_carryOn(AD5432_setValue(chip, 0));
}

int AD5432_setValue(AD5432* chip, uint32_t value) {
    if (value > field_max(data))
        return scpi::illegalParameterValue;
    chip->value = value;
    return chip_send(&chip->bus, name, field_put(loadAndUpdate, data, value), frameBytes);
}

void AD5432_printErrMsg(const AD5432* chip, const char* what) {
    chip_printErrMsg(&chip->bus, name, what);
}

void AD5432_printInfo(const AD5432* chip) {
    chip_printInfo(&chip->bus, name);
    printf("\tvalue: %u\n", chip->value);
}
