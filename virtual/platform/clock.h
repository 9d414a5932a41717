#pragma once
/// The one clock of the virtual instrument, in nanoseconds. The firmware reads it through rt_timer_read, the models
/// through clock_now. Lock-free; callable from any thread; never goes back.
///
/// In fast mode (the state at start) time passes because somebody spends it: rt_task_sleep_until moves the clock to its
/// date at once and returns 0, and the models add what the hardware would have needed; while the instrument is idle it
/// passes as on the wall. While it works the host's time never counts, so that it cannot change a result. In real-time
/// mode the clock is the host's monotonic one and rt_task_sleep_until answers -1, as to a thread that is no real-time
/// task, so that the firmware sleeps on the host.

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

/// For whoever sees the whole instrument, to be told again and again while nothing can begin to work: whether it is
/// idle. What has passed on the wall since it was told the same the last time counts then, and what passes from now on
/// up to the next look at the clock, with which work begins, counts as well. Does nothing in real-time mode.
void clock_tellIdle(bool idle);

} // namespace vi
