#pragma once
/// tv_event, the record: a wake-up with a memory. A signal with nobody waiting stays set for the next wait.

#include "core/sync.h"

struct tv_event {
    Mutex mutex;
    Condition condition;
    bool signalled GUARDED_BY(mutex) = false;
};

/// Clears a signal that may be pending. The event must not be in use.
void tv_event_init(tv_event* event);
void tv_event_signal(tv_event* event);
/// Waits for a signal and takes it.
void tv_event_wait(tv_event* event);
/// Ends the use of the event, on which nobody may be waiting.
void tv_event_release(tv_event* event);
