#pragma once
/// An analog side whose every value a test can compute.

#include "virtual/physics/sample_source.h"

#include <atomic>
#include <cmath>

class KnownSource final : public vi::SampleSource {
public:
    std::atomic<bool> gives{true};          // samples
    std::atomic<double> frequency_Hz{10e6}; // at the counters; 0: no signal

    /// Own spectra of a stage at a point; the cross spectrum is all of it, so that a draw of many records is this.
    static double density(uint32_t stage, uint32_t point) { return (stage + 1) * 1e-9 / (point + 1); }
    static uint16_t sampleA(uint64_t i) { return static_cast<uint16_t>(30000 + i % 4096); }
    static uint16_t sampleB(uint64_t i) { return static_cast<uint16_t>(36000 - i % 4096); }

    const vi::StageExpectation& expectation(uint32_t stage, double /*sampleRate_Hz*/, uint32_t points) override {
        expectation_ = {};
        for (uint32_t i = 0; i < points; ++i) {
            expectation_.sxx.push_back(density(stage, i));
            expectation_.syy.push_back(density(stage, i));
            expectation_.sxyRe.push_back(density(stage, i));
            expectation_.sxyIm.push_back(0);
            expectation_.spread.push_back(0);
        }
        return expectation_;
    }

    vi::DeliveryFaults faults() override { return {.samplesMissing = !gives}; }
    void record(const vi::RecordRequest& request, std::span<uint16_t> a, std::span<uint16_t> b) override {
        for (uint64_t i = 0; i < a.size(); ++i) {
            a[i] = sampleA(i * request.divider);
            b[i] = sampleB(i * request.divider);
        }
    }

    vi::EdgeCount count(const vi::CountRequest& request) override {
        const double seconds = static_cast<double>(request.end_ns - request.start_ns) * 1e-9;
        const double signal_Hz = frequency_Hz / request.ratio;
        const auto periods = static_cast<uint64_t>(seconds * signal_Hz);
        return {periods, periods == 0 ? 0
                                      : static_cast<uint64_t>(
                                            std::llround(static_cast<double>(periods) / signal_Hz * request.clock_Hz))};
    }

private:
    vi::StageExpectation expectation_;
};
