// The input's paths from 2B on: planned by thresholds, each with a hysteresis so that a frequency at its edge does not
// move relays at each step.

#include "base/error_codes.h"
#include "boards/alg_lines.h"

namespace {

constexpr int64_t frequencyMin_Hz = 1'000'000, frequencyMax_Hz = 29'500'000'000;
constexpr int64_t hertzPerMegahertz = 1'000'000;
constexpr int64_t hysteresis_Hz = 20'000;
constexpr int64_t upperBandFrom_Hz = 2'020'000'000;
constexpr int64_t countedQuarterFrom_Hz = 12'000'000'000;

enum DutPath : uint32_t { direct, amplifier, divider };

constexpr AlgPattern pathPatterns[] = {
    alg_pattern({DUT_DIVX_PWR_EN_BIT, DIVX_SELA_BIT, DIVX_SELB_BIT}, "000"),
    alg_pattern({DUT_DIVX_PWR_EN_BIT, DIVX_SELA_BIT, DIVX_SELB_BIT, DUT_MUX_A0_BIT}, "0000"),
    alg_pattern({DUT_DIVX_PWR_EN_BIT, DUT_MUX_A0_BIT, DUT_AMP_BIT}, "110"),
};

constexpr AlgPattern ifPathPatterns[] = {
    alg_pattern({IF_MUX_A0_BIT, IF_MUX_A1_BIT}, "10"),
    alg_pattern({IF_MUX_A0_BIT, IF_MUX_A1_BIT}, "01"),
    alg_pattern({IF_MUX_A0_BIT, IF_MUX_A1_BIT}, "11"),
};

/// The limit that holds for `frequency`: `edge_Hz`, and a little more for who comes from below.
tvfreq threshold(const tvfreq& frequency, const tvfreq& old, int64_t edge_Hz) {
    const bool above = tvfreqCompare(&frequency, &old) >= 0 && tvfreqAtLeastInt(frequency, edge_Hz);
    return {edge_Hz + (above ? 0 : hysteresis_Hz), 0};
}

void choosePath(TVPNX_ALG* board, const tvfreq& f) {
    const AlgRevision& revision = alg_revision(board);
    board->prescaler = 1;
    board->dutPath = direct;
    if (tvfreqCompare(&f, &board->thresholdLow) >= 0)
        board->dutPath = amplifier;
    if (tvfreqCompare(&f, &board->thresholdHigh) >= 0) {
        if (board->referenceInternal || board->counterEnabled) // nothing divides on another path
            board->dutPath = divider;
        if (board->counterEnabled)
            board->prescaler = tvfreqAtLeastInt(f, countedQuarterFrom_Hz) ? 4 : 2;
        else if (board->referenceInternal)
            board->prescaler = tvfreqAtLeastInt(f, revision.quarterFrom_Hz) ? 4 : 2;
    }
    for (const AlgCounterRule& rule : revision.counterRules)
        if (board->counterEnabled && tvfreqAboveInt(f, rule.above_Hz)) {
            board->dutPath = divider;
            board->prescaler = rule.prescaler;
            break;
        }
    if (revision.thresholdAmp_Hz != 0 && board->dutPath == amplifier)
        board->preampOffMid = tvfreqCompare(&f, &board->thresholdAmp) >= 0 ? 1 : 0;
}

void presetDutPath(TVPNX_ALG* board) {
    alg_preset(board, pathPatterns[board->dutPath]);
    switch (board->dutPath) {
    case direct:
        board->preamplifier = board->preampOffLow == 0;
        alg_presetBit(board, DUT_AMP_LOW_BIT, board->preamplifier);
        break;
    case amplifier:
        board->preamplifier =
            (alg_revision(board).thresholdAmp_Hz != 0 ? board->preampOffMid : board->preampOffLow) == 0;
        alg_presetBit(board, DUT_AMP_BIT, board->preamplifier);
        alg_presetBit(board, DUT_MUX_A1_BIT, !board->referenceInternal && !board->counterEnabled);
        break;
    default:
        board->preamplifier = false;
        alg_carryOn(alg_presetRatio(board, board->prescaler)); // one of the ratios that there are
    }
}

void presetReference(TVPNX_ALG* board) {
    alg_presetBit(board, REF_MUX_BIT, board->referencePath == 1 && board->referenceBand == 0);
}

int planByThresholds(TVPNX_ALG* board, const tvfreq& f) {
    if (!tvfreqAtLeastInt(f, frequencyMin_Hz))
        return scpi::illegalParameterValue;
    board->dutFrequency = f;
    board->thresholdHigh = threshold(f, board->thresholdHigh, threshold_freq_high * hertzPerMegahertz);
    board->thresholdLow = threshold(f, board->thresholdLow, upperBandFrom_Hz);
    const bool upperBand = tvfreqCompare(&f, &board->thresholdLow) >= 0;

    board->ifPath = !upperBand ? 1 : board->referenceInternal ? 2 : 0;
    choosePath(board, f);
    tvfreqDivideByInt32(&board->mixerFrequency, &f, static_cast<int32_t>(board->prescaler));
    board->referenceBand = upperBand ? 1 : 0;
    board->referencePath = board->referenceInternal ? 0 : 1;

    alg_preset(board, ifPathPatterns[board->ifPath]);
    presetDutPath(board);
    presetReference(board);
    alg_send(board);
    return 0;
}

/// `off` goes around the amplifier.
int switchPreamplifier(TVPNX_ALG* board, bool off) {
    if (alg_isSwitched(board)) {
        board->preamplifier = !off;
        alg_applyBit(board, DUT_AMP_BIT, !off);
        return 0;
    }
    const bool follows =
        alg_hasThresholds(board) && (alg_revision(board).thresholdAmp_Hz == 0 || board->dutPath == direct);
    if (!follows)
        return scpi::hardwareMissing;
    board->preampOffLow = off ? 1 : 0;
    return TVPNX_ALG_setDUTPath(board);
}

} // namespace

int TVPNX_ALG_setFrequency(TVPNX_ALG* board, const tvfreq* frequency) {
    if (alg_hasThresholds(board))
        return planByThresholds(board, tvfreq{*frequency});
    alg_planBySwitches(board, tvfreq{*frequency});
    return 0;
}

void TVPNX_ALG_getFrequencyMin(const TVPNX_ALG* /*board*/, tvfreq* frequency) {
    *frequency = {frequencyMin_Hz, 0};
}

void TVPNX_ALG_getFrequencyMax(const TVPNX_ALG* /*board*/, tvfreq* frequency) {
    *frequency = {frequencyMax_Hz, 0};
}

void TVPNX_ALG_getFrequencyMixer(const TVPNX_ALG* board, tvfreq* frequency) {
    *frequency = board->mixerFrequency;
}

int TVPNX_ALG_setDUTPath(TVPNX_ALG* board) {
    if (!alg_hasThresholds(board))
        return TVPNX_ALG_setFrequency(board, &board->dutFrequency);
    presetDutPath(board);
    alg_send(board);
    return 0;
}

uint32_t TVPNX_ALG_getDUTPath(const TVPNX_ALG* board) {
    return board->dutPath;
}

int TVPNX_ALG_enablePreamplifier(TVPNX_ALG* board) {
    return switchPreamplifier(board, false);
}

int TVPNX_ALG_disablePreamplifier(TVPNX_ALG* board) {
    return switchPreamplifier(board, true);
}

int TVPNX_ALG_isPreamplifierEnabled(const TVPNX_ALG* board) {
    return board->preamplifier ? 1 : 0;
}

int TVPNX_ALG_setReferencePathandSource(TVPNX_ALG* board) {
    if (!alg_hasThresholds(board))
        return scpi::hardwareMissing;
    presetReference(board);
    alg_send(board);
    return 0;
}

int TVPNX_ALG_setIFPath(TVPNX_ALG* board) {
    if (alg_isFirst(board))
        return scpi::hardwareMissing;
    if (board->ifPath >= std::size(ifPathPatterns))
        return scpi::illegalParameterValue;
    alg_apply(board, ifPathPatterns[board->ifPath]);
    return 0;
}
