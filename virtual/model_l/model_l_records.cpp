// Records of the model L: what the FPGA keeps of a capture.

#include "virtual/model_l/model_l_bench.h"
#include "virtual/physics/noise_record.h"
#include "virtual/platform/clock.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace vi {
namespace {

constexpr double volts = 1.6, counts = 65536, centre = 32768; // of the ADCs
constexpr int noSamples = -365;

double fromDb(double level) {
    return std::pow(10, level / 10);
}

NoiseAtOffset noiseAt(const ModelLBench& bench, double offset_Hz) {
    return {.common = fromDb(noiseCurve_level_dBcHz(bench.dut.noise, offset_Hz)),
            .own = {fromDb(modelL_sourceNoise_dBcHz(0, offset_Hz)), fromDb(modelL_sourceNoise_dBcHz(1, offset_Hz))},
            .share = {1, 1},
            .error = {modelL_error(bench, 0, offset_Hz), modelL_error(bench, 1, offset_Hz)}};
}

/// Lines of the DUT at a moment, rad.
double linesAt(const ModelLBench& bench, size_t channel, double rate_Hz, double seconds) {
    double sum = 0;
    for (const Spur& spur : bench.dut.spurs)
        if (spur.offset_Hz < rate_Hz / 2) {
            const std::complex<double> error = modelL_error(bench, channel, spur.offset_Hz);
            const double turns = std::fmod(spur.offset_Hz * seconds, 1.0);
            sum += 2 * std::pow(10, spur.level_dBc / 20) * std::abs(error) *
                   std::sin(2 * std::numbers::pi * turns + std::arg(error));
        }
    return sum;
}

uint16_t sampleOf(double value_V, uint64_t* clipped) {
    const double count = std::round(centre + value_V * counts / volts);
    const double held = std::clamp(count, 0.0, counts - 1);
    *clipped += held != count ? 1 : 0;
    return uint16_t(held);
}

uint32_t lengthOf(const ModelLBench& bench, uint32_t stage) {
    return stage < bench.stages ? std::min(bench.valid >> (modelLStepLog2 * stage), modelLRecordMax) : 0;
}

void draw(ModelLBench* bench, uint32_t stage) {
    const uint32_t length = lengthOf(*bench, stage);
    const double rate_Hz = bench->rate_Hz / double(1U << (modelLStepLog2 * stage));
    NoiseRecord noise;
    noiseRecord_draw(
        bench->stream, length, rate_Hz, [&](double offset_Hz) { return noiseAt(*bench, offset_Hz); }, &noise);
    const double gain = std::pow(10, bench->ifGain_dB / 20.0);
    for (size_t channel = 0; channel < 2; ++channel) {
        const double beat_Hz = modelL_beat_Hz(*bench, channel);
        const bool passes = std::abs(beat_Hz) < rate_Hz / 2; // the decimation filter
        const double amplitude_V = passes ? gain * modelL_slope(*bench, channel) : 0;
        const double start_turns =
            bench->channels[channel].hold == ModelLHold::none ? bench->beatPhase_turns[channel] : 0;
        std::vector<uint16_t>& record = bench->records[stage][channel];
        record.resize(length);
        for (uint32_t i = 0; i < length; ++i) {
            const std::complex<float> phases = noise.values[i];
            const double own_rad = double(channel == 0 ? phases.real() : phases.imag());
            const double seconds = i / rate_Hz, turns = start_turns + std::fmod(beat_Hz * seconds, 1.0);
            const double phase_rad =
                own_rad + linesAt(*bench, channel, rate_Hz, seconds) + 2 * std::numbers::pi * turns;
            record[i] = sampleOf(amplitude_V * std::sin(phase_rad), &bench->clipped);
        }
    }
}

} // namespace

int modelL_capture(ModelLBench* bench, uint32_t stages) {
    for (auto& stage : bench->records)
        for (auto& record : stage)
            record.clear();
    bench->clipped = 0;
    bench->stages = std::min(stages, modelLStages);
    bench->rate_Hz = modelLBaseRate_Hz / bench->divider;
    bench->valid = bench->dut.faults.samplesMissing ? 0 : bench->samples;
    for (double& phase : bench->beatPhase_turns)
        phase = random_uniform(bench->stream);
    clock_spend(uint64_t(bench->samples / bench->rate_Hz * 1e9));
    return bench->valid > 0 ? 0 : noSamples;
}

std::vector<uint16_t>& modelL_record(ModelLBench* bench, size_t channel, uint32_t stage) {
    static std::vector<uint16_t>& none = *new std::vector<uint16_t>;
    if (channel > 1 || (channel == 1 && bench->channelsAsked == 1) || lengthOf(*bench, stage) == 0)
        return none;
    std::vector<uint16_t>& record = bench->records[stage][channel];
    if (record.empty())
        draw(bench, stage);
    return record;
}

} // namespace vi
