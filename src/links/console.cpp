#include "links/console.h"

#include "scpi/link.h"

#include <cerrno>
#include <cstdio>
#include <unistd.h>

namespace {

ssize_t readInput(char* where, int room) {
    ssize_t count;
    do {
        count = read(STDIN_FILENO, where, static_cast<size_t>(room));
    } while (count < 0 && errno == EINTR);
    return count;
}

/// Past the buffer of stdio: a terminal that takes nothing must hold up this thread alone, not whoever prints.
void writeOutput(const char* data, int count) {
    while (count > 0) {
        const ssize_t written = write(STDOUT_FILENO, data, static_cast<size_t>(count));
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            return; // the answer has no reader
        data += written;
        count -= static_cast<int>(written);
    }
}

} // namespace

int Tvconsole_handle(scpi_link* link) {
    char* where;
    const int room = tvcommOpenCmd(link, &where);
    const ssize_t count = room > 0 ? readInput(where, room) : 0;
    tvcommCloseCmd(link, count > 0 ? static_cast<int>(count) : 0);
    if (room > 0 && count <= 0)
        return -1;

    int more;
    do {
        scpi_link_doHandle(link);
        scpi_link_waitHandled(link);
        fflush(stdout); // text printed while the commands ran comes first
        const int length = tvcommPeekAns(link, &where, nullptr);
        writeOutput(where, length);
        tvcommClearAns(link, length, &more);
    } while (more != 0);
    return 0;
}
