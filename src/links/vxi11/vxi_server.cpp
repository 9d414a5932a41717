#include "links/vxi11/vxi_server.h"

#include "base/waiting.h"
#include "links/socket_option.h"
#include "links/vxi11/vxi11_xdr.h"
#include "links/vxi11/vxi_calls.h"
#include "links/vxi11/vxi_connections.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <netconfig.h>
#include <rpc/rpc.h>
#include <rpc/rpcb_clnt.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int settleWithin_ms = 1000;

struct Settled {
    Mutex mutex;
    Condition changed;
    bool done GUARDED_BY(mutex) = false;
};
Settled settled;

void settle() {
    MutexLock lock(settled.mutex);
    settled.done = true;
    settled.changed.broadcast();
}

struct Service {
    uint32_t program;
    int port;
    int fd;
};

/// Null, or what is in the way.
const char* open(Service* service, uint32_t address) {
    service->fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (service->fd < 0)
        return strerror(errno);
    prepareConnections(service->fd);
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_addr.s_addr = address;
    place.sin_port = htons(static_cast<uint16_t>(service->port));
    const bool listens = bind(service->fd, reinterpret_cast<const sockaddr*>(&place), sizeof place) == 0 &&
                         listen(service->fd, SOMAXCONN) == 0;
    return listens ? nullptr : strerror(errno);
}

/// As pmap_set does, which loses a piece of memory at each call.
bool announce(const Service& service) {
    netconfig* const tcp = getnetconfigent("tcp");
    if (tcp == nullptr)
        return false;
    sockaddr_in anywhere{};
    anywhere.sin_family = AF_INET;
    anywhere.sin_port = htons(static_cast<uint16_t>(service.port));
    const netbuf address{sizeof anywhere, sizeof anywhere, &anywhere};
    rpcb_unset(service.program, vxi11Version, tcp); // an earlier process may have left it
    const bool taken = rpcb_set(service.program, vxi11Version, tcp, &address) != 0;
    freenetconfigent(tcp);
    return taken;
}

/// True with all of them open and announced; else says what is missing and leaves none.
bool start(std::span<Service> services, uint32_t address) {
    bool isOn = true;
    for (Service& service : services)
        if (const char* const obstacle = open(&service, address); isOn && obstacle != nullptr) {
            printf("VXI-11 is off: TCP port %d: %s\n", service.port, obstacle);
            isOn = false;
        }
    for (const Service& service : services)
        if (isOn && !announce(service)) {
            printf("VXI-11 is off: no port mapper on port 111 takes its services (rpcbind is one)\n");
            isOn = false;
        }
    fflush(stdout);
    for (const Service& service : services)
        if (!isOn && service.fd >= 0)
            close(service.fd);
    return isOn;
}

} // namespace

void vxiServer_startWorkers() {
    vxiConnections.watchFd = epoll_create1(EPOLL_CLOEXEC);
    vxiConnections.wakeFd = eventfd(0, EFD_CLOEXEC);
    vxiCalls_isThere = vxiConnections_isThere;
    vxiWorkers_start(vxiStackBytes);
}

void tv_vxi_link_run(uint32_t address) {
    Service services[] = {{deviceCore, vxiCorePort, -1}, {deviceAsync, vxiAbortPort, -1}};
    const bool isOn = start(services, address);
    settle();
    if (isOn)
        vxiDoor_run(services[0].fd, services[1].fd);
}

void vxiServer_waitUntilSettled() {
    const timespec end = waiting_moment(waiting_deadline(settleWithin_ms));
    MutexLock lock(settled.mutex);
    while (!settled.done && settled.changed.waitUntil(settled.mutex, end)) {
    }
}
