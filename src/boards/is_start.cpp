// Start and power of the source board, and its service.

#include "boards/is_lines.h"

#include <cstdio>

namespace {

constexpr uint32_t spiBaseA = 96, spiBaseB = 112;
constexpr tvfreq frequencyAtStart{100'000'000, 0};
constexpr int64_t hertzPerMegahertz = 1'000'000;
constexpr uint32_t dividerChipId = 0;

/// Where a chip hangs, counted from the board's first address, which the shift register has.
namespace at {
constexpr uint32_t referenceAdc = 1; // all generations
constexpr uint32_t dds1B = 2, divider = 3;
constexpr uint32_t pll = 2, referenceTuneAdc = 3, referenceDac = 4, vcoTuneAdc = 5, dds = 6, vcoDac = 7;
} // namespace at

constexpr uint8_t linesAtStart[isRegisterBytes[is2]] = {};
static_assert(isRegisterBytes[is1B] == isRegisterBytes[is2]);

constexpr IsPattern resetOn = is_pattern({IS_RESET_BIT}, "1"), resetOff = is_pattern({IS_RESET_BIT}, "0");
constexpr IsPattern outputFromDds = is_pattern({IS_OCXO_OUT_BIT}, "0");
constexpr IsPattern allOff =
    is_pattern({IS_RF_DIRECT_BIT, IS_RF_PLL_BIT, IS_RF_DOUBLED_BIT, IS_REF_21_BIT, IS_REF_12_BIT, IS_DIV_A0_BIT,
                IS_DIV_A1_BIT, IS_DIV_A2_BIT, IS_DIV_B1_BIT, IS_DIV_B0_BIT, IS_PLL_7_BIT, IS_REF_10_BIT, IS_REF_5_BIT},
               "0000000000000");

constexpr const char* names[] = {"1B", "2A", "2B"}; // by generation

int pulseReset(TVPN_IS* board) {
    return chip_firstFailure({is_apply(board, resetOn), is_apply(board, resetOff)});
}

int startFirst(TVPN_IS* board, uint32_t base) {
    AD7940_init(&board->referenceAdc, base + at::referenceAdc, board->board);
    HMC988_init(&board->divider, base + at::divider, board->board, dividerChipId);
    const int reference = chip_firstFailure(
        {pulseReset(board), TVPN_IS_setInternalReference100x1MHz(board), is_apply(board, outputFromDds)});
    AD9914_init(&board->dds1B, base + at::dds1B, board->board, is_ioUpdate);
    board->rfEnabled = true;
    return chip_firstFailure({reference, AD9914_powerUp(&board->dds1B), AD9914_enableProfileMode(&board->dds1B),
                              AD9914_calibrateDac(&board->dds1B), TVPN_IS_setDdsInputFrequency3GHz(board),
                              TVPN_IS_setFrequency(board, &frequencyAtStart, 1)});
}

int startSecond(TVPN_IS* board, uint32_t base) {
    AD7940_init(&board->referenceTuneAdc, base + at::referenceTuneAdc, board->board);
    AD7940_init(&board->referenceAdc, base + at::referenceAdc, board->board);
    AD7940_init(&board->vcoTuneAdc, base + at::vcoTuneAdc, board->board);
    AD5640_init(&board->referenceDac, base + at::referenceDac, board->board);
    AD5640_init(&board->vcoDac, base + at::vcoDac, board->board);
    ADF5355_init(&board->pll, base + at::pll);
    const int reset = pulseReset(board);
    AD9912_init(&board->dds, base + at::dds, board->board);
    board->frequency = frequencyAtStart;
    return chip_firstFailure({reset, TVPN_IS_2A_setInternalReference100MhzX10(board)});
}

/// A frequency of each range.
constexpr tvfreq testFrequencies[] = {{100'000'000, 0}, {1'000'000'000, 0}, {8'000'000'000, 0}};

} // namespace

void TVPN_IS_init(TVPN_IS* board, uint32_t index, uint32_t generation) {
    *board = {};
    board->board = index;
    board->generation = generation < std::size(names) ? generation : 0;
    TVPN_IS_loadVcoSensitivity(board);
    const uint32_t base = index == 0 ? spiBaseA : spiBaseB;
    SRI_init(&board->shiftRegister, base, index, linesAtStart, isRegisterBytes[is_column(board)]);
    chip_carryOn(is_isFirst(board) ? startFirst(board, base) : startSecond(board, base));
}

int TVPN_IS_applyPreset(TVPN_IS* board) {
    return chip_firstFailure({SRI_applyChanges(&board->shiftRegister), is_ioUpdate()});
}

int TVPN_IS_powerUp(TVPN_IS* board) {
    if (is_isFirst(board)) {
        board->rfEnabled = true;
        return chip_firstFailure({TVPN_IS_2A_setInternalReference100MhzX10(board), AD9914_powerUp(&board->dds1B),
                                  AD9914_calibrateDac(&board->dds1B)});
    }
    const tvfreq frequency = board->frequency;
    const bool lowPath = tvfreqAboveInt(frequency, board->internalRefThreshold * hertzPerMegahertz);
    return chip_firstFailure(
        {is_setReference(board, board->referenceSelection), TVPN_IS_setFrequency(board, &frequency, lowPath ? 1 : 0)});
}

int TVPN_IS_fastPowerDown(TVPN_IS* board) {
    if (!is_isFirst(board))
        return scpi::hardwareMissing;
    board->rfEnabled = false;
    return chip_firstFailure({AD9914_powerDown(&board->dds1B), is_ioUpdate()});
}

int TVPN_IS_fullPowerDown(TVPN_IS* board) {
    if (is_isFirst(board))
        return chip_firstFailure({TVPN_IS_fastPowerDown(board), is_apply(board, allOff)});
    return chip_firstFailure(
        {is_apply(board, allOff), AD9912_powerDown(&board->dds), ADF5355_powerDown(&board->pll), is_ioUpdate()});
}

int TVPN_IS_reset(TVPN_IS* board) {
    const TVPN_IS before = *board;
    TVPN_IS_init(board, before.board, before.generation);
    board->vcoSensitivity = before.vcoSensitivity;
    board->vco10MSensitivity = before.vco10MSensitivity;
    board->vco100MSensitivity = before.vco100MSensitivity;
    board->vco1000MSensitivity = before.vco1000MSensitivity;
    board->rounding = before.rounding;
    board->internalRefThreshold = before.internalRefThreshold;
    board->referenceSelection = before.referenceSelection;
    board->frequency = before.frequency;
    if (!is_isFirst(board)) {
        board->rfEnabled = before.rfEnabled;
        return TVPN_IS_powerUp(board);
    }
    const int set = chip_firstFailure(
        {is_setReference(board, before.referenceSelection), TVPN_IS_setFrequency(board, &before.frequency, 1)});
    return before.rfEnabled ? set : chip_firstFailure({set, TVPN_IS_fastPowerDown(board)});
}

int TVPN_IS_test(TVPN_IS* board) {
    const tvfreq before = board->frequency;
    const bool lowPathBefore = SRI_getBit(&board->shiftRegister, isBitRows[IS_HIGH_PATH_BIT].line[is2]) == 0;
    int result = 0;
    const auto set = [&](const tvfreq& frequency, bool lowPath) {
        const int done = TVPN_IS_setFrequency(board, &frequency, lowPath ? 1 : 0);
        printf("TVPN_IS %c %.6f MHz: %s\n", board->board == 0 ? 'A' : 'B',
               tvfreq2double(&frequency, nullptr) / hertzPerMegahertz, done == 0 ? "set" : "failed");
        result = chip_firstFailure({result, done});
    };
    for (const tvfreq& frequency : testFrequencies)
        set(frequency, true);
    set(before, lowPathBefore);
    return result;
}

void TVPN_IS_printInfo(const TVPN_IS* board) {
    printf("TVPN_IS %s %c\n\tfrequency: %.6f Hz\n\treference: %u\n\trange: %u\n\tRF: %s\n", names[board->generation],
           board->board == 0 ? 'A' : 'B', tvfreq2double(&board->frequency, nullptr), board->referenceSelection,
           board->outputRange, board->rfEnabled ? "on" : "off");
    SRI_printInfo(&board->shiftRegister);
    AD7940_printInfo(&board->referenceAdc);
    if (is_isFirst(board)) {
        AD9914_printInfo(&board->dds1B);
        HMC988_printInfo(&board->divider);
        return;
    }
    AD9912_printInfo(&board->dds);
    ADF5355_printInfo(&board->pll);
    for (const AD7940* adc : {&board->referenceTuneAdc, &board->vcoTuneAdc})
        AD7940_printInfo(adc);
    for (const AD5640* dac : {&board->referenceDac, &board->vcoDac})
        AD5640_printInfo(dac);
}
