#pragma once
/// A text file as a client: it says its lines one by one, and its answers go to standard output.

#include "links/transport.h"

#include <cstdio>

struct CommandFile {
    FILE* file = nullptr;
};

/// A missing file is no client, and no fault. The last line counts only with its newline.
extern const Transport commandFileTransport;
