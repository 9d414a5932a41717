#include "links/vxi11/vxi_connections.h"

#include "base/waiting.h"
#include "links/vxi11/vxi_calls.h"
#include "links/vxi11/vxi_interrupt.h"

#include <algorithm>
#include <cerrno>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int waitForLeft_ms = 5000; // until a link whose client has gone is free

void watch(VxiConnection* connection, int operation, uint32_t events) {
    const auto number = static_cast<uint64_t>(connection - vxiConnections.all.data());
    epoll_event wanted{.events = events, .data = {.u64 = number}};
    epoll_ctl(vxiConnections.watchFd, operation, connection->fd, &wanted);
}

void setPlace(VxiConnection* connection, VxiPlace place) {
    MutexLock lock(vxiConnections.mutex);
    connection->place = place;
}

VxiConnection* freePlace() REQUIRES(vxiConnections.mutex) {
    for (VxiConnection& connection : vxiConnections.all)
        if (connection.place == VxiPlace::unused)
            return &connection;
    return nullptr;
}

/// Workers have fewer than there are.
VxiConnection* mostSilent() {
    MutexLock lock(vxiConnections.mutex);
    VxiConnection* found = nullptr;
    for (VxiConnection& connection : vxiConnections.all)
        if (connection.place == VxiPlace::door && (found == nullptr || connection.heard_ns < found->heard_ns))
            found = &connection;
    return found;
}

bool sendAll(int fd, std::span<const char> data, bool patient) {
    while (!data.empty()) {
        const ssize_t sent = send(fd, data.data(), data.size(), MSG_NOSIGNAL | (patient ? 0 : MSG_DONTWAIT));
        if (sent < 0 && errno == EINTR)
            continue;
        if (sent < 0)
            return false;
        data = data.subspan(static_cast<size_t>(sent));
    }
    return true;
}

} // namespace

VxiConnections vxiConnections;

VxiConnection* vxiConnections_add(int fd) {
    VxiConnection* added;
    {
        MutexLock lock(vxiConnections.mutex);
        added = freePlace();
    }
    if (added == nullptr) {
        added = mostSilent();
        if (added == nullptr) // cannot be: there are more places than workers
            return nullptr;
        vxiConnections_end(added);
    }
    MutexLock lock(vxiConnections.mutex);
    added->place = VxiPlace::door;
    added->fd = fd;
    added->client = ++vxiConnections.lastClient;
    rpcRecord_reset(&added->record);
    added->links = 0;
    added->heard_ns = waiting_now();
    added->waitsUntil_ns = 0;
    watch(added, EPOLL_CTL_ADD, EPOLLIN);
    return added;
}

void vxiConnections_end(VxiConnection* connection) {
    tv_device_intr_clnt_leave(connection->client);
    if (connection->links > 0)
        tv_vxi_link_closeAll(connection->client);
    MutexLock lock(vxiConnections.mutex);
    epoll_ctl(vxiConnections.watchFd, EPOLL_CTL_DEL, connection->fd, nullptr);
    close(connection->fd);
    connection->fd = -1;
    connection->client = 0;
    connection->place = VxiPlace::unused;
}

void vxiConnections_toWorker(VxiConnection* connection) {
    vxiConnections_watch(connection, EPOLLRDHUP | EPOLLONESHOT);
    setPlace(connection, VxiPlace::forWorker);
    vxiConnections.handedOver.signal();
}

void vxiConnections_toDoor(VxiConnection* connection) {
    setPlace(connection, VxiPlace::forDoor);
    constexpr uint64_t one = 1;
    while (write(vxiConnections.wakeFd, &one, sizeof one) < 0 && errno == EINTR) {
    }
}

VxiConnection* vxiConnections_next() {
    MutexLock lock(vxiConnections.mutex);
    for (;;) {
        for (VxiConnection& connection : vxiConnections.all)
            if (connection.place == VxiPlace::forWorker) {
                connection.place = VxiPlace::worker;
                return &connection;
            }
        vxiConnections.handedOver.wait(vxiConnections.mutex);
    }
}

void vxiConnections_atDoor(VxiConnection* connection) {
    setPlace(connection, VxiPlace::door);
    connection->heard_ns = waiting_now();
    vxiConnections_watch(connection, EPOLLIN);
}

void vxiConnections_watch(VxiConnection* connection, uint32_t events) {
    watch(connection, EPOLL_CTL_MOD, events);
}

VxiPlace vxiConnections_place(const VxiConnection& connection) {
    MutexLock lock(vxiConnections.mutex);
    return connection.place;
}

void vxiConnections_noticeEnd(VxiConnection* connection) {
    VxiClientId client;
    {
        MutexLock lock(vxiConnections.mutex);
        client = connection->client;
    }
    if (client != 0)
        tv_vxi_link_clientGone(client);
}

bool vxiConnections_isThere(VxiClientId client) {
    MutexLock lock(vxiConnections.mutex);
    const auto found = std::find_if(vxiConnections.all.begin(), vxiConnections.all.end(),
                                    [client](const VxiConnection& c) { return c.client == client; });
    if (client == 0 || found == vxiConnections.all.end())
        return false;
    tcp_info info{};
    socklen_t size = sizeof info;
    return getsockopt(found->fd, IPPROTO_TCP, TCP_INFO, &info, &size) == 0 && info.tcpi_state == TCP_ESTABLISHED;
}

bool vxiConnections_serve(VxiConnection* connection, std::span<char> reply, bool patient, bool* waits) {
    *waits = false;
    const bool hadLinks = connection->links > 0;
    while (connection->record.state == RpcRecordState::complete && hadLinks == (connection->links > 0)) {
        VxiCaller caller{.client = connection->client,
                         .links = connection->links,
                         .mayWait = connection->waitsUntil_ns == 0 || waiting_now() < connection->waitsUntil_ns,
                         .reply = reply};
        size_t size = 0;
        const VxiCallEnd end = vxiCalls_serve(&caller, rpcRecord_message(&connection->record), &size);
        connection->links = caller.links;
        *waits = end == VxiCallEnd::later;
        if (*waits) {
            if (connection->waitsUntil_ns == 0)
                connection->waitsUntil_ns = waiting_deadline(waitForLeft_ms);
            return true;
        }
        connection->waitsUntil_ns = 0;
        if (end == VxiCallEnd::nonsense || (size > 0 && !sendAll(connection->fd, reply.first(size), patient)))
            return false;
        rpcRecord_next(&connection->record);
    }
    return connection->record.state != RpcRecordState::refused;
}
