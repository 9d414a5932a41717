#include "virtual/platform/clock.h"

#include "platform/rt.h"

#include <algorithm>
#include <atomic>
#include <ctime>

namespace vi {
namespace {

constexpr uint64_t secondInNanoseconds = 1'000'000'000;

std::atomic<bool> realTime{false};
std::atomic<uint64_t> spent{secondInNanoseconds}; // fast mode's reading; starts above 0, which callers take for "never"
std::atomic<uint64_t> hostLead{0};                // added to the host's clock so that a change of mode never goes back
// Idle time, on the host's clock: up to when it has been counted; 0 while the instrument works.
std::atomic<uint64_t> idleCounted{0};
std::atomic<bool> idleRuns{false}; // nobody has looked at the clock since

uint64_t hostNow() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return uint64_t(now.tv_sec) * secondInNanoseconds + uint64_t(now.tv_nsec);
}

void spend(uint64_t nanoseconds) {
    uint64_t seen = spent.load();
    while (!spent.compare_exchange_weak(seen, seen + std::min(nanoseconds, UINT64_MAX - seen))) {
    }
}

void spendIdle(uint64_t from, uint64_t until) {
    if (from != 0 && until > from)
        spend(until - from);
}

/// The instrument begins to work, if it was idle.
void endIdling() {
    if (!idleRuns.load(std::memory_order_relaxed) || !idleRuns.exchange(false))
        return;
    const uint64_t now = hostNow();
    spendIdle(idleCounted.exchange(now), now);
}

void raiseTo(uint64_t date) {
    endIdling();
    uint64_t seen = spent.load();
    while (seen < date && !spent.compare_exchange_weak(seen, date)) {
    }
}

} // namespace

TimeMode clock_mode() {
    return realTime ? TimeMode::realTime : TimeMode::fast;
}

uint64_t clock_now() {
    if (realTime)
        return hostNow() + hostLead;
    endIdling();
    return spent.load();
}

void clock_setMode(TimeMode mode) {
    if (mode == clock_mode())
        return;
    if (mode == TimeMode::fast) {
        raiseTo(clock_now());
        realTime = false;
    } else {
        const uint64_t host = hostNow();
        hostLead = spent > host ? spent - host : 0;
        realTime = true;
    }
}

void clock_spend(uint64_t nanoseconds) {
    if (realTime)
        return;
    endIdling();
    spend(nanoseconds);
}

void clock_tellIdle(bool idle) {
    if (realTime)
        return;
    const uint64_t now = hostNow(), from = idleCounted.exchange(idle ? now : 0);
    if (idle)
        spendIdle(from, now);
    idleRuns = idle;
}

void clock_take(uint64_t nanoseconds) {
    if (!realTime)
        return clock_spend(nanoseconds);
    const uint64_t end = clock_now() + nanoseconds;
    for (uint64_t now; (now = clock_now()) < end;) {
        const uint64_t rest = end - now;
        const timespec wait{time_t(rest / secondInNanoseconds), long(rest % secondInNanoseconds)};
        nanosleep(&wait, nullptr);
    }
}

} // namespace vi

RTIME rt_timer_read() {
    return vi::clock_now();
}

int rt_task_sleep_until(RTIME date) {
    if (vi::clock_mode() == vi::TimeMode::realTime)
        return -1;
    vi::raiseTo(date);
    return 0;
}
