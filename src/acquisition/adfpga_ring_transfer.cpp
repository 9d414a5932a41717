// The task that moves frequency-versus-time words from the stream into a ring.

#include "acquisition/adfpga_link.h"
#include "base/tvdebug.h"

#include <tuple>

namespace {

/// Receives a block of `count` words. Returns the status of the last read.
int receiveBlock(TVPN_ADFPGA* board, uint32_t* position, uint32_t count) {
    const bool isA = board->activeRing == &board->fvstRing[0];
    if (const int status = TVPN_ADFPGA_listenSsc_nonrt(board, count * 4, 0); status != 0)
        return status;
    // Without the command no words come: the reading tells.
    std::ignore = TVPN_ADFPGA_fpgaCommandF(board, "dmaf%cd%u", isA ? 'a' : 'b', count);
    auto* const bytes = reinterpret_cast<uint8_t*>(position);
    int status = 0;
    for (uint32_t done = 0, received = 1; received != 0 && status == 0; done += received)
        status = TVPN_ADFPGA_receiveSsc(board, bytes + done, count * 4 - done, &received);
    if (status != 0)
        printd("TVPN_ADFPGA_transferTask(): FPGA data reception timed out\n");
    return status;
}

} // namespace

void* TVPN_ADFPGA_transferTask(void* argument) {
    auto* const board = static_cast<TVPN_ADFPGA*>(argument);
    FvstRing* const ring = board->activeRing;
    adfpga_abortAtExit(board);
    int status = 0;
    while (ring->transferred < ring->samplesCount && board->transferCancel == 0) {
        uint32_t* position = nullptr;
        uint32_t count = 0;
        status = TVPN_ADFPGA_openBlockingWriteAccess(ring, ring->samplesCount - ring->transferred, &position, &count);
        if (status != 0 || count == 0)
            break;
        status = receiveBlock(board, position, count);
        TVPN_ADFPGA_closeSsc(board);
        TVPN_ADFPGA_closeWriteAccess(ring);
        ring->transferred = ring->transferred + count;
    }
    adfpga_abortAtExit(nullptr);
    TVPN_ADFPGA_exitTransferTask(board, status);
    return nullptr;
}

void adfpga_startRingTransfer(TVPN_ADFPGA* board, FvstRing* ring) {
    TVPN_ADFPGA_joinTransferTask(board, nullptr);
    board->activeRing = ring;
    ring->transferred = 0;
    TVPN_ADFPGA_initializeRing(ring);
    TVPN_ADFPGA_startTransferTask(board, TVPN_ADFPGA_transferTask);
}
