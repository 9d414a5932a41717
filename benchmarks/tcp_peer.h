#pragma once
/// Clients of the benchmarks, and the yardstick of the machine: a bare echo.

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <netinet/tcp.h>
#include <string>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

[[noreturn]] inline void fail(const char* what) {
    perror(what);
    exit(1);
}

inline void noDelay(int fd) {
    const int on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

inline sockaddr_in loopback(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

inline int connectTo(int port) {
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    const sockaddr_in address = loopback(port);
    if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        fail("connect");
    noDelay(fd);
    return fd;
}

/// A listener at a port that was free.
inline int listenAtAnyPort(int* port) {
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = loopback(0);
    socklen_t length = sizeof address;
    if (bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 || listen(listener, 1) != 0 ||
        getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length) != 0)
        fail("echo server");
    *port = ntohs(address.sin_port);
    return listener;
}

/// The yardstick: reads what there is and writes it back. Returns its port; the process ends with this one.
inline int startEcho() {
    int port = 0;
    const int listener = listenAtAnyPort(&port);
    if (fork() == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        const int fd = accept(listener, nullptr, nullptr);
        noDelay(fd);
        char bytes[4096];
        for (ssize_t n; (n = read(fd, bytes, sizeof bytes)) > 0;)
            if (write(fd, bytes, static_cast<size_t>(n)) != n)
                break;
        _exit(0);
    }
    close(listener);
    return port;
}

class Peer {
public:
    explicit Peer(int port) : fd_(connectTo(port)) {}
    ~Peer() { close(fd_); }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    void send(const std::string& text) {
        if (write(fd_, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
            fail("write");
    }
    /// Reads until a newline ends what has come; returns the bytes of the line.
    size_t readLine() {
        size_t got = 0;
        do
            got += receive();
        while (bytes_[lastCount_ - 1] != '\n');
        return got;
    }
    /// Reads one block "#<n><digits><bytes>"; returns its data bytes.
    size_t readBlock() {
        size_t got = receive();
        while (got < 2 || got < 2 + static_cast<size_t>(bytes_[1] - '0'))
            fail("a block header in pieces");
        const auto digits = static_cast<size_t>(bytes_[1] - '0');
        const size_t data = std::stoul(std::string(bytes_ + 2, digits));
        while (got < 2 + digits + data)
            got += receive();
        return data;
    }

    /// Reads one block "<0><length><bytes>", both numbers 32 bits; returns its data bytes.
    size_t readBinaryBlock() {
        std::array<uint32_t, 2> head{};
        size_t got = 0;
        while (got < sizeof head) {
            const size_t count = receive();
            if (got < sizeof head)
                memcpy(reinterpret_cast<char*>(head.data()) + got, bytes_, std::min(count, sizeof head - got));
            got += count;
        }
        while (got < sizeof head + head[1])
            got += receive();
        return head[1];
    }

private:
    size_t receive() {
        const ssize_t n = read(fd_, bytes_, sizeof bytes_);
        if (n <= 0)
            fail("read");
        lastCount_ = static_cast<size_t>(n);
        return lastCount_;
    }
    int fd_;
    char bytes_[65536];
    size_t lastCount_ = 0;
};
