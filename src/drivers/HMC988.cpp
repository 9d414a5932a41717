#include "drivers/HMC988.h"

#include "base/error_codes.h"
#include "drivers/register_fields.h"
#include "drivers/tvspi.h"

#include <bit>
#include <cstdio>

namespace {

constexpr char name[] = "HMC988";
constexpr size_t frameBytes = 2;

constexpr std::array<uint32_t, 8> registersStart = {0, 15, 2, 234, 2, 0, 1, 4};

// Of a frame.
constexpr Field chipIdField{0, 0, 3};
constexpr Field numberField{0, 3, 4};
constexpr Field valueField{0, 7, 9};
static_assert(fieldsFit({chipIdField, numberField, valueField}, 8 * frameBytes));

// Of the registers.
constexpr Field stagesOn{1, 0, 4};
constexpr Field divideCode{2, 0, 3};
constexpr Field rxDcBias{4, 0, 1};
constexpr Field syncPin{4, 1, 1};
static_assert(fieldsFit({stagesOn, divideCode, rxDcBias, syncPin}, valueField.width));

int write(const HMC988* chip, uint32_t number) {
    uint32_t frame = field_put(0, chipIdField, chip->chipId);
    frame = field_put(frame, numberField, number);
    return chip_send(&chip->bus, name, field_put(frame, valueField, chip->reg[number]), frameBytes);
}

int set(HMC988* chip, const Field& field, uint32_t value) {
    chip->reg[field.reg] = field_put(chip->reg[field.reg], field, value);
    return write(chip, field.reg);
}

/// What the chip holds is lost: sends it again.
void invalidated(void* record) {
    const auto* chip = static_cast<const HMC988*>(record);
    for (uint32_t number = 1; number < chip->reg.size(); ++number)
        write(chip, number);
}

} // namespace

void HMC988_init(HMC988* chip, uint32_t address, uint32_t board, uint32_t chipId) {
    *chip = {};
    chip_attach(&chip->bus, "HMC988 divider", address, board, 0);
    chip->chipId = chipId;
    chip->reg = registersStart;
    tvspi_addInvalidationListener(invalidated, chip);
    invalidated(chip);
}

int HMC988_setDivider(HMC988* chip, uint32_t divider) {
    constexpr uint32_t dividerMax = 32;
    if (!std::has_single_bit(divider) || divider > dividerMax)
        return scpi::illegalParameterValue;
    return set(chip, divideCode, static_cast<uint32_t>(std::countr_zero(divider)));
}

int HMC988_powerUp(HMC988* chip) {
    return set(chip, stagesOn, field_max(stagesOn));
}

int HMC988_powerDown(HMC988* chip) {
    return set(chip, stagesOn, 0);
}

int HMC988_enableRxBufferDcBias(HMC988* chip) {
    return set(chip, rxDcBias, 1);
}

int HMC988_disableExternalSyncPin(HMC988* chip) {
    return set(chip, syncPin, 0);
}

void HMC988_printErrMsg(const HMC988* chip, const char* what) {
    chip_printErrMsg(&chip->bus, name, what);
}

void HMC988_printInfo(const HMC988* chip) {
    chip_printInfo(&chip->bus, name);
    printf("\tchip id: %u\n", chip->chipId);
    for (size_t number = 1; number < chip->reg.size(); ++number)
        printf("\tregister %zu: %u\n", number, chip->reg[number]);
}
