// The input of 1B, 1C and 2A: direct, through an amplifier or through a divider.

#include "base/error_codes.h"
#include "base/tvdebug.h"
#include "boards/alg_lines.h"

namespace {

constexpr int64_t hertzPerMegahertz = 1'000'000;
constexpr int autoDoublings = 3;
constexpr uint32_t amplifierFrom = 64; // steps of attenuation that the amplifier makes up for, on 1B and 1C

enum Input { direct, amplifier, divider };

struct InputRow {
    AlgPattern first;  // 1B, 1C
    AlgPattern second; // 2A
};

consteval InputRow inputRow(std::string_view first, std::string_view second) {
    return {alg_pattern({DUT_4_BIT, DUT_5_BIT, DUT_6_BIT, DUT_7_BIT, DUT_9_BIT, DUT_DIVX_PWR_EN_BIT, DIVX_SELA_BIT,
                         DIVX_SELB_BIT},
                        first),
            alg_pattern(
                {DUT_MUX_A0_BIT, DUT_DIVX_PWR_EN_BIT, DUT_MUX_A1_BIT, IF_MUX_A0_BIT, IF_MUX_A1_BIT, DUT_CNT_MUX_BIT},
                second)};
}
constexpr InputRow inputs[] = {
    inputRow("00000000", "10010-"), // direct
    inputRow("01101000", "101010"), // amplifier
    inputRow("11110111", "01-111"), // divider
};

struct RatioRow {
    uint32_t ratio;
    AlgPattern lines;
};
constexpr RatioRow ratios[] = {
    {1, alg_pattern({DIVX_SELA_BIT, DIVX_SELB_BIT}, "00")},
    {2, alg_pattern({DIVX_SELA_BIT, DIVX_SELB_BIT}, "11")},
    {4, alg_pattern({DIVX_SELA_BIT, DIVX_SELB_BIT}, "01")},
    {8, alg_pattern({DIVX_SELA_BIT, DIVX_SELB_BIT}, "10")},
};

void presetInput(TVPNX_ALG* board, Input input) {
    alg_preset(board, alg_isFirst(board) ? inputs[input].first : inputs[input].second);
    if (input == amplifier && alg_isSwitched(board))
        alg_presetBit(board, DUT_AMP_BIT, board->preamplifier);
}

int setInput(TVPNX_ALG* board, Input input) {
    if (alg_hasThresholds(board))
        return scpi::hardwareMissing;
    presetInput(board, input);
    alg_send(board);
    return 0;
}

int64_t threshold_Hz(const TVPNX_ALG* board) {
    return board->prescalerThreshold * hertzPerMegahertz;
}

/// The first of 1, 2, 4, 8 that brings `f` down to the threshold, else 8.
uint32_t autoRatio(const TVPNX_ALG* board, const tvfreq& f) {
    uint32_t ratio = 1;
    for (int i = 0; i < autoDoublings && tvfreqAboveInt(f, threshold_Hz(board) * ratio); ++i)
        ratio *= 2;
    return ratio;
}

void presetDivider(TVPNX_ALG* board) {
    presetInput(board, divider);
    alg_carryOn(alg_presetRatio(board, board->prescaler)); // one of the ratios that there are
}

/// 1B, 1C. Returns the counter's ratio.
int32_t planFirst(TVPNX_ALG* board) {
    constexpr int64_t countedHighFrom_Hz = 200'000'000;
    if (board->prescaler != 1) {
        board->dutPath = divider;
        presetDivider(board);
    } else {
        board->dutPath = board->dutAttenuation >= amplifierFrom ? amplifier : direct;
        presetInput(board, static_cast<Input>(board->dutPath));
    }
    return tvfreqAtLeastInt(board->mixerFrequency, countedHighFrom_Hz) ? 128 : 8;
}

/// 2A. Returns the counter's ratio.
int32_t planSecond(TVPNX_ALG* board, const tvfreq& f) {
    constexpr int64_t middleFrom_Hz = 1'990'000'000, upperFrom_Hz = 13'000'000'000;
    constexpr int64_t countedDividedFrom_Hz = 30'000'000;
    board->dutPath = tvfreqAtLeastInt(f, upperFrom_Hz) ? 2 : tvfreqAtLeastInt(f, middleFrom_Hz) ? 1 : 0;
    const bool low = !tvfreqAboveInt(f, threshold_Hz(board)); // as autoRatio has it: undivided, so no divider's mixer
    alg_presetBit(board, IF_BB_AMP_DIS_BIT, true);            // a carrier ends what TVPNX_ALG_setIFMuxBBIn began
    alg_presetBit(board, REF_EXT_BIT, !board->referenceInternal);
    if (board->referenceInternal)
        alg_presetBit(board, REF_MUX_BIT, board->prescaler != 1);
    else {
        alg_presetBit(board, REF_EXT_LO2_BIT, low);
        printd("select external LO%d\n", low ? 2 : 3);
    }
    if (low)
        presetInput(board, amplifier);
    else if (board->referenceInternal)
        presetDivider(board);
    else
        presetInput(board, direct);
    return tvfreqAtLeastInt(board->mixerFrequency, countedDividedFrom_Hz) ? 64 : 1;
}

} // namespace

void alg_planBySwitches(TVPNX_ALG* board, const tvfreq& frequency) {
    board->dutFrequency = frequency;
    if (!board->referenceInternal)
        board->prescaler = 1;
    else if (board->autoPrescaler)
        board->prescaler = autoRatio(board, frequency);
    tvfreqDivideByInt32(&board->mixerFrequency, &frequency, static_cast<int32_t>(board->prescaler));
    const int32_t counter = alg_isFirst(board) ? planFirst(board) : planSecond(board, frequency);
    alg_carryOn(alg_presetCounter(board, counter)); // the plan names ratios that there are
    alg_send(board);
}

int alg_presetRatio(TVPNX_ALG* board, uint32_t ratio) {
    for (const RatioRow& row : ratios)
        if (row.ratio == ratio) {
            alg_preset(board, row.lines);
            return 0;
        }
    printd("TVPNX: unknown DUT divider ratio\n");
    return scpi::illegalParameterValue;
}

int TVPNX_ALG_setDUT_RFinDirect(TVPNX_ALG* board) {
    return setInput(board, direct);
}

int TVPNX_ALG_setDUT_RFinAmp(TVPNX_ALG* board) {
    return setInput(board, amplifier);
}

int TVPNX_ALG_setDUT_RFinDiv(TVPNX_ALG* board) {
    return setInput(board, divider);
}

int TVPNX_ALG_setDUT_DivRatioX(TVPNX_ALG* board, uint32_t ratio) {
    const int result = alg_presetRatio(board, ratio);
    alg_send(board);
    return result;
}

int TVPNX_ALG_setPrescaler(TVPNX_ALG* board, uint32_t value) {
    board->prescaler = value <= 1 ? 1 : value <= 2 ? 2 : value <= 4 ? 4 : 8;
    return 0;
}

uint32_t TVPNX_ALG_getPrescaler(const TVPNX_ALG* board) {
    return board->prescaler;
}

int TVPNX_ALG_enableAutoPrescaler(TVPNX_ALG* board) {
    board->autoPrescaler = true;
    return 0;
}

int TVPNX_ALG_disableAutoPrescaler(TVPNX_ALG* board) {
    board->autoPrescaler = false;
    return 0;
}

int TVPNX_ALG_isAutoPrescaler(const TVPNX_ALG* board) {
    return board->autoPrescaler ? 1 : 0;
}

int TVPNX_ALG_setPrescalerThresholdFrequency(TVPNX_ALG* board, uint32_t megahertz) {
    board->prescalerThreshold = megahertz;
    return 0;
}

int TVPNX_ALG_setDUTAttenuation(TVPNX_ALG* board, uint32_t steps) {
    constexpr uint32_t stepsMax = 126;
    if (!alg_isFirst(board))
        return scpi::undefinedHeader;
    if (steps > stepsMax) {
        printd("TVPNX: unknown DUT attenuation value\n");
        return scpi::illegalParameterValue;
    }
    const bool amplified = steps >= amplifierFrom, wasAmplified = board->dutAttenuation >= amplifierFrom;
    board->dutAttenuation = steps;
    chip_carryOn(HMC624_setAttenuation(&board->dutAttenuator, amplified ? steps - amplifierFrom : steps));
    return amplified == wasAmplified ? 0 : TVPNX_ALG_setDUTPath(board);
}

uint32_t TVPNX_ALG_getDUTAttenuation(const TVPNX_ALG* board) {
    return board->dutAttenuation;
}
