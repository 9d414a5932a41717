#pragma once
/// Who serves the links. A transport's thread runs the pass of its own link where it gets the device at once. What is
/// left is the main thread's, for ever: it sleeps until somebody asks for it or a tick falls due, runs the periodic
/// work on the tick, and gives every link one service pass. All of it happens under deviceAccessMutex, so commands from
/// all links run strictly one after the other.

#include "base/sync.h"

#include <cstdint>

struct Device;
struct scpi_link;

extern Mutex deviceAccessMutex;

/// One cycle; the main loop passes a period of 250 ms. A link whose command has to wait is parked and looked at again
/// when something has been announced (base/waiting.h) or its deadline has come.
void scpi_execute(scpi_link* firstLink, Device* device, int periodMs);

/// One service pass of a link; nothing happens if no transport waits on it. A command that has to wait does so here.
void scpi_execute_link(scpi_link* link) REQUIRES(deviceAccessMutex);

/// The pass of a link on the thread of its transport. False if the main thread has to take it up, because somebody has
/// the device or waits for it, or has to go on with it, because a command waits.
[[nodiscard]] bool scpi_serveLinkHere(scpi_link* link);

/// A whole service, as scpi_link_doHandle and scpi_link_waitHandled, where no main loop runs yet: on the calling
/// thread, which must not hold deviceAccessMutex. A command that has to wait does so here.
void scpi_link_serveAlone(scpi_link* link);

/// For whoever else must reach device state. While somebody waits for it no transport begins a pass.
void openSynchronousDeviceAccess() ACQUIRE(deviceAccessMutex);
void closeSynchronousDeviceAccess() RELEASE(deviceAccessMutex);

/// A link event without a link, on the caller's thread.
void scpi_executeNullLinkEvent(int code);

/// Calls that the main loop makes later, on its tick. `delay` in microseconds; 0 calls at once. A pair of function and
/// argument that is queued already keeps its place and time. Returns 0, or -321 with both places taken by other pairs.
using DeferredFunction = void (*)(void* argument);
int tvstuff_deferredCall(DeferredFunction function, void* argument, uint32_t delay);
/// Makes and forgets the queued calls now.
void tvstuff_executeDeferredCallsImmediately();
