#pragma once
/// Fast ADCs' settings and clock dividers.

#include "virtual/chips/register_port.h"

#include <array>
#include <optional>

namespace vi {

/// AD9268 (power-on output mode 0) or AD9467 (8): what its settings make of a sample.
class FastAdcModel final : public RegisterPort {
public:
    enum class Kind { ad9268, ad9467 };
    explicit FastAdcModel(Kind kind);

    /// The word on the outputs for a sample of -32768 to 32767; nothing while they are off.
    [[nodiscard]] std::optional<uint16_t> output(int16_t sample) const;
    [[nodiscard]] bool differentialOutputs() const;
    [[nodiscard]] bool directCoupled() const { return bitsOf(reg(0x2C), 2, 2) != 0; }

private:
    bool accepts(uint16_t address, uint8_t value) const override;
    void written(uint16_t address, uint8_t value) override;

    Kind kind_;
};

/// AD9512.
class Ad9512Model final : public RegisterPort {
public:
    Ad9512Model();

    /// Cycles of the input that an output is high and low; 1 and 0 while it passes the clock on.
    struct Cycles {
        uint32_t high;
        uint32_t low;
    };
    [[nodiscard]] Cycles cycles(unsigned output) const;
    [[nodiscard]] uint32_t ratio(unsigned output) const { return cycles(output).high + cycles(output).low; }
    [[nodiscard]] bool powered(unsigned output) const;
    [[nodiscard]] uint32_t level(unsigned output) const; // code of the output's level, 0 to 3
    [[nodiscard]] unsigned clockInput() const { return bitsOf(reg(0x45), 0, 0) != 0 ? 1 : 2; }

private:
    bool accepts(uint16_t address, uint8_t value) const override;
    void written(uint16_t address, uint8_t value) override;
};

/// HMC988 with its id pins.
class Hmc988Model final : public WordChip {
public:
    explicit Hmc988Model(uint32_t id) : WordChip(spiPlain, {2}), id_(id) {}

    [[nodiscard]] uint32_t ratio() const { return 1U << bitsOf(registers_[2], 2, 0); }
    [[nodiscard]] bool powered() const { return bitsOf(registers_[1], 3, 0) == 15; }
    [[nodiscard]] bool biasesInput() const { return bitsOf(registers_[4], 0, 0) != 0; }
    [[nodiscard]] bool listensToSyncPin() const { return bitsOf(registers_[4], 1, 1) != 0; }
    /// Register 1 to 7.
    [[nodiscard]] uint32_t reg(size_t number) const { return registers_.at(number); }

private:
    bool take(uint64_t word, size_t bytes) override;

    uint32_t id_;
    std::array<uint32_t, 8> registers_{};
};

/// LTC6950.
class Ltc6950Model final : public SpiChip {
public:
    static constexpr unsigned outputs = 5;
    enum class Pump { regulating, sinking, sourcing, reset };

    bool send(std::span<const uint8_t> frame, uint32_t mode) override;

    /// 0 where a divider is 0.
    [[nodiscard]] double vco_Hz(double reference_Hz) const;
    [[nodiscard]] double output_Hz(unsigned output, double reference_Hz) const;
    /// The output starts in step with the others.
    [[nodiscard]] bool synchronised(unsigned output) const;
    [[nodiscard]] Pump pump() const;

private:
    static constexpr size_t size = 0x17;
    std::array<uint8_t, size> registers_{};
};

} // namespace vi
