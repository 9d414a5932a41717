#pragma once
/// What the chip models share. A model is a chip by its data sheet: what it takes is decoded there, what the chip would
/// then put out can be asked for in volts, hertz, ohms or ratios. It refuses what the data sheet does not know. Models
/// are not thread-safe: the bus calls them under its lock, and who else asks must see to it that no transfer is on its
/// way.

#include "virtual/bus/spi_chip.h"

#include <cstddef>
#include <initializer_list>
#include <vector>

namespace vi {

/// Bits of SPI mode words.
enum SpiMode : uint32_t {
    spiPlain = 0,
    spiClockPhase = 1,    // data valid on the falling edge
    spiInvertedLatch = 2, // an inverter in the latch enable line
};

constexpr uint64_t frame_word(std::span<const uint8_t> frame) {
    uint64_t word = 0;
    for (size_t i = frame.size(); i-- > 0;)
        word = word << 8 | frame[i];
    return word;
}

constexpr void frame_fill(std::span<uint8_t> frame, uint64_t word) {
    for (uint8_t& byte : frame) {
        byte = static_cast<uint8_t>(word);
        word >>= 8;
    }
}

/// Bits `high` to `low`.
constexpr uint32_t bitsOf(uint64_t word, unsigned high, unsigned low) {
    return static_cast<uint32_t>(word >> low & ((uint64_t{2} << (high - low)) - 1));
}

/// What the bus reads from a chip that has its first bit out before the first clock: it samples one clock late and
/// finds the open line, high, behind the last bit.
constexpr uint64_t sampledLate(uint64_t word) {
    return word << 1 | 1;
}

/// A chip that takes frames of certain lengths, up to 8 bytes, as words whose top bit comes first on the wire.
class WordChip : public SpiChip {
public:
    bool send(std::span<const uint8_t> frame, uint32_t mode) final;

protected:
    WordChip(uint32_t mode, std::initializer_list<size_t> lengths) : mode_(mode), lengths_(lengths) {}
    virtual bool take(uint64_t word, size_t bytes) = 0;

private:
    uint32_t mode_;
    std::vector<size_t> lengths_;
};

} // namespace vi
