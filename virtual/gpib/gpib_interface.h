#pragma once
/// The instrument's interface on the GPIB, and the node of its driver. It holds some kilobytes each way; a listener
/// whose commands are not fetched and a talker whose answers are not taken wait.

#include "virtual/gpib/gpib_addressing.h"
#include "virtual/gpib/gpib_bus.h"
#include "virtual/platform/rtdm.h"

#include <array>
#include <cstdint>

namespace vi {

/// Bytes with their END, first in, first out.
class GpibBytes {
public:
    [[nodiscard]] size_t size() const { return size_; }
    [[nodiscard]] size_t room() const { return bytes_.size() - size_; }
    void clear() { size_ = 0; }
    void add(uint8_t byte, bool end) { at(size_++) = static_cast<uint16_t>(byte | (end ? endBit : 0)); }
    void endHere();
    /// Takes the first byte off. True if it is an end.
    bool take(uint8_t* byte);
    [[nodiscard]] bool firstIsEnd() { return (at(0) & endBit) != 0; }

private:
    static constexpr uint16_t endBit = 0x100;
    uint16_t& at(size_t index) { return bytes_[(first_ + index) % bytes_.size()]; }

    std::array<uint16_t, 4096> bytes_{};
    size_t first_ = 0, size_ = 0;
};

class GpibInterface : public RtDevice, public GpibDevice {
public:
    GpibInterface(GpibBus& bus, GpibAddressing::Address address);

    /// From here on its driver fails.
    void fail();

    // The node, on the firmware's thread.
    long read(std::span<uint8_t> request) override;
    long write(std::span<const uint8_t> data) override;
    int waitInput(int timeout_ms) override;

    // The bus.
    void clearInterface() override;
    void takeCommand(uint8_t command) override;
    [[nodiscard]] bool listens() const override { return addressing_.listens(); }
    [[nodiscard]] size_t room() const override { return input_.room(); }
    void hear(std::span<const uint8_t> data, bool end) override;
    [[nodiscard]] bool talks() const override { return addressing_.talks(); }
    GpibData say(std::span<uint8_t> where) override;

private:
    GpibBus& bus_;
    // Under the bus's mutex.
    GpibAddressing addressing_;
    GpibBytes input_, output_;
    bool cleared_ = false; // and the driver has not told so yet
    bool failed_ = false;
};

} // namespace vi
