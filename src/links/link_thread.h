#pragma once
/// A link at work: bytes from its transport into the command buffer, a service pass, the answers back to the transport.
/// The one loop of all transports that bring bytes in their order.

#include "links/transport.h"

#include <cstddef>
#include <cstdint>

struct BusActivity;
struct scpi_link;

struct LinkRow {
    const char* name = "";
    scpi_link* link = nullptr;
    int cmdSize = 0, ansSize = 0; // bytes of the buffers
    const Transport* transport = nullptr;
    void* medium = nullptr;
    const char* path = "";           // of the device or file, where the transport opens one
    size_t stack = 0;                // bytes that the link's thread needs; 0: it has none
    int32_t connected = 0, gone = 0; // LinkEvents of a client that comes and goes; 0 for none
    BusActivity* activity = nullptr; // of a bus without connections; null for none
    bool (*exists)() = nullptr;      // whether this unit has the link; null: each has
    bool alone = false; // there is no main loop: passes run here, and a command that has to wait waits here
};

/// Serves one client after the other; the end of the thread when there will be no more.
void link_run(const LinkRow& row);
/// The same on a thread of its own, for the life of the process; `row` has to stay.
void link_start(const LinkRow& row);

// The parts of the above.

/// Waits for a client and serves it until it has gone. False if there will be none any more.
bool link_visit(const LinkRow& row);
/// What the medium gives at one go, and all answers to it. False if the client has gone.
bool link_step(const LinkRow& row);
/// One pass and the answers that it has made. True if the medium wants more.
bool link_answer(const LinkRow& row);
