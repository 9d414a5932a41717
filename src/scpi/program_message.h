#pragma once
/// The service pass of a link: finding complete program messages in its command buffer and running their units.

#include <cstdint>

struct scpi_link;

/// Runs the units between cmdExec and cmdScan and joins their answers, ";" between them and a newline at the end,
/// behind ansLen. Returns the number of answer bytes added; `overflow` is how many found no room. With `cbufFull` the
/// message was cut by a full buffer at cmdScan. Takes no lock.
int scpi_execute_linkProgramMessage(scpi_link* link, int cbufFull, int* overflow);

/// An unread answer is never interrupted by a query: 0.
int tvexecCheckQueryInterrupted(const scpi_link* link);
