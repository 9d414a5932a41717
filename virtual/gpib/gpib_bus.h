#pragma once
/// A GPIB (IEEE 488.1) with one controller: bytes under ATN, which all devices take, and data bytes with or without END
/// (EOI), which go from the addressed talker or the controller to all addressed listeners, as fast as the slowest of
/// them.

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <mutex>
#include <span>
#include <vector>

namespace vi {

/// Bytes under ATN.
enum GpibCommand : uint8_t {
    gpib_goToLocal = 0x01,
    gpib_selectedClear = 0x04,
    gpib_trigger = 0x08,
    gpib_lockout = 0x11,
    gpib_deviceClear = 0x14,
    gpib_pollEnable = 0x18,
    gpib_pollDisable = 0x19,
    gpib_listen = 0x20, // and a primary address
    gpib_unlisten = 0x3f,
    gpib_talk = 0x40, // and a primary address
    gpib_untalk = 0x5f,
    gpib_secondary = 0x60, // and a secondary address
};

struct GpibAddress {
    int primary = 0;    // 0 to 30
    int secondary = -1; // 0 to 30; -1: none
    bool operator==(const GpibAddress&) const = default;
};

/// What of an answer has come at one go.
struct GpibData {
    size_t count = 0; // bytes; 0: nobody said anything in time
    bool end = false; // the last of them came with END
};

/// Its functions run under the bus's mutex.
class GpibDevice {
public:
    virtual ~GpibDevice() = default;

    virtual void clearInterface() = 0;
    virtual void takeCommand(uint8_t command) = 0;

    [[nodiscard]] virtual bool listens() const = 0;
    /// Bytes that it can take now as a listener.
    [[nodiscard]] virtual size_t room() const = 0;
    /// At most so many. With `end` the last one came with END.
    virtual void hear(std::span<const uint8_t> data, bool end) = 0;

    [[nodiscard]] virtual bool talks() const = 0;
    /// Gives bytes that it has to say as a talker, at most up to the next END.
    virtual GpibData say(std::span<uint8_t> where) = 0;
};

class GpibBus {
public:
    using Patience = std::chrono::milliseconds; // with a device that does not go on

    /// A device stays on the bus as long as there is one.
    void plug(GpibDevice* device);

    void clearInterface();
    void sendCommands(std::initializer_list<uint8_t> commands);
    /// Says UNT and UNL, and makes the device at the address listen or talk.
    void address(GpibCommand role, GpibAddress to);
    /// Returns the number of bytes that the listeners took; 0 if there are none.
    size_t send(std::span<const uint8_t> data, bool end, Patience patience);
    /// Takes what the talker says next, up to END, up to and with `stop` (-1: no such byte) or until `where` is full.
    GpibData receive(std::span<uint8_t> where, int stop, Patience patience);

    std::mutex mutex;                // of the bus and its devices
    std::condition_variable changed; // a device has room or something to say, or is called

private:
    [[nodiscard]] size_t roomOfListeners(const GpibDevice* talker) const;
    void tellListeners(const GpibDevice* talker, std::span<const uint8_t> data, bool end);

    std::vector<GpibDevice*> devices_;
};

} // namespace vi
