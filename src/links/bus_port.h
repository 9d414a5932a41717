#pragma once
/// A link over a bus whose driver is a character device: USBTMC and GPIB, which differ in a row.

#include "links/transport.h"

#include <cstddef>

struct BusPort {
    size_t readBits = 0;      // beside the room: what a read asks the driver to tell
    size_t endBit = 0;        // beside the bytes of a read: they end a message; 0: the driver does not tell
    size_t goesOnBit = 0;     // beside the bytes of a write: more of the same answer follows; 0: the driver finds out
    bool flushes = false;     // at its start what the driver has kept from before is thrown away
    bool endsOnFault = false; // a driver that has failed ends the link; else the link tries again, ten times a second
    // For the debug channel, a line each.
    const char* notOpen = "";
    const char* noRoom = "";
    const char* halted = "";
    int fd = -1;
};

/// Its medium is a BusPort, its path the device's. The bus is the client: it is there until its driver fails.
extern const Transport busTransport;
