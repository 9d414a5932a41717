#pragma once
/// The frequency counters of the soft core: one on the counter input, with a gate, and one behind each ADC, which runs.

#include "virtual/acquisition/soft_core_kind.h"

#include <optional>
#include <string>

namespace vi {

class CoreCounters {
public:
    explicit CoreCounters(SourceAccess& source) : source_(source) {}

    void reset() {
        gateStart_ns_.reset();
        adcs_.reset();
    }

    /// Opens the gate of the input's counter for so many ticks.
    void arm(const ConverterState& converters, uint32_t gateTicks);
    [[nodiscard]] bool armed() const { return gateStart_ns_.has_value(); }
    [[nodiscard]] bool gateEnded() const;
    /// "PERIODS TICKS>" in hexadecimal. Without a signal no periods, and the ticks of the gate. The input is divided by
    /// two.
    [[nodiscard]] std::string gateText() const;

    /// Starts both ADC counters; they read the ADCs as signed numbers.
    void startAdc(ConverterState converters);
    void stopAdc() { adcs_.reset(); }
    [[nodiscard]] bool adcRuns() const { return adcs_.has_value(); }
    /// "*PERIODS,TICKS,PERIODS,TICKS" of A and B as of now.
    [[nodiscard]] std::string adcText() const;

private:
    [[nodiscard]] EdgeCount countAdc(Channel channel, uint64_t end_ns) const;

    SourceAccess& source_;
    std::optional<uint64_t> gateStart_ns_;
    uint64_t gateEnd_ns_ = 0;
    uint32_t gateTicks_ = 0;
    double gateClock_Hz_ = 0;
    struct AdcCounters {
        ConverterState converters;
        uint64_t start_ns;
    };
    std::optional<AdcCounters> adcs_;
};

} // namespace vi
