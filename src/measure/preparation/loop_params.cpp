#include "measure/preparation/loop_params.h"

#include "base/tvdebug.h"
#include "device_table/internal_reference.h"
#include "measure/preparation/adc_scale.h"
#include "measure/preparation/analog_board.h"
#include "measure/preparation/both_boards.h"
#include "measure/settings/setting_rows.h"
#include "numeric/circle.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double shortCircle = 6.28; // of the pulsed start bandwidth and of what is shown

constexpr double resistanceMin = 800;   // ohm, usable
constexpr double resistanceMax = 50000; // ohm, just not usable
/// Raising the bandwidth puts a resistance at the end of the window exactly, where rounding alone would decide.
constexpr double resistanceReach = resistanceMax * (1 + 1e-9);

constexpr uint32_t fixedCapacitor = 4; // of board 2A
constexpr double fixedHighBand = 3.2e9, fixedLowBand = 30e6;
constexpr double fixedLow = 10000, fixedHigh = 30000; // ohm

constexpr double pulsedDivider = 10;

/// What a filter is designed for.
struct Target {
    double bandwidth; // Hz
    double zeta;
    const char* name;
};
constexpr double pulsedZeta = 2, usualZeta = 1.2, lowNoiseZeta = 0.7;
constexpr double lowNoiseBandwidth = 10; // Hz
constexpr double highSensitivityFactor = 4;

struct BandwidthStep {
    double above;     // DUT frequency, Hz
    double bandwidth; // Hz
};
constexpr BandwidthStep bandwidthSteps[] = {{7e9, 400}, {4e9, 300}, {99e6, 200}};
constexpr double bandwidthBelow = 100; // Hz

struct BothChannels {
    double a, b;
};

/// The filter of one channel among what is prepared.
struct FilterFields {
    char name;
    Shared<double>&r1, &r2, &wn, &zeta;
    Shared<uint32_t>& capacitor;
};
FilterFields filterA(Prepared* p) {
    return {'A', p->loopR1A, p->loopR2A, p->loopWnA, p->loopZetaA, p->loopCapA};
}
FilterFields filterB(Prepared* p) {
    return {'B', p->loopR1B, p->loopR2B, p->loopWnB, p->loopZetaB, p->loopCapB};
}

/// A detector constant that a pulsed design took as volts, and the counts that it left for them.
struct GivenVolts {
    double volts;
    double counts;
};
GivenVolts givenA{}, givenB{}; // of the thread that designs

BothChannels tuningSensitivities(Device* device, const MeasConfig& config) {
    if (config.reference == referenceExternal)
        return {config.refSensA, config.refSensB};
    BothChannels sensitivity{};
    selectBoardA(device);
    sensitivity.a = Device_getFmSensitivity(device);
    selectBoardB(device);
    sensitivity.b = Device_getFmSensitivity(device);
    selectBoardA(device);
    return sensitivity;
}

/// The volts of a constant that a user gave, who can give kphiLimits.max at most; the counts of any voltage that he can
/// give lie above that. Leaves the constant as counts.
double takeVolts(Shared<double>* kphi, GivenVolts* given) {
    const double stored = *kphi;
    if (!(stored > 0))
        return 0;
    if (stored > kphiLimits.max)
        return stored == given->counts ? given->volts : kphiVolts(stored);
    *given = {stored, static_cast<double>(absvolt2adc(stored))};
    *kphi = given->counts;
    return stored;
}

BothChannels detectorVolts(MeasConfig* config) {
    BothChannels volts{};
    if (config->pulseEnabled != 0)
        volts = {takeVolts(&config->kphiA, &givenA), takeVolts(&config->kphiB, &givenB)};
    else
        volts = {kphiVolts(config->kphiA), kphiVolts(config->kphiB)};
    if (volts.b <= 0 && config->measurementMethod != methodCrossCorrelation)
        volts.b = volts.a;
    return volts;
}

double bandwidthByFrequency(double frequency) {
    for (const BandwidthStep& step : bandwidthSteps)
        if (frequency > step.above)
            return step.bandwidth;
    return bandwidthBelow;
}

Target chooseTarget(Device* device, const MeasConfig& config, double wantedBandwidth, double sensitivityA) {
    const bool wanted = wantedBandwidth > 0;
    if (config.pulseEnabled != 0)
        return {wanted ? wantedBandwidth : std::sqrt(std::max(sensitivityA, 0.0) * shortCircle / pulsedDivider),
                pulsedZeta, "PULSED"};
    if (wanted)
        return {wantedBandwidth, usualZeta, "USER SET"};
    const double byFrequency = bandwidthByFrequency(config.frequency);
    switch (Device_getInternalReferenceSelection(device)) {
    case internalReference10MHz: return {lowNoiseBandwidth, lowNoiseZeta, "LN MODE"};
    case internalReference1GHz: return {highSensitivityFactor * byFrequency, usualZeta, "HIGH SENS"};
    default: return {byFrequency, usualZeta, "AUTO"};
    }
}

void storeFilter(const FilterFields& fields, uint32_t capacitor, double r1, double r2, double gain) {
    const double farad = analogBoard().capacitors[capacitor - 1];
    const double wn = gain > 0 ? std::sqrt(gain / r1 / farad) : 0;
    fields.r1 = r1;
    fields.r2 = r2;
    fields.capacitor = capacitor;
    fields.wn = wn;
    fields.zeta = 0.5 * farad * r2 * wn;
}

/// Board 2A with the normal reference: the filter follows the frequency alone.
void useFixedFilter(MeasConfig* config, const BothChannels& gain) {
    const double r1 = config->frequency < fixedHighBand ? fixedLow : fixedHigh;
    const double r2 = config->frequency < fixedLowBand ? fixedHigh : fixedLow;
    storeFilter(filterA(config->prepared), fixedCapacitor, r1, r2, gain.a);
    storeFilter(filterB(config->prepared), fixedCapacitor, r1, r2, gain.b);
    if (const double wn = config->prepared->loopWnA; wn > 0)
        config->loopBandwidth = wn / circle_rad;
}

/// One capacitor's answer to a wanted natural frequency.
struct Trial {
    double wn; // rad/s; above the wanted one if R1 or R2 would have been too large
    double r1, r2;

    [[nodiscard]] bool usable() const {
        return r1 >= resistanceMin && r1 < resistanceReach && r2 >= resistanceMin && r2 < resistanceReach;
    }
};

Trial tryCapacitor(double farad, double gain, double zeta, double wn) {
    const auto r1For = [&](double w) { return gain / w / w / farad; };
    const auto r2For = [&](double w) { return 2 * zeta / w / farad; };
    const double r1 = r1For(wn);
    if (r1 <= resistanceMax)
        return {wn, r1, r2For(wn)};
    wn *= std::sqrt(r1 / resistanceMax);
    const double r2 = r2For(wn);
    if (r2 > resistanceMax)
        wn *= r2 / resistanceMax;
    return {wn, r1For(wn), r2For(wn)};
}

constexpr double keptFilter = 0;
constexpr double unusable = -1;
constexpr double keptZetaMin = 0.5; // below, the trace is off by decibels around the natural frequency

/// Gives a channel its filter. Returns the bandwidth that it has, Hz. If nothing fits, the channel keeps the filter
/// that it had, if any, which makes another loop of the gain of now: keptFilter, or unusable if that is hardly damped.
double designChannel(const FilterFields& fields, const Target& target, double bandwidth, double sensitivity,
                     double volts) {
    const double gain = volts * sensitivity * circle_rad;
    Trial trial{};
    for (uint32_t number = loopCapacitors; number > 0; --number) {
        trial = tryCapacitor(analogBoard().capacitors[number - 1], gain, target.zeta, circle_rad * bandwidth);
        if (!trial.usable())
            continue;
        storeFilter(fields, number, trial.r1, trial.r2, gain);
        printd("   > calcLoopParams: %s %c: C%u  R1=%.1f R2=%.1f   BW=%.1f Hz\n", target.name, fields.name, number,
               trial.r1, trial.r2, trial.wn / shortCircle);
        return trial.wn / circle_rad;
    }
    printd(
        "   > calcLoopParams: ERROR: NOT VALID Parameters: Boards (1C,2B,2C,2D): sens=%.1f Hz/V, Kphi=%.3f C=%.1f nF  "
        "R1=%.1f R2=%.1f   BW=%.1f Hz  Zeta==%.1f\n",
        sensitivity, volts, analogBoard().capacitors[0] * 1e9, trial.r1, trial.r2, trial.wn / shortCircle, target.zeta);
    if (!(gain > 0) || !std::isfinite(gain))
        return keptFilter;
    if (fields.r1 > 0)
        storeFilter(fields, fields.capacitor, fields.r1, fields.r2, gain);
    return fields.zeta < keptZetaMin ? unusable : keptFilter;
}

} // namespace

bool calcLoopParams(Device* device, MeasConfig* config, double wantedBandwidth) {
    const BothChannels sensitivity = tuningSensitivities(device, *config);
    const BothChannels volts = detectorVolts(config);

    if (analogBoard().fixedFilter && config->autoLoopBW != 0 && config->reference == referenceNormal &&
        !(wantedBandwidth > 0)) {
        useFixedFilter(config, {volts.a * sensitivity.a * circle_rad, volts.b * sensitivity.b * circle_rad});
        return true;
    }

    const Target target = chooseTarget(device, *config, wantedBandwidth, sensitivity.a);
    double bandwidth = target.bandwidth;
    const double reachedA = designChannel(filterA(config->prepared), target, bandwidth, sensitivity.a, volts.a);
    if (reachedA > 0) {
        config->prepared->loopCapB = config->prepared->loopCapA.get(); // until B has its own
        bandwidth = reachedA;
    }
    if (bandwidth > 0 && config->autoLoopBW != 0)
        config->loopBandwidth = bandwidth;
    return designChannel(filterB(config->prepared), target, bandwidth, sensitivity.b, volts.b) != unusable &&
           reachedA != unusable;
}
