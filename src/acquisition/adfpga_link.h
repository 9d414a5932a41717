#pragma once
/// The two links to the acquisition board, and the task that moves blocks in the background.
///
/// Between a listen and the end of its reception only the thread that owns the stream may use it. Locks, outermost
/// first: joinMutex, completeMutex, streamMutex. A join waits for the task with joinMutex held; the task takes the
/// others only.

#include "acquisition/TVPN_ADFPGA.h"

#include <cstddef>

// ---- command link ---------------------------------------------------------------------------------------------------

inline constexpr size_t adfpga_commandMax = 103; // characters of one command

/// Sends one command with its NUL. Returns 0; -200 if the bus failed; -321, and nothing is sent, if it is too long.
[[nodiscard]] int TVPN_ADFPGA_sendFpga(TVPN_ADFPGA* board, const char* command);
/// Sends commands that are separated by commas, each as a message of its own. Null and an empty text send nothing.
/// Returns 0 or the first failure; the others are sent all the same.
[[nodiscard]] int TVPN_ADFPGA_fpgaCommandsImmediate(TVPN_ADFPGA* board, const char* commands);
/// The same with a formatted text of at most 255 characters; a longer one gives -321 and sends nothing.
[[nodiscard, gnu::format(printf, 2, 3)]] int TVPN_ADFPGA_fpgaCommandF(TVPN_ADFPGA* board, const char* format, ...);
/// Reads `length` characters of an answer, at most adfpga_commandMax + 1. With `wait` not 0 it comes back when the
/// answer is there, after 1.26 s at the latest; the text is then all NUL. Returns 0, or -200 if the bus failed.
[[nodiscard]] int TVPN_ADFPGA_receiveFpga(TVPN_ADFPGA* board, char* buffer, uint32_t length, int wait);

// ---- sample stream --------------------------------------------------------------------------------------------------

/// Opens the stream and arms it for one block, before the command that makes the FPGA send it. `timeoutUs` is that of
/// each read, 0 for none. Returns 0, or -200 without a change of sscState.
[[nodiscard]] int TVPN_ADFPGA_listenSsc_nonrt(TVPN_ADFPGA* board, uint32_t bytes, uint32_t timeoutUs);
/// Takes what has arrived, at most `maxBytes` rounded down to a multiple of 4, and waits for it. A block that is
/// complete, and a stream that failed or was cancelled, give 0 bytes. Returns 0, or -365 after the time-out.
[[nodiscard]] int TVPN_ADFPGA_receiveSsc_rt(TVPN_ADFPGA* board, void* buffer, uint32_t maxBytes, uint32_t* received);
/// The same from a thread in secondary mode, which it is again afterwards.
[[nodiscard]] int TVPN_ADFPGA_receiveSsc(TVPN_ADFPGA* board, void* buffer, uint32_t maxBytes, uint32_t* received);
/// Sends a command that is answered by a text of `bytes` bytes over the stream. Returns 0, -200 or -365.
[[nodiscard]] int TVPN_ADFPGA_receiveStreamText(TVPN_ADFPGA* board, const char* command, uint32_t timeoutUs, char* text,
                                                uint32_t bytes);
void TVPN_ADFPGA_closeSsc(TVPN_ADFPGA* board);
/// Ends the block that is being received, from any thread. Without one nothing happens.
void TVPN_ADFPGA_cancelSsc(TVPN_ADFPGA* board);
/// Bytes that the driver called valid in the last block transfer; 0 while the stream is open.
[[nodiscard]] uint32_t TVPN_ADFPGA_getValidSscBytes(TVPN_ADFPGA* board);
/// Ends a block transfer: takes its valid bytes and closes the stream.
void adfpga_finishSsc(TVPN_ADFPGA* board);

/// Primary mode for the calling thread while the guard lives, as reads of the stream need it.
class PrimaryMode {
public:
    PrimaryMode();
    ~PrimaryMode();
    PrimaryMode(const PrimaryMode&) = delete;
    PrimaryMode& operator=(const PrimaryMode&) = delete;
};

// ---- transfer task --------------------------------------------------------------------------------------------------

using adfpga_transferBody = void* (*)(void* board);

/// Starts `body(board)` on the thread of the transfer tasks, after the end of an earlier one.
void TVPN_ADFPGA_startTransferTask(TVPN_ADFPGA* board, adfpga_transferBody body);
/// The same for a task that is joined at once: whoever joins it runs it, which spares two hand-overs between threads.
/// Who waits for its end in another way lets the thread begin it.
void TVPN_ADFPGA_postTransferTask(TVPN_ADFPGA* board, adfpga_transferBody body);
/// The last act of a body.
void TVPN_ADFPGA_exitTransferTask(TVPN_ADFPGA* board, int status);
/// Waits for the end of the task; `status`, if not null, receives what it ended with. Returns 0.
int TVPN_ADFPGA_joinTransferTask(TVPN_ADFPGA* board, int* status);
/// The same for `timeoutUs` microseconds at most; -365 if the task goes on.
[[nodiscard]] int TVPN_ADFPGA_joinTransferTask_timeout(TVPN_ADFPGA* board, int* status, uint64_t timeoutUs);
/// Makes the task end and waits for it.
void TVPN_ADFPGA_cancelTransferTask(TVPN_ADFPGA* board);
void TVPN_ADFPGA_waitComplete(TVPN_ADFPGA* board);
/// Stops whatever runs: the task, a block that another thread receives, a frequency-versus-time capture. From any
/// thread.
int TVPN_ADFPGA_abort(TVPN_ADFPGA* board);

// ---- rings ----------------------------------------------------------------------------------------------------------

/// Counts and results are words of 32 bits. An open access ends with its close; opening again ends it as well. The
/// count is what may be moved in one piece, 0 when the ring is full or empty, the blocking forms wait until it is not.
/// A wait ends without a word only when the event is gone. All return 0 or the failure of the wait.
void TVPN_ADFPGA_initializeRing(FvstRing* ring);
int TVPN_ADFPGA_openWriteAccess(FvstRing* ring, uint32_t wanted, uint32_t** position, uint32_t* count);
int TVPN_ADFPGA_openReadAccess(FvstRing* ring, uint32_t wanted, uint32_t** position, uint32_t* count);
[[nodiscard]] int TVPN_ADFPGA_openBlockingWriteAccess(FvstRing* ring, uint32_t wanted, uint32_t** position,
                                                      uint32_t* count);
[[nodiscard]] int TVPN_ADFPGA_openBlockingReadAccess(FvstRing* ring, uint32_t wanted, uint32_t** position,
                                                     uint32_t* count);
int TVPN_ADFPGA_closeWriteAccess(FvstRing* ring);
int TVPN_TVFPGA_closeReadAccess(FvstRing* ring);

/// Wakes whoever waits for the other side of a ring.
void adfpga_wakeRings(TVPN_ADFPGA* board);

/// Empties the ring and starts the task that fills it with its samplesCount words, after the end of an earlier one. The
/// ring is empty when this returns: its reader may come at once and finds nothing of an earlier transfer.
void adfpga_startRingTransfer(TVPN_ADFPGA* board, FvstRing* ring);
/// While a task may wait for ever, leaving the process aborts the board first; null ends that.
void adfpga_abortAtExit(TVPN_ADFPGA* board);
/// Ends a frequency-versus-time capture, whose task has ended.
void adfpga_endFvst(TVPN_ADFPGA* board);
/// Body of that task.
void* TVPN_ADFPGA_transferTask(void* board);

// ---- field diagnostics ----------------------------------------------------------------------------------------------

/// Appends to /tolvane/temp/fpgalog.
[[gnu::format(printf, 1, 2)]] void adfpga_logToFile(const char* format, ...);
/// The same, and on the debug channel.
[[gnu::format(printf, 1, 2)]] void adfpga_log(const char* format, ...);
