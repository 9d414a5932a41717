#include "virtual/chips/clocks.h"

namespace vi {

// Addresses of the fast ADCs.
enum : uint16_t { adcPort = 0x00, adcTest = 0x0D, adcOutputMode = 0x14, adcTransfer = 0xFF };

FastAdcModel::FastAdcModel(Kind kind)
    : RegisterPort({{adcPort, 0x18, false},
                    {0x08, 0x00, true}, // power modes
                    {adcTest, 0x00, true},
                    {adcOutputMode, static_cast<uint8_t>(kind == Kind::ad9467 ? 0x08 : 0x00), true},
                    {0x15, 0x00, true}, // output current
                    {0x2C, 0x00, true}, // analog input
                    {adcTransfer, 0x00, false}}),
      kind_(kind) {}

bool FastAdcModel::accepts(uint16_t address, uint8_t value) const {
    if (address != adcPort)
        return true;
    for (unsigned bit = 0; bit < 4; ++bit) // the halves mirror each other
        if (bitsOf(value, bit, bit) != bitsOf(value, 7 - bit, 7 - bit))
            return false;
    return true;
}

void FastAdcModel::written(uint16_t address, uint8_t value) {
    if (address == adcPort && bitsOf(value, 5, 5) != 0)
        reset();
    if (address == adcTransfer && bitsOf(value, 0, 0) != 0)
        update();
}

std::optional<uint16_t> FastAdcModel::output(int16_t sample) const {
    const uint8_t mode = reg(adcOutputMode);
    if (bitsOf(mode, 4, 4) != 0)
        return std::nullopt;
    int32_t shown = sample;
    switch (bitsOf(reg(adcTest), 2, 0)) {
    case 1: shown = 0; break;
    case 2: shown = 32767; break;
    case 3: shown = -32768; break;
    default: break; // no test, or a pattern that takes more than one sample
    }
    auto word = static_cast<uint32_t>(shown + 32768);
    switch (bitsOf(mode, 1, 0)) {
    case 1: word ^= 0x8000; break;    // two's complement
    case 2: word ^= word >> 1; break; // Gray code
    default: break;
    }
    return static_cast<uint16_t>(bitsOf(mode, 2, 2) != 0 ? ~word : word);
}

bool FastAdcModel::differentialOutputs() const {
    constexpr uint32_t fullDrive = 15; // less does not get across the board
    return kind_ == Kind::ad9467 ? bitsOf(reg(0x15), 3, 0) == fullDrive : bitsOf(reg(adcOutputMode), 6, 6) != 0;
}

Ad9512Model::Ad9512Model()
    : RegisterPort({{0x00, 0x10, false},
                    {0x3D, 0x08, true},
                    {0x3E, 0x08, true},
                    {0x3F, 0x08, true},
                    {0x40, 0x02, true},
                    {0x41, 0x02, true},
                    {0x45, 0x01, true},
                    {0x4A, 0x00, true},
                    {0x4B, 0x00, true},
                    {0x4C, 0x00, true},
                    {0x4D, 0x00, true},
                    {0x4E, 0x00, true},
                    {0x4F, 0x00, true},
                    {0x50, 0x00, true},
                    {0x51, 0x00, true},
                    {0x52, 0x00, true},
                    {0x53, 0x00, true},
                    {0x5A, 0x00, false}}) {}

/// Outputs 0 to 2 are on or safely off: their loads are fitted, which the other ways to turn them off must not meet.
bool Ad9512Model::accepts(uint16_t address, uint8_t value) const {
    return address < 0x3D || address > 0x3F || bitsOf(value, 0, 0) == 0;
}

void Ad9512Model::written(uint16_t address, uint8_t value) {
    if (address == 0x5A && bitsOf(value, 0, 0) != 0)
        update();
}

Ad9512Model::Cycles Ad9512Model::cycles(unsigned output) const {
    const auto divider = static_cast<uint16_t>(0x4A + 2 * output);
    if (bitsOf(reg(divider + 1), 7, 7) != 0)
        return {.high = 1, .low = 0};
    return {.high = bitsOf(reg(divider), 3, 0) + 1, .low = bitsOf(reg(divider), 7, 4) + 1};
}

bool Ad9512Model::powered(unsigned output) const {
    const uint8_t value = reg(static_cast<uint16_t>(0x3D + output));
    return output < 3 ? bitsOf(value, 1, 0) == 0 : bitsOf(value, 0, 0) == 0;
}

uint32_t Ad9512Model::level(unsigned output) const {
    const uint8_t value = reg(static_cast<uint16_t>(0x3D + output));
    return output < 3 ? bitsOf(value, 3, 2) : bitsOf(value, 2, 1);
}

bool Hmc988Model::take(uint64_t word, size_t /*bytes*/) {
    const uint32_t number = bitsOf(word, 6, 3);
    const uint32_t value = bitsOf(word, 15, 7);
    const bool known = bitsOf(word, 2, 0) == id_ && number >= 1 && number <= 7;
    if (!known || (number == 2 && value > 5))
        return false;
    registers_[number] = value;
    return true;
}

bool Ltc6950Model::send(std::span<const uint8_t> frame, uint32_t mode) {
    if (mode != spiPlain || frame.size() < 2)
        return false;
    const uint8_t command = frame.back();
    const size_t first = command >> 1;
    const size_t count = frame.size() - 1;
    if (bitsOf(command, 0, 0) != 0 || first + count > size)
        return false;
    for (size_t i = 0; i < count; ++i)
        if (first + i != 0 && first + i != size - 1) // status and chip number are read-only
            registers_[first + i] = frame[count - 1 - i];
    return true;
}

double Ltc6950Model::vco_Hz(double reference_Hz) const {
    const uint32_t r = bitsOf(registers_[0x07], 1, 0) << 8 | registers_[0x08];
    const uint32_t n = bitsOf(registers_[0x09], 2, 0) << 8 | registers_[0x0A];
    return r == 0 ? 0 : reference_Hz / r * n;
}

double Ltc6950Model::output_Hz(unsigned output, double reference_Hz) const {
    const uint32_t divider = bitsOf(registers_.at(0x0D + 2 * output), 5, 0);
    return divider == 0 ? 0 : vco_Hz(reference_Hz) / divider;
}

bool Ltc6950Model::synchronised(unsigned output) const {
    return bitsOf(registers_.at(0x0C + 2 * output), 7, 7) != 0;
}

Ltc6950Model::Pump Ltc6950Model::pump() const {
    if (bitsOf(registers_[0x06], 2, 2) == 0)
        return Pump::regulating;
    switch (bitsOf(registers_[0x06], 1, 0)) {
    case 1: return Pump::sinking;
    case 2: return Pump::sourcing;
    default: return Pump::reset;
    }
}

} // namespace vi
