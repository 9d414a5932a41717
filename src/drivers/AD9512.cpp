#include "drivers/AD9512.h"

#include "base/error_codes.h"
#include "drivers/register_fields.h"

#include <cstdio>

namespace {

constexpr char name[] = "AD9512";

struct OutputKind {
    Field power;
    Field level;
    uint32_t powerOff;
    uint8_t start;
};
constexpr OutputKind lvpecl{.power = {61, 0, 2}, .level = {61, 2, 2}, .powerOff = 2, .start = 0x08};
constexpr OutputKind lvds{.power = {64, 0, 1}, .level = {64, 1, 2}, .powerOff = 1, .start = 0x02};
static_assert(fieldsFit({lvpecl.power, lvpecl.level, lvds.power, lvds.level}, 8));

constexpr const OutputKind& kindOf(uint32_t output) {
    return output < 3 ? lvpecl : lvds;
}

enum DividerRegister : uint16_t { times, setup };
constexpr Field highTime{times, 0, 4};
constexpr Field lowTime{times, 4, 4};
constexpr Field bypass{setup, 7, 1};
static_assert(fieldsFit({highTime, lowTime, bypass}, 8));
constexpr uint32_t ratioMax = 32;

constexpr Field firstInput{0, 0, 1};

constexpr uint32_t outputRegister = 61; // of output 0; one for each output
constexpr uint32_t clockRegister = 69;
constexpr uint32_t dividerRegister = 75; // of output 0; two for each output
constexpr uint32_t updateRegister = 90;
constexpr uint32_t twoBytes = 0x2000; // of an instruction: the register and then the one below it

int sendRegister(const AD9512* chip, uint32_t number, uint32_t value) {
    return chip_send(&chip->bus, name, number << 8 | value, 3);
}

int sendOutput(const AD9512* chip, uint32_t output) {
    return sendRegister(chip, outputRegister + output, chip->output[output]);
}

int sendDivider(const AD9512* chip, uint32_t output) {
    const AD9512_divider& divider = chip->divider[output];
    const uint32_t instruction = twoBytes | (dividerRegister + 2 * output);
    return chip_send(&chip->bus, name, uint64_t{instruction} << 16 | divider.setup << 8 | divider.times, 4);
}

int setOutput(AD9512* chip, uint32_t output, const Field& field, uint32_t value) {
    chip->output[output] = static_cast<uint8_t>(field_put(chip->output[output], field, value));
    return sendOutput(chip, output);
}

/// Half the ratio each, the odd cycle to the high time; the registers hold one less.
void divide(AD9512_divider* divider, uint32_t ratio) {
    const uint32_t cycles = ratio - 2;
    const uint32_t high = (cycles + 1) / 2;
    divider->times = static_cast<uint8_t>(field_put(field_put(0, highTime, high), lowTime, cycles - high));
    divider->setup = static_cast<uint8_t>(field_put(divider->setup, bypass, 0));
}

} // namespace

void AD9512_init(AD9512* chip, uint32_t address, uint32_t board) {
    *chip = {};
    chip_attach(&chip->bus, "AD9512 clock distribution", address, board, 0);
    for (uint32_t output = 0; output < AD9512_outputs; ++output) {
        chip->output[output] = kindOf(output).start;
        sendOutput(chip, output);
        sendDivider(chip, output);
    }
    chip_carryOn(AD9512_setClockInput(chip, 1));
    chip_carryOn(AD9512_update(chip));
}

int AD9512_update(const AD9512* chip) {
    return sendRegister(chip, updateRegister, 1);
}

int AD9512_setLevel(AD9512* chip, uint32_t output, uint32_t level) {
    if (output >= AD9512_outputs || level > field_max(kindOf(output).level))
        return scpi::illegalParameterValue;
    return setOutput(chip, output, kindOf(output).level, level);
}

int AD9512_powerUp(AD9512* chip, uint32_t output) {
    if (output >= AD9512_outputs)
        return scpi::illegalParameterValue;
    return setOutput(chip, output, kindOf(output).power, 0);
}

int AD9512_powerDown(AD9512* chip, uint32_t output) {
    if (output >= AD9512_outputs)
        return scpi::illegalParameterValue;
    return setOutput(chip, output, kindOf(output).power, kindOf(output).powerOff);
}

int AD9512_setDivideRatio(AD9512* chip, uint32_t output, uint32_t ratio) {
    if (output >= AD9512_outputs)
        return scpi::illegalParameterValue;
    AD9512_divider* divider = &chip->divider[output];
    const bool possible = ratio >= 1 && ratio <= ratioMax;
    if (ratio == 1)
        divider->setup = static_cast<uint8_t>(field_put(divider->setup, bypass, 1));
    else if (possible)
        divide(divider, ratio);
    const int sent = sendDivider(chip, output);
    return possible ? sent : scpi::illegalParameterValue;
}

int AD9512_setClockInput(AD9512* chip, uint32_t input) {
    chip->clockInput = static_cast<uint8_t>(field_put(chip->clockInput, firstInput, input == 1 ? 1 : 0));
    return sendRegister(chip, clockRegister, chip->clockInput);
}

void AD9512_printErrMsg(const AD9512* chip, const char* what) {
    chip_printErrMsg(&chip->bus, name, what);
}

void AD9512_printInfo(const AD9512* chip) {
    chip_printInfo(&chip->bus, name);
    printf("\tclock input: 0x%02X\n", chip->clockInput);
    for (uint32_t output = 0; output < AD9512_outputs; ++output)
        printf("\toutput %u: 0x%02X, divider 0x%02X 0x%02X\n", output, chip->output[output],
               chip->divider[output].times, chip->divider[output].setup);
}
