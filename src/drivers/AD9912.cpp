#include "drivers/AD9912.h"

#include "base/error_codes.h"
#include "drivers/register_fields.h"

#include <cinttypes>
#include <cstdio>

namespace {

constexpr char name[] = "AD9912";
constexpr uint32_t wordBits = 48;

// Instructions: the number of data bytes in bits 13 and 14, the register of the first, the highest one, below.
constexpr uint64_t writePower = 0x0010;
constexpr uint64_t writeFullScale = 0x240C;
constexpr uint64_t writeWord = 0x61AB;

constexpr Field digitalPowerDown{0x0010, 0, 1};
constexpr Field fullPowerDown{0x0010, 1, 1};
constexpr Field fullScaleCurrent{0x040B, 0, 10}; // and 0x040C
static_assert(fieldsFit({digitalPowerDown, fullPowerDown}, 8) && fieldsFit({fullScaleCurrent}, 16));

constexpr uint32_t powerStart = 0xD0; // HSTL output and clock multiplier off
constexpr uint32_t fullScaleStart = 511;

int sendPower(const AD9912* chip) {
    return chip_send(&chip->bus, name, writePower << 8 | chip->power, 3);
}

} // namespace

void AD9912_init(AD9912* chip, uint32_t address, uint32_t board) {
    *chip = {};
    chip_attach(&chip->bus, "AD9912 DDS", address, board, 0);
    FTW_init(&chip->ftw, wordBits);
    chip->power = powerStart;
    sendPower(chip);
    chip_carryOn(AD9912_setFsc(chip, fullScaleStart));
}

int AD9912_powerUp(AD9912* chip) {
    chip->power = field_put(field_put(chip->power, digitalPowerDown, 0), fullPowerDown, 0);
    return sendPower(chip);
}

int AD9912_powerDown(AD9912* chip) {
    chip->power = field_put(chip->power, fullPowerDown, 1);
    return sendPower(chip);
}

int AD9912_setFsc(AD9912* chip, uint32_t fullScale) {
    if (fullScale > field_max(fullScaleCurrent))
        return scpi::illegalParameterValue;
    chip->fullScale = fullScale;
    return chip_send(&chip->bus, name, writeFullScale << 16 | fullScale, 4);
}

void AD9912_presetDDSIn(AD9912* chip, tvfreq clock) {
    FTW_presetIn(&chip->ftw, clock);
}

void AD9912_presetDDSOut(AD9912* chip, tvfreq frequency) {
    FTW_presetOut(&chip->ftw, frequency);
}

void AD9912_calculatePreset(AD9912* chip) {
    FTW_calcPreset(&chip->ftw);
}

uint64_t AD9912_getFtwOnly(const AD9912* chip) {
    return chip->ftw.ftw;
}

int AD9912_applyFtwOnly(AD9912* chip, uint64_t word) {
    chip->ftw.ftw = word & ((uint64_t{1} << wordBits) - 1);
    return chip_send(&chip->bus, name, writeWord << wordBits | chip->ftw.ftw, 8);
}

int AD9912_setDDSIn(AD9912* chip, tvfreq clock) {
    FTW_setIn(&chip->ftw, clock);
    return AD9912_applyFtwOnly(chip, chip->ftw.ftw);
}

int AD9912_setDDSOut(AD9912* chip, tvfreq frequency) {
    FTW_setOut(&chip->ftw, frequency);
    return AD9912_applyFtwOnly(chip, chip->ftw.ftw);
}

void AD9912_printErrMsg(const AD9912* chip, const char* what) {
    chip_printErrMsg(&chip->bus, name, what);
}

void AD9912_printInfo(const AD9912* chip) {
    chip_printInfo(&chip->bus, name);
    printf("\tclock: %.3f Hz\n\toutput: %.6f Hz\n\tword: 0x%012" PRIX64 "\n\tfull scale: %u\n\tpower: 0x%02X\n",
           tvfreq2double(&chip->ftw.fin, nullptr), tvfreq2double(&chip->ftw.fout, nullptr), chip->ftw.ftw,
           chip->fullScale, chip->power);
}
