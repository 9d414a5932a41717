#include "links/tvsocket.h"

#include "base/tvdebug.h"
#include "core/shell.h"
#include "scpi/link.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int firstFreePort = 1024;      // below, binding takes root's rights
constexpr int unprivilegedOffset = 2000; // from a port to its stand-in
constexpr int listenBacklog = 1;
constexpr time_t retrySeconds = 1; // between attempts at a socket that cannot be had

// A client whose machine has vanished without a word would keep everybody else out for ever. One that lives does not
// notice the probes.
constexpr int probeAfter_s = 60;
constexpr int probeEvery_s = 10;
constexpr int probesLost = 3;

void pauseBeforeRetry() {
    const timespec pause{.tv_sec = retrySeconds, .tv_nsec = 0};
    nanosleep(&pause, nullptr);
}

void setOption(int fd, int level, int option, int value) {
    setsockopt(fd, level, option, &value, sizeof value);
}

/// A TCP socket that listens on `port` of all interfaces, or -1 with errno set; `*bindFailed` tells whether the port
/// was the obstacle.
int listeningSocket(int port, bool* bindFailed) {
    *bindFailed = false;
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return -1;
    setOption(fd, SOL_SOCKET, SO_REUSEADDR, 1);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_ANY);
    address.sin_port = htons(static_cast<uint16_t>(port));
    // Sockets that do not listen yet may share a port, so the second of two finds out only here.
    if (bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 && listen(fd, listenBacklog) == 0)
        return fd;
    const int error = errno;
    close(fd);
    errno = error;
    *bindFailed = true;
    return -1;
}

void redirectPort(int from, int to) {
    std::array<char, 128> command;
    snprintf(command.data(), command.size(),
             "su -c \"iptables -t nat -A PREROUTING -p tcp --dport %d -j REDIRECT --to-ports %d\"", from, to);
    tvstuffSystem(command.data());
}

void prepareConnection(int fd) {
    setOption(fd, SOL_SOCKET, SO_REUSEADDR, 1); // the port can be bound again while this connection lasts
    setOption(fd, IPPROTO_TCP, TCP_NODELAY, 1);
    setOption(fd, SOL_SOCKET, SO_KEEPALIVE, 1);
    setOption(fd, IPPROTO_TCP, TCP_KEEPIDLE, probeAfter_s);
    setOption(fd, IPPROTO_TCP, TCP_KEEPINTVL, probeEvery_s);
    setOption(fd, IPPROTO_TCP, TCP_KEEPCNT, probesLost);
}

int acceptClient(int listenFd) {
    int fd;
    do {
        fd = accept4(listenFd, nullptr, nullptr, SOCK_CLOEXEC);
    } while (fd < 0 && (errno == EINTR || errno == ECONNABORTED));
    return fd;
}

void endConnection(Tvsocket* socket, scpi_link* link) {
    TvsocketCloseCommunicationSocket(socket);
    scpi_link_flush(link);
    // The port opens before the event: a client that comes back at once waits in line instead of being refused.
    TvsocketOpenListenSocket(socket);
    tvcommEvent(link, linkEventTcpGone);
}

} // namespace

Tvsocket tvsocket;

void Tvsocket_open(Tvsocket* socket, int port) {
    socket->listenFd = socket->connFd = -1;
    socket->port = port;
    socket->resetRequest = 0;
    TvsocketOpenListenSocket(socket);
}

void Tvsocket_close(Tvsocket* socket) {
    TvsocketCloseCommunicationSocket(socket);
    TvsocketCloseListenSocket(socket);
}

void TvsocketOpenListenSocket(Tvsocket* socket) {
    if (socket->listenFd >= 0)
        return;
    bool bindFailed;
    socket->listenFd = listeningSocket(socket->port, &bindFailed);
    if (socket->listenFd < 0 && bindFailed && socket->port < firstFreePort) {
        const int wanted = socket->port;
        socket->port += unprivilegedOffset;
        socket->listenFd = listeningSocket(socket->port, &bindFailed);
        if (socket->listenFd >= 0)
            redirectPort(wanted, socket->port);
    }
    if (socket->listenFd < 0 && bindFailed)
        printd("tvsockOpen(): error in bind() (%d)\n", errno);
    else if (socket->listenFd < 0)
        printd("tvsockOpen(): error opening socket (%d)\n", errno);
}

void TvsocketCloseListenSocket(Tvsocket* socket) {
    if (socket->listenFd >= 0)
        close(socket->listenFd);
    socket->listenFd = -1;
}

void TvsocketCloseCommunicationSocket(Tvsocket* socket) {
    MutexLock lock(socket->connMutex);
    if (socket->connFd >= 0)
        close(socket->connFd);
    socket->connFd = -1;
    socket->resetRequest = 0;
}

void Tvsocket_listen(Tvsocket* socket, scpi_link* link) {
    if (socket->connFd >= 0)
        return;
    TvsocketOpenListenSocket(socket);
    if (socket->listenFd < 0) {
        pauseBeforeRetry();
        return;
    }
    const int fd = acceptClient(socket->listenFd);
    TvsocketCloseListenSocket(socket);
    if (fd < 0) {
        printd("Tvsocket_listen(): error in accept()\n");
        pauseBeforeRetry();
        return;
    }
    prepareConnection(fd);
    {
        MutexLock lock(socket->connMutex);
        socket->connFd = fd;
        socket->resetRequest = 0; // it was meant for an earlier client
    }
    tvcommEvent(link, linkEventTcpConnected);
}

void Tvsocket_handle(Tvsocket* socket, scpi_link* link) {
    if (socket->connFd < 0)
        Tvsocket_listen(socket, link);
    if (socket->connFd >= 0)
        Tvsocket_read(socket, link);
}

int Tvsocket_receive(Tvsocket* socket, char* where, int room) {
    if (socket->connFd < 0 || room <= 0)
        return 0;
    ssize_t count;
    do {
        count = recv(socket->connFd, where, static_cast<size_t>(room), 0);
    } while (count < 0 && errno == EINTR);
    // What was on its way when the reset came is not carried out any more.
    return count < 0 || socket->resetRequest ? 0 : static_cast<int>(count);
}

bool Tvsocket_send(Tvsocket* socket, const char* data, size_t count, bool more) {
    while (count > 0) {
        const ssize_t sent = send(socket->connFd, data, count, MSG_NOSIGNAL | (more ? MSG_MORE : 0));
        if (sent < 0 && errno == EINTR)
            continue;
        if (sent < 0)
            return false;
        data += sent;
        count -= static_cast<size_t>(sent);
    }
    return true;
}

void Tvsocket_read(Tvsocket* socket, scpi_link* link) {
    // The read itself waits for the client: its thread alone uses the link, so nobody else needs the command buffer.
    char* where;
    const int room = tvcommOpenCmd(link, &where);
    const int count = Tvsocket_receive(socket, where, room);
    tvcommCloseCmd(link, count);
    if (count == 0) { // also without room, which no client that keeps to the rules runs into
        endConnection(socket, link);
        return;
    }
    int more = 0;
    do {
        scpi_link_doHandle(link);
        if (more != 0)
            link->handleRequest.linger(1); // the next piece of a block is soon there
        scpi_link_waitHandled(link);
        more = Tvsocket_write(socket, link);
    } while (more != 0);
}

int Tvsocket_write(Tvsocket* socket, scpi_link* link) {
    char* where;
    int more;
    const int count = tvcommPeekAns(link, &where, &more);
    if (!Tvsocket_send(socket, where, static_cast<size_t>(count), more != 0))
        printd("Tvsocket_write(): %d bytes of an answer lost\n", count);
    if (count == 0) {
        setOption(socket->connFd, IPPROTO_TCP, TCP_QUICKACK, 1); // no answer that carries the acknowledgement
        setOption(socket->connFd, IPPROTO_TCP, TCP_NODELAY, 1);  // sends what waited for more
    }
    tvcommClearAns(link, count, &more);
    return more;
}

void Tvsocket_reset(Tvsocket* socket) {
    MutexLock lock(socket->connMutex);
    socket->resetRequest = 1;
    if (socket->connFd >= 0)
        shutdown(socket->connFd, SHUT_RDWR); // ends whatever read or write the link's thread is in
}
