#include "virtual/physics/bench_source.h"

#include <algorithm>

namespace vi {
namespace {

/// Loops that settle within this share of a capture do not show in its average.
constexpr double settlingShare = 0.1;
constexpr uint64_t settlingMax_ns = 36'500ULL * 86'400'000'000; // of a capture of a year

} // namespace

void BenchSource::beginSpectra(uint64_t length_ns) {
    const auto settling_ns = std::min(uint64_t(settlingShare * double(length_ns)), settlingMax_ns);
    if (!bench_takeSnapshot(&bench_, &snapshot_, settling_ns))
        return;
    for (auto& [stage, kept] : kept_)
        kept.sampleRate_Hz = 0;
}

DeliveryFaults BenchSource::faults() {
    return bench_.deliveryFaults;
}

const StageExpectation& BenchSource::expectation(uint32_t stage, double sampleRate_Hz, uint32_t points) {
    Kept& kept = kept_[stage];
    if (kept.sampleRate_Hz != sampleRate_Hz || kept.expectation.sxx.size() != points) {
        chain_expect(snapshot_.chain, snapshot_.dut, sampleRate_Hz, points, &kept.expectation);
        kept.sampleRate_Hz = sampleRate_Hz;
    }
    return kept.expectation;
}

} // namespace vi
