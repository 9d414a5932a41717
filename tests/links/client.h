#pragma once
/// A TCP client of the tests. Reads and connects give up after ten seconds.

#include <arpa/inet.h>
#include <cerrno>
#include <netinet/in.h>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <unistd.h>

class Client {
public:
    explicit Client(int port) : fd_(socket(AF_INET, SOCK_STREAM, 0)) {
        const timeval limit{.tv_sec = 10, .tv_usec = 0};
        setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        setsockopt(fd_, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        connectError_ = connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 ? 0 : errno;
    }
    ~Client() { leave(); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    [[nodiscard]] int connectError() const { return connectError_; }
    bool send(std::string_view text) {
        return ::send(fd_, text.data(), text.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(text.size());
    }
    /// Reads until `count` bytes are there or the connection ends.
    std::string read(size_t count) {
        std::string text(count, '\0');
        size_t got = 0;
        while (got < count) {
            const ssize_t n = recv(fd_, text.data() + got, count - got, 0);
            if (n <= 0)
                break;
            got += static_cast<size_t>(n);
        }
        text.resize(got);
        return text;
    }
    std::string ask(std::string_view command, size_t answerSize) {
        return send(command) ? read(answerSize) : "not sent";
    }
    /// True once the other side has ended the connection, in whatever way.
    bool isDropped() {
        char rest[4096];
        ssize_t n;
        do {
            n = recv(fd_, rest, sizeof rest, 0);
        } while (n > 0);
        return n == 0 || errno == ECONNRESET;
    }
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
    int fd_;
    int connectError_;
};
