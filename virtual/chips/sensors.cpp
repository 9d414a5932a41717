#include "virtual/chips/sensors.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace vi {

namespace {

uint32_t convert(double volts, double reference_V, unsigned bits) {
    const double steps = std::ldexp(1.0, static_cast<int>(bits));
    const double code = std::floor(volts / reference_V * steps);
    return code > 0 ? static_cast<uint32_t>(std::min(code, steps - 1)) : 0;
}

} // namespace

Ad7940Model::Ad7940Model(double reference_V, Quantity input_V)
    : reference_V_(reference_V), input_V_(std::move(input_V)) {}

bool Ad7940Model::receive(std::span<uint8_t> frame, uint32_t mode, uint32_t /*board*/) {
    if (frame.size() != 2 || mode != spiClockPhase)
        return false;
    frame_fill(frame, sampledLate(held_));
    held_ = convert(input_V_(), reference_V_, 14);
    return true;
}

Ad7680Model::Ad7680Model(double reference_V, Quantity input_V)
    : reference_V_(reference_V), input_V_(std::move(input_V)) {}

bool Ad7680Model::receive(std::span<uint8_t> frame, uint32_t mode, uint32_t /*board*/) {
    if (frame.size() != 3 || mode != spiPlain)
        return false;
    constexpr unsigned trailingZeros = 4;
    frame_fill(frame, sampledLate(convert(input_V_(), reference_V_, 16) << trailingZeros));
    return true;
}

Tc77Model::Tc77Model(Quantity temperature_degC) : temperature_degC_(std::move(temperature_degC)) {}

bool Tc77Model::receive(std::span<uint8_t> frame, uint32_t mode, uint32_t /*board*/) {
    if (frame.size() != 2 || mode != spiPlain)
        return false;
    constexpr uint32_t readyAndFloating = 0b111;
    const double steps = std::round(std::clamp(temperature_degC_(), -55.0, 125.0) / 0.0625);
    frame_fill(frame, static_cast<uint32_t>(static_cast<int32_t>(steps)) << 3 | readyAndFloating);
    return true;
}

} // namespace vi
