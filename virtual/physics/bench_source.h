#pragma once
/// The bench as the acquisition board's FPGA sees it.

#include "virtual/physics/bench.h"
#include "virtual/physics/sample_source.h"

#include <map>

namespace vi {

class BenchSource final : public SampleSource {
public:
    /// `bench` stays the caller's and must outlive the source.
    explicit BenchSource(Bench& bench) : bench_(bench) {}

    void beginSpectra(uint64_t length_ns) override;
    const StageExpectation& expectation(uint32_t stage, double sampleRate_Hz, uint32_t points) override;
    DeliveryFaults faults() override;
    void record(const RecordRequest& request, std::span<uint16_t> a, std::span<uint16_t> b) override {
        bench_takeRecord(&bench_, request, a, b);
    }
    EdgeCount count(const CountRequest& request) override { return bench_count(&bench_, request); }

private:
    struct Kept {
        StageExpectation expectation;
        double sampleRate_Hz = 0; // 0: of another snapshot
    };

    Bench& bench_;
    BenchSnapshot snapshot_;
    std::map<uint32_t, Kept> kept_; // by stage
};

} // namespace vi
