// The frequency-versus-time capture: its start, the task that waits for its end, and the transfer to a client.

#include "acquisition/adfpga_fvst.h"

#include "acquisition/adfpga_link.h"
#include "base/error_codes.h"
#include "base/tvdebug.h"
#include "device_table/status_registers.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace {

constexpr uint16_t measuring = 16, waitingForTrigger = 32; // of the operation status register
constexpr uint32_t doneBytes = 4;                          // that tell of the end

/// Dividers 1 and 2, in any pairing, go out as 2: the FPGA has no room for more.
std::array<uint32_t, 2> dividersOf(const TVPN_ADFPGA* board) {
    const uint32_t a = board->fvstRing[adfpga_channelA].divider, b = board->fvstRing[adfpga_channelB].divider;
    if ((a == 1 && b <= 2) || (b == 1 && a <= 2))
        return {2, 2};
    return {a, b};
}

void showRunning(TVPN_ADFPGA* board) {
    statusRegister_setCondition(board->fvstOperation, measuring | waitingForTrigger);
}

void showEnded(TVPN_ADFPGA* board) {
    statusRegister_clearCondition(board->fvstOperation, waitingForTrigger | measuring);
    board->fvstRunning = 0;
}

/// The FPGA sends a few bytes when the capture has ended: the read of them is the wait.
int awaitEnd(TVPN_ADFPGA* board) {
    std::array<uint8_t, doneBytes> done{};
    int status = TVPN_ADFPGA_listenSsc_nonrt(board, doneBytes, 0);
    if (status == 0)
        status = TVPN_ADFPGA_sendFpga(board, "dmafr");
    for (uint32_t at = 0, received = 1; at < doneBytes && received != 0 && status == 0; at += received) {
        status = TVPN_ADFPGA_receiveSsc(board, &done[at], doneBytes - at, &received);
        if (status != 0)
            printd("TVPN_ADFPGA_fvstStatusTask(): FPGA data reception timed out\n");
    }
    TVPN_ADFPGA_closeSsc(board);
    return status;
}

void* fvstStatusTask(void* argument) {
    auto* const board = static_cast<TVPN_ADFPGA*>(argument);
    adfpga_abortAtExit(board);
    const int status = awaitEnd(board);
    showEnded(board);
    adfpga_abortAtExit(nullptr);
    TVPN_ADFPGA_exitTransferTask(board, status);
    return nullptr;
}

} // namespace

int TVPN_ADFPGA_captureFvstSamples(TVPN_ADFPGA* board) {
    if (board->fvstOperation == nullptr)
        return scpi::hardwareMissing;
    TVPN_ADFPGA_waitComplete(board);
    const int formatted = TVPN_ADFPGA_ADC_setOutputMode2Complement(board);
    const auto [dividerA, dividerB] = dividersOf(board);
    const AdfpgaTrigger& trigger = board->trigger;
    const int status = TVPN_ADFPGA_fpgaCommandF(
        board, "muxr,muxaa,muxba,dmafan%u,dmafbn%u,dmafbr%u,dmafar%u,muxe,dmaft%u,dmaflh%f,dmafll%f,dmafs",
        board->fvstRing[adfpga_channelA].samplesCount, board->fvstRing[adfpga_channelB].samplesCount, dividerB,
        dividerA, TVPN_ADFPGA_fvstTriggerConfiguration(board), tvfreq2double(&trigger.levelHigh, nullptr),
        tvfreq2double(&trigger.levelLow, nullptr));
    board->fvstRunning = 1; // also behind a failure: an abort makes sure that nothing runs
    if (const int failure = chip_firstFailure({formatted, status}); failure != 0)
        return failure;
    showRunning(board);
    if (trigger.continuous == 0)
        TVPN_ADFPGA_startTransferTask(board, fvstStatusTask);
    return 0;
}

void adfpga_endFvst(TVPN_ADFPGA* board) {
    chip_carryOn(TVPN_ADFPGA_sendFpga(board, "dmafi"));
    showEnded(board);
}

int TVPN_ADFPGA_fvstGetHBytes(TVPN_ADFPGA* board, uint32_t channel) {
    if (board->fvstOperation == nullptr)
        return 0;
    FvstRing* const ring = &board->fvstRing[channel];
    adfpga_startRingTransfer(board, ring);
    return static_cast<int>(ring->samplesCount * sizeof *ring->data);
}

int TVPN_ADFPGA_fvstHandler(TVPN_ADFPGA* board, uint32_t channel, int maxBytes, char* buffer) {
    if (board->fvstOperation == nullptr)
        return scpi::hardwareMissing;
    FvstRing* const ring = &board->fvstRing[channel];
    const uint32_t wanted = static_cast<uint32_t>(std::max(maxBytes, 0)) / sizeof *ring->data;
    uint32_t* words = nullptr;
    uint32_t count = 0;
    const bool ended = TVPN_ADFPGA_joinTransferTask_timeout(board, nullptr, 0) == 0;
    TVPN_ADFPGA_openReadAccess(ring, wanted, &words, &count);
    if (count == 0 && wanted != 0 && ended)
        return scpi::executionError; // nobody writes any more
    if (count == 0)
        if (const int status = TVPN_ADFPGA_openBlockingReadAccess(ring, wanted, &words, &count); status != 0)
            return status;
    const size_t bytes = count * sizeof *words;
    memcpy(buffer, words, bytes);
    return static_cast<int>(bytes);
}
