#include "virtual/physics/signal_chain.h"

#include "virtual/physics/phase_loop.h"

#include <algorithm>
#include <cmath>

namespace vi {
namespace {

using Complex = std::complex<double>;

// How the channels differ.
struct ChannelTraits {
    double slope;              // of the detector, relative
    double gain;               // of the IF chain, relative; the product of both channels is nominal
    double referenceExcess_dB; // of the own reference over its table
    double ifNoise;            // behind the mixer, two-sided, V^2/Hz referred to 0 dB IF gain
    double tuning;             // of the source, relative
};
constexpr std::array<ChannelTraits, channels> traits = {{
    {1.0, 1.02, 0.0, 2.0e-19, 1.0197},
    {0.94, 1 / 1.02, 0.8, 2.3e-19, 0.9732},
}};
constexpr double adcNoise = 3.0e-17; // two-sided, V^2/Hz: 76 dB below full scale over the whole band

constexpr std::array<double, 4> tunings_HzPerV{100, 250, 1000, 100}; // by reference

// Noise of one reference source at 100 MHz.
const auto& referenceNoise = *new std::array<NoiseCurve, 4>{{
    {{{1, -95}, {10, -125}, {100, -140}, {1e3, -147}, {1e4, -150}, {1e5, -152}, {1e6, -160}, {1e7, -165}}},
    {{{1, -75}, {10, -105}, {100, -125}, {1e3, -140}, {1e4, -150}, {1e5, -155}, {1e6, -165}, {1e7, -170}}},
    {{{1, -60}, {10, -90}, {100, -115}, {1e3, -138}, {1e4, -152}, {1e5, -162}, {1e6, -170}, {1e7, -173}}},
    {{{1, -104}, {10, -132}, {100, -150}, {1e3, -160}, {1e4, -166}, {1e5, -170}, {1e6, -172}, {1e7, -174}}},
}};
constexpr double referenceTable_Hz = 100e6;

struct SlopePoint {
    double mixer_Hz, slope; // V/rad
};
constexpr SlopePoint slopePoints[] = {{30e6, 0.50}, {1e9, 0.32}, {10e9, 0.30}};

double ratio(double level_dB) {
    return std::pow(10.0, level_dB / 10);
}

/// Straight lines over log f, held at the ends.
double strongSlope(double mixer_Hz) {
    const SlopePoint* upper = std::begin(slopePoints);
    while (upper != std::end(slopePoints) && upper->mixer_Hz <= mixer_Hz)
        ++upper;
    if (upper == std::begin(slopePoints))
        return upper->slope;
    const SlopePoint& low = upper[-1];
    if (upper == std::end(slopePoints))
        return low.slope;
    return low.slope +
           (upper->slope - low.slope) * std::log(mixer_Hz / low.mixer_Hz) / std::log(upper->mixer_Hz / low.mixer_Hz);
}

/// Transfer from the carrier's phase to the ADC, V/rad.
Complex transfer(const ChannelChain& chain, Channel channel, double offset_Hz) {
    if (!chain.carrier)
        return 0;
    const double coupling = offset_Hz / (offset_Hz + chain.highPass_Hz) * offset_Hz / (offset_Hz + chain.highPass2_Hz);
    return chain.slope_V * chain_ifGain(chain.ifGain_dB, channel) * coupling *
           chain_ifExcess(chain.ifTruth, chain.ifStage, offset_Hz) * chain_ifFilter(chain.ifBandwidth_Hz, offset_Hz) /
           double(chain.prescaler) * loop_error(chain.wn_rad_s, chain.damping, offset_Hz);
}

/// Lines reach this far; beyond, the window has them more than 120 dB down.
constexpr double lineReach_points = 64;
/// Lines below this share of the cross density are left out of a point: 0.0004 dB.
constexpr double lineShareMin = 1e-4;

/// Calls `at(point, density)` with a line's density, relative to its power, 1/Hz, at each point that it reaches.
/// Nothing passes the stage's decimation filter beyond half of the sample rate.
template <class At> void spreadLine(double offset_Hz, double sampleRate_Hz, uint32_t points, At at) {
    const double position = offset_Hz * (2.0 * (points - 1)) / sampleRate_Hz;
    if (position > points - 1)
        return;
    const auto first = uint32_t(std::max(0.0, std::ceil(position - lineReach_points)));
    const auto last = uint32_t(std::min(points - 1.0, std::floor(position + lineReach_points)));
    for (uint32_t i = first; i <= last; ++i) {
        const double response = window_response(i - position);
        at(i, points / sampleRate_Hz * response * response);
    }
}

/// Power of all lines of the DUT at each point as a density, 1/Hz.
std::vector<double> lineDensity(const Dut& dut, double sampleRate_Hz, uint32_t points) {
    std::vector<double> density(points, 0.0);
    for (const Spur& spur : dut.spurs)
        spreadLine(spur.offset_Hz, sampleRate_Hz, points,
                   [&](uint32_t i, double share) { density[i] += ratio(spur.level_dBc) * share; });
    return density;
}

/// Puts the pickup on top of what stands in `stage`.
void addPickup(const SignalChain& chain, double sampleRate_Hz, uint32_t points, StageExpectation* stage) {
    spreadLine(pickup_Hz, sampleRate_Hz, points, [&](uint32_t i, double share) {
        const double amplitude = pickup_V / 2 * std::sqrt(share);
        const auto seen = [&](Channel c) { return amplitude * chain_ifGain(chain[c].ifGain_dB, c); };
        stage->lines.push_back({i, seen(channelA), seen(channelB)});
    });
}

} // namespace

double chain_mixerSlope(double mixer_Hz, double drive_dB, Channel channel) {
    // Below, the slope follows the carrier's voltage.
    const double drive = std::min(1.0, std::pow(10.0, drive_dB / 20));
    return strongSlope(mixer_Hz) * drive * traits[channel].slope;
}

double chain_ifGain(double ifGain_dB, Channel channel) {
    return traits[channel].gain * std::pow(10.0, ifGain_dB / 20);
}

double chain_ifExcess(const IfTruth* truth, size_t stage, double offset_Hz) {
    return truth != nullptr ? std::pow(10.0, if_excess_dB(*truth, stage, offset_Hz) / 20) : 1;
}

double chain_ifFilter(double bandwidth_Hz, double offset_Hz) {
    constexpr double corner = 1.3, order = 8; // of a Butterworth low pass, over the bandwidth
    return bandwidth_Hz > 0 ? 1 / std::sqrt(1 + std::pow(offset_Hz / (corner * bandwidth_Hz), 2 * order)) : 1;
}

double chain_sensitivity_HzPerV(Reference reference, Channel channel) {
    return tunings_HzPerV[size_t(reference)] * traits[channel].tuning;
}

double chain_referenceNoise(Reference reference, Channel channel, const Dut& dut, double mixer_Hz, double offset_Hz) {
    if (reference == Reference::external) {
        const NoiseCurve& noise = dut.references[channel].noise;
        return noise.points.empty() ? 0 : ratio(noiseCurve_level_dBcHz(noise, offset_Hz));
    }
    return ratio(noiseCurve_level_dBcHz(referenceNoise[size_t(reference)], offset_Hz) +
                 20 * std::log10(mixer_Hz / referenceTable_Hz) + traits[channel].referenceExcess_dB);
}

double chain_background(double ifGain_dB, Channel channel) {
    return ratio(ifGain_dB) * traits[channel].ifNoise + adcNoise;
}

double chain_phaseErrorVariance(const ChannelChain& chain, Channel channel, const Dut& dut) {
    constexpr double offsetMin_Hz = 1e-3, offsetMax_Hz = 50e6;
    constexpr int stepsPerDecade = 25;
    const double step = std::log(10.0) / stepsPerDecade;
    const double p2 = double(chain.prescaler) * chain.prescaler;
    const auto steps = int(std::log(offsetMax_Hz / offsetMin_Hz) / step);
    double variance = 0;
    for (int i = 0; i <= steps; ++i) {
        const double offset = offsetMin_Hz * std::exp(i * step);
        const double noise = ratio(noiseCurve_level_dBcHz(dut.noise, offset)) / p2 +
                             chain_referenceNoise(chain.reference, channel, dut, chain.mixer_Hz, offset);
        variance += 2 * noise * std::norm(loop_error(chain.wn_rad_s, chain.damping, offset)) * offset * step;
    }
    return variance;
}

void chain_expect(const SignalChain& chain, const Dut& dut, double sampleRate_Hz, uint32_t points,
                  StageExpectation* stage) {
    for (std::vector<double>* values : {&stage->sxx, &stage->syy, &stage->sxyRe, &stage->sxyIm, &stage->spread})
        values->assign(points, 0.0);
    stage->lines.clear();

    std::array<double, channels> background;
    for (int c = 0; c < channels; ++c)
        background[c] = chain_background(chain[c].ifGain_dB, Channel(c));
    const double spacing_Hz = sampleRate_Hz / (2.0 * (points - 1));
    const std::vector<double> lines = lineDensity(dut, sampleRate_Hz, points);

    for (uint32_t i = 0; i < points; ++i) {
        const double offset_Hz = spacing_Hz * std::max(double(i), 0.5); // the first point gathers what lies around 0 Hz
        const std::array<Complex, channels> h{transfer(chain[channelA], channelA, offset_Hz),
                                              transfer(chain[channelB], channelB, offset_Hz)};
        const double common = ratio(noiseCurve_level_dBcHz(dut.noise, offset_Hz));
        std::array<double, channels> own{}; // of what is not common to both channels
        for (int c = 0; c < channels; ++c) {
            const double p = chain[c].prescaler;
            own[c] = background[c];
            if (chain[c].carrier)
                own[c] += std::norm(h[c]) * p * p *
                          chain_referenceNoise(chain[c].reference, Channel(c), dut, chain[c].mixer_Hz, offset_Hz);
        }
        stage->sxx[i] = std::norm(h[channelA]) * common;
        stage->syy[i] = std::norm(h[channelB]) * common;
        const Complex cross = h[channelA] * std::conj(h[channelB]) * common;
        if (lines[i] > lineShareMin * common && (chain[channelA].carrier || chain[channelB].carrier)) {
            const double amplitude = std::sqrt(lines[i]);
            stage->lines.push_back({i, h[channelA] * amplitude, h[channelB] * amplitude});
        }
        // Sxx Syy - |Sxy|^2 without its cancellation: the common parts' product is |Sxy|^2.
        stage->spread[i] =
            std::sqrt(stage->sxx[i] * own[channelB] + stage->syy[i] * own[channelA] + own[channelA] * own[channelB]);
        stage->sxx[i] += own[channelA];
        stage->syy[i] += own[channelB];
        stage->sxyRe[i] = cross.real();
        stage->sxyIm[i] = cross.imag();
    }
    if (dut.faults.clip)
        addPickup(chain, sampleRate_Hz, points, stage);
}

} // namespace vi
