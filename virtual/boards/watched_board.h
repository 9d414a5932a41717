#pragma once
/// What the boards have in common: chips on the bus, and a circuit that is worked out anew after each frame and each
/// I/O update.

#include "virtual/boards/watched_chip.h"
#include "virtual/bus/spi_bus.h"

#include <deque>
#include <functional>
#include <string>
#include <utility>

namespace vi {

/// `Circuit` can be compared. To be built before the first transfer; leaves the bus, which outlives it, with its end.
/// All in between is called under the bus's lock: `circuit` may be looked at when no transfer is on its way, or from
/// the callback.
template <class Circuit> class WatchedBoard {
public:
    WatchedBoard(const WatchedBoard&) = delete;
    WatchedBoard& operator=(const WatchedBoard&) = delete;
    virtual ~WatchedBoard() {
        for (WatchedChip& chip : onBus_)
            bus_.detach(&chip);
    }

    [[nodiscard]] const Circuit& circuit() const { return circuit_; }
    /// Called after each frame or I/O update that has changed the circuit. An empty function ends it.
    void onChange(std::function<void(const Circuit&)> changed) { changed_ = std::move(changed); }

protected:
    explicit WatchedBoard(SpiBus& bus) : bus_(bus) {}

    [[nodiscard]] SpiBus& bus() { return bus_; }
    /// The chip stays the board's. `name` is how a DUT file calls it; without one it cannot be called.
    void attach(uint32_t address, SpiChip& chip, const std::string& name, Taking taking = Taking::atOnce) {
        bus_.attach(address, &onBus_.emplace_back(chip, taking, [this] { update(); }));
        bus_.setName(address, name);
    }
    /// What a change on the lines does to other chips, ahead of `decode`.
    virtual void settle() {}
    [[nodiscard]] virtual Circuit decode() const = 0;
    /// Also for what has changed otherwise, and at the end of the construction.
    void update() {
        settle();
        Circuit now = decode();
        if (now == circuit_)
            return;
        circuit_ = std::move(now);
        if (changed_)
            changed_(circuit_);
    }

private:
    SpiBus& bus_;
    std::deque<WatchedChip> onBus_;
    Circuit circuit_{};
    std::function<void(const Circuit&)> changed_;
};

} // namespace vi
