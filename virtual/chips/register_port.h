#pragma once
/// The register port that AD9268, AD9467, AD9512 and AD9912 have in common: a 16-bit instruction (read bit, number of
/// data bytes, address) and data bytes for the address and the ones below it.

#include "virtual/chips/word_chip.h"

#include <array>
#include <initializer_list>
#include <span>

namespace vi {

struct PortRegister {
    uint16_t address;
    uint8_t powerOn;
    bool buffered; // what is written acts only after an update
};

class RegisterPort : public SpiChip {
public:
    bool send(std::span<const uint8_t> frame, uint32_t mode) final;

    /// What acts.
    [[nodiscard]] uint8_t reg(uint16_t address) const;

protected:
    RegisterPort(std::initializer_list<PortRegister> registers);

    /// Judges a byte before it is written.
    virtual bool accepts(uint16_t /*address*/, uint8_t /*value*/) const { return true; }
    virtual void written(uint16_t /*address*/, uint8_t /*value*/) {}
    /// Buffered registers act.
    void update();
    void reset();

private:
    static constexpr size_t registersMax = 18;
    struct Cell {
        uint16_t address;
        uint8_t powerOn;
        bool buffered;
        uint8_t written;
        uint8_t active;
    };
    [[nodiscard]] const Cell* find(uint16_t address) const;
    [[nodiscard]] std::span<Cell> registers() { return std::span(cells_).first(count_); }

    std::array<Cell, registersMax> cells_{};
    size_t count_ = 0;
};

} // namespace vi
