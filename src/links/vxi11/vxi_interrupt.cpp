#include "links/vxi11/vxi_interrupt.h"

#include "base/tvdebug.h"
#include "links/vxi11/vxi11_xdr.h"

#include <cerrno>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int connectWithin_ms = 500; // others may be waiting for the thread
constexpr timeval retryTime{.tv_sec = 3, .tv_usec = 0};
enum Family { familyTcp = 0, familyUdp = 1 };

struct InterruptChannel {
    Mutex mutex;
    CLIENT* rpc GUARDED_BY(mutex) = nullptr;
    VxiClientId client GUARDED_BY(mutex) = 0;
};
InterruptChannel channel;

/// The library would wait for minutes for a host that does not answer. Returns -1 if there is no connection.
int connectSoon(const sockaddr_in& address) {
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0)
        return -1;
    pollfd wanted{.fd = fd, .events = POLLOUT, .revents = 0};
    int error = connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 ? 0 : errno;
    socklen_t size = sizeof error;
    if (error == EINPROGRESS && poll(&wanted, 1, connectWithin_ms) == 1)
        getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &size);
    if (error == 0)
        return fd;
    close(fd);
    return -1;
}

CLIENT* clientOverTcp(sockaddr_in address, u_long version) {
    int fd = connectSoon(address);
    if (fd < 0)
        return nullptr;
    CLIENT* const client = clnttcp_create(&address, deviceIntr, version, &fd, 0, 0);
    if (client == nullptr)
        close(fd);
    else
        clnt_control(client, CLSET_FD_CLOSE, nullptr);
    return client;
}

CLIENT* clientOverUdp(sockaddr_in address, u_long version) {
    int fd = RPC_ANYSOCK; // the library's, which closes it
    return clntudp_create(&address, deviceIntr, version, retryTime, &fd);
}

int destroy() REQUIRES(channel.mutex) {
    if (channel.rpc == nullptr)
        return deviceChannelNotEstablished;
    clnt_destroy(channel.rpc);
    channel.rpc = nullptr;
    channel.client = 0;
    return deviceNoError;
}

} // namespace

int tv_device_intr_clnt_create(VxiClientId client, uint32_t hostAddress, uint16_t hostPort, uint32_t program,
                               uint32_t version, int32_t family) {
    if (family != familyTcp && family != familyUdp) {
        printd("tv_device_intr_clnt_create(): error: family neither TCP nor UDP\n");
        return deviceNotSupported;
    }
    if (program != deviceIntr || version != vxi11Version)
        return deviceNotSupported;
    MutexLock lock(channel.mutex);
    if (channel.rpc != nullptr)
        return deviceChannelExists;
    if (hostPort == 0) // the library would go and ask a port mapper
        return deviceChannelNotEstablished;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(hostPort);
    address.sin_addr.s_addr = htonl(hostAddress);
    channel.rpc = family == familyTcp ? clientOverTcp(address, version) : clientOverUdp(address, version);
    channel.client = client;
    return channel.rpc == nullptr ? deviceChannelNotEstablished : deviceNoError;
}

int tv_device_intr_clnt_destroy() {
    MutexLock lock(channel.mutex);
    return destroy();
}

void tv_device_intr_clnt_leave(VxiClientId client) {
    MutexLock lock(channel.mutex);
    if (channel.client == client)
        (void)destroy();
}
