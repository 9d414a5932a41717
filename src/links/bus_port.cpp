#include "links/bus_port.h"

#include "base/tvdebug.h"
#include "platform/nodes.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr useconds_t pauseAfterFailure_us = 100'000;

BusPort& of(void* medium) {
    return *static_cast<BusPort*>(medium);
}

void flush(const BusPort& port) {
    std::array<char, 1024> old;
    for (long count = 0; count >= 0 && node_waitInput(port.fd, 0) > 0;)
        count = node_read(port.fd, old.data(), old.size());
}

bool open(void* medium, const char* path) {
    BusPort& port = of(medium);
    if (port.fd >= 0) { // its driver has failed
        if (port.endsOnFault)
            printd("%s", port.halted);
        else
            usleep(pauseAfterFailure_us);
        return !port.endsOnFault;
    }
    port.fd = node_open(path, O_RDWR);
    if (port.fd < 0)
        printd("%s", port.notOpen);
    else if (port.flushes)
        flush(port);
    return port.fd >= 0;
}

Received receive(void* medium, char* where, int room) {
    const BusPort& port = of(medium);
    if (room <= 0) {
        printd("%s", port.noRoom);
        return {};
    }
    long count;
    do {
        count = node_read(port.fd, where, static_cast<size_t>(room) | port.readBits);
    } while (count == -EINTR);
    if (count == -ECANCELED)
        return {0, Said::deviceClear};
    if (count == -EFAULT)
        return {0, Said::gone};
    if (count <= 0) { // a driver that gives nothing does not hold up the others
        usleep(pauseAfterFailure_us);
        return {};
    }
    const bool ends = (static_cast<size_t>(count) & port.endBit) != 0;
    return {static_cast<int>(static_cast<size_t>(count) & ~port.endBit), ends ? Said::endOfMessage : Said::bytes};
}

/// What a bus that fails, or takes nothing, does not take is lost; the next read tells of the failure.
Sent send(void* medium, const char* data, int count, bool more) {
    const BusPort& port = of(medium);
    for (int unsent = count; unsent > 0;) {
        const long written = node_write(port.fd, data, static_cast<size_t>(unsent) | (more ? port.goesOnBit : 0));
        if (written == -EINTR)
            continue;
        if (written == -ECANCELED)
            return {count, false, Said::deviceClear};
        if (written <= 0)
            return {count, false};
        data += written;
        unsent -= static_cast<int>(written);
    }
    return {count, more};
}

void close(void*) {}

bool isCleared(void* medium) {
    return node_waitInput(of(medium).fd, 0) == -ECANCELED;
}

} // namespace

const Transport busTransport{open, receive, send, close, nullptr, isCleared};
