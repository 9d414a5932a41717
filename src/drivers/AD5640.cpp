#include "drivers/AD5640.h"

#include "base/error_codes.h"
#include "drivers/register_fields.h"

#include <algorithm>
#include <cstdio>

namespace {

constexpr char name[] = "AD5640";

struct Variant {
    Field data;
    Field opMode;
    size_t frameBytes;
};
constexpr Variant variants[] = {
    {.data = {0, 0, 14}, .opMode = {0, 14, 2}, .frameBytes = 2},
    {.data = {0, 0, 16}, .opMode = {0, 16, 2}, .frameBytes = 3},
};
static_assert(fieldsFit({variants[0].data, variants[0].opMode}, 8 * variants[0].frameBytes));
static_assert(fieldsFit({variants[1].data, variants[1].opMode}, 8 * variants[1].frameBytes));

const Variant& variantOf(const AD5640* chip) {
    return variants[chip->isAD5660 != 0 ? 1 : 0];
}

void init(AD5640* chip, uint32_t address, uint32_t board, uint32_t isAD5660) {
    *chip = {};
    chip_attach(&chip->bus, "AD5640 DAC", address, board, 0);
    chip->isAD5660 = isAD5660;
    chip_carryOn(AD5640_setValue(chip, 0));
}

int setData(AD5640* chip, uint64_t data) {
    const Field& field = variantOf(chip).data;
    const auto limited = static_cast<uint32_t>(std::min<uint64_t>(data, field_max(field)));
    chip->value = field_put(chip->value, field, limited);
    return AD5640_writeValue(chip);
}

} // namespace

void AD5640_init(AD5640* chip, uint32_t address, uint32_t board) {
    init(chip, address, board, 0);
}

void AD5660_init(AD5640* chip, uint32_t address, uint32_t board) {
    init(chip, address, board, 1);
}

int AD5640_setValue(AD5640* chip, uint32_t value) {
    return setData(chip, chip->isAD5660 != 0 ? uint64_t{value} * 4 : value);
}

int AD5640_setValue16(AD5640* chip, uint32_t value) {
    return setData(chip, chip->isAD5660 != 0 ? value : value / 4);
}

int AD5640_setOpMode(AD5640* chip, uint32_t mode) {
    const Field& field = variantOf(chip).opMode;
    if (mode > field_max(field))
        return scpi::illegalParameterValue;
    chip->value = field_put(chip->value, field, mode);
    return AD5640_writeValue(chip);
}

int AD5640_writeValue(const AD5640* chip) {
    return chip_send(&chip->bus, name, chip->value, variantOf(chip).frameBytes, chip_clockPhase);
}

void AD5640_printErrMsg(const AD5640* chip, const char* what) {
    chip_printErrMsg(&chip->bus, name, what);
}

void AD5640_printInfo(const AD5640* chip) {
    const Variant& variant = variantOf(chip);
    chip_printInfo(&chip->bus, chip->isAD5660 != 0 ? "AD5660" : name);
    printf("\tvalue: %u\n\toperating mode: %u\n", field_get(chip->value, variant.data),
           field_get(chip->value, variant.opMode));
}
