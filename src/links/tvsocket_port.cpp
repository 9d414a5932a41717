// The listening socket of the raw socket link.

#include "base/tvdebug.h"
#include "core/shell.h"
#include "links/socket_option.h"
#include "links/tvsocket.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int firstFreePort = 1024;      // below, binding takes root's rights
constexpr int unprivilegedOffset = 2000; // from a port to its stand-in

/// A TCP socket that listens on the socket's port, or -1 with errno set; `*bindFailed` tells whether the port was the
/// obstacle.
int listeningSocket(const Tvsocket* socket, bool* bindFailed) {
    *bindFailed = false;
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0)
        return -1;
    prepareConnections(fd);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = socket->address;
    address.sin_port = htons(static_cast<uint16_t>(socket->port));
    // Sockets that do not listen yet may share a port, so the second of two finds out only here.
    if (bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 && listen(fd, SOMAXCONN) == 0)
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

} // namespace

void TvsocketOpenListenSocket(Tvsocket* socket) {
    if (socket->listenFd >= 0)
        return;
    bool bindFailed;
    socket->listenFd = listeningSocket(socket, &bindFailed);
    if (socket->listenFd < 0 && bindFailed && socket->port < firstFreePort) {
        const int wanted = socket->port;
        socket->port += unprivilegedOffset;
        socket->listenFd = listeningSocket(socket, &bindFailed);
        if (socket->listenFd >= 0)
            redirectPort(wanted, socket->port);
    }
    if (socket->listenFd < 0 && bindFailed)
        printd("tvsockOpen(): error in bind() (%d)\n", errno);
    else if (socket->listenFd < 0)
        printd("tvsockOpen(): error opening socket (%d)\n", errno);
    else
        Tvsocket_watchPort(socket, EPOLL_CTL_ADD);
}

void TvsocketCloseListenSocket(Tvsocket* socket) {
    if (socket->listenFd >= 0)
        close(socket->listenFd);
    socket->listenFd = -1;
}
