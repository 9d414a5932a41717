#pragma once
/// Signals, and the way out of the process.
///
/// A fatal signal may hit a thread that holds any lock. So its handler only wakes a thread that waits for this, and
/// that thread leaves in order. Should it get stuck on the way, a timer ends the process half a second after the
/// signal.

#include <atomic>
#include <cstddef>
#include <span>

inline constexpr size_t faultStackBytes = 64 * 1024;

/// Gives the calling thread a stack for its handlers, so that an overflow of its own is logged too; an empty one takes
/// it back. The main thread has one from installSignalHandlers.
void signals_useFaultStack(std::span<char> stack);

/// Starts the thread that leaves, and installs signal_handler for all signals that the instrument answers to.
void installSignalHandlers();

/// SIGPIPE, SIGVTALRM and SIGIO are ignored, SIGXCPU (a real-time task has fallen back to ordinary scheduling) is
/// reported with a back-trace. SIGSEGV, SIGABRT, SIGFPE, SIGBUS, SIGILL, SIGTRAP and SIGSYS write the crash log
/// /tolvane/segv and then end the process like all others, but with the status 128 + the signal's number.
void signal_handler(int signal);

/// What exit_TV calls to let go of the hardware, if set: start-up knows it, the services do not.
extern std::atomic<void (*)()> exit_closeHardware;
/// What it calls last, with the cookie, while a task that a cancelled transfer does not end has the sample stream; both
/// null otherwise.
extern std::atomic<void (*)(void*)> rt_thread_exit;
extern std::atomic<void*> rt_thread_exit_cookie;

/// Aborts what the device is doing, lets go of the hardware and ends the process, with status 0 unless it has crashed.
/// Does not return; a second call, while the first is at work, ends the process at once.
[[noreturn]] void exit_TV();
