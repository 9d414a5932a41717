#include "virtual/acquisition/soft_core_counters.h"

#include "virtual/platform/clock.h"

#include <array>
#include <cstdio>

namespace vi {
namespace {

constexpr uint32_t inputRatio = 2;
/// White noise, read in a format whose sign flips around 0, begins a period at every fourth sample.
constexpr uint64_t ticksPerNoisePeriod = 4;

/// The registers have 32 bits.
unsigned asRegister(uint64_t count) {
    return static_cast<uint32_t>(count);
}

using Text = std::array<char, 64>;

} // namespace

void CoreCounters::arm(const ConverterState& converters, uint32_t gateTicks) {
    gateClock_Hz_ = converters.clock_Hz;
    gateTicks_ = gateTicks;
    gateStart_ns_ = clock_now();
    gateEnd_ns_ = gateClock_Hz_ > 0 ? core_after(*gateStart_ns_, gateTicks / gateClock_Hz_) : coreNever_ns;
}

bool CoreCounters::gateEnded() const {
    return armed() && clock_now() >= gateEnd_ns_;
}

std::string CoreCounters::gateText() const {
    const std::lock_guard lock(source_.mutex);
    EdgeCount count =
        source_.source.count({CounterInput::input, inputRatio, gateStart_ns_.value_or(0), gateEnd_ns_, gateClock_Hz_});
    if (count.periods == 0)
        count.ticks = gateTicks_;
    Text text;
    snprintf(text.data(), text.size(), "%x %x>", asRegister(count.periods), asRegister(count.ticks));
    return text.data();
}

void CoreCounters::startAdc(ConverterState converters) {
    adcs_ = AdcCounters{std::move(converters), clock_now()};
}

EdgeCount CoreCounters::countAdc(Channel channel, uint64_t end_ns) const {
    const double clock_Hz = adcs_->converters.clock_Hz;
    const AdcWords::Signed reading = adcs_->converters.words[channel].asSigned();
    if (clock_Hz <= 0 || reading == AdcWords::Signed::constant)
        return {0, 0};
    if (reading == AdcWords::Signed::scrambled) {
        const auto ticks = static_cast<uint64_t>(static_cast<double>(end_ns - adcs_->start_ns) * 1e-9 * clock_Hz);
        return {ticks / ticksPerNoisePeriod, ticks};
    }
    const CounterInput input = channel == channelA ? CounterInput::adcA : CounterInput::adcB;
    return source_.source.count({input, 1, adcs_->start_ns, end_ns, clock_Hz});
}

std::string CoreCounters::adcText() const {
    const std::lock_guard lock(source_.mutex);
    const uint64_t now = clock_now();
    const EdgeCount a = countAdc(channelA, now), b = countAdc(channelB, now);
    Text text;
    snprintf(text.data(), text.size(), "*%u,%u,%u,%u", asRegister(a.periods), asRegister(a.ticks),
             asRegister(b.periods), asRegister(b.ticks));
    return text.data();
}

} // namespace vi
