#include "virtual/acquisition/adc_words.h"

#include <algorithm>
#include <array>
#include <vector>

namespace vi {
namespace {

constexpr uint16_t testRegister = 0x0D;
constexpr uint16_t centre = 0x8000;

/// A maximal-length sequence: bit n is the exclusive or of bits n - taps.length and n - taps.other.
struct Sequence {
    unsigned length, other;
    uint32_t seed; // its first bits, the first one on top
};
constexpr Sequence longSequence{23, 18, 0x003AFF}, shortSequence{9, 5, 0x092};

/// A period of the sequence, a byte a bit.
std::vector<uint8_t> periodOf(const Sequence& sequence) {
    std::vector<uint8_t> bits((size_t{1} << sequence.length) - 1);
    for (unsigned i = 0; i < sequence.length; ++i)
        bits[i] = static_cast<uint8_t>(bitsOf(sequence.seed, sequence.length - 1 - i, sequence.length - 1 - i));
    for (size_t i = sequence.length; i < bits.size(); ++i)
        bits[i] = bits[i - sequence.length] ^ bits[i - sequence.other];
    return bits;
}

/// 16 bits of the sequence a word, the first one on top.
uint16_t sequenceWord(const std::vector<uint8_t>& period, uint64_t number) {
    constexpr uint64_t wordBits = 16;
    uint64_t place = number % period.size() * wordBits % period.size();
    uint32_t word = 0;
    for (uint64_t bit = 0; bit < wordBits; ++bit) {
        word = word << 1 | period[place];
        place = place + 1 == period.size() ? 0 : place + 1;
    }
    return static_cast<uint16_t>(word);
}

} // namespace

AdcWords::AdcWords(const FastAdcModel& adc, bool wired) : adc_(adc), wired_(wired) {
    constexpr std::array<Pattern, 8> patterns{Pattern::none,       Pattern::none,         Pattern::none,
                                              Pattern::none,       Pattern::checkerboard, Pattern::longNoise,
                                              Pattern::shortNoise, Pattern::toggle};
    pattern_ = patterns[bitsOf(adc.reg(testRegister), 2, 0)];
    asSigned_ = classify();
}

uint16_t AdcWords::wordOf(uint16_t sample) const {
    return wired_ ? adc_.output(static_cast<int16_t>(sample ^ centre)).value_or(0) : uint16_t{0};
}

uint16_t AdcWords::patternWord(uint64_t number) const {
    static const auto& longPeriod = *new auto(periodOf(longSequence));
    static const auto& shortPeriod = *new auto(periodOf(shortSequence));
    switch (pattern_) {
    case Pattern::checkerboard: return number % 2 == 0 ? 0xAAAA : 0x5555;
    case Pattern::toggle: return number % 2 == 0 ? 0xFFFF : 0x0000;
    // The format acts on these as on samples.
    case Pattern::longNoise: return wordOf(sequenceWord(longPeriod, number));
    case Pattern::shortNoise: return wordOf(sequenceWord(shortPeriod, number));
    case Pattern::none: break;
    }
    return 0;
}

AdcWords::Signed AdcWords::classify() const {
    constexpr std::array<uint16_t, 4> probes{0x8000, 0x8001, 0x7FFF, 0xC321};
    const auto allAre = [&](auto expected) {
        return std::all_of(probes.begin(), probes.end(), [&](uint16_t p) { return wordOf(p) == expected(p); });
    };
    if (pattern_ != Pattern::none || allAre([&](uint16_t) { return wordOf(probes[0]); }))
        return Signed::constant;
    if (allAre([](uint16_t p) { return static_cast<uint16_t>(p ^ centre); }))
        return Signed::right;
    if (allAre([](uint16_t p) { return static_cast<uint16_t>(~p ^ centre); }))
        return Signed::inverted;
    return Signed::scrambled;
}

void AdcWords::encode(std::span<uint16_t> samples, uint64_t first, uint64_t step) const {
    const bool on = wired_ && adc_.output(0).has_value();
    if (on && pattern_ != Pattern::none) {
        for (uint64_t i = 0; i < samples.size(); ++i)
            samples[i] = patternWord(first + i * step);
        return;
    }
    // All formats but Gray code are an exclusive or with something fixed.
    const auto mask = static_cast<uint16_t>(wordOf(centre) ^ centre);
    const auto masked = [&](uint16_t sample) { return wordOf(sample) == (sample ^ mask); };
    if (masked(0x7FFF) && masked(0xC321)) {
        for (uint16_t& sample : samples)
            sample ^= mask;
    } else {
        for (uint16_t& sample : samples)
            sample = wordOf(sample);
    }
}

} // namespace vi
