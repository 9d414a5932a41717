// Samples: a capture into the buffers, and the stream of one to a client.

#include "acquisition/adfpga_capture.h"
#include "acquisition/adfpga_link.h"
#include "acquisition/adfpga_start.h"
#include "base/error_codes.h"
#include "base/tvdebug.h"
#include "core/abstime.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <tuple>

namespace {

constexpr uint32_t pairBytes = 4; // A in the low half, B in the high half
constexpr uint32_t pieceBytes = 4096;
constexpr double reserve = 1.2, reserve_us = 2e6; // of the time budget
constexpr uint32_t testPattern = 0x55555555;
constexpr uint32_t testPatternBytes = 4096;
constexpr uint32_t testPatternTimeout_us = 2'000'000;

using Piece = std::array<uint32_t, pieceBytes / 4>;

/// The time-out of a capture. It fits: 2^20 pairs at a decimation of 2000000 take hours, and then it is the longest.
uint32_t timeout_us(const TVPN_ADFPGA* board, uint32_t samples, uint32_t divider) {
    const double time_us = 1e6 / board->baseSampleFrequency * samples * divider * reserve + reserve_us;
    return static_cast<uint32_t>(std::min(time_us, double{UINT32_MAX}));
}

[[nodiscard]] int startSampling(TVPN_ADFPGA* board, uint32_t divider, uint32_t samples) {
    return TVPN_ADFPGA_fpgaCommandF(board, "dbg0,muxr,muxaa,muxba,dmad%u,muxe,dmas%u", divider, samples);
}

void split(const Piece& piece, uint32_t pairs, uint16_t* a, uint16_t* b) {
    for (uint32_t i = 0; i < pairs; ++i) {
        a[i] = static_cast<uint16_t>(piece[i]);
        b[i] = static_cast<uint16_t>(piece[i] >> 16);
    }
}

/// Receives a block piece by piece and gives each to `take(piece, words)`.
template <class Take> int receivePieces(TVPN_ADFPGA* board, Take take) {
    Piece piece;
    for (;;) {
        uint32_t received = 0;
        const int status = TVPN_ADFPGA_receiveSsc(board, piece.data(), pieceBytes, &received);
        if (status != 0 || received == 0)
            return status;
        take(piece, received / 4);
    }
}

int receiveSamples(TVPN_ADFPGA* board, uint32_t samples) {
    uint32_t position = 0;
    return receivePieces(board, [&](const Piece& piece, uint32_t words) {
        const uint32_t pairs = std::min(words, samples - position);
        split(piece, pairs, board->tdBuffer[0] + position, board->tdBuffer[1] + position);
        position += pairs;
    });
}

} // namespace

int TVPN_ADFPGA_captureTdSamples(TVPN_ADFPGA* board) {
    return adfpga_captureSamples(board, board->settings.tdSamplesCount, board->settings.tdDivider);
}

int adfpga_captureSamples(TVPN_ADFPGA* board, uint32_t samples, uint32_t divider) {
    const uint32_t tmoUs = timeout_us(board, samples, divider);
    int status = TVPN_ADFPGA_ADC_setOutputModeOffsetBinary(board);
    if (status == 0)
        status = TVPN_ADFPGA_listenSsc_nonrt(board, samples * pairBytes, tmoUs);
    if (status == 0)
        status = startSampling(board, divider, samples);
    if (status == 0)
        status = receiveSamples(board, samples);
    if (status == scpi::timeOutError) {
        adfpga_log("TVPN_ADFPGA_captureTdSamples(): FPGA data reception timed out\n");
        adfpga_log("TVPN_ADFPGA_captureTdSamples(): tdSamplesCount %d, tdDivider %d, tmo_us %d\n\n", samples, divider,
                   tmoUs);
    }
    TVPN_ADFPGA_closeSsc(board);
    for (Shared<uint32_t>& size : board->tdBufferSize)
        size = samples;
    return status;
}

int TVPN_ADFPGA_getTdBuffer(TVPN_ADFPGA* board, uint32_t channel, uint16_t** buffer) {
    const uint32_t number = channel != 0 ? 1 : 0;
    *buffer = board->tdBuffer[number];
    return static_cast<int>(board->tdBufferSize[number] * sizeof(uint16_t));
}

int TVPN_ADFPGA_captureSSCTestSamples(TVPN_ADFPGA* board) {
    int status = TVPN_ADFPGA_listenSsc_nonrt(board, testPatternBytes, testPatternTimeout_us);
    if (status == 0)
        status = TVPN_ADFPGA_fpgaCommandF(board, "test0x%x", testPattern);
    uint32_t good = 0;
    if (status == 0)
        status = receivePieces(board, [&](const Piece& piece, uint32_t words) {
            good += static_cast<uint32_t>(std::count(piece.begin(), piece.begin() + words, testPattern));
        });
    TVPN_ADFPGA_closeSsc(board);
    return status != 0 ? status : good * 4 == testPatternBytes ? 0 : -1;
}

// ---- stream to a client ---------------------------------------------------------------------------------------------

namespace {

bool bothChannels(const TVPN_ADFPGA* board) {
    return board->hChannel == adfpga_channelBoth;
}

int failTransfer(TVPN_ADFPGA* board) {
    const double passed = tv_abstime_secondsSince(board->hStartTime);
    if (bothChannels(board)) {
        adfpga_logToFile("TVPN_ADFPGA_handler(): error (receiving both channels)\n"
                         "TVPN_ADFPGA_handler(): tdSamplesCount %d, tdDivider %d\n"
                         "TVPN_ADFPGA_handler(): timeout %f s, time passed %f s\n\n",
                         board->settings.tdSamplesCount.get(), board->settings.tdDivider.get(), board->hTimeout,
                         passed);
    } else {
        printd("TVPN_ADFPGA_handler(): error (receiving single channel)\n");
        printd("TVPN_ADFPGA_handler(): timeout %f s, time passed %f s\n", board->hTimeout, passed);
    }
    board->sscState = sscFailed;
    return -1;
}

/// Bytes of the one channel, or a negative number.
int receiveOneChannel(TVPN_ADFPGA* board, uint32_t maxBytes, char* buffer) {
    std::array<uint16_t, pieceBytes / 2> piece;
    const uint32_t wanted = std::min(2 * std::min(maxBytes, pieceBytes), pieceBytes);
    uint32_t received = 0;
    if (const int status = TVPN_ADFPGA_receiveSsc(board, piece.data(), wanted, &received); status != 0)
        return status;
    const uint32_t first = board->hChannel == adfpga_channelA ? 0 : 1;
    for (uint32_t i = 0; i < received / pairBytes; ++i)
        memcpy(buffer + 2 * i, &piece[2 * i + first], 2);
    return static_cast<int>(received / 2);
}

int receiveBothChannels(TVPN_ADFPGA* board, uint32_t maxBytes, char* buffer) {
    uint32_t received = 0;
    const int status = TVPN_ADFPGA_receiveSsc(board, buffer, maxBytes, &received);
    return status != 0 ? status : static_cast<int>(received);
}

} // namespace

int TVPN_ADFPGA_startHMode(TVPN_ADFPGA* board) {
    const uint32_t samples = board->settings.tdSamplesCount;
    const uint32_t divider = board->settings.tdDivider;
    const int formatted = TVPN_ADFPGA_ADC_setOutputModeOffsetBinary(board);
    const uint32_t tmoUs = timeout_us(board, samples, divider);
    board->hTimeout = tmoUs / 1e6;
    board->hStartTime = tv_abstime_now();
    board->validSscBytes = 0;
    board->hChannel = board->settings.tdChannel;
    board->hBytes = bothChannels(board) ? samples * pairBytes : samples * pairBytes / 2;
    if (formatted == 0 && TVPN_ADFPGA_listenSsc_nonrt(board, samples * pairBytes, tmoUs) == 0)
        std::ignore = startSampling(board, divider, samples); // without it no samples come: the handler tells
    return 0;
}

int TVPN_ADFPGA_handler(TVPN_ADFPGA* board, int maxBytes, uint32_t, char* buffer) {
    if (board->sscState != sscListening && board->sscState != sscReceiving)
        return failTransfer(board);
    const auto room = static_cast<uint32_t>(std::max(maxBytes, 0));
    const int result =
        bothChannels(board) ? receiveBothChannels(board, room, buffer) : receiveOneChannel(board, room, buffer);
    return result < 0 ? failTransfer(board) : result;
}

int TVPN_ADFPGA_endHMode(TVPN_ADFPGA* board) {
    adfpga_finishSsc(board);
    return 0;
}
