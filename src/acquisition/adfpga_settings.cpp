// Settings of the acquisition board and their queries.

#include "acquisition/adfpga_capture.h"
#include "acquisition/adfpga_generation.h"
#include "numeric/tvmath.h"

#include <algorithm>

namespace {

constexpr uint32_t tdDividerMax = 2'000'000;

bool exists(int32_t stage) {
    return stage >= 0 && stage < static_cast<int32_t>(adfpga_stagesMax);
}

} // namespace

int TVPN_ADFPGA_setTdSamplesCount(TVPN_ADFPGA* board, uint32_t count) {
    board->settings.tdSamplesCount = count == 0 ? 0 : std::clamp<uint32_t>(count, 2, adfpga_tdSamplesMax) & ~1U;
    return 0;
}

int TVPN_ADFPGA_setTdDivider(TVPN_ADFPGA* board, uint32_t divider) {
    board->settings.tdDivider = std::clamp<uint32_t>(divider, 1, tdDividerMax);
    return 0;
}

int TVPN_ADFPGA_setTdChannelAOnly(TVPN_ADFPGA* board) {
    board->settings.tdChannel = adfpga_channelA;
    return 0;
}
int TVPN_ADFPGA_setTdChannelBOnly(TVPN_ADFPGA* board) {
    board->settings.tdChannel = adfpga_channelB;
    return 0;
}
int TVPN_ADFPGA_setTdChannelBoth(TVPN_ADFPGA* board) {
    board->settings.tdChannel = adfpga_channelBoth;
    return 0;
}
int TVPN_ADFPGA_isTdChannelAOnly(const TVPN_ADFPGA* board) {
    return board->settings.tdChannel == adfpga_channelA;
}
int TVPN_ADFPGA_isTdChannelBOnly(const TVPN_ADFPGA* board) {
    return board->settings.tdChannel == adfpga_channelB;
}
int TVPN_ADFPGA_isTdChannelBoth(const TVPN_ADFPGA* board) {
    return board->settings.tdChannel == adfpga_channelBoth;
}

int TVPN_ADFPGA_setFdChannelAOnly(TVPN_ADFPGA* board) {
    board->settings.fdChannel = adfpga_channelA;
    return 0;
}
int TVPN_ADFPGA_setFdChannelBOnly(TVPN_ADFPGA* board) {
    board->settings.fdChannel = adfpga_channelB;
    return 0;
}
int TVPN_ADFPGA_setFdChannelCrosscorrelation(TVPN_ADFPGA* board) {
    board->settings.fdChannel = adfpga_crossCorrelation;
    return 0;
}
int TVPN_ADFPGA_isFdChannelAOnly(const TVPN_ADFPGA* board) {
    return board->settings.fdChannel == adfpga_channelA;
}
int TVPN_ADFPGA_isFdChannelBOnly(const TVPN_ADFPGA* board) {
    return board->settings.fdChannel == adfpga_channelB;
}
int TVPN_ADFPGA_isFdChannelCrosscorrelation(const TVPN_ADFPGA* board) {
    return board->settings.fdChannel == adfpga_crossCorrelation;
}

int TVPN_ADFPGA_setFdStages(TVPN_ADFPGA* board, uint32_t stages) {
    board->settings.fdStages = std::min(stages, adfpga_stagesMax);
    return 0;
}

int TVPN_ADFPGA_setFdCorrelations(TVPN_ADFPGA* board, int32_t stage, uint32_t count) {
    if (exists(stage))
        board->settings.fdCorrelations[static_cast<uint32_t>(stage)] = count;
    return 0;
}

int TVPN_ADFPGA_setFdSamplesCount(TVPN_ADFPGA* board, int32_t stage, uint32_t points) {
    if (!exists(stage))
        return 0;
    const auto number = static_cast<uint32_t>(stage);
    if (number >= adfpga_generation(board).firstSettableStage)
        board->settings.fdSamplesCount[number] =
            tvmath_roundToPow2(std::clamp(points, adfpga_fdPointsMin, adfpga_fdPointsMax));
    return 0;
}

int TVPN_ADFPGA_setCounterTimeout(TVPN_ADFPGA* board, tv_time seconds) {
    board->settings.counterTimeout = seconds;
    return 0;
}

int TVPN_ADFPGA_setCounterMinimum(TVPN_ADFPGA* board, uint32_t count) {
    board->counterMinimum = count;
    return 0;
}

int TVPN_ADFPGA_setFpgaBytes(TVPN_ADFPGA* board, uint32_t bytes) {
    board->hBytes = bytes;
    return 0;
}

uint32_t TVPN_ADFPGA_getTdSamplesCount(const TVPN_ADFPGA* board) {
    return board->settings.tdSamplesCount;
}

uint32_t TVPN_ADFPGA_getTdDivider(const TVPN_ADFPGA* board) {
    return board->settings.tdDivider;
}

uint32_t TVPN_ADFPGA_getTdBufferSize(const TVPN_ADFPGA* board, uint32_t channel) {
    return board->tdBufferSize[channel != 0 ? 1 : 0];
}

uint32_t TVPN_ADFPGA_getFdStages(const TVPN_ADFPGA* board) {
    return board->settings.fdStages;
}

uint32_t TVPN_ADFPGA_getFdCorrelations(const TVPN_ADFPGA* board, int32_t stage) {
    return exists(stage) ? board->settings.fdCorrelations[static_cast<uint32_t>(stage)].get() : 0;
}

uint32_t TVPN_ADFPGA_getFdSamplesCount(const TVPN_ADFPGA* board, int32_t stage) {
    return exists(stage) ? board->settings.fdSamplesCount[static_cast<uint32_t>(stage)].get() : 0;
}

double TVPN_ADFPGA_getFdSamplingFreq(const TVPN_ADFPGA* board, int32_t stage) {
    return exists(stage) ? board->fdSamplingFreq[static_cast<uint32_t>(stage)] : 0;
}

uint32_t TVPN_ADFPGA_getFdBufferSize(const TVPN_ADFPGA* board, uint32_t stage) {
    return board->fdBufferSize[std::min(stage, adfpga_stagesMax - 1)];
}

double TVPN_ADFPGA_getBaseSampleFrequency(const TVPN_ADFPGA* board) {
    return board->baseSampleFrequency;
}

uint32_t TVPN_ADFPGA_getResetCount(const TVPN_ADFPGA* board) {
    return board->resetCount;
}

tv_time TVPN_ADFPGA_getCounterTimeout(const TVPN_ADFPGA* board) {
    return board->settings.counterTimeout;
}

uint32_t TVPN_ADFPGA_getCounterMinimum(const TVPN_ADFPGA* board) {
    return board->counterMinimum;
}

uint32_t TVPN_ADFPGA_getHBytes(const TVPN_ADFPGA* board) {
    return board->hBytes;
}
