// The reference of the source board and its sensitivities.

#include "base/tvdebug.h"
#include "boards/is_lines.h"
#include "identity/device_config_files.h"

#include <cmath>
#include <cstdlib>

namespace {

consteval IsPattern reference(std::string_view values) {
    return is_pattern({IS_REF_0_BIT, IS_RESET_BIT, IS_REF_3_BIT, IS_REF_11_BIT, IS_REF_12_BIT, IS_REF_18_BIT,
                       IS_REF_19_BIT, IS_REF_20_BIT, IS_REF_21_BIT, IS_REF_5_BIT, IS_REF_6_BIT, IS_REF_10_BIT},
                      values);
}

/// By `referenceSelection`.
struct ReferenceRow {
    IsPattern lines; // of the last the first step
    double TVPN_IS::*sensitivity;
    bool on1B;
    bool hasTuneAdc; // from 2A on
};
constexpr ReferenceRow references[] = {
    {reference("101011000111"), &TVPN_IS::vco10MSensitivity, true, true},
    {reference("000101001101"), &TVPN_IS::vco100MSensitivity, true, false},
    {reference("000000010---"), &TVPN_IS::vco1000MSensitivity, false, false},
    {reference("0--01--0----"), &TVPN_IS::vco10MSensitivity, false, true},
};
constexpr IsPattern oscillatorOn = is_pattern({IS_REF_21_BIT}, "1");
constexpr IsPattern pllOn = is_pattern({IS_RESET_BIT, IS_REF_3_BIT, IS_REF_18_BIT, IS_REF_19_BIT}, "1111");

// Lock aid of the last: words of the tune DAC.
constexpr uint32_t tuneLow = 7400, tuneMiddle = 9000, dacFloating = 3;
constexpr uint64_t settling_us = 100'000;
constexpr uint32_t lockedAbove = 100, lockedBelow = 16000;

// A reference that has settled: words of its tune ADC.
constexpr int readyAbove = 6000, readyBelow = 9500, driftMax = 99;
constexpr uint64_t driftTime_us = 1'000'000;

constexpr double sensitivityDefault = 250;
constexpr double sensitivityPer_Hz = 100e6;

int bringPllUp(TVPN_IS* board) {
    AD5640* dac = &board->referenceDac;
    const int result = chip_firstFailure(
        {is_wait(settling_us), is_apply(board, oscillatorOn), is_wait(settling_us), is_apply(board, pllOn),
         AD5640_setOpMode(dac, 0), AD5640_setValue(dac, tuneLow), is_wait(settling_us),
         AD5640_setValue(dac, tuneMiddle), is_wait(settling_us), AD5640_setOpMode(dac, dacFloating)});
    const uint32_t word = AD7940_getValue(&board->referenceTuneAdc);
    printd("TVPN_IS_2A_setInternalReference100MhzPllX10(): VCO %s, ADC %u\n",
           word > lockedAbove && word < lockedBelow ? "locked" : "unlocked", word);
    return result;
}

} // namespace

int is_setReference(TVPN_IS* board, uint32_t selection) {
    const ReferenceRow& row = references[selection];
    if (is_isFirst(board) && !row.on1B)
        return scpi::hardwareMissing;
    board->referenceSelection = selection;
    const int result = is_apply(board, row.lines);
    return selection == TVPN_IS_reference100MPll ? chip_firstFailure({result, bringPllUp(board)}) : result;
}

int TVPN_IS_2A_setInternalReference10MhzX100(TVPN_IS* board) {
    return is_setReference(board, TVPN_IS_reference10M);
}

int TVPN_IS_2A_setInternalReference100MhzX10(TVPN_IS* board) {
    return is_setReference(board, TVPN_IS_reference100M);
}

int TVPN_IS_2A_setInternalReference1Ghz(TVPN_IS* board) {
    return is_setReference(board, TVPN_IS_reference1G);
}

int TVPN_IS_2A_setInternalReference100MhzPllX10(TVPN_IS* board) {
    return is_setReference(board, TVPN_IS_reference100MPll);
}

int TVPN_IS_setInternalReference10x10MHz(TVPN_IS* board) {
    return is_setReference(board, TVPN_IS_reference10M);
}

int TVPN_IS_setInternalReference100x1MHz(TVPN_IS* board) {
    return is_setReference(board, TVPN_IS_reference100M);
}

int TVPN_IS_isInternalReference10x10MHz(const TVPN_IS* board) {
    return board->referenceSelection == TVPN_IS_reference10M ? 1 : 0;
}

int TVPN_IS_isInternalReferenceReady(const TVPN_IS* board) {
    if (is_isFirst(board) || !references[board->referenceSelection].hasTuneAdc)
        return 1;
    const auto before = static_cast<int>(AD7940_getValue(&board->referenceTuneAdc));
    tvstuff_delay_us(driftTime_us);
    const auto now = static_cast<int>(AD7940_getValue(&board->referenceTuneAdc));
    return now > readyAbove && now < readyBelow && std::abs(now - before) <= driftMax ? 1 : 0;
}

void TVPN_IS_2A_setInternalRefThresholdFrequency(TVPN_IS* board, int64_t megahertz) {
    board->internalRefThreshold = megahertz;
}

double TVPN_IS_getFmSensitivity(TVPN_IS* board) {
    const double sensitivity = board->*references[board->referenceSelection].sensitivity;
    board->fmSensitivity = sensitivity * tvfreq2double(&board->frequency, nullptr) / sensitivityPer_Hz;
    return board->fmSensitivity;
}

void TVPN_IS_loadVcoSensitivity(TVPN_IS* board) {
    double stored = sensitivityDefault;
    if (device_config_getVcoSensitivity(&stored, static_cast<int>(board->board)) != 0 || !std::isfinite(stored))
        stored = sensitivityDefault;
    TVPN_IS_setVcoSensitivity(board, stored);
    board->vco10MSensitivity = board->vco1000MSensitivity = stored;
}

int TVPN_IS_storeVcoSensitivity(const TVPN_IS* board) {
    return device_config_setVcoSensitivity(board->vcoSensitivity, static_cast<int>(board->board));
}

void TVPN_IS_setVcoSensitivity(TVPN_IS* board, double value) {
    board->vcoSensitivity = board->vco100MSensitivity = value;
}

double TVPN_IS_getVcoSensitivity(const TVPN_IS* board) {
    return board->vcoSensitivity;
}

void TVPN_IS_setVco10MSensitivity(TVPN_IS* board, double value) {
    board->vco10MSensitivity = value;
}

double TVPN_IS_getVco10MSensitivity(const TVPN_IS* board) {
    return board->vco10MSensitivity;
}

void TVPN_IS_setVco100MSensitivity(TVPN_IS* board, double value) {
    board->vco100MSensitivity = value;
}

double TVPN_IS_getVco100MSensitivity(const TVPN_IS* board) {
    return board->vco100MSensitivity;
}

void TVPN_IS_setVco1000MSensitivity(TVPN_IS* board, double value) {
    board->vco1000MSensitivity = value;
}

double TVPN_IS_getVco1000MSensitivity(const TVPN_IS* board) {
    return board->vco1000MSensitivity;
}
