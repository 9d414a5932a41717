#include "virtual/boards/unit_truth.h"

#include "virtual/draw/random.h"

#include <algorithm>

namespace vi {
namespace {

/// Purposes of the draws from a unit's number: what a number means, so never renumbered.
enum Draw : uint32_t { drawSupply = 1 };

/// Uniform around `middle`, `spread` to each side.
double around(RandomStream* stream, double middle, double spread) {
    return middle + spread * (2 * random_uniform(*stream) - 1);
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

} // namespace vi
