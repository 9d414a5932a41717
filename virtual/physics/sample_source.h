#pragma once
/// The analog side as the acquisition board's FPGA sees it: what arrives at its ADCs and at its counter input.
///
/// What a source does not override is an input without a signal. Calls come from several threads, one at a time;
/// faults() at any moment.

#include "virtual/physics/signal_chain.h"

#include <algorithm>
#include <cstdint>
#include <span>

namespace vi {

/// Sample pairs: every `divider`th of those that the ADCs take from a moment on.
struct RecordRequest {
    uint64_t start_ns; // on the clock
    double clock_Hz;   // of the ADCs
    uint32_t divider;
};

enum class CounterInput { input, adcA, adcB };

/// A signal that is counted between two moments.
struct CountRequest {
    CounterInput input;
    uint32_t ratio; // by which it is divided ahead of the counter
    uint64_t start_ns, end_ns;
    double clock_Hz; // of the ticks
};

/// A counter's registers: whole periods of the divided signal, and ticks of the clock that they took. Without a signal
/// both are 0.
struct EdgeCount {
    uint64_t periods, ticks;
};

/// What is broken on the way from the ADCs to the processor.
struct alignas(uint64_t) DeliveryFaults { // atomic as a whole
    bool coreSilent = false;              // the soft core takes commands and does nothing
    bool samplesMissing = false;          // sample pairs never come
    uint32_t stagesMissing = 0;           // bit n: the spectrum of stage n never comes
};

class SampleSource {
public:
    virtual ~SampleSource() = default;

    /// A capture of spectra begins now and samples for so long: expectations are of the channels as they stand at this
    /// moment, or as they will after a small part of it. Called with the SPI bus held.
    virtual void beginSpectra(uint64_t /*length_ns*/) {}
    /// Expectations of `points` points from 0 Hz to half of the rate; valid until the next call. `stage` tells apart
    /// what may be kept for the next time.
    virtual const StageExpectation& expectation(uint32_t /*stage*/, double /*sampleRate_Hz*/, uint32_t points) {
        silence_ = {};
        for (auto* density : {&silence_.sxx, &silence_.syy, &silence_.sxyRe, &silence_.sxyIm, &silence_.spread})
            density->assign(points, 0.0);
        return silence_;
    }

    virtual DeliveryFaults faults() { return {}; }
    /// Fills samples of both channels, as many of each: 16 bits around 32768, low-passed below half of the reduced
    /// rate.
    virtual void record(const RecordRequest& /*request*/, std::span<uint16_t> a, std::span<uint16_t> b) {
        constexpr uint16_t noSignal = 32768;
        std::fill(a.begin(), a.end(), noSignal);
        std::fill(b.begin(), b.end(), noSignal);
    }

    virtual EdgeCount count(const CountRequest& /*request*/) { return {0, 0}; }

private:
    StageExpectation silence_;
};

} // namespace vi
