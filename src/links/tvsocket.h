#pragma once
/// The raw socket link: SCPI text from one TCP client at a time.
///
/// The port is always open. Two threads share it: the door (Tvsocket_listen) accepts whoever comes, and the link's
/// thread (tcpTransport) serves one client after the other. Who comes while another client is there is turned away
/// at once, with a reset. Who comes after the other has closed stands in line, however soon that is, and is served when
/// all that the others had sent has been carried out. So of the clients in line only the last can still be there.
///
/// A client that has closed only its sending side gets its answers, and a wait that it has started goes on until
/// somebody stands in line behind it. One that is dead (a reset, or no sign of life) takes its wait and its block with
/// it.

#include "base/sync.h"
#include "links/transport.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

struct scpi_link;

inline constexpr size_t socketLineRoom = 64; // clients; who comes beyond that waits in the kernel

struct Tvsocket {
    scpi_link* link = nullptr;
    int listenFd = -1;
    int watchFd = -1;     // tells the door of listenFd, and of the death of connFd
    int port = 0;         // in use; 2000 above the one asked for where that cannot be had
    uint32_t address = 0; // IPv4, network byte order; 0: of all interfaces
    int newcomerFd = -1;  // the door's: who has come and is neither in line nor turned away yet
    int64_t patienceUntil_ns = 0, patienceEnd_ns = 0; // the door's, on the monotonic clock
    int64_t patienceForMuch_ns = 10'000'000'000; // behind a client with much unread, until he is asked to make room
    uint64_t takenLast = 0, takenWhenAsked = 0;  // the door's: of `taken`
    bool roomAsked = false;                      // the door's: the client has been asked to wait no more
    bool moreAnnounced = false;                  // the link's thread's: the kernel may wait for more to send
    Mutex connMutex; // guards the following; the link's thread alone changes connFd and reads it without
    int connFd = -1; // the client who is served; -1 when none
    std::array<int, socketLineRoom> line{};
    size_t lineCount = 0;
    Condition lineGrew;
    std::atomic<uint64_t> taken{0};   // bytes that the link has read, of all clients
    std::atomic<int> resetRequest{0}; // 1: the client is to be dropped
};

extern Tvsocket tvsocket;

/// The transport of the clients; its medium is a Tvsocket that is open.
extern const Transport tcpTransport;

/// Listens on `port` of `address` for the clients of `link`, who wait from here on until the threads serve them. On
/// failure there is no listening socket, and the door tries again.
void Tvsocket_open(Tvsocket* socket, scpi_link* link, int port, uint32_t address = 0);
/// Closes whatever is open. No thread may be using the socket.
void Tvsocket_close(Tvsocket* socket);

/// One step of the door's thread: waits until somebody comes or the client dies, and sees to it.
void Tvsocket_listen(Tvsocket* socket);

/// Drops the client and those in line, whatever the connection is doing. Callable from any thread; returns at once.
void Tvsocket_reset(Tvsocket* socket);

// The parts of the above.

/// (Re)opens listenFd unless it is open.
void TvsocketOpenListenSocket(Tvsocket* socket);
void TvsocketCloseListenSocket(Tvsocket* socket);
void TvsocketCloseCommunicationSocket(Tvsocket* socket);
/// Adds the port to what the door watches, or (EPOLL_CTL_MOD) asks to be told once more.
void Tvsocket_watchPort(Tvsocket* socket, int operation);
/// Ends a connection that was not served, with a reset.
void Tvsocket_turnAway(int fd);
/// Waits for the next client in line.
void Tvsocket_takeClient(Tvsocket* socket);
/// Sends all of `count` bytes. With `more` they may wait a moment for those of the next call, so that a long block goes
/// in few segments. False if the connection failed.
[[nodiscard]] bool Tvsocket_send(Tvsocket* socket, const char* data, size_t count, bool more = false);
/// Waits for and reads at most `room` bytes. Returns their number; 0 if the client has gone or is to be dropped.
[[nodiscard]] int Tvsocket_receive(Tvsocket* socket, char* where, int room);
