#pragma once
/// A device that only listens, at an address of its own, and hands on what it hears.

#include "virtual/gpib/gpib_addressing.h"
#include "virtual/gpib/gpib_bus.h"

#include <functional>
#include <utility>

namespace vi {

class GpibRecorder : public GpibDevice {
public:
    using Heard = std::function<void(std::span<const uint8_t>)>;

    GpibRecorder(GpibBus& bus, GpibAddress address, Heard heard)
        : addressing_([address] { return address; }), heard_(std::move(heard)) {
        bus.plug(this);
    }

    void clearInterface() override { addressing_.clearInterface(); }
    void takeCommand(uint8_t command) override { (void)addressing_.take(command); }
    [[nodiscard]] bool listens() const override { return addressing_.listens(); }
    [[nodiscard]] size_t room() const override { return SIZE_MAX - 1; }
    void hear(std::span<const uint8_t> data, bool) override { heard_(data); }
    [[nodiscard]] bool talks() const override { return false; }
    GpibData say(std::span<uint8_t>) override { return {}; }

private:
    GpibAddressing addressing_;
    Heard heard_;
};

} // namespace vi
