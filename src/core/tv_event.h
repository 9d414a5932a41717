#pragma once
/// Which links have a user at the other end, and the lamps and the panel's icons that follow it; and tv_event, a
/// wake-up with a memory.
///
/// The accounting of links is called with deviceAccessMutex held: the lamps are device operations.

#include "base/sync.h"

#include <cstdint>

struct scpi_link;

/// One bit per kind of link, from 0: TCP socket, USB, GPIB, VXI-11 channel A, VXI-11 channel B.
extern uint32_t global_activeLinks;

/// The links that have no connection events of their own; until they are told, none has.
void tv_event_setVxiLinks(const scpi_link* channelA, const scpi_link* channelB);

/// The accounting of a LinkEvent (scpi/link.h) that the main loop takes from `link`, which may be null. Unknown events
/// change nothing.
void tv_event_handle(scpi_link* link, int event);

/// With a link: a command has arrived on it. With null: two seconds have passed; a VXI-11 channel without a command for
/// about ten seconds counts as left.
void tv_event_indicateLinkActivity(const scpi_link* link);

/// A signal with nobody waiting stays set for the next wait.
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
