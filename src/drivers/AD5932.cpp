#include "drivers/AD5932.h"

#include "drivers/register_fields.h"

#include <cstdio>

namespace {

constexpr char name[] = "AD5932";
constexpr uint32_t wordBits = 24;
constexpr uint32_t controlStart = 3835; // sine, DAC on, frequencies as two words, steps from the pin
constexpr tvfreq clockStart{50'000'000, 0};
constexpr tvfreq outputStart{5'000'000, 0};

enum Register : uint16_t { control = 0, startLow = 0xC, startHigh = 0xD };
constexpr Field msbOut{control, 8, 1};
constexpr Field sine{control, 9, 1};
constexpr Field dacOn{control, 10, 1};
constexpr Field twoWords{control, 11, 1};
constexpr Field number{control, 12, 4};
static_assert(fieldsFit({msbOut, sine, dacOn, twoWords, number}, 16));

int setControl(AD5932* chip, const Field& field, uint32_t value) {
    chip->control = field_put(chip->control, field, value);
    return chip_send(&chip->bus, name, chip->control, 2);
}

/// The low half of the word reaches the chip first.
int sendWord(const AD5932* chip) {
    constexpr uint32_t halfBits = wordBits / 2;
    const auto word = static_cast<uint32_t>(chip->ftw.ftw);
    const uint32_t low = field_put(word & ((1U << halfBits) - 1), number, startLow);
    const uint32_t high = field_put(word >> halfBits, number, startHigh);
    return chip_send(&chip->bus, name, low << 16 | high, 4);
}

} // namespace

void AD5932_init(AD5932* chip, uint32_t address, uint32_t board) {
    *chip = {};
    chip_attach(&chip->bus, "AD5932 sweep generator", address, board, chip_clockPhase);
    chip->control = controlStart;
    chip_carryOn(chip_send(&chip->bus, name, chip->control, 2));
    FTW_init(&chip->ftw, wordBits);
    FTW_set(&chip->ftw, clockStart, outputStart);
    sendWord(chip);
}

int AD5932_setRefFreq(AD5932* chip, tvfreq clock) {
    FTW_setIn(&chip->ftw, clock);
    return sendWord(chip);
}

int AD5932_setStartFreq(AD5932* chip, tvfreq frequency) {
    FTW_setOut(&chip->ftw, frequency);
    return sendWord(chip);
}

int AD5932_setSineOut(AD5932* chip) {
    return setControl(chip, sine, 1);
}

int AD5932_setTriangleOut(AD5932* chip) {
    return setControl(chip, sine, 0);
}

int AD5932_enableMsbout(AD5932* chip) {
    return setControl(chip, msbOut, 1);
}

int AD5932_disableMsbout(AD5932* chip) {
    return setControl(chip, msbOut, 0);
}

int AD5932_powerUp(AD5932* chip) {
    return setControl(chip, dacOn, 1);
}

int AD5932_powerDown(AD5932* chip) {
    return setControl(chip, dacOn, 0);
}

void AD5932_printErrMsg(const AD5932* chip, const char* what) {
    chip_printErrMsg(&chip->bus, name, what);
}

void AD5932_printInfo(const AD5932* chip) {
    chip_printInfo(&chip->bus, name);
    printf("\tcontrol: 0x%03X\n\tclock: %.3f Hz\n\toutput: %.3f Hz\n\tword: 0x%06X\n", chip->control,
           tvfreq2double(&chip->ftw.fin, nullptr), tvfreq2double(&chip->ftw.fout, nullptr),
           static_cast<uint32_t>(chip->ftw.ftw));
}
