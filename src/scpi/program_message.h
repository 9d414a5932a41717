#pragma once
/// The service pass of a link: finding complete program messages in its command buffer and running their units.
///
/// A pass ends where the message at hand cannot go on: answers have to be fetched first, a block goes out, or a unit
/// waits. link->message keeps the place; the next pass goes on behind the last unit that ran. So answers come in the
/// order of the queries, and no answer depends on what else is in flight.

#include "scpi/link.h"

#include <cstdint>

/// One pass like scpi_execute_link, but a unit that has to wait parks the link: its transport stays blocked, and nobody
/// else is held up. Returns when the link is to be looked at again at the latest, on CLOCK_MONOTONIC in nanoseconds
/// (waiting_forEver: when something is announced).
int64_t scpi_serveLink(scpi_link* link) REQUIRES(deviceAccessMutex);

enum class MessageRun {
    done,   // with all units; the line of answers has its newline
    paused, // answers or a block have to leave first
    waits,  // see link->waiting
};

/// Runs the units from cmdExec to cmdScan and joins their answers behind ansLen, ";" between them and a newline at the
/// end. cmdExec moves with the units. `overflow` is how many bytes of an answer found no room. With `park`, units may
/// leave a record in link->waiting.
[[nodiscard]] MessageRun scpi_execute_linkProgramMessage(scpi_link* link, bool park, int* overflow)
    REQUIRES(deviceAccessMutex, link->bufMutex);
/// Ends the unit that waits, which may then wait again, and joins its answer.
void scpi_execute_resume(scpi_link* link, bool inTime) REQUIRES(deviceAccessMutex, link->bufMutex);

/// An unread answer is never interrupted by a query: 0.
int tvexecCheckQueryInterrupted(const scpi_link* link);
