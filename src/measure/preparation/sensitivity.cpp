#include "measure/preparation/sensitivity.h"

#include "base/error_codes.h"
#include "measure/preparation/beat.h"
#include "measure/preparation/both_boards.h"
#include "measure/preparation/gain.h"
#include "measure/preparation/loop_modes.h"
#include "measure/preparation/time_samples.h"
#include "measure/run/measure.h"
#include "measure/settings/measurement_configuration.h"

#include <cmath>

namespace {

constexpr double settleStep = 0.5; // V beside each end, before its reading counts

struct Beats {
    double a, b; // Hz
};

Beats measureBeats(Device* device, const MeasConfig* config) {
    Beats beats{};
    checkBeat(device, config, &beats.a, &beats.b, 1, 1);
    return beats;
}

// Orders are not waited for: a beat that does not answer to them gives no sensitivity.

Beats tuneAndMeasure(Device* device, const MeasConfig* config, double voltsA, double voltsB) {
    slot_carryOn(
        onBothBoards(device, [&](int b) { return Device_setTuneOutputVoltage(device, b != 0 ? voltsB : voltsA); }));
    return measureBeats(device, config);
}

Beats openAndMeasure(Device* device, const MeasConfig* config) {
    slot_carryOn(onBothBoards(device, [&](int) {
        slot_carryOn(Device_selectPnLoopMode(device, loopOpen));
        return Device_setTuneOutputVoltage(device, 0);
    }));
    return measureBeats(device, config);
}

double slope(double top, double bottom, double volts) {
    return volts > 0 ? std::abs(std::trunc(top - bottom)) / volts : 0;
}

} // namespace

int pn_measure_measureSensitivity(Device* device) {
    if (measurement_mode != measurementModePN)
        return scpi::notInThisMode;
    MeasConfig* config = configPNPtr;
    if (config->reference == referenceNormal)
        return scpi::illegalParameterValue;
    if (measure_isRunInTheWay())
        return measure_afterRun(device,
                                [](Device* d, const Waiting&, bool) { return pn_measure_measureSensitivity(d); });
    if (measure_isBoardBusy(device))
        return scpi::settingsConflict;
    const OwnSampling sampling(device, *config->prepared);

    const double topA = config->referenceVoltage1, topB = config->referenceVoltage2;
    detectMinimalBeatMeasurementSettings(device, config);
    const Beats bottom = openAndMeasure(device, config);
    tuneAndMeasure(device, config, settleStep, settleStep);
    tuneAndMeasure(device, config, topA - settleStep, topB - settleStep);
    const Beats top = tuneAndMeasure(device, config, topA, topB);
    config->refSensA = slope(top.a, bottom.a, topA);
    if (config->measurementMethod == methodCrossCorrelation)
        config->refSensB = slope(top.b, bottom.b, topB);
    return 0;
}
