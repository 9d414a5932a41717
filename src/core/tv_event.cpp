#include "core/tv_event.h"

void tv_event_init(tv_event* event) {
    MutexLock lock(event->mutex);
    event->signalled = false;
}

void tv_event_signal(tv_event* event) {
    MutexLock lock(event->mutex);
    event->signalled = true;
    event->condition.signal();
}

void tv_event_wait(tv_event* event) {
    MutexLock lock(event->mutex);
    while (!event->signalled)
        event->condition.wait(event->mutex);
    event->signalled = false;
}

void tv_event_release(tv_event* event) {
    tv_event_init(event);
}
