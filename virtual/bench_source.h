#pragma once
/// The bench as the acquisition board's FPGA sees it.

#include "virtual/bench.h"
#include "virtual/sample_source.h"

namespace vi {

class BenchSource final : public SampleSource {
public:
    /// `bench` stays the caller's and must outlive the source.
    explicit BenchSource(Bench& bench) : bench_(bench) {}

    void beginSpectra(uint64_t length_ns) override;
    const StageExpectation& expectation(uint32_t stage, double sampleRate_Hz, uint32_t points) override;
    bool delivers() override { return bench_delivers(&bench_); }
    void record(const RecordRequest& request, std::span<uint16_t> a, std::span<uint16_t> b) override {
        bench_takeRecord(&bench_, request, a, b);
    }
    EdgeCount count(const CountRequest& request) override { return bench_count(&bench_, request); }

private:
    struct Kept {
        StageExpectation expectation;
        uint64_t version = UINT64_MAX;
        double sampleRate_Hz = 0;
    };

    Bench& bench_;
    BenchSnapshot snapshot_;
    std::array<Kept, stagesMax> kept_;
};

} // namespace vi
