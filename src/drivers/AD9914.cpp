#include "drivers/AD9914.h"

#include "base/error_codes.h"
#include "drivers/register_fields.h"
#include "drivers/tvspi.h"

#include <algorithm>
#include <cstdio>

namespace {

constexpr char name[] = "AD9914";
constexpr uint32_t wordBits = 32;

constexpr Field pinPowersDown{0, 3, 1}; // all of the chip, and not just its output
constexpr Field powerDown{0, 6, 2};     // DAC and digital core
constexpr Field sine{0, 16, 1};
constexpr Field reserved1{1, 8, 1};
constexpr Field profileMode{1, 23, 1};
constexpr Field lockDetect{2, 2, 1};
constexpr Field pumpCurrent{2, 3, 3};
constexpr Field pllDivider{2, 8, 8};
constexpr Field reserved3{3, 0, 24};
constexpr Field dacCalibration{3, 24, 1};
static_assert(fieldsFit({pinPowersDown, powerDown, sine, reserved1, profileMode, lockDetect, pumpCurrent, pllDivider,
                         reserved3, dacCalibration},
                        32));

constexpr FieldStart starts[] = {
    {powerDown, 3},  {pinPowersDown, 1},   {sine, 1}, //
    {lockDetect, 1}, {pumpCurrent, 3},     {pllDivider, 25},
    {reserved1, 1},  {reserved3, 0x52120}, // as the data sheet wants them
};

constexpr uint32_t profileWord = 11; // of profile 0; two registers for each profile
constexpr uint32_t profiles = 8;
constexpr uint32_t calibrationStep_us = 1000;

int setField(AD9914* chip, const Field& field, uint32_t value) {
    uint32_t& control = chip->control[field.reg];
    control = field_put(control, field, value);
    return AD9914_writeRegister(chip, field.reg, control);
}

/// Gives `value` to the calibration bit and lets it act.
int calibrationStep(AD9914* chip, uint32_t value) {
    const int written = setField(chip, dacCalibration, value);
    tvstuff_delay_us_spi(calibrationStep_us);
    const int updated = chip->ioUpdate();
    tvstuff_delay_us_spi(calibrationStep_us);
    return chip_firstFailure({written, updated});
}

} // namespace

void AD9914_init(AD9914* chip, uint32_t address, uint32_t board, int (*ioUpdate)()) {
    *chip = {};
    chip_attach(&chip->bus, "AD9914 DDS", address, board, 0);
    chip->control = field_startValues<AD9914_controls>(starts);
    chip->ioUpdate = ioUpdate;
    FTW_init(&chip->ftw, wordBits);
    for (uint32_t number = 0; number < AD9914_controls; ++number)
        chip_carryOn(AD9914_writeRegister(chip, number, chip->control[number]));
}

int AD9914_writeRegister(const AD9914* chip, uint32_t number, uint32_t value) {
    return chip_send(&chip->bus, name, uint64_t{number} << 32 | value, 5);
}

int AD9914_powerUp(AD9914* chip) {
    return setField(chip, powerDown, 0);
}

int AD9914_powerDown(AD9914* chip) {
    return setField(chip, powerDown, field_max(powerDown));
}

int AD9914_enableProfileMode(AD9914* chip) {
    return setField(chip, profileMode, 1);
}

int AD9914_calibrateDac(AD9914* chip) {
    if (field_get(chip->control[powerDown.reg], powerDown) != 0) {
        fprintf(stderr, "AD9914_calibrateDac() error: can't calibrate in power down mode\n");
        return scpi::settingsConflict;
    }
    return chip_firstFailure({calibrationStep(chip, 1), calibrationStep(chip, 0)});
}

void AD9914_presetInputFrequency(AD9914* chip, tvfreq clock) {
    FTW_presetIn(&chip->ftw, clock);
}

void AD9914_presetOutputFrequency(AD9914* chip, tvfreq frequency) {
    FTW_presetOut(&chip->ftw, frequency);
}

void AD9914_calculateFtw(AD9914* chip) {
    FTW_calcPreset(&chip->ftw);
}

void AD9914_roundFtw(AD9914* chip, uint32_t n) {
    FTW_roundToPattern(&chip->ftw.ftw, n, 0, 0);
    if (chip->ftw.ftw >> wordBits != 0)
        chip->ftw.ftw = (uint64_t{1} << wordBits) - (uint64_t{1} << std::min(n, wordBits));
}

int AD9914_applyFtw(const AD9914* chip) {
    int result = 0;
    for (uint32_t profile = 0; profile < profiles; ++profile) {
        result =
            chip_firstFailure({result, AD9914_writeRegister(chip, profileWord + 2 * profile, AD9914_getFtw(chip))});
    }
    return result;
}

int AD9914_setFtw(AD9914* chip, uint32_t word) {
    chip->ftw.ftw = word;
    return AD9914_applyFtw(chip);
}

uint32_t AD9914_getFtw(const AD9914* chip) {
    return static_cast<uint32_t>(chip->ftw.ftw);
}

void AD9914_printErrMsg(const AD9914* chip, const char* what) {
    chip_printErrMsg(&chip->bus, name, what);
}

void AD9914_printInfo(const AD9914* chip) {
    chip_printInfo(&chip->bus, name);
    for (size_t number = 0; number < chip->control.size(); ++number)
        printf("\tregister %zu: 0x%08X\n", number, chip->control[number]);
    printf("\tclock: %.3f Hz\n\toutput: %.3f Hz\n\tword: 0x%08X\n", tvfreq2double(&chip->ftw.fin, nullptr),
           tvfreq2double(&chip->ftw.fout, nullptr), AD9914_getFtw(chip));
}
