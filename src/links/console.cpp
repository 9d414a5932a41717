#include "links/console.h"

#include <cerrno>
#include <cstdio>
#include <unistd.h>

namespace {

bool& endedOf(void* medium) {
    return static_cast<Console*>(medium)->ended;
}

bool open(void* medium, const char*) {
    return !endedOf(medium);
}

Received receive(void* medium, char* where, int room) {
    if (room <= 0)
        return {};
    ssize_t count;
    do {
        count = read(STDIN_FILENO, where, static_cast<size_t>(room));
    } while (count < 0 && errno == EINTR);
    endedOf(medium) = count <= 0;
    return endedOf(medium) ? Received{0, Said::gone} : Received{static_cast<int>(count)};
}

/// Past the buffer of stdio: a terminal that takes nothing must hold up this thread alone, not whoever prints.
Sent send(void*, const char* data, int count, bool more) {
    fflush(stdout); // text printed while the commands ran comes first
    for (int unsent = count; unsent > 0;) {
        const ssize_t written = write(STDOUT_FILENO, data, static_cast<size_t>(unsent));
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            break; // the answer has no reader
        data += written;
        unsent -= static_cast<int>(written);
    }
    return {count, more};
}

void close(void*) {}

} // namespace

const Transport consoleTransport{open, receive, send, close, nullptr};
