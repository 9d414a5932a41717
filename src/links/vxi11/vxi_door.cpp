// The thread that takes connections in, serves those without a link, and sees who dies.

#include "base/tvdebug.h"
#include "base/waiting.h"
#include "links/vxi11/vxi_calls.h"
#include "links/vxi11/vxi_connections.h"

#include <cerrno>
#include <ctime>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr size_t eventsAtOnce = 8;

std::array<char, 256> reply; // the door's: none of its clients can read
bool anyWaits;

enum Watched : uint32_t { watchedWake = 100, watchedListener };

void watch(int fd, uint32_t number, uint32_t which) {
    epoll_event wanted{.events = EPOLLIN, .data = {.u64 = number | uint64_t{which} << 32}};
    epoll_ctl(vxiConnections.watchFd, EPOLL_CTL_ADD, fd, &wanted);
}

void serve(VxiConnection* connection) {
    const bool waited = connection->waitsUntil_ns != 0;
    bool waits;
    if (!vxiConnections_serve(connection, reply, false, &waits))
        vxiConnections_end(connection);
    else if (connection->links > 0)
        vxiConnections_toWorker(connection);
    else if (waits != waited)
        vxiConnections_watch(connection, waits ? uint32_t{EPOLLONESHOT} : uint32_t{EPOLLIN});
    anyWaits |= waits;
}

void acceptFrom(int listenFd) {
    const int fd = accept4(listenFd, nullptr, nullptr, SOCK_CLOEXEC);
    if (fd >= 0) {
        if (vxiConnections_add(fd) == nullptr)
            close(fd);
    } else if (errno != EAGAIN && errno != EINTR && errno != ECONNABORTED) {
        printd("VXI-11: error in accept() (%d)\n", errno);
        const timespec pause{.tv_sec = 1, .tv_nsec = 0};
        nanosleep(&pause, nullptr);
    }
}

void receive(VxiConnection* connection) {
    if (connection->record.state == RpcRecordState::complete)
        return; // its call waits
    const std::span<char> room = rpcRecord_room(&connection->record);
    const ssize_t count = recv(connection->fd, room.data(), room.size(), MSG_DONTWAIT);
    if (count < 0 && (errno == EAGAIN || errno == EINTR))
        return;
    if (count <= 0) {
        vxiConnections_end(connection);
        return;
    }
    connection->heard_ns = waiting_now();
    rpcRecord_add(&connection->record, static_cast<size_t>(count));
    serve(connection);
}

/// Those that workers have given back, with calls that may have come already.
void takeBack() {
    uint64_t count;
    while (read(vxiConnections.wakeFd, &count, sizeof count) < 0 && errno == EINTR) {
    }
    for (VxiConnection& connection : vxiConnections.all)
        if (vxiConnections_place(connection) == VxiPlace::forDoor) {
            vxiConnections_atDoor(&connection);
            serve(&connection);
        }
}

void lookAgain() {
    anyWaits = false;
    for (VxiConnection& connection : vxiConnections.all)
        if (vxiConnections_place(connection) == VxiPlace::door && connection.record.state == RpcRecordState::complete)
            serve(&connection);
}

void handle(const epoll_event& event) {
    const auto number = static_cast<uint32_t>(event.data.u64);
    if (number == watchedWake) {
        takeBack();
        return;
    }
    if (number == watchedListener) {
        acceptFrom(static_cast<int>(event.data.u64 >> 32));
        return;
    }
    VxiConnection* const connection = &vxiConnections.all[number];
    switch (vxiConnections_place(*connection)) {
    case VxiPlace::door: receive(connection); break;
    case VxiPlace::forWorker:
    case VxiPlace::worker: vxiConnections_noticeEnd(connection); break;
    case VxiPlace::forDoor:
    case VxiPlace::unused: break;
    }
}

} // namespace

void vxiDoor_run(int coreFd, int abortFd) {
    watch(vxiConnections.wakeFd, watchedWake, 0);
    for (const int fd : {coreFd, abortFd})
        watch(fd, watchedListener, static_cast<uint32_t>(fd));
    for (;;) {
        std::array<epoll_event, eventsAtOnce> events;
        const int count =
            epoll_wait(vxiConnections.watchFd, events.data(), eventsAtOnce, anyWaits ? vxiLookAgain_ms : -1);
        for (int i = 0; i < count; ++i)
            handle(events[static_cast<size_t>(i)]);
        if (anyWaits)
            lookAgain();
    }
}
