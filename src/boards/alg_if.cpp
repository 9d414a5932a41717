// The IF chain: filters, amplifiers, gain.

#include "base/error_codes.h"
#include "base/tvdebug.h"
#include "boards/alg_lines.h"

#include <cstdio>

namespace {

enum Filter : uint32_t { dc, band5M, band20M, band50M };

constexpr int64_t band20MFrom_Hz = 23'000'000, band50MFrom_Hz = 70'000'000; // at the mixer
constexpr uint32_t channelMax = 3;

struct FilterRow {
    AlgPattern first;  // 1B, 1C
    AlgPattern second; // from 2A on
};
consteval FilterRow filterRow(std::string_view first, std::string_view second) {
    return {
        alg_pattern({IF_16_BIT, IF_18_BIT, IF_17_BIT, IF_19_BIT, IF_12_BIT, IF_FILTER_A1_BIT, IF_FILTER_A0_BIT}, first),
        alg_pattern({IF_FILTER_A1_BIT, IF_FILTER_A0_BIT, IF_5M_DIS_BIT, IF_23_BIT, IF_50M_EN_BIT, IF_20M_EN_BIT},
                    second)};
}
constexpr FilterRow filterRows[] = {
    filterRow("1010011", "001000"), // DC
    filterRow("1000111", "110100"), // 5 MHz
    filterRow("1110101", "101101"), // 20 MHz
    filterRow("1011001", "011110"), // 50 MHz
};

constexpr AlgPattern baseband1x =
    alg_pattern({IF_16_BIT, IF_18_BIT, IF_17_BIT, IF_19_BIT, IF_12_BIT, IF_FILTER_A1_BIT, IF_FILTER_A0_BIT}, "0010100");
constexpr AlgPattern baseband2A = alg_pattern({IF_30_BIT, IF_BB_AMP_DIS_BIT}, "00");
constexpr AlgPattern baseband = alg_pattern({IF_MUX_A0_BIT, IF_MUX_A1_BIT, IF_BB_AMP_DIS_BIT}, "000");

consteval AlgPattern vga(std::string_view values) {
    return alg_pattern({IF_MUX_VGA1_EN_BIT, IF_MUX_VGA2_EN_BIT}, values);
}
constexpr AlgPattern vgaStates[] = {vga("00"), vga("01"), vga("10"), vga("11")};

// 2D.
constexpr int32_t narrowBelow_dB = 6; // requests below take the 5 MHz band
constexpr int32_t plainFrom_dB =
    16; // requests from here on take the band amplifiers, which IF_FM_DEMOD_EN_BIT bypasses

void presetFilter(TVPNX_ALG* board, Filter filter) {
    alg_preset(board, alg_isFirst(board) ? filterRows[filter].first : filterRows[filter].second);
    selectedPath = filter + 1;
}

int setFilter(TVPNX_ALG* board, Filter filter) {
    presetFilter(board, filter);
    alg_send(board);
    return 0;
}

Filter filterOf(const TVPNX_ALG* board, uint32_t channel) {
    if (channel == 0)
        return dc;
    if (board->pulseMode || !tvfreqAtLeastInt(board->mixerFrequency, band20MFrom_Hz))
        return band5M;
    return tvfreqAtLeastInt(board->mixerFrequency, band50MFrom_Hz) ? band50M : band20M;
}

const AlgGainStep* gainStep(const TVPNX_ALG* board, int32_t gain) {
    for (const AlgGainStep& step : alg_revision(board).gains)
        if (gain < step.below)
            return &step;
    return nullptr;
}

int switchDiscriminator(TVPNX_ALG* board, bool on) {
    if (!alg_isSwitched(board))
        return scpi::hardwareMissing;
    board->fmDiscriminator = on;
    alg_applyBit(board, IF_FM_DEMOD_EN_BIT, on);
    return 0;
}

} // namespace

int TVPNX_ALG_setIFMuxPath(TVPNX_ALG* board, uint32_t channel) {
    if (channel > channelMax) {
        printd("TVPNX_ALG: invalid if channel selected\n");
        return scpi::illegalParameterValue;
    }
    return setFilter(board, filterOf(board, channel));
}

uint32_t TVPNX_ALG_getIFMuxPath(const TVPNX_ALG* /*board*/) {
    return selectedPath;
}

int TVPNX_ALG_setIFMuxDC(TVPNX_ALG* board) {
    return setFilter(board, dc);
}

int TVPNX_ALG_setIFMuxBP5M(TVPNX_ALG* board) {
    return setFilter(board, band5M);
}

int TVPNX_ALG_setIFMuxBPxM(TVPNX_ALG* board) {
    return setFilter(board, band20M);
}

int TVPNX_ALG_setIFMuxBP50M(TVPNX_ALG* board) {
    return setFilter(board, band50M);
}

int TVPNX_ALG_setIFMuxBBIn(TVPNX_ALG* board) {
    alg_apply(board, alg_isFirst(board) ? baseband1x : alg_isSwitched(board) ? baseband2A : baseband);
    return 0;
}

int TVPNX_ALG_setVGA_Gain_State(TVPNX_ALG* board, uint32_t state) {
    if (state >= std::size(vgaStates)) {
        printd("TVPNX: unknown VGA gain stage\n");
        return scpi::illegalParameterValue;
    }
    alg_apply(board, vgaStates[state]);
    return 0;
}

int TVPNX_ALG_setIFGain(TVPNX_ALG* board, int32_t gain) {
    const AlgGainStep* step = gainStep(board, gain);
    if (step == nullptr) {
        printd("TVPNX: unknown IF gain value\n");
        return scpi::illegalParameterValue;
    }
    const bool pulsed = alg_revision(board).pulsed;
    if (pulsed && board->pulseMode) {
        alg_applyBit(board, IF_FM_DEMOD_EN_BIT, true);
        uint32_t unused = 0;
        alg_carryOn(TVPNX_ALG_getDutPowerAdcValue(board, &unused)); // the reading sets the detector's level
    }
    alg_preset(board, vgaStates[step->vgaState]);
    presetFilter(board, filterOf(board, step->channel));
    board->ifGain = step->gain_dB;
    if (pulsed && gain < narrowBelow_dB && !board->tranMode) {
        presetFilter(board, band5M);
        alg_presetBit(board, IF_FM_DEMOD_EN_BIT, true);
    }
    if (pulsed && gain >= plainFrom_dB)
        alg_presetBit(board, IF_FM_DEMOD_EN_BIT, false);
    alg_send(board);
    return 0;
}

uint32_t TVPNX_ALG_getIFGain(const TVPNX_ALG* board) {
    return board->ifGain;
}

int TVPNX_ALG_getIFGainList(const TVPNX_ALG* board, char* text) {
    snprintf(text, TVPNX_ALG_listTextSize, "%s", alg_revision(board).gainList);
    return 0;
}

int TVPNX_ALG_enableFMDiscriminator(TVPNX_ALG* board) {
    return switchDiscriminator(board, true);
}

int TVPNX_ALG_disableFMDiscriminator(TVPNX_ALG* board) {
    return switchDiscriminator(board, false);
}

int TVPNX_ALG_isFMDiscriminatorEnabled(const TVPNX_ALG* board) {
    return board->fmDiscriminator ? 1 : 0;
}
