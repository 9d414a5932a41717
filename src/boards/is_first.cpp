// Generation 1B of the source board: a DDS with two clocks, and a multiplier behind it.

#include "boards/is_lines.h"
#include "drivers/tvspi.h"

#include <algorithm>

namespace {

constexpr tvfreq frequencyMax{3'600'000'000, 0};

/// By `ddsClockSelect`. Tuning words are rounded to 2^roundedBits, with the reference of 100 MHz to 2^roundedBits100M.
struct Clock {
    tvfreq clock;
    IsPattern lines;
    uint32_t roundedBits, roundedBits100M;
};
constexpr Clock clocks[] = {
    {{3'000'000'000, 0}, is_pattern({IS_CLOCK_8_BIT, IS_CLOCK_4_BIT}, "00"), 3, 7},
    {{500'000'000, 0}, is_pattern({IS_CLOCK_8_BIT, IS_CLOCK_4_BIT}, "11"), 5, 9},
};
enum ClockIndex : uint32_t { fast, slow };
constexpr int64_t fastFrom_Hz = 30'000'000;
constexpr uint32_t clockSettling_us = 4000;
constexpr uint32_t roundedBitsMax = 15;
constexpr int64_t roundedLessUpTo_Hz = 6'000'000;

consteval IsPattern multiplier(std::string_view values) {
    return is_pattern({IS_MULT_A0_BIT, IS_MULT_A1_BIT}, values);
}
constexpr IsRatioRow multiplierRows[] = {{1, multiplier("00")}, {2, multiplier("10")}, {4, multiplier("11")}};
constexpr IsPattern dividerOff = is_pattern({IS_DIVIDER_BIT}, "0");

/// Requests from `from_Hz` on; the shift is that of the ratio.
struct MultiplierPlan {
    int64_t from_Hz;
    uint32_t ratio, shift;
};
constexpr MultiplierPlan multiplierPlans[] = {{2'510'000'000, 4, 2}, {1'100'000'000, 2, 1}};

MultiplierPlan planMultiplier(const tvfreq& wanted) {
    for (const MultiplierPlan& plan : multiplierPlans)
        if (tvfreqAtLeastInt(wanted, plan.from_Hz))
            return plan;
    return {.from_Hz = 0, .ratio = 1, .shift = 0};
}

/// The DAC of a DDS that is powered down is calibrated when it comes back.
int setClock(TVPN_IS* board, ClockIndex index) {
    if (!is_isFirst(board))
        return scpi::hardwareMissing;
    board->ddsClockSelect = index;
    board->ddsClock = clocks[index].clock;
    const int switched = is_apply(board, clocks[index].lines);
    tvstuff_delay_us_spi(clockSettling_us);
    const int calibrated = board->rfEnabled ? AD9914_calibrateDac(&board->dds1B) : 0;
    AD9914_presetInputFrequency(&board->dds1B, board->ddsClock);
    return chip_firstFailure({switched, calibrated});
}

/// Low bits of the word that are cleared: one more for each halving that leads the frequency down to 6 MHz.
uint32_t roundedBits(const TVPN_IS* board) {
    const Clock& clock = clocks[board->ddsClockSelect];
    uint32_t bits = board->referenceSelection == TVPN_IS_reference100M ? clock.roundedBits100M : clock.roundedBits;
    for (tvfreq f = board->frequency; tvfreqAboveInt(f, roundedLessUpTo_Hz); ++bits)
        tvfreqShiftRight(&f, 1);
    return std::min(bits, roundedBitsMax);
}

} // namespace

int is1B_setFrequency(TVPN_IS* board, const tvfreq& wanted) {
    if (tvfreqAtLeastInt(wanted, frequencyMax.intPart))
        board->frequency = frequencyMax;
    const MultiplierPlan plan = planMultiplier(wanted);
    tvfreq dds = board->frequency;
    tvfreqShiftRight(&dds, plan.shift);
    return chip_firstFailure({setClock(board, tvfreqAtLeastInt(wanted, fastFrom_Hz) ? fast : slow),
                              TVPN_IS_setDdsOutputFrequency(board, &dds),
                              TVPN_IS_setDdsOutputMultiplier(board, plan.ratio),
                              TVPN_IS_disableDdsOutputDivider(board)});
}

int is1B_setDdsOutput(TVPN_IS* board, const tvfreq& frequency) {
    AD9914_presetOutputFrequency(&board->dds1B, frequency);
    AD9914_calculateFtw(&board->dds1B);
    if (board->rounding)
        AD9914_roundFtw(&board->dds1B, roundedBits(board));
    return chip_firstFailure({AD9914_applyFtw(&board->dds1B), TVPN_IS_applyPreset(board)});
}

int TVPN_IS_setDdsInputFrequency3GHz(TVPN_IS* board) {
    return setClock(board, fast);
}

int TVPN_IS_setDdsInputFrequency500MHz(TVPN_IS* board) {
    return setClock(board, slow);
}

int TVPN_IS_setDdsOutputMultiplier(TVPN_IS* board, uint32_t ratio) {
    if (!is_isFirst(board))
        return scpi::hardwareMissing;
    if (const int refused = is_presetRatio(board, multiplierRows, ratio); refused != 0)
        return refused;
    return TVPN_IS_applyPreset(board);
}

int TVPN_IS_disableDdsOutputDivider(TVPN_IS* board) {
    return is_isFirst(board) ? is_apply(board, dividerOff) : scpi::hardwareMissing;
}

int TVPN_IS_setFtw(TVPN_IS* board, uint64_t word) {
    if (!is_isFirst(board))
        return scpi::hardwareMissing;
    if (word > UINT32_MAX)
        return scpi::illegalParameterValue;
    return chip_firstFailure({AD9914_setFtw(&board->dds1B, static_cast<uint32_t>(word)), TVPN_IS_applyPreset(board)});
}

uint64_t TVPN_IS_getFtw(const TVPN_IS* board) {
    return is_isFirst(board) ? AD9914_getFtw(&board->dds1B) : 0;
}

int TVPN_IS_enableFrequencyRounding(TVPN_IS* board) {
    board->rounding = true;
    return 0;
}

int TVPN_IS_disableFrequencyRounding(TVPN_IS* board) {
    board->rounding = false;
    return 0;
}

int TVPN_IS_isFrequencyRoundingEnabled(const TVPN_IS* board) {
    return board->rounding ? 1 : 0;
}

uint32_t TVPN_IS_getReferenceExternalTuning(const TVPN_IS* board) {
    return is_isFirst(board) ? AD7940_getValue(&board->referenceAdc) : 0;
}
