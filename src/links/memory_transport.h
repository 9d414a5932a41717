#pragma once
/// A transport without a medium: a text stands for what a client sends, and a function takes what it gets. For programs
/// that talk to the engine in their own process.

#include "links/link_thread.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

struct MemoryMedium {
    std::string_view unsent; // what the client has still to say; whoever sets it keeps the bytes
    size_t piece = SIZE_MAX; // most bytes that arrive at once
    bool marksEnds = false;  // the end of what it has to say is the end of a message
    bool clears = false;     // it begins with a device clear
    void (*take)(void* context, std::string_view answer) = nullptr; // null: answers are thrown away
    void* context = nullptr;
};

/// Its client is there as long as it has something to say.
extern const Transport memoryTransport;

/// Says what the row's medium has to say and takes all answers. The client stays.
void memory_converse(const LinkRow& row);
