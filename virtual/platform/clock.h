#pragma once
/// The one clock of the virtual instrument, in nanoseconds. The firmware reads it through rt_timer_read, the models
/// through clock_now. Lock-free; callable from any thread; never goes back.
///
/// In fast mode (the state at start) time passes only because somebody spends it: rt_task_sleep_until moves the clock
/// to its date at once and returns 0, and the models add what the hardware would have needed. In real-time mode the
/// clock is the host's monotonic one and rt_task_sleep_until answers -1, as to a thread that is no real-time task, so
/// that the firmware sleeps on the host.

#include <cstdint>

namespace vi {

enum class TimeMode { fast, realTime };

/// To be called before the threads of the instrument start. The clock goes on from its present reading or jumps ahead.
void clock_setMode(TimeMode mode);
[[nodiscard]] TimeMode clock_mode();

[[nodiscard]] uint64_t clock_now();

/// Adds what an action of the hardware takes, in nanoseconds. Does nothing in real-time mode.
void clock_spend(uint64_t nanoseconds);

/// Lets so much time pass: in real-time mode by sleeping.
void clock_take(uint64_t nanoseconds);

} // namespace vi
