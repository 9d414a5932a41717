#include "measure/model_l/tvpnl_lock.h"

#include "core/numbers.h"
#include "device_table/device_fptrs.h"
#include "measure/model_l/pn_measure_tvpnl.h"
#include "measure/model_l/tvpnl_beat.h"
#include "measure/preparation/both_boards.h"
#include "numeric/circle.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace {

constexpr std::array<double, 4> capacitors_F{1e-07, 4.7e-07, 4.7e-06, 2.5e-05}; // 1 to 4
constexpr double pllResistance = 538, pllResistanceBelow20M = 5000, thirdResistance = 25000;
constexpr double fullResistance =
    20e6; // Hz, from which on the middle resistance of the phase-locked loop is the small one
constexpr double r1Max = 250000, r1Min = 500, r2Min = 999, twoZeta = 2.4;
constexpr double growth = 1.2;
constexpr int growthsMax = 1000; // beyond all numbers: no bandwidth at all is wanted
constexpr double lockTune_V = 7.5;
constexpr int pllMode = 2, quadMode = 3;
constexpr double firstShareOfR1 = 1.0 / 25;
constexpr int attempts = 6;
constexpr double range_V = 0.9, meanMax_V = 0.1;

TvpnlLoop quadFilter(double sensitivity, double kphi) {
    const MeasTvpnlConfig& config = meas_tvpnl_config;
    const double K = circle_rad * sensitivity * kphi;
    const double w0 = config.autoLoopBW ? std::sqrt(sensitivity / 10) : config.loopBandwidth;
    TvpnlLoop loop;
    loop.r3 = thirdResistance;
    for (loop.capacitor = static_cast<int32_t>(capacitors_F.size());; --loop.capacitor) {
        const double cap = capacitors_F[static_cast<size_t>(loop.capacitor) - 1];
        const auto resistances = [&] {
            loop.r1 = K / loop.wn / loop.wn / cap;
            loop.r2 = twoZeta / loop.wn / cap;
            if (loop.r2 > 300 && loop.r2 < 1000)
                loop.r2 = 1000;
        };
        loop.wn = std::min(circle_rad * w0, circle_rad * sensitivity);
        resistances();
        for (int n = 1; loop.r1 > r1Max && n <= growthsMax; ++n) {
            loop.wn = std::sqrt(std::pow(growth, n) * circle_rad * w0);
            resistances();
        }
        if (loop.r1 > r1Min && loop.r2 > r2Min) {
            loop.r1 = roundResistance(loop.r1);
            loop.r2 = roundResistance(loop.r2);
            return loop;
        }
        if (loop.capacitor == 1)
            return loop;
    }
}

/// Runs `operation(channel)` on board A, then B, and leaves A selected. Failures go to standard output.
template <class Operation> void onAThenB(Device* device, Operation operation) {
    int error = 0;
    for (size_t channel = 0; channel < 2; ++channel) {
        channel == 0 ? selectBoardA(device) : selectBoardB(device);
        for (const int result : operation(channel))
            error = error == 0 ? result : error;
    }
    selectBoardA(device);
    if (error != 0)
        printf("  ERROR: the boards answer %d\n", error);
}

} // namespace

void pn_measure_tvpnl_calcPllParams(Device*) {
    for (TvpnlLoop& loop : meas_tvpnl_data.pll) {
        loop.r1 = loop.r3 = pllResistance;
        loop.r2 = meas_tvpnl_config.frequency < fullResistance ? pllResistanceBelow20M : pllResistance;
    }
}

void pn_measure_tvpnl_calcQuadParams(Device* device) {
    MeasTvpnlData& data = meas_tvpnl_data;
    for (const size_t channel : {size_t{1}, size_t{0}}) { // leaves A selected
        channel == 0 ? selectBoardA(device) : selectBoardB(device);
        data.quad[channel] = quadFilter(Device_getFmSensitivity(device), channel == 0 ? data.kphiA : data.kphiB);
    }
}

bool pn_measure_tvpnl_waitForLock(Device* device, int checkRange, int) {
    const std::array<double, 2> kphi{meas_tvpnl_data.kphiA, meas_tvpnl_data.kphiB};
    for (int attempt = 0; attempt < attempts; ++attempt) {
        std::array<TvpnlSwing, 2> swings;
        if (pn_measure_tvpnl_measureP2PValue(device, &swings) != 0)
            continue;
        bool locked = checkRange == 0 || (std::min(swings[0].min, swings[1].min) >= -range_V &&
                                          std::max(swings[0].max, swings[1].max) <= range_V);
        for (size_t channel = 0; channel < 2; ++channel)
            locked = locked && swings[channel].max - swings[channel].min < kphi[channel] &&
                     std::abs(swings[channel].mean) < meanMax_V;
        if (locked)
            return true;
    }
    return false;
}

bool pn_measure_tvpnl_lockInPLL(Device* device) {
    onAThenB(device, [device](size_t channel) {
        const TvpnlLoop& loop = meas_tvpnl_data.pll[channel];
        return std::array{Device_setTuneOutputVoltage(device, lockTune_V),
                          Device_setChargePumpPolarity(device, 1),
                          Device_setResistance(device, 1, loop.r1),
                          Device_setResistance(device, 3, loop.r3),
                          Device_setResistance(device, 2, loop.r2),
                          Device_selectLoopC(device, static_cast<uint32_t>(meas_tvpnl_data.quad[channel].capacitor)),
                          Device_selectPnLoopMode(device, pllMode)};
    });
    return pn_measure_tvpnl_waitForLock(device, 1, 0);
}

bool pn_measure_tvpnl_lockInQUAD(Device* device) {
    onAThenB(device, [device](size_t channel) {
        const TvpnlLoop& loop = meas_tvpnl_data.quad[channel];
        return std::array{Device_selectPnLoopMode(device, quadMode), Device_setResistance(device, 3, loop.r3),
                          Device_setResistance(device, 1, loop.r1 * firstShareOfR1)};
    });
    onAThenB(device, [device](size_t channel) {
        const TvpnlLoop& loop = meas_tvpnl_data.quad[channel];
        return std::array{Device_setResistance(device, 1, loop.r1), Device_setResistance(device, 2, loop.r2)};
    });
    return pn_measure_tvpnl_waitForLock(device, 1, 0);
}

void pn_measure_tvpnl_lock(Device* device) {
    MeasTvpnlData& data = meas_tvpnl_data;
    const auto isMissing = [](const TvpnlLoop& loop) { return loop.r1 < 0; };
    if (std::any_of(data.quad.begin(), data.quad.end(), isMissing))
        pn_measure_tvpnl_calcQuadParams(device);
    if (std::any_of(data.pll.begin(), data.pll.end(), isMissing))
        pn_measure_tvpnl_calcPllParams(device);
    const auto absent = [](bool locked) { return locked ? "" : "not "; };
    printf("  PLL %slocked!\n", absent(pn_measure_tvpnl_lockInPLL(device)));
    data.quadLocked = pn_measure_tvpnl_lockInQUAD(device);
    printf("  QUAD %slocked! (fnA=%.1fHz, fnB=%.1fHz)\n", absent(data.quadLocked), data.quad[0].wn / circle_rad,
           data.quad[1].wn / circle_rad);
}
