#include "virtual/signal_chain.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <numbers>

namespace vi {
namespace {

using Complex = std::complex<double>;

constexpr double twoPi = 2 * std::numbers::pi;

// How the channels differ.
struct ChannelTraits {
    double slope;              // of the detector, relative
    double gain;               // of the IF chain, relative; the product of both channels is nominal
    double referenceExcess_dB; // of the own reference over its table
    double ifNoise;            // behind the mixer, two-sided, V^2/Hz referred to 0 dB IF gain
    double loopSpeed;          // natural frequency, relative
    double loopDamping;        // relative
};
constexpr std::array<ChannelTraits, channels> traits = {{
    {1.0, 1.02, 0.0, 2.0e-19, 1.0, 1.0},
    {0.94, 1 / 1.02, 0.8, 2.3e-19, 1.01, 0.99},
}};
constexpr double adcNoise = 3.0e-17; // two-sided, V^2/Hz: 76 dB below full scale over the whole band

constexpr double dampingInForce = 0.8; // of the filter's own, by the load of the tune port

// Noise of one reference source at 100 MHz.
const std::array<NoiseCurve, 4> referenceNoise = {{
    {{{1, -95}, {10, -125}, {100, -140}, {1e3, -147}, {1e4, -150}, {1e5, -152}, {1e6, -160}, {1e7, -165}}},
    {{{1, -75}, {10, -105}, {100, -125}, {1e3, -140}, {1e4, -150}, {1e5, -155}, {1e6, -165}, {1e7, -170}}},
    {{{1, -60}, {10, -90}, {100, -115}, {1e3, -138}, {1e4, -152}, {1e5, -162}, {1e6, -170}, {1e7, -173}}},
    {{{1, -104}, {10, -132}, {100, -150}, {1e3, -160}, {1e4, -166}, {1e5, -170}, {1e6, -172}, {1e7, -174}}},
}};
constexpr double referenceTable_Hz = 100e6;

constexpr double strongCarrier_dBm =
    5; // from here up the carrier switches the mixer; below, the slope follows its voltage

struct SlopePoint {
    double mixer_Hz, slope; // V/rad
};
constexpr SlopePoint slopePoints[] = {{30e6, 0.50}, {1e9, 0.32}, {10e9, 0.30}};

double ratio(double level_dB) {
    return std::pow(10.0, level_dB / 10);
}

double mixerFrequency_Hz(const SignalChain& chain, const Dut& dut) {
    return dut.frequency_Hz / chain.prescaler;
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

/// Error function of a channel's loop: what it lets through to the tap.
Complex loopError(const Loop& loop, const ChannelTraits& channel, double offset_Hz) {
    const double wn = loop.wn_rad_s * channel.loopSpeed;
    const double damping = dampingInForce * loop.filterDamping * channel.loopDamping;
    const Complex jw(0, twoPi * offset_Hz);
    return jw * jw / (jw * jw + 2 * damping * wn * jw + wn * wn);
}

double referenceLevel_dBcHz(const SignalChain& chain, const Dut& dut, double offset_Hz) {
    return noiseCurve_level_dBcHz(referenceNoise[size_t(chain.reference)], offset_Hz) +
           20 * std::log10(mixerFrequency_Hz(chain, dut) / referenceTable_Hz);
}

/// Transfer from the carrier's phase to the ADC, V/rad.
std::array<Complex, channels> transfers(const SignalChain& chain, const Dut& dut, double offset_Hz) {
    std::array<Complex, channels> h;
    for (int c = 0; c < channels; ++c)
        h[c] = chain_detectorSlope(chain, dut, Channel(c)) * traits[c].gain * std::pow(10.0, chain.ifGain_dB / 20.0) /
               double(chain.prescaler) * loopError(chain.loop, traits[c], offset_Hz);
    return h;
}

/// Lines reach this far; beyond, the window has them more than 120 dB down.
constexpr double lineReach_points = 64;
/// Lines below this share of the cross density are left out of a point: 0.0004 dB.
constexpr double lineShareMin = 1e-4;

/// Power of all lines of the DUT at each point as a density, 1/Hz. Nothing passes the stage's decimation filter beyond
/// half of the sample rate.
std::vector<double> lineDensity(const Dut& dut, double sampleRate_Hz, uint32_t points) {
    std::vector<double> density(points, 0.0);
    const double spacing_Hz = sampleRate_Hz / (2.0 * (points - 1));
    for (const Spur& spur : dut.spurs) {
        const double position = spur.offset_Hz / spacing_Hz;
        if (position > points - 1)
            break;
        const double onPoint = ratio(spur.level_dBc) * points / sampleRate_Hz;
        const auto first = uint32_t(std::max(0.0, std::ceil(position - lineReach_points)));
        const auto last = uint32_t(std::min(points - 1.0, std::floor(position + lineReach_points)));
        for (uint32_t i = first; i <= last; ++i) {
            const double response = window_response(i - position);
            density[i] += onPoint * response * response;
        }
    }
    return density;
}

} // namespace

double chain_detectorSlope(const SignalChain& chain, const Dut& dut, Channel channel) {
    const double drive = std::min(1.0, std::pow(10.0, (dut.power_dBm - strongCarrier_dBm) / 20));
    return strongSlope(mixerFrequency_Hz(chain, dut)) * drive * traits[channel].slope;
}

double chain_phaseErrorVariance(const SignalChain& chain, const Dut& dut) {
    constexpr double offsetMin_Hz = 1e-3, offsetMax_Hz = 50e6;
    constexpr int stepsPerDecade = 50;
    const double step = std::log(10.0) / stepsPerDecade;
    const double p2 = double(chain.prescaler) * chain.prescaler;
    const auto steps = int(std::log(offsetMax_Hz / offsetMin_Hz) / step);
    double variance = 0;
    for (int i = 0; i <= steps; ++i) {
        const double offset = offsetMin_Hz * std::exp(i * step);
        const double noise =
            ratio(noiseCurve_level_dBcHz(dut.noise, offset)) / p2 + ratio(referenceLevel_dBcHz(chain, dut, offset));
        variance += 2 * noise * std::norm(loopError(chain.loop, traits[channelA], offset)) * offset * step;
    }
    return variance;
}

void chain_expect(const SignalChain& chain, const Dut& dut, bool carrier, double sampleRate_Hz, uint32_t points,
                  StageExpectation* stage) {
    for (std::vector<double>* values : {&stage->sxx, &stage->syy, &stage->sxyRe, &stage->sxyIm, &stage->spread})
        values->assign(points, 0.0);
    stage->lines.clear();

    const double gainPower = ratio(chain.ifGain_dB);
    std::array<double, channels> background;
    for (int c = 0; c < channels; ++c)
        background[c] = gainPower * traits[c].ifNoise + adcNoise;
    const double p2 = double(chain.prescaler) * chain.prescaler;
    const double spacing_Hz = sampleRate_Hz / (2.0 * (points - 1));
    const std::vector<double> lines = carrier ? lineDensity(dut, sampleRate_Hz, points) : std::vector<double>(points);

    for (uint32_t i = 0; i < points; ++i) {
        const double offset_Hz = spacing_Hz * std::max(double(i), 0.5); // the first point gathers what lies around 0 Hz
        Complex cross = 0;
        std::array<double, channels> own{}; // of what is not common to both channels
        if (carrier) {
            const std::array<Complex, channels> h = transfers(chain, dut, offset_Hz);
            const double common = ratio(noiseCurve_level_dBcHz(dut.noise, offset_Hz));
            const double reference = p2 * ratio(referenceLevel_dBcHz(chain, dut, offset_Hz));
            for (int c = 0; c < channels; ++c)
                own[c] = std::norm(h[c]) * reference * ratio(traits[c].referenceExcess_dB);
            stage->sxx[i] = std::norm(h[channelA]) * common;
            stage->syy[i] = std::norm(h[channelB]) * common;
            cross = h[channelA] * std::conj(h[channelB]) * common;
            if (lines[i] > lineShareMin * common) {
                const double amplitude = std::sqrt(lines[i]);
                stage->lines.push_back({i, h[channelA] * amplitude, h[channelB] * amplitude});
            }
        }
        for (int c = 0; c < channels; ++c)
            own[c] += background[c];
        // Sxx Syy - |Sxy|^2 without its cancellation: the common parts' product is |Sxy|^2.
        stage->spread[i] =
            std::sqrt(stage->sxx[i] * own[channelB] + stage->syy[i] * own[channelA] + own[channelA] * own[channelB]);
        stage->sxx[i] += own[channelA];
        stage->syy[i] += own[channelB];
        stage->sxyRe[i] = cross.real();
        stage->sxyIm[i] = cross.imag();
    }
}

} // namespace vi
