// The chain in front of the frequency counter.

#include "base/error_codes.h"
#include "base/tvdebug.h"
#include "boards/alg_lines.h"

namespace {

constexpr int64_t uhfFrom_Hz = 200'000'000; // at the mixer

/// How the ADF4106 of 1B and 1C divides: through its reference counter, or through its feedback counter.
struct Divider {
    int32_t ratioMin, ratioMax;
    uint32_t mux; // what its pin shows
    bool feedback;
};
constexpr Divider hf{.ratioMin = 1, .ratioMax = 10'000, .mux = 4, .feedback = false};
constexpr Divider uhf{.ratioMin = 128, .ratioMax = 100'000, .mux = 2, .feedback = true};

/// Requests below `below` get this ratio.
struct ChainRow {
    int32_t below;
    uint32_t ratio;
    AlgPattern lines;
};
consteval AlgPattern chain(std::string_view values) {
    return alg_pattern({CNT_DIV_MUX_A0_BIT, CNT_DIV_MUX_A1_BIT, CNT_DIV_MUX_A2_BIT}, values);
}
constexpr ChainRow chainRows[] = {{4, 1, chain("111")}, {16, 4, chain("011")}, {64, 16, chain("001")}};
constexpr uint32_t chainRatioMax = 64;
constexpr AlgPattern chainLinesMax = chain("000");
constexpr int32_t topFrom = 256; // request for the highest ratio

constexpr AlgPattern counterOn =
    alg_pattern({CNT_PWR_EN_BIT, IF_CNT_MUX_BIT, CNT_38_BIT, IF_MUX_VGA1_EN_BIT, IF_MUX_VGA2_EN_BIT}, "10111");
constexpr AlgPattern counterOff =
    alg_pattern({CNT_PWR_EN_BIT, IF_CNT_MUX_BIT, CNT_38_BIT, IF_MUX_VGA1_EN_BIT, IF_MUX_VGA2_EN_BIT}, "01000");
constexpr AlgPattern counterOn2A = alg_pattern({CNT_PWR_EN_BIT, IF_CNT_MUX_BIT}, "10");
constexpr AlgPattern counterOff2A = alg_pattern({CNT_PWR_EN_BIT, IF_CNT_MUX_BIT}, "01");

int presetDivider(TVPNX_ALG* board, const Divider& divider, int32_t ratio) {
    if (!alg_isFirst(board))
        return scpi::hardwareMissing;
    if (ratio < divider.ratioMin || ratio > divider.ratioMax) {
        printd("TVPNX_ALG: divider ratio is out of range\n");
        return scpi::illegalParameterValue;
    }
    board->counter = static_cast<uint32_t>(ratio);
    chip_carryOn(ADF4106_setManualRNConfig(&board->counterDivider, divider.feedback ? 1 : board->counter,
                                           divider.feedback ? board->counter : 1));
    chip_carryOn(ADF4106_setMUX(&board->counterDivider, divider.mux));
    alg_presetBit(board, CNT_UHF_BIT, divider.feedback);
    return 0;
}

void presetChain(TVPNX_ALG* board, int32_t ratio) {
    const uint32_t top = alg_revision(board).counterTop;
    const bool highest = ratio >= topFrom && top > chainRatioMax;
    alg_presetBit(board, CNT_DIV_TOP_BIT, highest);
    for (const ChainRow& row : chainRows)
        if (ratio < row.below) {
            board->counter = row.ratio;
            alg_preset(board, row.lines);
            return;
        }
    board->counter = highest ? top : chainRatioMax;
    alg_preset(board, chainLinesMax);
}

int setDivider(TVPNX_ALG* board, const Divider& divider, int32_t ratio) {
    const int result = presetDivider(board, divider, ratio);
    alg_send(board);
    return result;
}

int switchCounter(TVPNX_ALG* board, bool on) {
    if (alg_isFirst(board))
        return scpi::hardwareMissing;
    if (alg_isSwitched(board)) {
        alg_apply(board, on ? counterOn2A : counterOff2A);
        return 0;
    }
    board->counterEnabled = on;
    alg_apply(board, on ? counterOn : counterOff);
    return 0;
}

} // namespace

int alg_presetCounter(TVPNX_ALG* board, int32_t ratio) {
    if (alg_isFirst(board))
        return presetDivider(board, tvfreqAtLeastInt(board->mixerFrequency, uhfFrom_Hz) ? uhf : hf, ratio);
    presetChain(board, ratio);
    return 0;
}

int TVPNX_ALG_setCounter(TVPNX_ALG* board, int32_t ratio) {
    const int result = alg_presetCounter(board, ratio);
    alg_send(board);
    return result;
}

uint32_t TVPNX_ALG_getCounter(const TVPNX_ALG* board) {
    return board->counter;
}

int TVPNX_ALG_setCounterHF(TVPNX_ALG* board, int32_t ratio) {
    return setDivider(board, hf, ratio);
}

int TVPNX_ALG_setCounterUHF(TVPNX_ALG* board, int32_t ratio) {
    return setDivider(board, uhf, ratio);
}

int TVPNX_ALG_setCounterInput(TVPNX_ALG* board, bool high) {
    if (alg_isFirst(board))
        return scpi::hardwareMissing;
    alg_applyBit(board, DUT_CNT_MUX_BIT, high);
    return 0;
}

int TVPNX_ALG_enableFrequencyCounter(TVPNX_ALG* board) {
    return switchCounter(board, true);
}

int TVPNX_ALG_disableFrequencyCounter(TVPNX_ALG* board) {
    return switchCounter(board, false);
}
