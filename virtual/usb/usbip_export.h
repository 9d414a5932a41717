#pragma once
/// The unit's USB connector on TCP, as USB/IP has it: any host lists it, one at a time has it attached. A host that is
/// gone is the cable pulled.

#include "virtual/usb/usb_device.h"
#include "virtual/usb/usbip_port.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace vi {

class UsbipExport {
public:
    static constexpr size_t connectionsMax = 8; // beyond, the oldest that has nothing attached makes room

    /// `node` has to outlive this, and its news go here.
    UsbipExport(UsbtmcNode* node, const std::string& serialNumber);
    ~UsbipExport();
    UsbipExport(const UsbipExport&) = delete;
    UsbipExport& operator=(const UsbipExport&) = delete;

    /// Listens on `port` of `address` (IPv4, network byte order); port 0: any. Returns 0 or a negative error number.
    [[nodiscard]] int open(uint32_t address, uint16_t port);
    /// In use.
    [[nodiscard]] uint16_t port() const { return port_; }

    /// Serves hosts on the calling thread until stop.
    void run();
    /// From any thread.
    void stop();

private:
    struct Connection {
        int fd = -1;
        std::unique_ptr<UsbipPort> attached{};
        Bytes fromHost{}, toHost{};
        bool closing = false; // when all has been sent
        bool gone = false;
    };
    using Connections = std::vector<std::unique_ptr<Connection>>;

    void wake() const;
    void waitForNews();
    void accept();
    void receive(Connection* connection);
    void answer(Connection* connection);
    void answerRequest(Connection* connection);
    void send(Connection* connection);
    void dropGone();

    UsbDevice device_;
    int listenFd_ = -1, wakeFd_ = -1;
    uint16_t port_ = 0;
    std::atomic<bool> stop_{false};
    Connections connections_;    // in the order in which they have come
    Connection* host_ = nullptr; // the one that has the unit attached
};

} // namespace vi
