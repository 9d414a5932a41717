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

void endConnection(Tvsocket* socket, scpi_link* link) {
    TvsocketCloseCommunicationSocket(socket);
    scpi_link_flush(link);
    tvcommEvent(link, linkEventTcpGone);
}

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

void Tvsocket_open(Tvsocket* socket, int port, uint32_t address) {
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

void Tvsocket_handle(Tvsocket* socket, scpi_link* link) {
    if (socket->connFd < 0)
        Tvsocket_takeClient(socket, link);
    Tvsocket_read(socket, link);
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
    if (!Tvsocket_send(socket, where, static_cast<size_t>(count), more != 0)) {
        printd("Tvsocket_write(): %d bytes of an answer lost\n", count);
        MutexLock lock(socket->connMutex); // see scpi_link_clientMakesRoom
        scpi_link_clientGone(link);
    }
    if (count == 0) {
        setSocketOption(socket->connFd, IPPROTO_TCP, TCP_QUICKACK, 1); // no answer that carries the acknowledgement
        setSocketOption(socket->connFd, IPPROTO_TCP, TCP_NODELAY, 1);  // sends what waited for more
    }
    tvcommClearAns(link, count, &more);
    return more;
}

void Tvsocket_reset(Tvsocket* socket) {
    MutexLock lock(socket->connMutex);
    socket->resetRequest = 1;
    if (socket->connFd >= 0)
        shutdown(socket->connFd, SHUT_RDWR); // ends whatever read or write the link's thread is in
    if (socket->lineCount == socket->line.size())
        Tvsocket_watchPort(socket, EPOLL_CTL_MOD);
    sendAwayTheLine(socket);
}
