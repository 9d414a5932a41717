#pragma once
/// Shift registers: outputs that a board's lines hang on, and inputs that its status lines are read through.

#include "virtual/chips/word_chip.h"

#include <functional>

namespace vi {

/// Lines that the firmware sets, up to 64. They change together at the end of a frame.
class OutputRegister final : public WordChip {
public:
    explicit OutputRegister(size_t bytes) : WordChip(spiPlain, {bytes}) {}

    [[nodiscard]] uint64_t lines() const { return lines_; }
    [[nodiscard]] bool line(unsigned n) const { return (lines_ >> n & 1) != 0; }

private:
    bool take(uint64_t word, size_t bytes) override;

    uint64_t lines_ = 0;
};

/// The same with a latch behind it: what was sent last shows at the next I/O update.
class LatchedRegister final : public WordChip {
public:
    explicit LatchedRegister(size_t bytes) : WordChip(spiPlain, {bytes}) {}
    void ioUpdate(uint32_t /*trigger*/) override { lines_ = shifted_; }

    [[nodiscard]] uint64_t lines() const { return lines_; }
    [[nodiscard]] bool line(unsigned n) const { return (lines_ >> n & 1) != 0; }

private:
    bool take(uint64_t word, size_t bytes) override;

    uint64_t shifted_ = 0, lines_ = 0;
};

/// Lines that the firmware reads; line 0 is the last bit out.
class InputRegister final : public SpiChip {
public:
    InputRegister(size_t bytes, std::function<uint64_t()> lines);
    bool receive(std::span<uint8_t> frame, uint32_t mode, uint32_t board) override;

private:
    size_t bytes_;
    std::function<uint64_t()> lines_;
};

} // namespace vi
