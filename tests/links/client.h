#pragma once
/// Clients of the tests.

#include <arpa/inet.h>
#include <cerrno>
#include <netinet/in.h>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <unistd.h>

inline sockaddr_in loopback(int port) {
    return {.sin_family = AF_INET,
            .sin_port = htons(static_cast<uint16_t>(port)),
            .sin_addr = {.s_addr = htonl(INADDR_LOOPBACK)},
            .sin_zero = {}};
}

/// A TCP client. Reads and connects give up after a minute.
class Client {
public:
    explicit Client(int port) : fd_(socket(AF_INET, SOCK_STREAM, 0)) {
        const timeval limit{.tv_sec = 60, .tv_usec = 0};
        setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        setsockopt(fd_, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
        const sockaddr_in address = loopback(port);
        connectError_ = connect(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 ? 0 : errno;
    }
    ~Client() { leave(); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    [[nodiscard]] int connectError() const { return connectError_; }
    bool send(std::string_view text) {
        return ::send(fd_, text.data(), text.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(text.size());
    }
    /// False once the kernel takes no more.
    bool sendsAtOnce(std::string_view text) {
        return ::send(fd_, text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT) == static_cast<ssize_t>(text.size());
    }
    /// Reads until `count` bytes are there or the connection ends.
    std::string read(size_t count) {
        std::string text(count, '\0');
        size_t got = 0;
        for (ssize_t n; got < count && (n = recv(fd_, text.data() + got, count - got, 0)) > 0;)
            got += static_cast<size_t>(n);
        return text.substr(0, got);
    }
    std::string ask(std::string_view command, size_t answerSize) {
        return send(command) ? read(answerSize) : "not sent";
    }
    /// True once the other side has ended the connection, in whatever way; after a reset; or after an orderly end.
    bool isDropped() { return end() == 0 || errno == ECONNRESET; }
    bool isReset() { return end() < 0 && errno == ECONNRESET; }
    bool isClosedInOrder() { return end() == 0; }
    void endSending() { shutdown(fd_, SHUT_WR); }
    void leave() {
        if (fd_ >= 0)
            close(fd_);
        fd_ = -1;
    }
    /// Leaves like a process that is killed with unread answers: the connection is reset.
    void die() {
        const linger hard{.l_onoff = 1, .l_linger = 0};
        setsockopt(fd_, SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
        leave();
    }

private:
    /// What the read behind the last byte gives.
    ssize_t end() {
        char rest[4096];
        ssize_t n;
        do {
            n = recv(fd_, rest, sizeof rest, 0);
        } while (n > 0);
        return n;
    }
    int fd_;
    int connectError_;
};
