#pragma once
/// The real-time co-kernel as the firmware sees it. The target's co-kernel supplies these calls; on a PC the virtual
/// instrument does.

#include <cstdint>

using RTIME = uint64_t;

/// Time of the co-kernel's timer in nanoseconds; never goes back. Callable from any thread.
RTIME rt_timer_read();

/// Sleeps until `date` (nanoseconds of rt_timer_read). Returns 0 after the sleep or when the date has passed; -1 from a
/// thread that is no real-time task, which then has not slept.
int rt_task_sleep_until(RTIME date);
