#include "drivers/ADF5355.h"

#include "base/error_codes.h"
#include "drivers/register_fields.h"
#include "drivers/tvspi.h"

#include <bit>
#include <cstdio>

namespace {

constexpr char name[] = "ADF5355";
constexpr size_t frameBytes = 4;

constexpr Field integerValue{0, 4, 16};
constexpr Field autoCalibration{0, 21, 1};
constexpr Field fraction{1, 4, 24};
constexpr Field auxModulus{2, 4, 14};
constexpr Field pumpThreeState{4, 5, 1};
constexpr Field powerDown{4, 6, 1};
constexpr Field rCounter{4, 15, 10};
constexpr Field rDivideBy2{4, 25, 1};
constexpr Field outputAGain{6, 4, 2};
constexpr Field outputAOn{6, 6, 1};
constexpr Field outputBOff{6, 10, 1};
constexpr Field rfDivider{6, 21, 3};
constexpr Field fundamentalFeedback{6, 24, 1};
constexpr Field reserved6{6, 25, 4};
constexpr Field synthLockTimeout{9, 4, 5};
constexpr Field autoLevelTimeout{9, 9, 5};
constexpr Field timeout{9, 14, 10};
constexpr Field vcoBandDivision{9, 24, 8};
constexpr Field adcOn{10, 4, 1};
constexpr Field adcConversion{10, 5, 1};
constexpr Field adcClockDivider{10, 6, 8};
constexpr Field resync{12, 16, 16};
static_assert(fieldsFit({integerValue,
                         autoCalibration,
                         fraction,
                         auxModulus,
                         pumpThreeState,
                         powerDown,
                         rCounter,
                         rDivideBy2,
                         outputAGain,
                         outputAOn,
                         outputBOff,
                         rfDivider,
                         fundamentalFeedback,
                         reserved6,
                         synthLockTimeout,
                         autoLevelTimeout,
                         timeout,
                         vcoBandDivision,
                         adcOn,
                         adcConversion,
                         adcClockDivider,
                         resync},
                        8 * frameBytes));

constexpr uint32_t numberBits = 4; // of each register
consteval Field body(uint16_t number) {
    return {number, numberBits, 8 * frameBytes - numberBits};
}

constexpr FieldStart starts[] = {
    {{1, 0, numberBits}, 1},
    {{2, 0, numberBits}, 2},
    {{3, 0, numberBits}, 3},
    {{4, 0, numberBits}, 4},
    {{5, 0, numberBits}, 5},
    {{6, 0, numberBits}, 6},
    {{7, 0, numberBits}, 7},
    {{8, 0, numberBits}, 8},
    {{9, 0, numberBits}, 9},
    {{10, 0, numberBits}, 10},
    {{11, 0, numberBits}, 11},
    {{12, 0, numberBits}, 12},

    {integerValue, 400}, // 4 GHz
    {autoCalibration, 1},
    {pumpThreeState, 1},
    {rCounter, 1},
    {outputAOn, 1},
    {fundamentalFeedback, 1},
    {synthLockTimeout, 2},
    {autoLevelTimeout, 5},
    {timeout, 100},
    {vcoBandDivision, 5},
    {adcOn, 1},
    {adcConversion, 1},
    {adcClockDivider, 13},
    {resync, 65535},

    // As the data sheet wants them.
    {body(5), 0x80002},
    {reserved6, 10},
    {{7, 28, 1}, 1},
    {body(8), 0x102D042},
    {{10, 22, 2}, 3},
    {body(11), 0x61300},
    {{12, 4, 12}, 0x41},
};

constexpr double comparison_Hz = 10'000'000;
constexpr uint32_t bandSelection_us = 10'000;

int write(const ADF5355* chip, size_t number) {
    return chip_send(&chip->bus, name, chip->reg[number], frameBytes);
}

void preset(ADF5355* chip, const Field& field, uint32_t value) {
    chip->reg[field.reg] = field_put(chip->reg[field.reg], field, value);
}

int set(ADF5355* chip, const Field& field, uint32_t value) {
    preset(chip, field, value);
    return write(chip, field.reg);
}

} // namespace

void ADF5355_init(ADF5355* chip, uint32_t address) {
    *chip = {};
    chip_attach(&chip->bus, "ADF5355 PLL", address, 0, 0);
    chip->reg = field_startValues<ADF5355_registers>(starts);
    for (size_t number = ADF5355_registers; number-- > 0;)
        write(chip, number);
}

int ADF5355_selectVco(ADF5355* chip, tvfreq frequency) {
    const double ratio = tvfreq2double(&frequency, nullptr) / comparison_Hz;
    if (!(ratio >= 0) || ratio >= field_max(integerValue) + 1.0)
        return scpi::illegalParameterValue;
    const auto whole = static_cast<uint32_t>(ratio);
    const auto part = static_cast<uint32_t>((ratio - whole) * (field_max(fraction) + 1.0));
    preset(chip, rCounter, 1);
    preset(chip, rDivideBy2, 0);
    const int adcStarted = write(chip, adcOn.reg);
    preset(chip, auxModulus, 1);
    // R0 comes last: it makes the chip take the fraction over and starts the search of the band.
    const int tuned = chip_firstFailure({set(chip, fraction, part), set(chip, integerValue, whole)});
    tvstuff_delay_us_spi(bandSelection_us);
    return chip_firstFailure({adcStarted, tuned});
}

int ADF5355_setRfDvidier(ADF5355* chip, uint32_t divider) {
    constexpr uint32_t dividerMax = 64;
    if (!std::has_single_bit(divider) || divider > dividerMax)
        return scpi::illegalParameterValue;
    return set(chip, rfDivider, static_cast<uint32_t>(std::countr_zero(divider)));
}

int ADF5355_setRfOutAOutputGain(ADF5355* chip, uint32_t gain) {
    return gain > field_max(outputAGain) ? scpi::illegalParameterValue : set(chip, outputAGain, gain);
}

int ADF5355_enableRfOutA(ADF5355* chip) {
    return set(chip, outputAOn, 1);
}

int ADF5355_disableRfOutA(ADF5355* chip) {
    return set(chip, outputAOn, 0);
}

int ADF5355_enableRfOutB(ADF5355* chip) {
    return set(chip, outputBOff, 0);
}

int ADF5355_disableRfOutB(ADF5355* chip) {
    return set(chip, outputBOff, 1);
}

int ADF5355_powerUp(ADF5355* chip) {
    return set(chip, powerDown, 0);
}

int ADF5355_powerDown(ADF5355* chip) {
    return set(chip, powerDown, 1);
}

void ADF5355_printErrMsg(const ADF5355* chip, const char* what) {
    chip_printErrMsg(&chip->bus, name, what);
}

void ADF5355_printInfo(const ADF5355* chip) {
    chip_printInfo(&chip->bus, name);
    for (size_t number = 0; number < chip->reg.size(); ++number)
        printf("\tR%zu: 0x%08X\n", number, chip->reg[number]);
}
