#pragma once
/// Direct digital synthesizers and PLLs. Clocks and references are the bench's, in Hz.

#include "virtual/chips/register_port.h"

#include <array>

namespace vi {

/// AD9912.
class Ad9912Model final : public RegisterPort {
public:
    Ad9912Model();
    void ioUpdate(uint32_t trigger) override;

    /// 0 while powered down.
    [[nodiscard]] double output_Hz(double clock_Hz) const;
    [[nodiscard]] double fullScale_A() const;
    /// The clock multiplier is off: its loop filter is not fitted.
    [[nodiscard]] bool powered() const { return bitsOf(reg(0x0010), 4, 4) != 0 && bitsOf(reg(0x0010), 1, 0) == 0; }
};

/// AD9914 with its profile pins.
class Ad9914Model final : public WordChip {
public:
    Ad9914Model() : WordChip(spiPlain, {5}) {}
    void ioUpdate(uint32_t trigger) override;

    void setProfile(unsigned profile) { profile_ = profile; }
    /// 0 while powered down, and while no profile is in charge.
    [[nodiscard]] double output_Hz(double clock_Hz) const;
    /// Calibrations of the DAC that were begun and ended.
    [[nodiscard]] int calibrations() const { return calibrations_; }

private:
    bool take(uint64_t word, size_t bytes) override;

    static constexpr size_t size = 0x1C;
    unsigned profile_ = 0;
    int calibrations_ = 0;
    std::array<uint32_t, size> written_ = {0x00010008, 0x00000900, 0x0000191C, 0x00052120};
    std::array<uint32_t, size> active_ = written_;
};

/// AD5932. A pulse on CTRL starts the output with what was written; a control word stops it.
class Ad5932Model final : public WordChip {
public:
    enum class Wave { off, sine, triangle };

    Ad5932Model() : WordChip(spiClockPhase, {2, 4}) {}
    void pulseControl();

    [[nodiscard]] double output_Hz(double clock_Hz) const;
    [[nodiscard]] Wave wave() const;
    [[nodiscard]] bool square() const { return running_ && bitsOf(control_, 8, 8) != 0; } // on the MSB pin

private:
    bool take(uint64_t word, size_t bytes) override;
    bool takeHalf(uint32_t word);

    bool running_ = false;
    uint32_t control_ = 0;
    uint32_t low_ = 0;
    bool lowJustWritten_ = false;
    uint32_t start_ = 0;
    uint32_t word_ = 0;
};

/// ADF4002 or ADF4106: reference and feedback counter around a phase detector, and an output pin.
class Adf4xxxModel final : public WordChip {
public:
    enum class Kind { adf4002, adf4106 };
    Adf4xxxModel(Kind kind, SpiMode mode) : WordChip(mode, {3}), kind_(kind) {}

    /// Where the loop pulls its oscillator; 0 while it cannot: powered down, in reset, pump off, or a ratio that the
    /// counters do not make.
    [[nodiscard]] double lockedAt_Hz(double reference_Hz) const;
    /// Frequency at the output pin with `rf_Hz` at the feedback input; 0 if it shows no divider.
    [[nodiscard]] double muxOut_Hz(double reference_Hz, double rf_Hz) const;
    /// The pin shows the digital lock detector.
    [[nodiscard]] bool showsLock() const { return counting() && bitsOf(function_, 6, 4) == 1; }

private:
    bool take(uint64_t word, size_t bytes) override;
    [[nodiscard]] bool counting() const;
    [[nodiscard]] uint32_t r() const { return bitsOf(r_, 15, 2); }
    [[nodiscard]] uint32_t n() const; // 0: not possible

    Kind kind_;
    uint32_t r_ = 0;
    uint32_t n_ = 0;
    uint32_t function_ = 1U << 3; // powered down
};

/// ADF5355. Fraction and modulus act with the write of R0 that follows.
class Adf5355Model final : public WordChip {
public:
    Adf5355Model() : WordChip(spiPlain, {4}) {}

    /// Of the band that was searched last; 0 if none was, or it lies outside 3.4 to 7.1 GHz, or the chip is powered
    /// down.
    [[nodiscard]] double vco_Hz(double reference_Hz) const;
    /// 0 while the output is off.
    [[nodiscard]] double outputA_Hz(double reference_Hz) const;
    [[nodiscard]] double outputB_Hz(double reference_Hz) const;
    [[nodiscard]] double outputA_dBm() const;
    /// The chip's own pump is off: the tuning voltage comes from outside.
    [[nodiscard]] bool tunedFromOutside() const { return bitsOf(registers_[4], 5, 5) != 0; }

private:
    static constexpr size_t size = 13;
    bool take(uint64_t word, size_t bytes) override;
    [[nodiscard]] double comparison_Hz(double reference_Hz) const;

    std::array<uint32_t, size> registers_{};
    uint32_t seen_ = 0; // a bit for each register that was written since power-on
    bool searched_ = false;
    double ratio_ = 0; // VCO over comparison frequency
};

} // namespace vi
