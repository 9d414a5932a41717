#include "virtual/gpib/gpib_interface.h"

#include "platform/bus_nodes.h"

#include <chrono>
#include <utility>

namespace vi {
namespace {
constexpr uint8_t statusByte = 0; // the driver lets the firmware set none
}

void GpibBytes::endHere() {
    if (size_ > 0)
        at(size_ - 1) |= endBit;
}

bool GpibBytes::take(uint8_t* byte) {
    const uint16_t taken = at(0);
    *byte = static_cast<uint8_t>(taken);
    first_ = (first_ + 1) % bytes_.size();
    --size_;
    return (taken & endBit) != 0;
}

GpibInterface::GpibInterface(GpibBus& bus, GpibAddressing::Address address)
    : bus_(bus), addressing_(std::move(address)) {
    bus.plug(this);
}

void GpibInterface::fail() {
    const std::lock_guard lock(bus_.mutex);
    failed_ = true;
    bus_.changed.notify_all();
}

long GpibInterface::read(std::span<uint8_t> request) {
    const bool tellsEnd = (request.size() & gpib_readTellsEnd) != 0;
    const size_t room = request.size() & ~gpib_readTellsEnd;
    std::unique_lock lock(bus_.mutex);
    output_.endHere();
    bus_.changed.notify_all();
    bus_.changed.wait(lock, [&] { return failed_ || cleared_ || input_.size() > 0; });
    if (failed_)
        return -EFAULT;
    if (std::exchange(cleared_, false))
        return -ECANCELED;
    size_t count = 0;
    bool end = false;
    while (count < room && input_.size() > 0 && !end)
        end = input_.take(&request[count++]);
    bus_.changed.notify_all();
    return static_cast<long>(count | (end && tellsEnd ? gpib_readTellsEnd : 0));
}

long GpibInterface::write(std::span<const uint8_t> data) {
    std::unique_lock lock(bus_.mutex);
    bus_.changed.wait(lock, [&] { return failed_ || cleared_ || output_.room() > 0; });
    if (failed_)
        return -EFAULT;
    if (std::exchange(cleared_, false))
        return -ECANCELED;
    size_t count = 0;
    while (count < data.size() && output_.room() > 0)
        output_.add(data[count++], false);
    bus_.changed.notify_all();
    return static_cast<long>(count);
}

int GpibInterface::waitInput(int timeout_ms) {
    std::unique_lock lock(bus_.mutex);
    const auto something = [this] { return failed_ || cleared_ || input_.size() > 0; };
    if (timeout_ms < 0)
        bus_.changed.wait(lock, something);
    else if (!bus_.changed.wait_for(lock, std::chrono::milliseconds(timeout_ms), something))
        return 0;
    return cleared_ && !failed_ ? -ECANCELED : 1;
}

void GpibInterface::clearInterface() {
    addressing_.clearInterface();
}

void GpibInterface::takeCommand(uint8_t command) {
    if (!addressing_.take(command))
        return;
    input_.clear();
    output_.clear();
    cleared_ = true;
}

void GpibInterface::hear(std::span<const uint8_t> data, bool end) {
    for (size_t i = 0; i < data.size(); ++i)
        input_.add(data[i], end && i + 1 == data.size());
}

/// The last byte waits until the driver knows whether it is an end.
GpibData GpibInterface::say(std::span<uint8_t> where) {
    if (where.empty())
        return {};
    if (addressing_.isPolled()) {
        where[0] = statusByte;
        return {1, false};
    }
    GpibData said;
    while (said.count < where.size() && !said.end &&
           (output_.size() > 1 || (output_.size() == 1 && output_.firstIsEnd())))
        said.end = output_.take(&where[said.count++]);
    return said;
}

} // namespace vi
