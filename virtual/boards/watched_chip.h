#pragma once
/// A chip on a board that wants to know when it may put out something else.

#include "virtual/bus/spi_chip.h"

#include <functional>
#include <utility>

namespace vi {

/// How a chip takes what it is sent.
enum class Taking {
    atOnce,    // at the end of the frame
    atIoUpdate // some of it only when the I/O update line pulses
};

/// Stands on the bus in the place of a chip, which must outlive it, and calls `after` when the chip has taken a frame
/// or, if it hangs on that line, an I/O update.
class WatchedChip final : public SpiChip {
public:
    WatchedChip(SpiChip& chip, Taking taking, std::function<void()> after)
        : chip_(chip), taking_(taking), after_(std::move(after)) {}

    bool send(std::span<const uint8_t> frame, uint32_t mode) override {
        const bool taken = chip_.send(frame, mode);
        if (taken)
            after_();
        return taken;
    }
    bool receive(std::span<uint8_t> frame, uint32_t mode, uint32_t board) override {
        return chip_.receive(frame, mode, board);
    }
    void select(bool active) override { chip_.select(active); }
    void ioUpdate(uint32_t trigger) override {
        if (taking_ == Taking::atOnce)
            return;
        chip_.ioUpdate(trigger);
        after_();
    }

private:
    SpiChip& chip_;
    Taking taking_;
    std::function<void()> after_;
};

} // namespace vi
