#include "links/memory_transport.h"

#include <algorithm>
#include <utility>

namespace {

MemoryMedium& of(void* medium) {
    return *static_cast<MemoryMedium*>(medium);
}

bool open(void* medium, const char*) {
    return !of(medium).unsent.empty();
}

Received receive(void* medium, char* where, int room) {
    MemoryMedium& client = of(medium);
    if (std::exchange(client.clears, false))
        return {0, Said::deviceClear};
    if (client.unsent.empty())
        return {0, Said::gone};
    const size_t count = client.unsent.copy(where, std::min(client.piece, static_cast<size_t>(std::max(room, 0))));
    client.unsent.remove_prefix(count);
    const bool ends = client.marksEnds && client.unsent.empty();
    return {static_cast<int>(count), ends ? Said::endOfMessage : Said::bytes};
}

Sent send(void* medium, const char* data, int count, bool more) {
    const MemoryMedium& client = of(medium);
    if (client.take != nullptr && count > 0)
        client.take(client.context, {data, static_cast<size_t>(count)});
    return {count, more};
}

void close(void*) {}

} // namespace

const Transport memoryTransport{open, receive, send, close, nullptr};

void memory_converse(const LinkRow& row) {
    const MemoryMedium& client = of(row.medium);
    while ((client.clears || !client.unsent.empty()) && link_step(row)) {
    }
}
