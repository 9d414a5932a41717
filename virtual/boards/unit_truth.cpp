#include "virtual/boards/unit_truth.h"

#include "virtual/draw/random.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <span>

namespace vi {
namespace {

/// Purposes of the draws from a unit's number: what a number means, so never renumbered.
enum Draw : uint32_t { drawSupply = 1, drawDetector = 2, drawIf = 3, drawTimeBase = 4 };

/// Uniform around `middle`, `spread` to each side.
double around(RandomStream* stream, double middle, double spread) {
    return middle + spread * (2 * random_uniform(*stream) - 1);
}

/// On a straight line between two points, beyond the ends as at them.
template <size_t n> double lineAt(const std::array<double, n>& x, const std::array<double, n>& y, double at) {
    if (at <= x.front())
        return y.front();
    const auto upper = std::upper_bound(x.begin(), x.end(), at);
    if (upper == x.end())
        return y.back();
    const auto i = static_cast<size_t>(upper - x.begin());
    return y[i - 1] + (y[i] - y[i - 1]) * (at - x[i - 1]) / (x[i] - x[i - 1]);
}

} // namespace

SupplyTruth unitTruth_supply(const UnitBoards& boards, size_t output) {
    constexpr double dacSpread = 0.01, dacOffsetSpread = 40, adcSpread = 0.03, adcOffsetSpread = 40;
    constexpr double adcPerVoltMiddle = 3, adcPerVoltSpread = 2;
    struct Nominal {
        double dacAtZero, dacPerVolt, adcAtZero, adcPerAmpere, limit_A;
    };
    constexpr Nominal nominal12V{1064.8, 1070.32, 200.1, 32464.7, 1.5}, nominal5V{221, 2930.99, 200.1, 32464.7, 0.5};
    const Nominal& nominal = boards.supply == SupplyBoards::high12V ? nominal12V : nominal5V;
    RandomStream stream = random_stream(boards.individual, drawSupply, static_cast<uint32_t>(output));
    SupplyTruth truth{};
    truth.dacAtZero = around(&stream, nominal.dacAtZero, dacOffsetSpread);
    truth.dacPerVolt = nominal.dacPerVolt * around(&stream, 1, dacSpread);
    truth.adcAtZero = around(&stream, nominal.adcAtZero, adcOffsetSpread);
    truth.adcPerVolt = around(&stream, adcPerVoltMiddle, adcPerVoltSpread);
    truth.adcPerAmpere = nominal.adcPerAmpere * around(&stream, 1, adcSpread);
    truth.limit_A = nominal.limit_A;
    return truth;
}

double supply_voltsOf(const SupplyTruth& truth, double dacCount) {
    return std::max(0.0, (dacCount - truth.dacAtZero) / truth.dacPerVolt);
}

double supply_adcCount(const SupplyTruth& truth, double volts, double amperes) {
    return truth.adcAtZero + truth.adcPerVolt * volts + truth.adcPerAmpere * amperes;
}

DetectorTruth unitTruth_detector(const UnitBoards& boards, Detector detector) {
    constexpr double lowest_Hz = 0.9e6, highest_Hz = 30e9;
    // Nominally 19.5 mV a decibel, and so much of an offset that 125 dBm below it would give 0 V; 14 bits over 10 V.
    constexpr double perVolt = 16384.0 / 10, slope_VPerdB = 0.0195, offset_dB = 125;
    constexpr double zero = offset_dB * slope_VPerdB * perVolt, zeroSpread = 25;
    constexpr double perdB = slope_VPerdB * perVolt, perdBSpread = 0.3;
    constexpr double zeroRipple = 15, perdBRipple = 0.1; // over the band
    RandomStream stream = random_stream(boards.individual, drawDetector, static_cast<uint32_t>(detector));
    const double atZero = around(&stream, zero, zeroSpread), slope = around(&stream, perdB, perdBSpread);
    const double phase = around(&stream, 0, std::numbers::pi);
    DetectorTruth truth{};
    for (size_t i = 0; i < DetectorTruth::points; ++i) {
        const double place = static_cast<double>(i) / (DetectorTruth::points - 1); // in the band
        const double ripple = std::sin(phase + 9 * place);
        truth.frequency_Hz[i] = lowest_Hz * std::pow(highest_Hz / lowest_Hz, place);
        truth.atZero[i] = atZero + zeroRipple * ripple;
        truth.perdB[i] = slope + perdBRipple * ripple;
    }
    return truth;
}

double detector_count(const DetectorTruth& truth, double carrier_Hz, double level_dBm) {
    return lineAt(truth.frequency_Hz, truth.atZero, carrier_Hz) +
           level_dBm * lineAt(truth.frequency_Hz, truth.perdB, carrier_Hz);
}

IfTruth unitTruth_if(const UnitBoards& boards, size_t channel, size_t group) {
    constexpr double lowest_Hz = 1, perPoint = 2.2, quiet_Hz = 1e5; // below: as at 0 Hz
    constexpr double stageSpread_dB = 0.9, shapeSpread_dB = 0.9;
    RandomStream stream = random_stream(boards.individual, drawIf, static_cast<uint32_t>(channel * ifGroups + group));
    IfTruth truth{};
    for (size_t i = 0; i < IfTruth::points; ++i)
        truth.offset_Hz[i] = lowest_Hz * std::pow(perPoint, static_cast<double>(i));
    const double decades = std::log10(truth.offset_Hz.back() / quiet_Hz);
    for (size_t stage = 0; stage < IfTruth::stages; ++stage) {
        const double level = around(&stream, 0, stageSpread_dB), bend = around(&stream, 0, shapeSpread_dB);
        for (size_t i = 0; i < IfTruth::points; ++i) {
            const double place = std::max(0.0, std::log10(truth.offset_Hz[i] / quiet_Hz)) / decades;
            truth.excess_dB[stage][i] = (stage == 0 ? 0 : level) + bend * place * place;
        }
    }
    return truth;
}

size_t if_group(double carrier_Hz, bool preamplifier) {
    constexpr double high_Hz = 2e9;
    if (carrier_Hz >= high_Hz)
        return 1;
    return preamplifier ? 2 : 0;
}

double if_excess_dB(const IfTruth& truth, size_t stage, double offset_Hz) {
    return lineAt(truth.offset_Hz, truth.excess_dB.at(stage), offset_Hz);
}

size_t if_stage(const UnitBoards& boards, double gain_dB) {
    constexpr double upTo1C[] = {19, 25, 45}, upTo[] = {11, 19, 31, 43, 55};
    const std::span<const double> limits =
        boards.analog == AnalogRevision::r1C ? std::span<const double>(upTo1C) : std::span<const double>(upTo);
    return static_cast<size_t>(std::lower_bound(limits.begin(), limits.end(), gain_dB) - limits.begin());
}

size_t if_stages(const UnitBoards& boards) {
    return boards.analog == AnalogRevision::r1C ? 4 : IfTruth::stages;
}

double unitTruth_timeBase(const UnitBoards& boards) {
    constexpr double least = 0.05e-6, most = 0.5e-6;
    RandomStream stream = random_stream(boards.individual, drawTimeBase, 0);
    const double amount = least + (most - least) * random_uniform(stream);
    return random_uniform(stream) < 0.5 ? -amount : amount;
}

} // namespace vi
