#include "virtual/bench_source.h"

namespace vi {

void BenchSource::beginSpectra() {
    bench_takeSnapshot(&bench_, &snapshot_);
}

const StageExpectation& BenchSource::expectation(uint32_t stage, double sampleRate_Hz, uint32_t points) {
    Kept& kept = kept_.at(stage);
    if (kept.version != snapshot_.version || kept.sampleRate_Hz != sampleRate_Hz ||
        kept.expectation.sxx.size() != points) {
        chain_expect(snapshot_.chain, snapshot_.dut, sampleRate_Hz, points, &kept.expectation);
        kept.version = snapshot_.version;
        kept.sampleRate_Hz = sampleRate_Hz;
    }
    return kept.expectation;
}

} // namespace vi
