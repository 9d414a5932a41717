#include "virtual/gpib/gpib_server.h"

#include "virtual/gpib/gpib_adapter.h"

#include <algorithm>
#include <cerrno>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace vi {
namespace {

constexpr size_t clientsMax = 8;
constexpr int backlog = 8;
constexpr int sendPatience_s = 10; // with a client who does not read: the others wait for him
constexpr int silence_s = 30;      // after which a client is asked whether he is still there

int listenAt(in_addr address, uint16_t port) {
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return -errno;
    const int on = 1;
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_port = htons(port);
    place.sin_addr = address;
    if (bind(fd, reinterpret_cast<const sockaddr*>(&place), sizeof place) == 0 && listen(fd, backlog) == 0)
        return fd;
    const int error = -errno;
    close(fd);
    return error;
}

int portOf(int fd) {
    sockaddr_in place{};
    socklen_t size = sizeof place;
    return getsockname(fd, reinterpret_cast<sockaddr*>(&place), &size) == 0 ? ntohs(place.sin_port) : -errno;
}

} // namespace

struct GpibServer::Client {
    int fd;
    bool gone = false;
    std::string pending; // received, and not yet carried out
    GpibAdapter adapter;

    Client(int connection, GpibBus& bus, const std::string& settingsFile)
        : fd(connection), adapter(bus, settingsFile, [this](std::string_view text) { send(text); }) {}
    ~Client() { close(fd); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    void send(std::string_view text) {
        while (!gone && !text.empty()) {
            const ssize_t sent = ::send(fd, text.data(), text.size(), MSG_NOSIGNAL);
            if (sent > 0)
                text.remove_prefix(static_cast<size_t>(sent));
            else
                gone = sent == 0 || errno != EINTR;
        }
    }
    void receive() {
        char bytes[4096];
        const ssize_t count = recv(fd, bytes, sizeof bytes, MSG_DONTWAIT);
        if (count > 0)
            pending.assign(bytes, static_cast<size_t>(count));
        else
            gone = count == 0 || (errno != EINTR && errno != EAGAIN);
    }
    /// One line, as it may take its time on the bus and the others wait meanwhile.
    void carryOutLine() {
        const size_t end = pending.find('\n');
        const size_t length = end == std::string::npos ? pending.size() : end + 1;
        gone = !adapter.take({pending.data(), length}) || gone;
        pending.erase(0, length);
    }
};

GpibServer::GpibServer(GpibBus& bus, std::string settingsFile) : bus_(bus), settingsFile_(std::move(settingsFile)) {}

GpibServer::~GpibServer() {
    if (fd_ >= 0)
        close(fd_);
}

int GpibServer::open(in_addr address, std::initializer_list<uint16_t> ports) {
    for (const uint16_t port : ports)
        if (fd_ < 0)
            fd_ = listenAt(address, port);
    return fd_ < 0 ? fd_ : portOf(fd_);
}

void GpibServer::accept() {
    const int connection = accept4(fd_, nullptr, nullptr, SOCK_CLOEXEC);
    if (connection < 0)
        return;
    if (clients_.size() == clientsMax) {
        close(connection);
        return;
    }
    const int on = 1;
    const timeval patience{.tv_sec = sendPatience_s, .tv_usec = 0};
    setsockopt(connection, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    setsockopt(connection, SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
    setsockopt(connection, IPPROTO_TCP, TCP_KEEPIDLE, &silence_s, sizeof silence_s);
    setsockopt(connection, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
    clients_.emplace_back(connection, bus_, settingsFile_);
}

void GpibServer::serve() {
    std::vector<pollfd> watched{{fd_, POLLIN, 0}};
    bool pends = false;
    for (const Client& client : clients_) {
        watched.push_back({client.fd, static_cast<short>(client.pending.empty() ? POLLIN : 0), 0});
        pends = pends || !client.pending.empty();
    }
    if (poll(watched.data(), watched.size(), pends ? 0 : -1) < 0)
        return;
    auto place = watched.begin();
    const bool comes = (place++)->revents != 0;
    for (Client& client : clients_) {
        const bool readable = ((place++)->revents & (POLLIN | POLLHUP | POLLERR)) != 0;
        if (client.pending.empty() && readable)
            client.receive();
        if (!client.pending.empty() && !client.gone)
            client.carryOutLine();
    }
    clients_.remove_if([](const Client& client) { return client.gone; });
    if (comes)
        accept();
}

} // namespace vi
