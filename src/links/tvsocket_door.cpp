// Who comes to the raw socket: let into the line or turned away. And who dies there.

#include "base/tvdebug.h"
#include "links/socket_option.h"
#include "links/tvsocket.h"
#include "scpi/link.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr time_t retrySeconds = 1; // between attempts at a socket that cannot be had
constexpr int lookAgain_ms = 1;    // while a newcomer waits to be let in or turned away

// For how long a client who seems to be there keeps a newcomer waiting before he is turned away: the news that he has
// closed may come a moment behind the newcomer, and it comes at the end of all that he has sent. So as long as there is
// much of that, the moment has not begun.
constexpr int64_t nsPerMs = 1'000'000, nsPerSecond = 1'000'000'000;
constexpr int64_t patience_ns = 10 * nsPerMs, patienceBehindMuch_ns = nsPerSecond;
constexpr int unreadMuch = 4096; // bytes that the link has not taken yet

// Behind much, once the client has been asked to make room: from the link's last read of what he has left; who has been
// read more than the kernel keeps for one connection is still sending.
constexpr int64_t patienceOnceAsked_ns = 10 * nsPerSecond;
constexpr uint64_t keptByKernel = 64 << 20; // bytes

// Who has closed and reads no more answers holds up those in line no longer than this.
constexpr int stalledReader_ms = 10'000;

enum Watched : uint32_t { watchedPort, watchedClient };

int64_t now_ns() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * nsPerSecond + now.tv_nsec;
}

void pauseBeforeRetry() {
    const timespec pause{.tv_sec = retrySeconds, .tv_nsec = 0};
    nanosleep(&pause, nullptr);
}

int stateOf(int fd) {
    tcp_info info{};
    socklen_t size = sizeof info;
    return getsockopt(fd, IPPROTO_TCP, TCP_INFO, &info, &size) == 0 ? info.tcpi_state : int{TCP_CLOSE};
}

/// False if the client has closed his side or is dead, whatever he has left to read.
bool isThere(int fd) {
    return fd >= 0 && stateOf(fd) == TCP_ESTABLISHED;
}

/// False if he is dead: a reset, or no sign of life. He who has only closed may still read.
bool isConnected(int fd) {
    return stateOf(fd) != TCP_CLOSE;
}

bool hasSentMuch(int fd) {
    int unread = 0;
    return ioctl(fd, FIONREAD, &unread) == 0 && unread >= unreadMuch;
}

/// While the link works through what the client has left, his end comes nearer; also behind the last of it.
void prolongPatience(Tvsocket* socket, int64_t now) {
    const uint64_t taken = socket->taken;
    if (taken == socket->takenLast || taken - socket->takenWhenAsked > keptByKernel)
        return;
    socket->takenLast = taken;
    socket->patienceEnd_ns = now + patienceOnceAsked_ns;
    socket->patienceUntil_ns = now + patienceBehindMuch_ns;
}

/// The client who came last: if he has gone, so have all before him.
int lastClient(const Tvsocket* socket) REQUIRES(socket->connMutex) {
    return socket->lineCount > 0 ? socket->line[socket->lineCount - 1] : socket->connFd;
}

void acceptNewcomer(Tvsocket* socket) {
    const int fd = accept4(socket->listenFd, nullptr, nullptr, SOCK_CLOEXEC);
    if (fd >= 0) {
        socket->newcomerFd = fd;
        const int64_t now = now_ns();
        socket->patienceUntil_ns = now + patience_ns;
        socket->patienceEnd_ns = now + socket->patienceForMuch_ns;
        socket->roomAsked = false;
    } else if (errno != EAGAIN && errno != EINTR && errno != ECONNABORTED) {
        printd("Tvsocket_listen(): error in accept()\n");
        pauseBeforeRetry();
    }
}

/// Others stand in line behind a client who has closed: he gets his answers, but waits for nothing more.
void hurry(const Tvsocket* socket) REQUIRES(socket->connMutex) {
    if (socket->connFd < 0 || socket->lineCount == 0)
        return;
    setSocketOption(socket->connFd, IPPROTO_TCP, TCP_USER_TIMEOUT, stalledReader_ms);
    scpi_link_clientMakesRoom(socket->link);
}

/// Lets the newcomer into the line, turns him away, or leaves that for later.
void decide(Tvsocket* socket) {
    MutexLock lock(socket->connMutex);
    const int last = lastClient(socket);
    if (!isThere(last)) {
        socket->line[socket->lineCount++] = socket->newcomerFd;
        socket->lineGrew.signal();
        hurry(socket);
        socket->newcomerFd = -1;
        return;
    }
    const int64_t now = now_ns();
    const bool sentMuch = hasSentMuch(last);
    if (socket->roomAsked)
        prolongPatience(socket, now);
    if (sentMuch)
        socket->patienceUntil_ns = std::min(now + patienceBehindMuch_ns, socket->patienceEnd_ns);
    if (now < socket->patienceUntil_ns)
        return;
    if (sentMuch && !socket->roomAsked) {
        // Behind so much that nobody reads, because the link waits, the news that he has gone may not get through.
        socket->roomAsked = true;
        socket->patienceEnd_ns = now + patienceOnceAsked_ns;
        socket->takenLast = socket->takenWhenAsked = socket->taken;
        scpi_link_clientMakesRoom(socket->link);
        return;
    }
    if (socket->roomAsked)
        scpi_link_clientStays(socket->link);
    Tvsocket_turnAway(socket->newcomerFd);
    socket->newcomerFd = -1;
}

/// The watch may have told of an earlier client; what counts is how the present one does.
void noticeDeath(Tvsocket* socket) {
    MutexLock lock(socket->connMutex);
    if (socket->connFd >= 0 && (socket->resetRequest || !isConnected(socket->connFd)))
        scpi_link_clientGone(socket->link);
}

/// The port is looked at again once there is room for who stands there.
void watchPortAgain(Tvsocket* socket) {
    MutexLock lock(socket->connMutex);
    if (socket->newcomerFd < 0 && socket->lineCount < socket->line.size())
        Tvsocket_watchPort(socket, EPOLL_CTL_MOD);
}

} // namespace

void Tvsocket_watchPort(Tvsocket* socket, int operation) {
    epoll_event wanted{.events = EPOLLIN | EPOLLONESHOT, .data = {.u32 = watchedPort}};
    epoll_ctl(socket->watchFd, operation, socket->listenFd, &wanted);
}

void Tvsocket_turnAway(int fd) {
    const linger reset{.l_onoff = 1, .l_linger = 0};
    setsockopt(fd, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
    close(fd);
}

void Tvsocket_listen(Tvsocket* socket) {
    TvsocketOpenListenSocket(socket);
    if (socket->listenFd < 0) {
        pauseBeforeRetry();
        return;
    }
    epoll_event event{};
    const int timeout_ms = socket->newcomerFd >= 0 ? lookAgain_ms : -1;
    const bool told = epoll_wait(socket->watchFd, &event, 1, timeout_ms) == 1;
    if (told && event.data.u32 == watchedClient)
        noticeDeath(socket);
    else if (told)
        acceptNewcomer(socket);
    if (socket->newcomerFd >= 0)
        decide(socket);
    watchPortAgain(socket);
}

void Tvsocket_takeClient(Tvsocket* socket) {
    MutexLock lock(socket->connMutex);
    while (socket->lineCount == 0)
        socket->lineGrew.wait(socket->connMutex);
    socket->connFd = socket->line[0];
    std::move(socket->line.begin() + 1, socket->line.begin() + socket->lineCount, socket->line.begin());
    if (socket->lineCount-- == socket->line.size())
        Tvsocket_watchPort(socket, EPOLL_CTL_MOD);
    socket->resetRequest = 0; // it was meant for an earlier client
    // Without a wish the watch tells only of the end, and the traffic of the client disturbs nobody.
    epoll_event death{.events = EPOLLET, .data = {.u32 = watchedClient}};
    epoll_ctl(socket->watchFd, EPOLL_CTL_ADD, socket->connFd, &death);
    scpi_link_clientStays(socket->link); // what was asked of an earlier one
    hurry(socket);                       // those who came before
    if (!isConnected(socket->connFd))
        scpi_link_clientGone(socket->link);
}
