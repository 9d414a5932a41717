#pragma once
/// Which links have a user at the other end, and the lamps that follow it. All of it is called with deviceAccessMutex
/// held: the lamps are device operations.

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
