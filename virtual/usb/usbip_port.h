#pragma once
/// The port of a host that has attached the unit: the requests that it has submitted, each endpoint's in their order,
/// and what became of them.

#include "virtual/usb/usb_device.h"
#include "virtual/usb/usbip_messages.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <span>

namespace vi {

class UsbipPort {
public:
    static constexpr size_t transferMax = 1 << 20; // bytes of one request
    static constexpr size_t pendingMax = 256;      // requests
    static constexpr size_t unsentMax = 1 << 20;   // bytes for the host, before it gets more

    explicit UsbipPort(UsbDevice* device) : device_(device) {}

    /// The first whole command of `bytes`, which is taken off. False if there is none; a command that no host would
    /// send sets isNonsense for good.
    bool take(Bytes* bytes, Bytes* toHost);
    /// Moves what can be moved now.
    void work(Bytes* toHost);
    [[nodiscard]] bool isNonsense() const { return nonsense_; }

private:
    struct Request {
        UsbipCommand command;
        Bytes data;       // to or from the host
        size_t moved = 0; // bytes of it
    };
    using Queue = std::deque<Request>;

    void submit(const UsbipCommand& command, std::span<const uint8_t> data, Bytes* toHost);
    void unlink(const UsbipCommand& command, Bytes* toHost);
    bool moveOut(Request* request, Bytes* toHost);
    bool moveIn(Request* request, Bytes* toHost);
    [[nodiscard]] bool holdsTooMuch() const;

    UsbDevice* const device_;
    Queue out_, in_;
    bool nonsense_ = false;
};

} // namespace vi
