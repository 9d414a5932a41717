#pragma once
/// What stands on the outputs of a fast ADC for the samples that it takes: the format that it is set to, or the pattern
/// of its test mode.

#include "virtual/chips/clocks.h"

#include <cstdint>
#include <span>

namespace vi {

/// The settings of an ADC at a moment.
class AdcWords {
public:
    /// An ADC that drives nothing.
    AdcWords() : AdcWords(FastAdcModel(FastAdcModel::Kind::ad9467), false) {}
    /// `wired`: its outputs suit the FPGA's inputs.
    explicit AdcWords(const FastAdcModel& adc, bool wired = true);

    /// Replaces samples, 16 bits around 32768, by the words on the outputs. The first sample has the number `first`
    /// since the test mode was set, the next ones are `step` further each: patterns go on through them. Outputs that
    /// are off read 0.
    void encode(std::span<uint16_t> samples, uint64_t first, uint64_t step) const;

    /// What becomes of a sample that is read as a signed number.
    enum class Signed {
        right,
        inverted,
        scrambled, // in a format of another kind
        constant,  // no sample at all: off, or a test mode
    };
    [[nodiscard]] Signed asSigned() const { return asSigned_; }

private:
    enum class Pattern { none, checkerboard, longNoise, shortNoise, toggle };

    [[nodiscard]] uint16_t wordOf(uint16_t sample) const;
    [[nodiscard]] uint16_t patternWord(uint64_t number) const;
    [[nodiscard]] Signed classify() const;

    FastAdcModel adc_;
    bool wired_;
    Pattern pattern_;
    Signed asSigned_;
};

} // namespace vi
