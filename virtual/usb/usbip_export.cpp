#include "virtual/usb/usbip_export.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace vi {
namespace {

constexpr int backlog = 8;
constexpr size_t pieceBytes = 65536;

void set(int fd, int level, int option, int value) {
    setsockopt(fd, level, option, &value, sizeof value);
}

/// A host whose machine has vanished is noticed after a minute and a half.
void watchPeer(int fd) {
    set(fd, IPPROTO_TCP, TCP_NODELAY, 1);
    set(fd, SOL_SOCKET, SO_KEEPALIVE, 1);
    set(fd, IPPROTO_TCP, TCP_KEEPIDLE, 60);
    set(fd, IPPROTO_TCP, TCP_KEEPINTVL, 10);
    set(fd, IPPROTO_TCP, TCP_KEEPCNT, 3);
}

bool hasToWait(ssize_t result) {
    return result < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR);
}

} // namespace

UsbipExport::UsbipExport(UsbtmcNode* node, const std::string& serialNumber)
    : device_(node, serialNumber), wakeFd_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    node->onNews([this] { wake(); });
}

UsbipExport::~UsbipExport() {
    for (const auto& connection : connections_)
        ::close(connection->fd);
    if (listenFd_ >= 0)
        ::close(listenFd_);
    ::close(wakeFd_);
}

int UsbipExport::open(uint32_t address, uint16_t port) {
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_port = htons(port);
    place.sin_addr.s_addr = address;
    socklen_t size = sizeof place;
    auto* const any = reinterpret_cast<sockaddr*>(&place);
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    set(fd, SOL_SOCKET, SO_REUSEADDR, 1); // connections of an instrument that has just ended may linger
    if (fd < 0 || bind(fd, any, size) != 0 || listen(fd, backlog) != 0 || getsockname(fd, any, &size) != 0) {
        const int error = errno;
        if (fd >= 0)
            ::close(fd);
        return -error;
    }
    listenFd_ = fd;
    port_ = ntohs(place.sin_port);
    return 0;
}

void UsbipExport::wake() const {
    const uint64_t once = 1;
    (void)!write(wakeFd_, &once, sizeof once);
}

void UsbipExport::stop() {
    stop_ = true;
    wake();
}

void UsbipExport::run() {
    while (!stop_) {
        waitForNews();
        // First the one who has the unit, so that it is free for a newcomer who knows that the other has gone.
        if (host_ != nullptr)
            answer(host_);
        dropGone();
        for (const auto& connection : connections_)
            if (connection.get() != host_)
                answer(connection.get());
        dropGone();
    }
}

/// Receives, and takes newcomers in.
void UsbipExport::waitForNews() {
    std::array<pollfd, 2 + connectionsMax> watched{};
    watched[0] = {.fd = wakeFd_, .events = POLLIN, .revents = 0};
    watched[1] = {.fd = listenFd_, .events = POLLIN, .revents = 0};
    size_t count = 2;
    for (const auto& connection : connections_) {
        const bool full = connection->toHost.size() >= UsbipPort::unsentMax || connection->closing;
        const int events = (full ? 0 : POLLIN) | (connection->toHost.empty() ? 0 : POLLOUT);
        watched[count++] = {.fd = connection->fd, .events = static_cast<short>(events), .revents = 0};
    }
    if (poll(watched.data(), count, -1) <= 0)
        return;
    uint64_t times;
    if (watched[0].revents != 0)
        (void)!read(wakeFd_, &times, sizeof times);
    for (size_t i = 2; i < count; ++i)
        if ((watched[i].revents & ~POLLOUT) != 0)
            receive(connections_[i - 2].get());
    if (watched[1].revents != 0)
        accept();
}

void UsbipExport::accept() {
    const int fd = accept4(listenFd_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (fd < 0)
        return;
    if (connections_.size() == connectionsMax) {
        const auto oldest = std::find_if(connections_.begin(), connections_.end(),
                                         [&](const auto& connection) { return connection.get() != host_; });
        (*oldest)->gone = true;
        dropGone();
    }
    watchPeer(fd);
    connections_.push_back(std::make_unique<Connection>(Connection{.fd = fd}));
}

void UsbipExport::receive(Connection* connection) {
    const size_t before = connection->fromHost.size();
    connection->fromHost.resize(before + pieceBytes);
    const ssize_t count = recv(connection->fd, connection->fromHost.data() + before, pieceBytes, 0);
    connection->fromHost.resize(before + static_cast<size_t>(std::max<ssize_t>(count, 0)));
    connection->gone = connection->gone || (count <= 0 && !hasToWait(count));
}

void UsbipExport::answer(Connection* connection) {
    if (connection->attached == nullptr && !connection->closing)
        answerRequest(connection);
    if (UsbipPort* const port = connection->attached.get()) {
        while (port->take(&connection->fromHost, &connection->toHost))
            port->work(&connection->toHost);
        port->work(&connection->toHost);
        connection->gone = connection->gone || port->isNonsense();
    }
    send(connection);
}

/// One request a connection; an import makes it the port's.
void UsbipExport::answerRequest(Connection* connection) {
    Bytes& bytes = connection->fromHost;
    if (bytes.size() < usbipRequestBytes)
        return;
    const auto request = usbip_request(std::span(bytes).first<usbipRequestBytes>());
    size_t used = usbipRequestBytes;
    if (!request) {
        connection->gone = true;
        return;
    }
    if (*request == UsbipRequest::deviceList) {
        usbip_addDeviceList(&connection->toHost);
        connection->closing = true;
        return;
    }
    used += usbipImportBytes;
    if (bytes.size() < used)
        return;
    const bool ours = usbip_isOurBusId(std::span(bytes).subspan<usbipRequestBytes, usbipImportBytes>());
    const auto status = !ours ? UsbipStatus::noDevice : host_ != nullptr ? UsbipStatus::busy : UsbipStatus::ok;
    usbip_addImport(&connection->toHost, status);
    connection->closing = status != UsbipStatus::ok;
    if (connection->closing)
        return;
    bytes.erase(bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(used));
    device_.reset();
    connection->attached = std::make_unique<UsbipPort>(&device_);
    host_ = connection;
}

void UsbipExport::send(Connection* connection) {
    Bytes& bytes = connection->toHost;
    while (!bytes.empty() && !connection->gone) {
        const ssize_t count = ::send(connection->fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (hasToWait(count))
            return;
        if (count < 0)
            connection->gone = true;
        else
            bytes.erase(bytes.begin(), bytes.begin() + count);
    }
    connection->gone = connection->gone || connection->closing;
}

void UsbipExport::dropGone() {
    std::erase_if(connections_, [&](const auto& connection) {
        if (!connection->gone)
            return false;
        if (connection.get() == host_) {
            host_ = nullptr;
            device_.unplug();
        }
        ::close(connection->fd);
        return true;
    });
}

} // namespace vi
