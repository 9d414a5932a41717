#include "links/tvsocket.h"

#include "base/tvdebug.h"
#include "links/socket_option.h"
#include "scpi/link.h"

#include <cerrno>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

void sendAwayTheLine(Tvsocket* socket) REQUIRES(socket->connMutex) {
    for (; socket->lineCount > 0; --socket->lineCount)
        Tvsocket_turnAway(socket->line[socket->lineCount - 1]);
}

void closeAndForget(int* fd) {
    if (*fd >= 0)
        close(*fd);
    *fd = -1;
}

} // namespace

Tvsocket tvsocket;

void Tvsocket_open(Tvsocket* socket, scpi_link* link, int port, uint32_t address) {
    socket->link = link;
    socket->port = port;
    socket->address = address;
    socket->resetRequest = 0;
    socket->watchFd = epoll_create1(EPOLL_CLOEXEC);
    TvsocketOpenListenSocket(socket);
}

void Tvsocket_close(Tvsocket* socket) {
    TvsocketCloseListenSocket(socket);
    TvsocketCloseCommunicationSocket(socket);
    {
        MutexLock lock(socket->connMutex);
        sendAwayTheLine(socket);
    }
    closeAndForget(&socket->newcomerFd);
    closeAndForget(&socket->watchFd);
}

void TvsocketCloseCommunicationSocket(Tvsocket* socket) {
    MutexLock lock(socket->connMutex);
    // Out of the watch first: the kernel may be looking at the connection for the door, and would then close it only
    // when the door wakes up.
    if (socket->connFd >= 0)
        epoll_ctl(socket->watchFd, EPOLL_CTL_DEL, socket->connFd, nullptr);
    closeAndForget(&socket->connFd);
    socket->resetRequest = 0;
}

int Tvsocket_receive(Tvsocket* socket, char* where, int room) {
    if (socket->connFd < 0 || room <= 0)
        return 0;
    ssize_t count;
    do {
        count = recv(socket->connFd, where, static_cast<size_t>(room), 0);
    } while (count < 0 && errno == EINTR);
    if (count > 0)
        socket->taken += static_cast<uint64_t>(count);
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

namespace {

Tvsocket* of(void* medium) {
    return static_cast<Tvsocket*>(medium);
}

bool open(void* medium, const char*) {
    Tvsocket_takeClient(of(medium));
    return true;
}

Received receive(void* medium, char* where, int room) {
    const int count = Tvsocket_receive(of(medium), where, room);
    return {count, count == 0 ? Said::gone : Said::bytes};
}

/// The rest of an answer is lost with its client, and so is a block. The next receive tells of it.
Sent sendAnswer(void* medium, const char* data, int count, bool more) {
    Tvsocket* const socket = of(medium);
    if (!Tvsocket_send(socket, data, static_cast<size_t>(count), more)) {
        printd("Tvsocket: %d bytes of an answer lost\n", count);
        MutexLock lock(socket->connMutex); // see scpi_link_clientMakesRoom
        scpi_link_clientGone(socket->link);
    } else if (count == 0) {
        setSocketOption(socket->connFd, IPPROTO_TCP, TCP_QUICKACK, 1); // no answer that carries the acknowledgement
        if (socket->moreAnnounced)
            setSocketOption(socket->connFd, IPPROTO_TCP, TCP_NODELAY, 1); // sends what waited for more
    }
    socket->moreAnnounced = more;
    return {count, more};
}

void closeConnection(void* medium) {
    TvsocketCloseCommunicationSocket(of(medium));
}

} // namespace

const Transport tcpTransport{open, receive, sendAnswer, closeConnection, nullptr};

void Tvsocket_reset(Tvsocket* socket) {
    MutexLock lock(socket->connMutex);
    socket->resetRequest = 1;
    if (socket->connFd >= 0)
        shutdown(socket->connFd, SHUT_RDWR); // ends whatever read or write the link's thread is in
    if (socket->lineCount == socket->line.size())
        Tvsocket_watchPort(socket, EPOLL_CTL_MOD);
    sendAwayTheLine(socket);
}
