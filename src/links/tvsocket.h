#pragma once
/// The raw socket link: one TCP client at a time with SCPI text. While a client is connected the port is closed.

#include "base/sync.h"

#include <atomic>
#include <cstddef>

struct scpi_link;

/// The link's thread alone opens, closes and uses the descriptors, with two exceptions: Tvsocket_reset, and the file
/// protocol (links/rmt.h), which runs on the main thread while the link's thread waits for it.
struct Tvsocket {
    int listenFd = -1; // -1 when closed
    int connFd = -1;   // -1 when no client is connected
    int port = 0;      // in use; 2000 above the one asked for where that needs rights that the process does not have
    std::atomic<int> resetRequest{0}; // 1: the client is to be dropped
    Mutex connMutex; // held by the link's thread while connFd changes, and by others while they touch the connection
};

extern Tvsocket tvsocket;

/// Listens on `port` of all interfaces; clients wait from here on until the link's thread serves them. On failure there
/// is no listening socket, and the link's thread tries again.
void Tvsocket_open(Tvsocket* socket, int port);
/// Closes whatever is open. No thread may be using the socket.
void Tvsocket_close(Tvsocket* socket);

/// One step of the link's thread: waits for a client, or takes one read of the client's text through the link and sends
/// the answers, or notices that the client has gone.
void Tvsocket_handle(Tvsocket* socket, scpi_link* link);

/// Drops the client, whatever its connection is doing. Callable from any thread; returns at once.
void Tvsocket_reset(Tvsocket* socket);

// The parts of Tvsocket_handle.

/// (Re)opens listenFd unless it is open.
void TvsocketOpenListenSocket(Tvsocket* socket);
void TvsocketCloseListenSocket(Tvsocket* socket);
void TvsocketCloseCommunicationSocket(Tvsocket* socket);
/// Waits for a client if there is none, closes the port and raises the event of the connection.
void Tvsocket_listen(Tvsocket* socket, scpi_link* link);
/// One read and all its answers; or, if the client has gone or is to go, the end of the connection and its event.
void Tvsocket_read(Tvsocket* socket, scpi_link* link);
/// Sends what the link has to say and returns whether there is more. A failed write loses the rest of that answer.
[[nodiscard]] int Tvsocket_write(Tvsocket* socket, scpi_link* link);
/// Sends all of `count` bytes. With `more` they may wait a moment for those of the next call, so that a long block goes
/// in few segments. False if the connection failed.
[[nodiscard]] bool Tvsocket_send(Tvsocket* socket, const char* data, size_t count, bool more = false);
/// Waits for and reads at most `room` bytes. Returns their number; 0 if the client has gone or is to be dropped.
[[nodiscard]] int Tvsocket_receive(Tvsocket* socket, char* where, int room);
