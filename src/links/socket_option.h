#pragma once
/// Options of the sockets on which clients come.

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

// A client whose machine has vanished without a word would keep everybody else out for ever. One that lives does not
// notice the probes.
inline constexpr int probeAfter_s = 60;
inline constexpr int probeEvery_s = 10;
inline constexpr int probesLost = 3;

inline void setSocketOption(int fd, int level, int option, int value) {
    setsockopt(fd, level, option, &value, sizeof value);
}

/// For a socket that is to listen: what it needs itself, and what each of its connections inherits.
inline void prepareConnections(int fd) {
    setSocketOption(fd, SOL_SOCKET, SO_REUSEADDR, 1); // connections of an earlier process may linger
    setSocketOption(fd, IPPROTO_TCP, TCP_NODELAY, 1);
    setSocketOption(fd, SOL_SOCKET, SO_KEEPALIVE, 1);
    setSocketOption(fd, IPPROTO_TCP, TCP_KEEPIDLE, probeAfter_s);
    setSocketOption(fd, IPPROTO_TCP, TCP_KEEPINTVL, probeEvery_s);
    setSocketOption(fd, IPPROTO_TCP, TCP_KEEPCNT, probesLost);
}
