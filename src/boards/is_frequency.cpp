// Frequencies of 2A and 2B: the DDS alone, or a VCO locked to it.

#include "base/tvdebug.h"
#include "boards/is_lines.h"
#include "boards/is_plan.h"

namespace {

constexpr tvfreq ddsClock{1'000'000'000, 0};
constexpr uint64_t offsetWords = 3'500'000'000;
constexpr tvfreq frequencyMin{1'000'000, 0};

// Lock aid: words of the tune DAC.
constexpr uint32_t tuneLow = 7400, tuneMiddle = 9000, dacFloating = 3;
constexpr uint64_t settling_us = 1000;
constexpr uint32_t lockedAbove = 100, lockedBelow = 5000; // words of the tune ADC

constexpr double bandAbove = 1.023; // the band is chosen for more than the VCO is to make
constexpr uint32_t outputGain = 3;

constexpr IsPattern directLines = is_pattern({IS_PLL_13_BIT, IS_PLL_7_BIT, IS_RF_PLL_BIT, IS_RF_DOUBLED_BIT}, "0000");
constexpr IsPattern pllLines = is_pattern({IS_RF_DIRECT_BIT, IS_PLL_10_BIT, IS_PLL_13_BIT, IS_PLL_7_BIT}, "1111");
constexpr IsPattern bandChosen = is_pattern({IS_PLL_10_BIT}, "0");

/// By `outputRange`.
constexpr IsBit rfBits[] = {IS_RF_DIRECT_BIT, IS_RF_PLL_BIT, IS_RF_DOUBLED_BIT};

consteval IsPattern dividerA(std::string_view values) {
    return is_pattern({IS_DIV_A0_BIT, IS_DIV_A1_BIT, IS_DIV_A2_BIT}, values);
}
consteval IsPattern dividerB(std::string_view values) {
    return is_pattern({IS_DIV_B1_BIT, IS_DIV_B0_BIT}, values);
}
constexpr IsRatioRow dividerRowsA[] = {
    {1, dividerA("000")}, {2, dividerA("100")}, {4, dividerA("110")}, {8, dividerA("111")}};
constexpr IsRatioRow dividerRowsB[] = {
    {1, dividerB("00")}, {2, dividerB("10")}, {3, dividerB("01")}, {4, dividerB("11")}};

int setDivider(TVPN_IS* board, const IsRatioRow (&rows)[4], uint32_t ratio) {
    if (is_isFirst(board))
        return scpi::hardwareMissing;
    if (const int refused = is_presetRatio(board, rows, ratio); refused != 0)
        return refused;
    return TVPN_IS_applyPreset(board);
}

int switchRf(TVPN_IS* board, bool on) {
    if (is_isFirst(board))
        return scpi::hardwareMissing;
    if (board->outputRange >= std::size(rfBits))
        return scpi::illegalParameterValue;
    board->rfEnabled = on;
    is_presetBit(board, rfBits[board->outputRange], on);
    return TVPN_IS_applyPreset(board);
}

int setDirect(TVPN_IS* board, const tvfreq& frequency) {
    board->outputRange = TVPN_IS_rangeDirect;
    is_presetBit(board, IS_RF_DIRECT_BIT, board->rfEnabled);
    is_preset(board, directLines);
    return chip_firstFailure({TVPN_IS_applyPreset(board), ADF5355_powerDown(&board->pll), AD9912_powerUp(&board->dds),
                              is_ioUpdate(), TVPN_IS_setDdsOutputFrequency(board, &frequency)});
}

/// Lines of the range that `frequency` takes. Returns the frequency in front of the doubler.
tvfreq presetRange(TVPN_IS* board, tvfreq frequency, bool lowPath) {
    const bool doubled = tvfreqAboveInt(frequency, isUndoubledMax_Hz);
    if (doubled)
        tvfreqShiftRight(&frequency, 1);
    board->outputRange = doubled ? TVPN_IS_rangeDoubled : TVPN_IS_rangePll;
    is_preset(board, pllLines);
    is_presetBit(board, IS_UNDOUBLED_BIT, !doubled);
    is_presetBit(board, IS_RF_PLL_BIT, !doubled && board->rfEnabled);
    is_presetBit(board, IS_RF_DOUBLED_BIT, doubled && board->rfEnabled);
    is_presetBit(board, IS_HIGH_PATH_BIT, !lowPath);
    return frequency;
}

/// What the VCO is compared with.
int setComparison(TVPN_IS* board, const tvfreq& f) {
    const IsDividers dividers = is_planDividers(f);
    tvfreq compared;
    tvfreqDivideByInt32(&compared, &f, static_cast<int32_t>(dividers.a * dividers.b));
    board->pdFrequency = static_cast<double>(compared.intPart);
    return chip_firstFailure({is_presetRatio(board, dividerRowsA, dividers.a),
                              is_presetRatio(board, dividerRowsB, dividers.b), TVPN_IS_applyPreset(board),
                              AD9912_powerUp(&board->dds), is_ioUpdate(),
                              TVPN_IS_setDdsOutputFrequency(board, &compared)});
}

/// Has the VCO choose its band, with the tune voltage at its lower end.
int chooseBand(TVPN_IS* board, const tvfreq& f) {
    uint32_t divider = 1;
    tvfreq vco = f;
    for (; !tvfreqAtLeastInt(vco, adf5355_getFvcoMin()); divider *= 2)
        tvfreqShiftLeft(&vco, 1);
    tvfreqMultiplyByDouble(&vco, &vco, &bandAbove);
    return chip_firstFailure({ADF5355_powerUp(&board->pll), AD5640_setOpMode(&board->vcoDac, 0),
                              AD5640_setValue(&board->vcoDac, 0), is_wait(settling_us),
                              ADF5355_setRfDvidier(&board->pll, divider), ADF5355_selectVco(&board->pll, vco),
                              is_apply(board, bandChosen), ADF5355_setRfOutAOutputGain(&board->pll, outputGain)});
}

/// Leads the tune voltage to where the loop can take it, and lets go.
int aidLock(AD5640* dac) {
    return chip_firstFailure({AD5640_setValue(dac, tuneLow), is_wait(settling_us), AD5640_setValue(dac, tuneMiddle),
                              is_wait(settling_us), AD5640_setOpMode(dac, dacFloating), is_wait(settling_us)});
}

int checkLock(TVPN_IS* board) {
    uint32_t word = AD7940_getValue(&board->vcoTuneAdc);
    bool locked = word > lockedAbove;
    if (locked) {
        word = AD7940_getValue(&board->vcoTuneAdc);
        locked = word < lockedBelow;
    }
    if (locked)
        return TVPN_IS_applyPreset(board);
    printd("TVPN_IS_setFrequency(): ERROR: VCO unlocked, ADC %u\n", word);
    return scpi::executionError;
}

int setByPll(TVPN_IS* board, const tvfreq& frequency, bool lowPath) {
    const int stopped = chip_firstFailure({ADF5355_powerDown(&board->pll), is_wait(settling_us)});
    const tvfreq f = presetRange(board, frequency, lowPath);
    return chip_firstFailure({stopped, TVPN_IS_applyPreset(board), setComparison(board, f), chooseBand(board, f),
                              aidLock(&board->vcoDac), checkLock(board)});
}

} // namespace

int TVPN_IS_setFrequency(TVPN_IS* board, const tvfreq* frequency, int lowPath) {
    const tvfreq wanted = *frequency;
    board->frequency = wanted;
    const int result = is_isFirst(board)                        ? is1B_setFrequency(board, wanted)
                       : tvfreqAboveInt(wanted, isDirectMax_Hz) ? setByPll(board, wanted, lowPath != 0)
                                                                : setDirect(board, wanted);
    return result == 0 ? 0 : scpi::executionError;
}

void TVPN_IS_getFrequencyMin(const TVPN_IS* /*board*/, tvfreq* frequency) {
    *frequency = frequencyMin;
}

int TVPN_IS_setDdsOutputFrequency(TVPN_IS* board, const tvfreq* frequency) {
    if (is_isFirst(board))
        return is1B_setDdsOutput(board, *frequency);
    AD9912_presetDDSIn(&board->dds, ddsClock);
    AD9912_presetDDSOut(&board->dds, *frequency);
    AD9912_calculatePreset(&board->dds);
    return chip_firstFailure({AD9912_applyFtwOnly(&board->dds, AD9912_getFtwOnly(&board->dds)), is_ioUpdate()});
}

int TVPN_IS_offsetDdsOutputFrequency(TVPN_IS* board, int up) {
    if (is_isFirst(board))
        return scpi::hardwareMissing;
    const uint64_t word = AD9912_getFtwOnly(&board->dds);
    return chip_firstFailure(
        {AD9912_applyFtwOnly(&board->dds, up != 0 ? word + offsetWords : word - offsetWords), is_ioUpdate()});
}

double TVPN_IS_getpdFrequency(const TVPN_IS* board) {
    return board->pdFrequency;
}

int TVPN_IS_2A_setOutputDividerA(TVPN_IS* board, uint32_t ratio) {
    return setDivider(board, dividerRowsA, ratio);
}

int TVPN_IS_2A_setOutputDividerB(TVPN_IS* board, uint32_t ratio) {
    return setDivider(board, dividerRowsB, ratio);
}

int TVPN_IS_2A_enableRf(TVPN_IS* board) {
    return switchRf(board, true);
}

int TVPN_IS_2A_disableRf(TVPN_IS* board) {
    return switchRf(board, false);
}
