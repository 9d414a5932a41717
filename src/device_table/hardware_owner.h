#pragma once
/// Who has the hardware. While a run is on it belongs to the run's thread alone: from any other thread a slot that
/// drives or reads the boards is not called but refused, with -221 where it returns an error, and the command that
/// called it fails with -221 and no answer.

#include <atomic>
#include <cstdint>

/// True from INIT to the end of the run.
inline constinit std::atomic<bool> hardware_takenByRun{false};

/// True on the run's own thread.
inline thread_local bool hardware_isRunThread = false;

/// Calls of this thread that were refused since the last command.
inline thread_local int32_t hardware_refusedCalls = 0;

/// Blocks on their way to clients that are read out of the capture buffers, or stream from the board. While there are
/// any, nothing is captured and no run begins: -221.
inline constinit std::atomic<int32_t> hardware_blocksOut{0};

[[nodiscard]] inline bool hardware_isTaken() {
    return hardware_takenByRun.load(std::memory_order_acquire) && !hardware_isRunThread;
}
