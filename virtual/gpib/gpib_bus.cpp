#include "virtual/gpib/gpib_bus.h"

#include <algorithm>

namespace vi {
namespace {
constexpr size_t nobody = SIZE_MAX; // the room where nobody listens
}

void GpibBus::plug(GpibDevice* device) {
    const std::lock_guard lock(mutex);
    devices_.push_back(device);
}

void GpibBus::clearInterface() {
    const std::lock_guard lock(mutex);
    for (GpibDevice* device : devices_)
        device->clearInterface();
}

void GpibBus::sendCommands(std::initializer_list<uint8_t> commands) {
    const std::lock_guard lock(mutex);
    for (const uint8_t command : commands)
        for (GpibDevice* device : devices_)
            device->takeCommand(command);
    changed.notify_all();
}

void GpibBus::address(GpibCommand role, GpibAddress to) {
    sendCommands({gpib_untalk, gpib_unlisten, static_cast<uint8_t>(role + to.primary)});
    if (to.secondary >= 0)
        sendCommands({static_cast<uint8_t>(gpib_secondary + to.secondary)});
}

size_t GpibBus::roomOfListeners(const GpibDevice* talker) const {
    size_t room = nobody;
    for (const GpibDevice* device : devices_)
        if (device != talker && device->listens())
            room = std::min(room, device->room());
    return room;
}

void GpibBus::tellListeners(const GpibDevice* talker, std::span<const uint8_t> data, bool end) {
    for (GpibDevice* device : devices_)
        if (device != talker && device->listens())
            device->hear(data, end);
}

size_t GpibBus::send(std::span<const uint8_t> data, bool end, Patience patience) {
    std::unique_lock lock(mutex);
    size_t sent = 0;
    while (sent < data.size()) {
        if (!changed.wait_for(lock, patience, [&] { return roomOfListeners(nullptr) != 0; }))
            break;
        const size_t room = roomOfListeners(nullptr);
        if (room == nobody)
            break;
        const auto piece = data.subspan(sent, std::min(room, data.size() - sent));
        sent += piece.size();
        tellListeners(nullptr, piece, end && sent == data.size());
        changed.notify_all();
    }
    return sent;
}

GpibData GpibBus::receive(std::span<uint8_t> where, int stop, Patience patience) {
    std::unique_lock lock(mutex);
    GpibData said;
    const auto listenersWait = [&](const GpibDevice* talker) { return roomOfListeners(talker) == 0; };
    changed.wait_for(lock, patience, [&] {
        for (GpibDevice* device : devices_) {
            if (!device->talks() || listenersWait(device))
                continue;
            // Byte by byte, as who asks for a byte to stop at leaves what is behind it where it is.
            while (said.count < where.size() && !said.end && !listenersWait(device)) {
                const GpibData next = device->say(where.subspan(said.count, 1));
                if (next.count == 0)
                    break;
                tellListeners(device, where.subspan(said.count, 1), next.end);
                said.end = next.end;
                if (where[said.count++] == stop)
                    break;
            }
        }
        return said.count > 0;
    });
    changed.notify_all();
    return said;
}

} // namespace vi
