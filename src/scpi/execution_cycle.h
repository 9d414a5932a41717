#pragma once
/// What the main thread does for ever: it sleeps until a transport asks for service or a tick falls due, runs the
/// periodic work on the tick, and gives every link one service pass. The device is touched from here alone, under
/// deviceAccessMutex, so commands from all links run strictly one after the other.

#include <cstdint>

struct Device;
struct scpi_link;

/// One cycle; the main loop passes a period of 250 ms. A link whose command has to wait is parked and looked at again
/// when something has been announced (base/waiting.h) or its deadline has come.
void scpi_execute(scpi_link* firstLink, Device* device, int periodMs);

/// One service pass of a link; nothing happens if no transport waits on it. A command that has to wait does so here.
/// The caller holds deviceAccessMutex.
void scpi_execute_link(scpi_link* link);

/// Runs a text file as input of `link`, line by line, on the calling thread; answers go to standard output. A missing
/// file is no fault. The caller must not hold deviceAccessMutex.
void scpi_execute_commandFile(scpi_link* link, const char* path);

/// For threads other than the main thread that must reach device state.
void openSynchronousDeviceAccess();
void closeSynchronousDeviceAccess();

/// A link event without a link, on the caller's thread.
void scpi_executeNullLinkEvent(int code);

/// Calls that the main loop makes later, on its tick. `delay` in microseconds; 0 calls at once. A pair of function and
/// argument that is queued already keeps its place and time. Returns 0, or -321 with both places taken by other pairs.
using DeferredFunction = void (*)(void* argument);
int tvstuff_deferredCall(DeferredFunction function, void* argument, uint32_t delay);
/// Makes and forgets the queued calls now.
void tvstuff_executeDeferredCallsImmediately();
