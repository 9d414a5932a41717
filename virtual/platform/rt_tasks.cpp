#include "virtual/platform/rt_tasks.h"

#include "platform/rt.h"

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>

namespace vi {
namespace {

constexpr int knownTaskModes = rt_taskJoinable;
constexpr int knownModeBits = rt_modePrimary;

thread_local bool isTask = false;
thread_local int taskMode = 0;

struct Event {
    std::mutex mutex;
    std::condition_variable set;
    unsigned long bits = 0;
};

std::mutex eventsMutex;
auto& events = *new std::deque<Event>; // guarded by eventsMutex; they never move and are never given back

Event* eventOf(const RT_EVENT* event) {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the handle is the boundary's, and opaque there
    return event != nullptr ? reinterpret_cast<Event*>(event->handle) : nullptr;
}

} // namespace

bool rtTask_inPrimaryMode() {
    return isTask && (taskMode & rt_modePrimary) == rt_modePrimary;
}

} // namespace vi

int rt_task_shadow(RT_TASK*, const char*, int, int mode) {
    if ((mode & ~vi::knownTaskModes) != 0)
        return -EINVAL;
    if (vi::isTask)
        return -EBUSY;
    vi::isTask = true;
    return 0;
}

int rt_task_set_mode(int clearMask, int setMask, int* previous) {
    if (!vi::isTask)
        return -EPERM;
    if (((clearMask | setMask) & ~vi::knownModeBits) != 0)
        return -EINVAL;
    if (previous != nullptr)
        *previous = vi::taskMode;
    vi::taskMode = (vi::taskMode & ~clearMask) | setMask;
    return 0;
}

int rt_event_create(RT_EVENT* event, const char*, unsigned long initial, int mode) {
    if (event == nullptr || mode != 0)
        return -EINVAL;
    const std::lock_guard lock(vi::eventsMutex);
    vi::Event& made = vi::events.emplace_back();
    made.bits = initial;
    event->handle = reinterpret_cast<uintptr_t>(&made);
    return 0;
}

int rt_event_signal(RT_EVENT* event, unsigned long mask) {
    vi::Event* const known = vi::eventOf(event);
    if (known == nullptr)
        return -EINVAL;
    const std::lock_guard lock(known->mutex);
    known->bits |= mask;
    known->set.notify_all();
    return 0;
}

int rt_event_wait(RT_EVENT* event, unsigned long mask, unsigned long* found, int mode, RTIME timeout) {
    vi::Event* const known = vi::eventOf(event);
    if (known == nullptr || mode != 0)
        return -EINVAL;
    if (!vi::isTask)
        return -EPERM;
    std::unique_lock lock(known->mutex);
    const auto allSet = [&] { return (known->bits & mask) == mask; };
    if (timeout == rt_infinite)
        known->set.wait(lock, allSet);
    else
        known->set.wait_for(lock, std::chrono::nanoseconds(timeout), allSet);
    if (found != nullptr)
        *found = known->bits & mask;
    return allSet() ? 0 : -ETIMEDOUT;
}

int rt_event_clear(RT_EVENT* event, unsigned long mask, unsigned long* previous) {
    vi::Event* const known = vi::eventOf(event);
    if (known == nullptr)
        return -EINVAL;
    const std::lock_guard lock(known->mutex);
    if (previous != nullptr)
        *previous = known->bits;
    known->bits &= ~mask;
    return 0;
}
