#include "core/abstime.h"

#include "base/tvdebug.h"
#include "platform/rt.h"

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <ctime>

namespace {

constexpr uint64_t nsPerUs = 1'000;
constexpr uint64_t nsPerMs = 1'000'000;
constexpr uint64_t nsPerSecond = 1'000'000'000;

constexpr int noRealTimeTask = -1; // of rt_task_sleep_until

/// The wait of a thread that is no real-time task. The co-kernel's timer decides when it is over, whatever the clock of
/// nanosleep does meanwhile.
void sleepUntil(tv_abstime time) {
    for (tv_abstime now = rt_timer_read(); now < time; now = rt_timer_read()) {
        timespec rest{};
        rest.tv_sec = static_cast<time_t>((time - now) / nsPerSecond);
        rest.tv_nsec = static_cast<long>((time - now) % nsPerSecond);
        while (nanosleep(&rest, &rest) != 0 && errno == EINTR) {
        }
    }
}

} // namespace

uint64_t tv_tic_time = 0;

tv_abstime tv_abstime_now() {
    return rt_timer_read();
}
uint64_t tv_abstime_us() {
    return rt_timer_read() / nsPerUs;
}
uint64_t tv_abstime_ms() {
    return rt_timer_read() / nsPerMs;
}

void tv_abstime_setnew(tv_abstime* time, uint64_t microseconds) {
    *time = rt_timer_read() + microseconds * nsPerUs;
}

void tv_abstime_setmin(tv_abstime* time, uint64_t microseconds) {
    const tv_abstime earliest = rt_timer_read() + microseconds * nsPerUs;
    if (*time < earliest)
        *time = earliest;
}

void tv_abstime_wait(tv_abstime time) {
    fflush(stdout); // a delay shows up after the text before it
    if (rt_task_sleep_until(time) == noRealTimeTask)
        sleepUntil(time);
}

void tvstuff_delay_us(uint64_t microseconds) {
    tv_abstime end;
    tv_abstime_setnew(&end, microseconds);
    tv_abstime_wait(end);
}

void tv_tic() {
    tv_tic_time = tv_abstime_us();
}

uint64_t tv_toc() {
    const uint64_t elapsed = tv_abstime_us() - tv_tic_time;
    printd("tv_toc(): %" PRIu64 " us\n", elapsed);
    return elapsed;
}
