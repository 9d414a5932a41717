#include "links/bus_activity.h"

#include "core/tv_event.h"

namespace {
constexpr int32_t ticksOfUse = 2;
}

void busActivity_note(BusActivity* activity) {
    activity->ticksLeft = ticksOfUse;
    if (activity->connected != 0)
        return;
    MutexLock access(deviceAccessMutex);
    activity->connected = 1;
    tv_event_handle(nullptr, activity->inUse);
}

void busActivity_age(BusActivity* activity) {
    if (activity->ticksLeft > 0)
        activity->ticksLeft = activity->ticksLeft - 1;
    if (activity->ticksLeft > 0 || activity->connected == 0)
        return;
    activity->connected = 0;
    tv_event_handle(nullptr, activity->gone);
}
