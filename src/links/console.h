#pragma once
/// The console: SCPI text on standard input, answers on standard output.

#include "links/transport.h"

struct Console {
    bool ended = false; // nothing will ever come again
};

/// One client, from the start to the end of the input.
extern const Transport consoleTransport;
