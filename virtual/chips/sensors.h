#pragma once
/// Slow ADCs and the temperature sensor. The bench side is a source that is asked at each conversion.

#include "virtual/chips/word_chip.h"

#include <functional>

namespace vi {

/// An input in volts, degrees or whatever the chip senses.
using Quantity = std::function<double()>;

/// AD7940, asleep between transfers: a reading hands out the conversion that the transfer before it began.
class Ad7940Model final : public SpiChip {
public:
    Ad7940Model(double reference_V, Quantity input_V);
    bool receive(std::span<uint8_t> frame, uint32_t mode, uint32_t board) override;

private:
    double reference_V_;
    Quantity input_V_;
    uint32_t held_ = 0;
};

/// AD7680, which converts as it is read.
class Ad7680Model final : public SpiChip {
public:
    Ad7680Model(double reference_V, Quantity input_V);
    bool receive(std::span<uint8_t> frame, uint32_t mode, uint32_t board) override;

private:
    double reference_V_;
    Quantity input_V_;
};

/// TC77, -55 to 125 degrees.
class Tc77Model final : public SpiChip {
public:
    explicit Tc77Model(Quantity temperature_degC);
    bool receive(std::span<uint8_t> frame, uint32_t mode, uint32_t board) override;

private:
    Quantity temperature_degC_;
};

} // namespace vi
