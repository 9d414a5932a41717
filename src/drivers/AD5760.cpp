#include "drivers/AD5760.h"

#include "base/error_codes.h"
#include "drivers/register_fields.h"

#include <cstdio>

namespace {

constexpr char name[] = "AD5760";
constexpr size_t frameBytes = 3;

constexpr uint32_t dataStart = 0x100000;
constexpr uint32_t controlStart = 0x20000E;
constexpr uint32_t load = 0x400001; // software control: LDAC

enum Register : uint16_t { dataRegister = 1, controlRegister = 2 };
constexpr Field dacCode{dataRegister, 4, 16};
constexpr Field dataNumber{dataRegister, 20, 4};
constexpr Field groundOutput{controlRegister, 2, 1};
constexpr Field floatOutput{controlRegister, 3, 1};
constexpr Field offsetBinary{controlRegister, 4, 1};
constexpr Field sdoOff{controlRegister, 5, 1};
constexpr Field controlNumber{controlRegister, 20, 4};
static_assert(fieldsFit({dacCode, dataNumber, groundOutput, floatOutput, offsetBinary, sdoOff, controlNumber},
                        8 * frameBytes));
static_assert(field_get(dataStart, dataNumber) == dataRegister);
static_assert(field_get(controlStart, controlNumber) == controlRegister);

int setControl(AD5760* chip, const Field& field, uint32_t value) {
    chip->control = field_put(chip->control, field, value);
    return chip_send(&chip->bus, name, chip->control, frameBytes);
}

/// One frame for both fields, so that the output does not pass through a third state.
int setOutput(AD5760* chip, uint32_t grounded, uint32_t floating) {
    chip->control = field_put(chip->control, groundOutput, grounded);
    return setControl(chip, floatOutput, floating);
}

} // namespace

void AD5760_init(AD5760* chip, uint32_t address, uint32_t board) {
    *chip = {};
    chip_attach(&chip->bus, "AD5760 DAC", address, board, chip_clockPhase);
    chip->data = dataStart;
    chip->control = controlStart;
    chip_carryOn(AD5760_setDacFormatBinary(chip));
    chip_carryOn(AD5760_disableSdo(chip));
    chip_carryOn(AD5760_setOutputWeakGnd(chip));
    chip_carryOn(AD5760_setValue(chip, 0));
}

int AD5760_setValue(AD5760* chip, uint32_t value) {
    if (value > field_max(dacCode))
        return scpi::illegalParameterValue;
    chip->data = field_put(chip->data, dacCode, value);
    return chip_firstFailure(
        {chip_send(&chip->bus, name, chip->data, frameBytes), chip_send(&chip->bus, name, load, frameBytes)});
}

int AD5760_setDacFormatBinary(AD5760* chip) {
    return setControl(chip, offsetBinary, 1);
}

int AD5760_disableSdo(AD5760* chip) {
    return setControl(chip, sdoOff, 1);
}

int AD5760_setOutputHiZ(AD5760* chip) {
    return setOutput(chip, 0, 1);
}

int AD5760_setOutputDac(AD5760* chip) {
    return setOutput(chip, 0, 0);
}

int AD5760_setOutputWeakGnd(AD5760* chip) {
    return setOutput(chip, 1, 1);
}

void AD5760_printErrMsg(const AD5760* chip, const char* what) {
    chip_printErrMsg(&chip->bus, name, what);
}

void AD5760_printInfo(const AD5760* chip) {
    chip_printInfo(&chip->bus, name);
    printf("\tvalue: %u\n\tcontrol: 0x%06X\n", field_get(chip->data, dacCode), chip->control);
}
