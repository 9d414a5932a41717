#include "measure/preparation/lock_check.h"

#include "base/tvdebug.h"
#include "measure/preparation/adc_scale.h"
#include "measure/preparation/time_samples.h"
#include "measure/results/pn_output.h"
#include "measure/settings/measurement_configuration.h"
#include "numeric/circle.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double filterBelow = 30e6; // DUT frequency, Hz: below, the noise of the record is taken out
constexpr uint32_t centerMin = 27500, centerMax = 36500;   // counts, around the centre of the ADC
constexpr uint32_t pulseRangeMax = 6000;                   // counts
constexpr uint32_t pulseSamples = 256, pulseDivider = 512; // the settings in force count instead
constexpr uint32_t automaticDivider = 2048, fixedDivider = 512;
constexpr uint32_t bothChannels = 2;

constexpr int steadyRounds = 10;
constexpr uint32_t steadySamples = 2048, steadyDivider = 4;
constexpr double steadyReach = 0.64; // V around the centre

// The long look: many periods of what slips. It lasts 16 ms to 34 ms, and as long as one period of a loop that is
// slower than that. A phase that goes round has 0.71 of the detector constant, one that wanders by 0.7 rad, where a
// loop begins to slip, 0.56.
constexpr uint32_t longSamples = 4096, longDivider = 2048;
constexpr double quietShare = 0.2, slippingShare = 0.63;
constexpr double slowLoop_rad_s = circle_rad * 30, slowestLoop_rad_s = circle_rad;
constexpr int longLooks = 40, longLooksSlow = 400, looksInARow = 3; // a loop may still be on its way

struct Records {
    uint16_t *a = nullptr, *b = nullptr;
    uint32_t count = 0;
};

struct Extremes {
    uint32_t min = 65536, max = 0;

    void add(uint16_t sample) {
        min = std::min<uint32_t>(min, sample);
        max = std::max<uint32_t>(max, sample);
    }
    [[nodiscard]] uint32_t range() const { return max - min; }
    [[nodiscard]] bool centered() const { return max < centerMax && min > centerMin; }
};

bool looksLocked(const Extremes& seen, uint32_t peak) {
    const uint32_t half = peak / 2, quarter = half / 2;
    return seen.range() < quarter || (seen.range() < half && seen.centered());
}

bool looksLockedPulsed(const Extremes& seen, uint32_t) {
    return seen.centered() && seen.range() < pulseRangeMax;
}

/// A channel under judgement.
struct Channel {
    const uint16_t* samples;
    uint32_t peak;
    uint32_t* lock;
    Extremes seen{};

    template <class Test> void judge(uint32_t i, Test test) {
        if (samples == nullptr)
            return;
        seen.add(samples[i]);
        if (!test(seen, peak))
            *lock = 0;
    }
};

void report([[maybe_unused]] const char* test, const Channel& a, const Channel& b) {
    [[maybe_unused]] const char* verdict = *a.lock != 0 && *b.lock != 0 ? "BOTH LOCKED"
                                           : *a.lock != 0               ? "A LOCKED"
                                           : *b.lock != 0               ? "B LOCKED"
                                                                        : "NOT LOCKED";
    printd("    > %s: %s mina=%d :  maxa=%d   minb=%d  maxb=%d  peakA=%d peakB=%d    \n", test, verdict,
           static_cast<int>(a.seen.min), static_cast<int>(a.seen.max), static_cast<int>(b.seen.min),
           static_cast<int>(b.seen.max), static_cast<int>(a.peak), static_cast<int>(b.peak));
}

template <class Test>
void judge(const Records& records, const Prepared& beat, uint32_t* lockA, uint32_t* lockB, const char* name,
           Test test) {
    if (records.count < 2) { // nothing was seen
        *lockA = *lockB = 0;
        return;
    }
    Channel a{records.a, beat.peakA, lockA}, b{records.b, beat.peakB, lockB};
    for (uint32_t i = 0; i + 1 < records.count && (*lockA != 0 || *lockB != 0); ++i) {
        a.judge(i, test);
        b.judge(i, test);
    }
    report(name, a, b);
}

void takeNoiseOut(const Records& records, const MeasConfig& config) {
    if (config.frequency >= filterBelow)
        return;
    const auto count = static_cast<int32_t>(std::min<uint32_t>(config.prepared->beatSamples, records.count));
    for (uint16_t* samples : {records.a, records.b})
        if (samples != nullptr)
            lowPass10Percent(samples, count);
}

/// Root mean square around the centre, counts: a loop that has arrived leaves no direct voltage.
double effectiveValue(const uint16_t* samples, uint32_t count) {
    double squares = 0;
    for (uint32_t i = 0; i < count; ++i) {
        const double deviation = static_cast<double>(samples[i]) - adcCentre;
        squares += deviation * deviation;
    }
    return std::sqrt(squares / count);
}

double shareOf(const uint16_t* samples, uint32_t count, double kphi) {
    return samples == nullptr || !(kphi > 0) ? 0 : effectiveValue(samples, count) / kphi;
}

/// Effective value of the noisier channel over its detector constant; more than any sine without samples.
double lookLong(Device* device, const MeasConfig& config, uint32_t divider) {
    Records records;
    records.count = getTimeSamples(device, &records.a, &records.b, longSamples, divider, config.prepared->beatChannels);
    if (records.count == 0)
        return 1;
    return std::max(shareOf(records.a, records.count, config.kphiA), shareOf(records.b, records.count, config.kphiB));
}

bool arrives(Device* device, const MeasConfig& config) {
    const Prepared& prepared = *config.prepared;
    const double slower = slowLoop_rad_s / std::clamp(prepared.loopWnA.get(), slowestLoop_rad_s, slowLoop_rad_s);
    const auto divider = static_cast<uint32_t>(longDivider * slower);
    const int looks = slower > 1 ? longLooksSlow : longLooks;
    for (int look = 0, holding = 0; look < looks && prepared.stopRequested == 0; ++look) {
        const double share = lookLong(device, config, divider);
        holding = share < slippingShare ? holding + 1 : 0;
        // Later a slow slip, which is quiet twice a turn, would not be told from a loop that has arrived.
        const bool quietAtOnce = look == 0 && share < quietShare;
        if (quietAtOnce || holding == looksInARow)
            return true;
    }
    if (prepared.stopRequested != 0)
        return true; // nothing more is measured with them
    printd("    > lock_holds: the loops slip\n");
    return false;
}

} // namespace

bool lock_holds(Device* device, const MeasConfig* config) {
    const bool holds = arrives(device, *config);
    slot_carryOn({Device_setPhaseNoiseSamples(device, config->prepared->beatSamples), // stored; the next capture tells
                  Device_setPhaseNoiseDivider(device, config->prepared->beatDivider)});
    return holds;
}

void checkLockQUAD(Device* device, const MeasConfig* config, uint32_t* lockA, uint32_t* lockB, int precaptured,
                   uint32_t samples) {
    const uint32_t divider = config->autoLoopBW != 0 ? automaticDivider : fixedDivider;
    const uint32_t channels = config->prepared->beatChannels;
    Records records;
    records.count = precaptured != 0 ? getTimeSamplesPREC(device, &records.a, &records.b, samples, divider, channels)
                                     : getTimeSamples(device, &records.a, &records.b, samples, divider, bothChannels);
    *lockA = *lockB = 1;
    takeNoiseOut(records, *config);
    judge(records, *config->prepared, lockA, lockB, "checkLockQUAD", looksLocked);
}

void checkLockPULSE(Device* device, const MeasConfig* config, uint32_t* lockA, uint32_t* lockB, int, int) {
    if (*lockA == 0 && *lockB == 0)
        return;
    Records records;
    records.count = getTimeSamples(device, &records.a, &records.b, pulseSamples, pulseDivider, bothChannels);
    takeNoiseOut(records, *config);
    judge(records, *config->prepared, lockA, lockB, "checkLockPULSE", looksLockedPulsed);
}

uint32_t getP2PValue(Device* device, uint32_t* minA, uint32_t* maxA, uint32_t* minB, uint32_t* maxB, uint32_t samples,
                     uint32_t divider, uint32_t channels, int) {
    Records records;
    records.count = getTimeSamples(device, &records.a, &records.b, samples, divider, channels);
    if (records.count == 0 || records.a == nullptr) {
        printd("  ERROR: pn_measure_SDmeasureP2PValue: could not read samples\n");
        return 0;
    }
    const auto extremesOf = [&](const uint16_t* record, uint32_t* min, uint32_t* max) {
        Extremes seen;
        for (uint32_t i = 0; i < records.count; ++i)
            seen.add(record[i]);
        if (min != nullptr)
            *min = seen.min;
        if (max != nullptr)
            *max = seen.max;
        return seen.range();
    };
    if (records.b != nullptr)
        extremesOf(records.b, minB, maxB);
    return extremesOf(records.a, minA, maxA);
}

int waitUntilSteady(Device* device) {
    for (int round = 0; round < steadyRounds; ++round) {
        uint32_t minA = 0, maxA = UINT16_MAX; // of a capture that fails: not steady
        getP2PValue(device, &minA, &maxA, nullptr, nullptr, steadySamples, steadyDivider, bothChannels, 0);
        if (adc2volt(minA) > -steadyReach && adc2volt(maxA) < steadyReach)
            return 1;
    }
    return 0;
}
