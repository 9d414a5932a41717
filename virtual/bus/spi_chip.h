#pragma once
/// A chip as the SPI bus sees it.

#include <cstdint>
#include <span>

namespace vi {

/// Frames are as they lie in the processor's memory: the least significant byte first, the byte that comes first on the
/// wire last. A chip refuses (false) a frame that the real one would not know: wrong length, mode or content. The bus
/// calls one chip at a time, under its lock.
class SpiChip {
public:
    virtual ~SpiChip() = default;

    virtual bool send(std::span<const uint8_t> /*frame*/, uint32_t /*mode*/) { return false; }
    /// Fills the whole frame; `board` is the bus segment that the read names.
    virtual bool receive(std::span<uint8_t> /*frame*/, uint32_t /*mode*/, uint32_t /*board*/) { return false; }
    /// The chip's select line goes active or back: around each transfer, or around several where the firmware holds it.
    virtual void select(bool /*active*/) {}
    /// The I/O update line pulses: latched values take effect. `trigger` is 0 for the plain form.
    virtual void ioUpdate(uint32_t /*trigger*/) {}
};

/// What can be wrong with a chip on the bus.
enum class ChipFault {
    none,
    silent, // transfers fail
    stuck,  // its output stays low: reads give 0
    absent, // the place is empty: sends are lost, and reads find a line that nobody drives, high
};

} // namespace vi
