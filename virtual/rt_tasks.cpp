#include "virtual/rt_tasks.h"

#include "platform/rt.h"

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <mutex>

namespace vi {
namespace {

constexpr int knownTaskModes = rt_taskJoinable;
constexpr int knownModeBits = rt_modePrimary;

thread_local bool isTask = false;
thread_local int taskMode = 0;

struct Event {
    std::mutex mutex;
    std::condition_variable changed; // bits, deleted or waiting
    unsigned long bits = 0;
    bool deleted = false;
    int waiting = 0;
};

Event* eventOf(const RT_EVENT* event) {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the handle is the boundary's, and opaque there
    return event != nullptr ? reinterpret_cast<Event*>(event->handle) : nullptr;
}

/// True when all of `mask` is set or the event is gone; false when `timeout` has passed.
bool waitForBits(Event& event, std::unique_lock<std::mutex>& lock, unsigned long mask, RTIME timeout) {
    const auto ended = [&] { return event.deleted || (event.bits & mask) == mask; };
    if (timeout != rt_infinite)
        return event.changed.wait_for(lock, std::chrono::nanoseconds(timeout), ended);
    event.changed.wait(lock, ended);
    return true;
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
    auto* const made = new vi::Event;
    made->bits = initial;
    event->handle = reinterpret_cast<uintptr_t>(made);
    return 0;
}

int rt_event_delete(RT_EVENT* event) {
    vi::Event* const found = vi::eventOf(event);
    if (found == nullptr)
        return -EINVAL;
    event->handle = 0;
    {
        std::unique_lock lock(found->mutex);
        found->deleted = true;
        found->changed.notify_all();
        found->changed.wait(lock, [&] { return found->waiting == 0; });
    }
    delete found;
    return 0;
}

int rt_event_signal(RT_EVENT* event, unsigned long mask) {
    vi::Event* const found = vi::eventOf(event);
    if (found == nullptr)
        return -EINVAL;
    const std::lock_guard lock(found->mutex);
    found->bits |= mask;
    found->changed.notify_all();
    return 0;
}

int rt_event_wait(RT_EVENT* event, unsigned long mask, unsigned long* found, int mode, RTIME timeout) {
    vi::Event* const waited = vi::eventOf(event);
    if (waited == nullptr || mode != 0)
        return -EINVAL;
    if (!vi::isTask)
        return -EPERM;
    std::unique_lock lock(waited->mutex);
    ++waited->waiting;
    const bool ended = vi::waitForBits(*waited, lock, mask, timeout);
    --waited->waiting;
    if (found != nullptr)
        *found = waited->bits & mask;
    if (!waited->deleted)
        return ended ? 0 : -ETIMEDOUT;
    waited->changed.notify_all();
    return -EIDRM;
}

int rt_event_clear(RT_EVENT* event, unsigned long mask, unsigned long* previous) {
    vi::Event* const found = vi::eventOf(event);
    if (found == nullptr)
        return -EINVAL;
    const std::lock_guard lock(found->mutex);
    if (previous != nullptr)
        *previous = found->bits;
    found->bits &= ~mask;
    return 0;
}
