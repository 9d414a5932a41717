#include "virtual/model_l/model_l_bench.h"

#include "virtual/physics/phase_loop.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace vi {
namespace {

constexpr double fullLevel_dBm = 8, attenuationStep_dB = 0.5;
constexpr std::array<double, 2> fullSlope_VPerRad{1.0, 0.94};
// The synthesizer's port, which the search tunes and the phase-locked loop drives; and that of the crystal behind it.
constexpr double coarse_HzPerV = 400, coarseMiddle_V = 2.5, coarseMax_V = 15;
constexpr std::array<double, 2> fine_HzPerV{0.1, 0.095};
constexpr std::array<double, 4> capacitor_F{0.1e-6, 0.47e-6, 4.7e-6, 25e-6};
constexpr double slopeMin_VPerRad = 0.02;                // below it no loop catches
constexpr double catching_Hz = 100, catchingDamping = 1; // the phase-locked loop
constexpr double twoPi = 2 * std::numbers::pi;

bool catches(const ModelLBench& bench, size_t channel) {
    const ModelLChannel& c = bench.channels[channel];
    const double needed_V = coarseMiddle_V + (bench.dut.frequency_Hz - bench.frequency_Hz) / coarse_HzPerV;
    const bool fitted = c.capacitor >= 1 && c.capacitor <= capacitor_F.size() &&
                        std::all_of(c.resistance_ohm.begin(), c.resistance_ohm.end(), [](double r) { return r > 0; });
    return fitted && c.risesWithTune && needed_V >= 0 && needed_V <= coarseMax_V && !bench.dut.faults.unlockable &&
           modelL_slope(bench, channel) >= slopeMin_VPerRad;
}

} // namespace

ModelLBench modelL_bench(const Dut& dut, uint64_t seed) {
    constexpr uint32_t purpose = 0x4c;
    return {.dut = dut, .stream = random_stream(seed, purpose, 0)};
}

double modelL_slope(const ModelLBench& bench, size_t channel) {
    const Faults& faults = bench.dut.faults;
    if (faults.noSignal || !bench.rfOn || (channel == 1 && faults.channelBDead))
        return 0;
    const double level_dB = bench.dut.power_dBm - fullLevel_dBm - attenuationStep_dB * bench.attenuation;
    return fullSlope_VPerRad[channel] * std::pow(10, level_dB / 20);
}

double modelL_fineSensitivity(size_t channel) {
    return fine_HzPerV[channel];
}

double modelL_beat_Hz(const ModelLBench& bench, size_t channel) {
    const ModelLChannel& c = bench.channels[channel];
    if (c.hold != ModelLHold::none)
        return 0;
    const double pulled_Hz = (c.risesWithTune ? 1 : -1) * coarse_HzPerV * (c.tune_V - coarseMiddle_V);
    return bench.dut.frequency_Hz - bench.frequency_Hz - pulled_Hz;
}

bool modelL_dutIsBelow(const ModelLBench& bench) {
    return modelL_slope(bench, 0) > 0 && modelL_beat_Hz(bench, 0) < 0;
}

void modelL_setLoopMode(ModelLBench* bench, size_t channel, int mode) {
    ModelLChannel& c = bench->channels[channel];
    c.loopMode = mode;
    if (mode == 2)
        c.hold = catches(*bench, channel) ? ModelLHold::phaseLocked : ModelLHold::none;
    else if (mode == 3 && c.hold != ModelLHold::none)
        c.hold = ModelLHold::quadrature;
    else
        c.hold = ModelLHold::none;
}

std::complex<double> modelL_error(const ModelLBench& bench, size_t channel, double offset_Hz) {
    const ModelLChannel& c = bench.channels[channel];
    switch (c.hold) {
    case ModelLHold::none: return 1;
    case ModelLHold::phaseLocked: return loop_error(twoPi * catching_Hz, catchingDamping, offset_Hz);
    case ModelLHold::quadrature: break;
    }
    const double c_F = capacitor_F[c.capacitor - 1];
    const double wn =
        std::sqrt(twoPi * fine_HzPerV[channel] * modelL_slope(bench, channel) / (c.resistance_ohm[0] * c_F));
    return loop_error(wn, c.resistance_ohm[1] * c_F * wn / 2, offset_Hz);
}

double modelL_sourceNoise_dBcHz(size_t channel, double offset_Hz) {
    static const auto& curves = *new std::array<NoiseCurve, 2>{{
        {{{1, -95}, {10, -125}, {100, -143}, {1e3, -155}, {1e4, -160}, {1e6, -165}}},
        {{{1, -94}, {10, -124}, {100, -143}, {1e3, -154}, {1e4, -160}, {1e6, -164}}},
    }};
    return noiseCurve_level_dBcHz(curves[channel], offset_Hz);
}

} // namespace vi
