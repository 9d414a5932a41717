// The transfer task: one background thread at a time that owns the sample stream.

#include "acquisition/adfpga_link.h"
#include "base/error_codes.h"
#include "core/signals.h"
#include "core/worker.h"

#include <ctime>

namespace {

constexpr size_t taskStack = 16384; // bytes
constexpr uint64_t cancelRetry_us = 10000;
constexpr int64_t nsPerUs = 1000, nsPerSec = 1'000'000'000;

// A run makes thousands of captures. There is one board, and one task at a time.
Worker transferWorker;

timespec deadlineAfter(uint64_t us) {
    timespec deadline;
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    const int64_t ns = deadline.tv_nsec + static_cast<int64_t>(us % 1'000'000) * nsPerUs;
    deadline.tv_sec += static_cast<time_t>(us / 1'000'000) + ns / nsPerSec;
    deadline.tv_nsec = ns % nsPerSec;
    return deadline;
}

/// False if the body has not ended within `us`.
bool awaitCompletion(TVPN_ADFPGA* board, uint64_t us) {
    transferWorker.hurry(); // who waits here does not run it
    const timespec deadline = deadlineAfter(us);
    MutexLock lock(board->completeMutex);
    while (board->transferComplete == 0)
        if (!board->completeCond.waitUntil(board->completeMutex, deadline))
            return board->transferComplete != 0;
    return true;
}

void join(TVPN_ADFPGA* board) REQUIRES(board->joinMutex) {
    if (board->transferRunning == 0)
        return;
    transferWorker.join();
    board->transferRunning = 0;
}

} // namespace

void TVPN_ADFPGA_startTransferTask(TVPN_ADFPGA* board, adfpga_transferBody body) {
    TVPN_ADFPGA_postTransferTask(board, body);
    transferWorker.hurry();
}

void TVPN_ADFPGA_postTransferTask(TVPN_ADFPGA* board, adfpga_transferBody body) {
    MutexLock lock(board->joinMutex);
    join(board);
    {
        MutexLock complete(board->completeMutex);
        board->transferStatus = 0;
        board->transferComplete = 0;
    }
    board->transferRunning = transferWorker.post(body, board, taskStack) ? 1 : 0;
    if (board->transferRunning == 0)
        TVPN_ADFPGA_exitTransferTask(board, scpi::executionError);
}

void TVPN_ADFPGA_exitTransferTask(TVPN_ADFPGA* board, int status) {
    MutexLock lock(board->completeMutex);
    board->transferStatus = status;
    board->transferComplete = 1;
    board->completeCond.broadcast();
}

int TVPN_ADFPGA_joinTransferTask(TVPN_ADFPGA* board, int* status) {
    {
        MutexLock lock(board->joinMutex);
        join(board);
    }
    if (status != nullptr) {
        MutexLock lock(board->completeMutex);
        *status = board->transferStatus;
    }
    return 0;
}

int TVPN_ADFPGA_joinTransferTask_timeout(TVPN_ADFPGA* board, int* status, uint64_t timeoutUs) {
    if (!awaitCompletion(board, timeoutUs))
        return scpi::timeOutError;
    return TVPN_ADFPGA_joinTransferTask(board, status);
}

void TVPN_ADFPGA_cancelTransferTask(TVPN_ADFPGA* board) {
    // The task may be between two blocks, or on its way into a read, when it is asked to stop: ask until it has. The
    // end of another thread's cancel must not make it go on meanwhile.
    do {
        board->transferCancel = 1;
        TVPN_ADFPGA_cancelSsc(board);
        adfpga_wakeRings(board);
    } while (!awaitCompletion(board, cancelRetry_us));
    TVPN_ADFPGA_joinTransferTask(board, nullptr);
    board->transferCancel = 0;
}

void TVPN_ADFPGA_waitComplete(TVPN_ADFPGA* board) {
    TVPN_ADFPGA_joinTransferTask(board, nullptr);
}

int TVPN_ADFPGA_abort(TVPN_ADFPGA* board) {
    const bool fvst = board->fvstRunning != 0; // the task that waits for its end would take it for one
    TVPN_ADFPGA_cancelTransferTask(board);
    if (fvst)
        adfpga_endFvst(board);
    TVPN_ADFPGA_cancelSsc(board);
    return 0;
}

void adfpga_abortAtExit(TVPN_ADFPGA* board) {
    if (board == nullptr)
        rt_thread_exit = nullptr;
    rt_thread_exit_cookie = board;
    if (board != nullptr)
        rt_thread_exit = [](void* cookie) { TVPN_ADFPGA_abort(static_cast<TVPN_ADFPGA*>(cookie)); };
}
