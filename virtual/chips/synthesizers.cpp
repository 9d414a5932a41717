#include "virtual/chips/synthesizers.h"

#include <algorithm>
#include <cmath>

namespace vi {

Ad9912Model::Ad9912Model()
    : RegisterPort({{0x0000, 0x18, false},
                    {0x0005, 0x00, false},
                    {0x0010, 0xD0, false},
                    {0x01A6, 0x00, true}, // word
                    {0x01A7, 0x00, true},
                    {0x01A8, 0x00, true},
                    {0x01A9, 0x00, true},
                    {0x01AA, 0x00, true},
                    {0x01AB, 0x00, true},
                    {0x01AC, 0x00, true}, // phase
                    {0x01AD, 0x00, true},
                    {0x040B, 0xFF, false}, // full-scale current
                    {0x040C, 0x01, false}}) {}

void Ad9912Model::ioUpdate(uint32_t /*trigger*/) {
    update();
}

double Ad9912Model::output_Hz(double clock_Hz) const {
    if (!powered())
        return 0;
    uint64_t word = 0;
    for (uint16_t address = 0x01AB; address >= 0x01A6; --address)
        word = word << 8 | reg(address);
    return clock_Hz * std::ldexp(static_cast<double>(word), -48);
}

double Ad9912Model::fullScale_A() const {
    constexpr double reference_A = 120e-6;
    const uint32_t code = bitsOf(reg(0x040C), 1, 0) << 8 | reg(0x040B);
    return reference_A * (72 + 192.0 * code / 1024);
}

bool Ad9914Model::take(uint64_t word, size_t /*bytes*/) {
    const uint32_t number = bitsOf(word, 39, 32);
    if (number >= size)
        return false;
    written_[number] = bitsOf(word, 31, 0);
    return true;
}

void Ad9914Model::ioUpdate(uint32_t /*trigger*/) {
    if (bitsOf(active_[3], 24, 24) > bitsOf(written_[3], 24, 24))
        ++calibrations_;
    active_ = written_;
}

double Ad9914Model::output_Hz(double clock_Hz) const {
    const bool powered = bitsOf(active_[0], 7, 6) == 0;
    const bool profiles = bitsOf(active_[1], 23, 23) != 0;
    return powered && profiles ? clock_Hz * std::ldexp(active_.at(0x0B + 2 * profile_), -32) : 0;
}

bool Ad5932Model::take(uint64_t word, size_t bytes) {
    if (bytes == 4 && !takeHalf(bitsOf(word, 31, 16)))
        return false;
    return takeHalf(bitsOf(word, 15, 0));
}

bool Ad5932Model::takeHalf(uint32_t word) {
    constexpr uint32_t fixedOnes = 0b1101'0011;
    const uint32_t content = bitsOf(word, 11, 0);
    const bool afterLow = lowJustWritten_;
    lowJustWritten_ = false;
    switch (word >> 12) {
    case 0x0:
        if ((content & fixedOnes) != fixedOnes || bitsOf(content, 11, 11) == 0)
            return false;
        control_ = content;
        running_ = false;
        return true;
    case 0xC:
        low_ = content;
        lowJustWritten_ = true;
        return true;
    case 0xD: start_ = content << 12 | low_; return afterLow; // a word in two writes, low half first
    default: return false;
    }
}

void Ad5932Model::pulseControl() {
    running_ = true;
    word_ = start_;
}

double Ad5932Model::output_Hz(double clock_Hz) const {
    return running_ ? clock_Hz * std::ldexp(word_, -24) : 0;
}

Ad5932Model::Wave Ad5932Model::wave() const {
    if (!running_ || bitsOf(control_, 10, 10) == 0)
        return Wave::off;
    return bitsOf(control_, 9, 9) != 0 ? Wave::sine : Wave::triangle;
}

bool Adf4xxxModel::take(uint64_t word, size_t /*bytes*/) {
    const auto content = static_cast<uint32_t>(word);
    switch (bitsOf(content, 1, 0)) {
    case 0: r_ = content; return r() != 0;
    case 1: n_ = content; return true;
    default: function_ = content; return true; // 3 starts the chip up as well
    }
}

bool Adf4xxxModel::counting() const {
    return bitsOf(function_, 3, 2) == 0;
}

uint32_t Adf4xxxModel::n() const {
    const uint32_t b = bitsOf(n_, 20, 8);
    if (kind_ == Kind::adf4002)
        return b;
    const uint32_t a = bitsOf(n_, 7, 2);
    const uint32_t prescaler = 8U << bitsOf(function_, 23, 22);
    return a <= b ? prescaler * b + a : 0;
}

double Adf4xxxModel::lockedAt_Hz(double reference_Hz) const {
    const bool pumping = bitsOf(function_, 8, 8) == 0;
    return counting() && pumping && r() != 0 ? reference_Hz / r() * n() : 0;
}

double Adf4xxxModel::muxOut_Hz(double reference_Hz, double rf_Hz) const {
    if (!counting())
        return 0;
    switch (bitsOf(function_, 6, 4)) {
    case 2: return n() != 0 ? rf_Hz / n() : 0;
    case 4: return r() != 0 ? reference_Hz / r() : 0;
    default: return 0;
    }
}

bool Adf5355Model::take(uint64_t word, size_t /*bytes*/) {
    const uint32_t number = bitsOf(word, 3, 0);
    if (number >= size)
        return false;
    registers_[number] = static_cast<uint32_t>(word);
    seen_ |= 1U << number;
    const bool initialised = seen_ == (1U << size) - 1;
    const bool search = number == 0 && bitsOf(word, 21, 21) != 0;
    if (!search || !initialised)
        return true;
    const uint32_t auxModulus = bitsOf(registers_[2], 17, 4);
    const uint32_t aux = bitsOf(registers_[2], 31, 18);
    const double fraction = bitsOf(registers_[1], 27, 4) + (aux != 0 ? static_cast<double>(aux) / auxModulus : 0);
    ratio_ = bitsOf(registers_[0], 19, 4) + std::ldexp(fraction, -24);
    searched_ = true;
    return true;
}

double Adf5355Model::comparison_Hz(double reference_Hz) const {
    const uint32_t r = std::max(bitsOf(registers_[4], 24, 15), 1U);
    const double doubled = bitsOf(registers_[4], 26, 26) + 1;
    const double halved = bitsOf(registers_[4], 25, 25) + 1;
    return reference_Hz * doubled / (r * halved);
}

double Adf5355Model::vco_Hz(double reference_Hz) const {
    constexpr double lowest_Hz = 3.4e9;
    constexpr double highest_Hz = 7.1e9; // a little beyond what the data sheet promises
    const bool powered = bitsOf(registers_[4], 6, 6) == 0;
    const double frequency = ratio_ * comparison_Hz(reference_Hz);
    return searched_ && powered && frequency >= lowest_Hz && frequency <= highest_Hz ? frequency : 0;
}

double Adf5355Model::outputA_Hz(double reference_Hz) const {
    const bool on = bitsOf(registers_[6], 6, 6) != 0;
    return on ? vco_Hz(reference_Hz) / (1U << bitsOf(registers_[6], 23, 21)) : 0;
}

double Adf5355Model::outputB_Hz(double reference_Hz) const {
    const bool off = bitsOf(registers_[6], 10, 10) != 0;
    return off ? 0 : 2 * vco_Hz(reference_Hz);
}

double Adf5355Model::outputA_dBm() const {
    return -4.0 + 3 * bitsOf(registers_[6], 5, 4);
}

} // namespace vi
