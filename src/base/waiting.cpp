#include "base/waiting.h"

#include "base/sync.h"

#include <algorithm>
#include <atomic>
#include <ctime>

void (*waiting_wakeKeeper)();

namespace {

constexpr int64_t nsPerSecond = 1'000'000'000, nsPerMs = 1'000'000;

thread_local Waiting* placeOfThread = nullptr;
std::atomic<int> left{0}; // records in places
WakeWord announcements;   // their number so far

/// False if the deadline passes while nothing is announced any more.
bool awaitAnnouncement(uint32_t seen, int64_t deadline_ns) {
    if (deadline_ns == waiting_forEver) {
        announcements.waitWhile(seen);
        return true;
    }
    return announcements.waitWhileUntil(
        seen, {.tv_sec = static_cast<time_t>(deadline_ns / nsPerSecond), .tv_nsec = deadline_ns % nsPerSecond});
}

/// Waits here until the record is over. False if its deadline came first.
bool await(const Waiting& waiting) {
    for (;;) {
        const uint32_t seen = announcements.get();
        if (waiting.isOver(waiting))
            return true;
        if (!awaitAnnouncement(seen, waiting.deadline_ns))
            return waiting.isOver(waiting);
    }
}

} // namespace

WaitingPlace::WaitingPlace(Waiting* place) : outer_(placeOfThread) {
    placeOfThread = place;
}

WaitingPlace::~WaitingPlace() {
    placeOfThread = outer_;
}

int waiting_for(Device* device, const Waiting& waiting) {
    if (placeOfThread != nullptr) {
        *placeOfThread = waiting;
        ++left; // before the keeper looks at the record: who announces after that look sees it
        return waiting_result;
    }
    Waiting current = waiting;
    Waiting next;
    const WaitingPlace place(&next);
    for (;;) {
        const int result = current.finish(device, current, await(current));
        if (result != waiting_result)
            return result;
        waiting_leave();
        current = next;
    }
}

void waiting_leave() {
    --left;
}

void waiting_announce() {
    announcements.advanceAndWake();
    if (left != 0 && waiting_wakeKeeper != nullptr)
        waiting_wakeKeeper();
}

int64_t waiting_now() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * nsPerSecond + now.tv_nsec;
}

int64_t waiting_deadline(int64_t milliseconds) {
    return waiting_now() + std::max<int64_t>(milliseconds, 0) * nsPerMs;
}

timespec waiting_moment(int64_t nanoseconds) {
    return {.tv_sec = nanoseconds / nsPerSecond, .tv_nsec = nanoseconds % nsPerSecond};
}
