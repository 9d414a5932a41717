#include "virtual/chips/analog.h"

#include <algorithm>
#include <limits>

namespace vi {

Ad5640Model::Ad5640Model(unsigned bits) : WordChip(spiClockPhase, {bits == 14 ? size_t{2} : size_t{3}}), bits_(bits) {}

bool Ad5640Model::take(uint64_t word, size_t /*bytes*/) {
    code_ = bitsOf(word, bits_ - 1, 0);
    output_ = static_cast<DacOutput>(bitsOf(word, bits_ + 1, bits_));
    return true;
}

double Ad5640Model::ratio() const {
    return static_cast<double>(code_) / (1U << bits_);
}

bool Ad5760Model::take(uint64_t word, size_t /*bytes*/) {
    constexpr uint32_t known = 0x00003E;
    const uint32_t content = bitsOf(word, 19, 0);
    switch (bitsOf(word, 23, 20)) {
    case 1: data_ = content >> 4; return (content & 0xF) == 0;
    case 2: control_ = content; return (content & ~known) == 0;
    case 4:
        if (content == 1)
            loaded_ = data_;
        return content == 1; // the clear and reset bits have no use here
    default: return false;
    }
}

double Ad5760Model::ratio() const {
    const bool offsetBinary = bitsOf(control_, 4, 4) != 0;
    return (offsetBinary ? loaded_ : loaded_ ^ 0x8000) / 65535.0;
}

Ad5760Model::Output Ad5760Model::output() const {
    if (bitsOf(control_, 2, 2) != 0)
        return Output::weakGround;
    return bitsOf(control_, 3, 3) != 0 ? Output::highImpedance : Output::driven;
}

bool Ad5432Model::take(uint64_t word, size_t /*bytes*/) {
    switch (bitsOf(word, 15, 12)) {
    case 0x0: return true;
    case 0x1: code_ = bitsOf(word, 11, 2); return true;
    case 0x9: daisyChain_ = false; return true;
    case 0xB: code_ = 0; return true;
    case 0xC: code_ = 512; return true;
    default: return false;
    }
}

Ad5293Chain::Ad5293Chain(std::initializer_list<double> nominal_ohm) {
    for (const double ohm : nominal_ohm)
        chips_.push_back({.nominal_ohm = ohm});
}

bool Ad5293Chain::send(std::span<const uint8_t> frame, uint32_t mode) {
    if (mode != spiClockPhase || frame.size() != 2 * chips_.size())
        return false;
    // What comes last stays in the chip nearest to the bus.
    const auto wordOf = [frame](size_t chip) { return static_cast<uint32_t>(frame_word(frame.subspan(2 * chip, 2))); };
    for (size_t chip = 0; chip < chips_.size(); ++chip)
        if (!knows(wordOf(chip)))
            return false;
    for (size_t chip = 0; chip < chips_.size(); ++chip)
        execute(&chips_[chip], wordOf(chip));
    return true;
}

bool Ad5293Chain::knows(uint32_t word) {
    constexpr uint32_t commands[] = {0, 1, 4, 6, 8};
    return word >> 14 == 0 && std::find(std::begin(commands), std::end(commands), word >> 10) != std::end(commands);
}

void Ad5293Chain::execute(Resistor* chip, uint32_t word) {
    switch (word >> 10) {
    case 1:
        if (chip->unprotected)
            chip->wiper = bitsOf(word, 9, 0);
        break;
    case 4: chip->wiper = 512; break;
    case 6: chip->unprotected = bitsOf(word, 1, 1) != 0; break;
    case 8: chip->shutdown = bitsOf(word, 0, 0) != 0; break;
    default: break;
    }
}

double Ad5293Chain::wiperToB_ohm(size_t chip) const {
    const Resistor& resistor = chips_.at(chip);
    return resistor.shutdown ? 0 : resistor.nominal_ohm * resistor.wiper / 1024;
}

double Ad5293Chain::wiperToA_ohm(size_t chip) const {
    const Resistor& resistor = chips_.at(chip);
    return resistor.shutdown ? std::numeric_limits<double>::infinity()
                             : resistor.nominal_ohm * (1024 - resistor.wiper) / 1024;
}

bool Mcp4131Model::take(uint64_t word, size_t /*bytes*/) {
    if (bitsOf(word, 15, 9) != 0) // another register, or not a write
        return false;
    wiper_ = std::min(bitsOf(word, 8, 0), 128U);
    return true;
}

bool Hmc624Model::take(uint64_t word, size_t /*bytes*/) {
    // Six places: the first two bits have left the register. A low bit puts its pad into the path.
    attenuation_dB_ = 0.5 * (63 - bitsOf(word, 5, 0));
    return true;
}

} // namespace vi
