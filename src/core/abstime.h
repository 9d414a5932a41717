#pragma once
/// Absolute time on the co-kernel's timer, waits on it, and a stopwatch.

#include "numeric/tvtypes.h"

#include <cstdint>

/// Now, in nanoseconds. (A function cannot share its name with the type tv_abstime.)
[[nodiscard]] tv_abstime tv_abstime_now();
[[nodiscard]] uint64_t tv_abstime_us();
[[nodiscard]] uint64_t tv_abstime_ms();
[[nodiscard]] inline double tv_abstime_secondsSince(tv_abstime start) {
    return static_cast<double>(tv_abstime_now() - start) * 1e-9;
}

/// Sets `time` to now + `microseconds`.
void tv_abstime_setnew(tv_abstime* time, uint64_t microseconds);
/// Raises `time` to now + `microseconds` if it is earlier.
void tv_abstime_setmin(tv_abstime* time, uint64_t microseconds);

/// Flushes standard output and waits until `time`; on any thread, real-time task or not.
void tv_abstime_wait(tv_abstime time);

/// Waits for `microseconds`.
void tvstuff_delay_us(uint64_t microseconds);

/// Start of the stopwatch in microseconds.
extern uint64_t tv_tic_time;
void tv_tic();
/// Returns the microseconds since tv_tic() and prints them on the debug channel.
uint64_t tv_toc();
