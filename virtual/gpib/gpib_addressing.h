#pragma once
/// What a device makes of the bytes under ATN: when it listens, talks, and answers a serial poll.

#include "virtual/gpib/gpib_bus.h"

#include <cstdint>
#include <functional>
#include <utility>

namespace vi {

class GpibAddressing {
public:
    using Address = std::function<GpibAddress()>;

    /// Asked each time that an address goes by: who has changed it is found at the new one from then on.
    explicit GpibAddressing(Address address) : address_(std::move(address)) {}

    void clearInterface();
    /// True if the device is to be cleared.
    [[nodiscard]] bool take(uint8_t command);
    [[nodiscard]] bool listens() const { return listens_; }
    [[nodiscard]] bool talks() const { return talks_; }
    /// As a talker it gives its status byte, and not its data.
    [[nodiscard]] bool isPolled() const { return polled_; }

private:
    enum class Group { none, listen, talk };

    void takePrimary(Group group, int primary);
    void takeSecondary(int secondary);
    void enter(Group group);

    Address address_;
    bool listens_ = false, talks_ = false, polled_ = false;
    Group awaitsSecondary_ = Group::none; // its primary address has gone by
};

} // namespace vi
