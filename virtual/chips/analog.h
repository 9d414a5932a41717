#pragma once
/// DACs, digital resistors and the step attenuator.

#include "virtual/chips/word_chip.h"

namespace vi {

/// What an AD5640 or AD5660 shows at its output.
enum class DacOutput { driven, kilohm1, kilohm100, floating };

/// AD5640, AD5660.
class Ad5640Model final : public WordChip {
public:
    /// 14 for an AD5640, 16 for an AD5660.
    explicit Ad5640Model(unsigned bits);

    /// Of the reference, 0 to just under 1, when driven.
    [[nodiscard]] double ratio() const;
    [[nodiscard]] DacOutput output() const { return output_; }

private:
    bool take(uint64_t word, size_t bytes) override;

    unsigned bits_;
    uint32_t code_ = 0;
    DacOutput output_ = DacOutput::driven;
};

/// AD5760, its LDAC pin high: data reach the output on the LDAC bit alone.
class Ad5760Model final : public WordChip {
public:
    enum class Output { driven, highImpedance, weakGround };

    Ad5760Model() : WordChip(spiClockPhase, {3}) {}
    /// Between the negative reference, 0, and the positive one, 1.
    [[nodiscard]] double ratio() const;
    [[nodiscard]] Output output() const;
    [[nodiscard]] bool sdoEnabled() const { return bitsOf(control_, 5, 5) == 0; }

private:
    bool take(uint64_t word, size_t bytes) override;

    uint32_t data_ = 0;
    uint32_t loaded_ = 0;
    uint32_t control_ = 0x00000E;
};

/// AD5432.
class Ad5432Model final : public WordChip {
public:
    Ad5432Model() : WordChip(spiClockPhase, {2}) {}
    /// Of the reference.
    [[nodiscard]] double ratio() const { return code_ / 1024.0; }
    [[nodiscard]] bool inDaisyChainMode() const { return daisyChain_; }

private:
    bool take(uint64_t word, size_t bytes) override;

    uint32_t code_ = 0;
    bool daisyChain_ = true;
};

/// A daisy chain of AD5293; chip 0 lies nearest to the bus.
class Ad5293Chain final : public SpiChip {
public:
    explicit Ad5293Chain(std::initializer_list<double> nominal_ohm);

    bool send(std::span<const uint8_t> frame, uint32_t mode) override;

    [[nodiscard]] double wiperToB_ohm(size_t chip) const;
    [[nodiscard]] double wiperToA_ohm(size_t chip) const; // infinite in shutdown
    /// True while the chip ignores wiper positions.
    [[nodiscard]] bool writeProtected(size_t chip) const { return !chips_.at(chip).unprotected; }

private:
    struct Resistor {
        double nominal_ohm;
        uint32_t wiper = 512;
        bool unprotected = false;
        bool shutdown = false;
    };
    static bool knows(uint32_t word);
    static void execute(Resistor* chip, uint32_t word);

    std::vector<Resistor> chips_;
};

/// MCP4131, terminal 0.
class Mcp4131Model final : public WordChip {
public:
    Mcp4131Model() : WordChip(spiPlain, {2}) {}
    /// From B, 0, to A, 1.
    [[nodiscard]] double ratio() const { return wiper_ / 128.0; }

private:
    bool take(uint64_t word, size_t bytes) override;

    uint32_t wiper_ = 64;
};

/// HMC624, as a board has wired its latch enable.
class Hmc624Model final : public WordChip {
public:
    explicit Hmc624Model(SpiMode wiring = spiPlain) : WordChip(wiring, {1}) {}
    [[nodiscard]] double attenuation_dB() const { return attenuation_dB_; }

private:
    bool take(uint64_t word, size_t bytes) override;

    double attenuation_dB_ = 31.5;
};

} // namespace vi
