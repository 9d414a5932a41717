#include "measure/preparation/kphi.h"

#include "base/tvdebug.h"
#include "core/abstime.h"
#include "device_table/internal_reference.h"
#include "measure/preparation/adc_scale.h"
#include "measure/preparation/time_samples.h"
#include "measure/preparation/whole_hertz.h"
#include "measure/results/pn_output.h"
#include "measure/settings/config_mode.h"
#include "numeric/circle.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>

namespace {

constexpr int attempts = 3;
constexpr double beatOffset_Hz = 100e3; // of the sources below the DUT
constexpr int offsetUp = 1;
constexpr int offsetBack = 0;
constexpr uint64_t settle_us = 5000;
constexpr double filterBelow_Hz = 30e6;

constexpr int32_t hysteresis = 1228; // counts: 30 mV
constexpr uint32_t slopeAngle = 10;  // to each side of a crossing, of the 360 of a period
constexpr uint32_t fullCircle = 360;
constexpr double ratioMax = 1.5;

constexpr int32_t peakMaxStart = -32000;
constexpr int32_t peakMinStart = 32000;

constexpr uint32_t bothChannels = 2;

struct Crossings {
    std::array<uint32_t, kphiSamplesMax> items; // at most one a sample
    ZeroCrossingList list;
};
Crossings crossingsA, crossingsB; // the measurement thread's own; static because of the thread's small stack

int moveSources(Device* device, double frequency, int direction) {
    const tvfreq target = wholeHertz(frequency);
    return Device_setOffsettedFrequency(device, &target, direction);
}

struct Extremes {
    int32_t min = adcCentre;
    int32_t max = adcCentre;
};
Extremes extremesOf(const uint16_t* samples, uint32_t count) {
    const auto [min, max] = std::minmax_element(samples, samples + count);
    return {*min, *max};
}
bool reachesCentre(const Extremes& extremes) {
    return extremes.min <= adcCentre && extremes.max >= adcCentre;
}

void centre(uint16_t* samples, uint32_t count, const Extremes& extremes) {
    const auto offset = static_cast<int32_t>(extremes.min / 2.0 + extremes.max / 2.0 - adcCentre);
    for (uint32_t i = 0; i < count; ++i)
        samples[i] = static_cast<uint16_t>(samples[i] - offset);
}

int32_t signOf(int32_t deviation) {
    return (deviation > 0) - (deviation < 0);
}

void findCrossings(const uint16_t* samples, uint32_t count, ZeroCrossingList* list) {
    if (count == 0)
        return;
    int32_t accepted = signOf(samples[0] - adcCentre);
    for (uint32_t i = 1; i < count; ++i) {
        const int32_t deviation = samples[i] - adcCentre;
        const int32_t sign = signOf(deviation);
        if (sign == 0 || sign == accepted || std::abs(deviation) <= hysteresis)
            continue;
        arrayInsert(list, i);
        accepted = sign;
    }
}

/// Mean slope at the crossings, counts per radian. One too near an end of the record has no slope and does not count: a
/// slow beat has only three or four of them, so as a zero in the mean it would cost a quarter of the constant. The
/// period is not cut to whole samples, of which a fast beat has only 70. 0 with fewer than two crossings, with none far
/// enough from both ends of the record, and with periods too short to have a sample within the angle.
double meanSlope(const uint16_t* samples, uint32_t count, const ZeroCrossingList& crossings) {
    if (samples == nullptr || crossings.count < 2)
        return 0;
    const uint32_t span = crossings.items[crossings.count - 1] - crossings.items[0];
    const double period = 2.0 * span / (crossings.count - 1);
    const auto window = static_cast<uint32_t>(period * slopeAngle / fullCircle);
    if (window == 0)
        return 0;
    double sum = 0;
    uint32_t used = 0;
    for (uint32_t i = 0; i < crossings.count; ++i) {
        const uint32_t c = crossings.items[i];
        if (c < window || c + window >= count - 1)
            continue;
        const double rise = std::abs(samples[c - window] - samples[c + window]);
        sum += rise * period / (2.0 * window) / circle_rad;
        ++used;
    }
    return used != 0 ? sum / used : 0;
}

/// One capture of the beat, and what it gives. False if there was none.
bool measureOnce(Device* device, MeasConfig* config) {
    tvstuff_delay_us(settle_us);
    Prepared* const prepared = config->prepared;
    const uint32_t channels = prepared->beatChannels;
    const uint32_t asked = std::min(prepared->beatSamples.get(), kphiSamplesMax);
    uint16_t* a = nullptr;
    uint16_t* b = nullptr;
    const uint32_t count = std::min(getTimeSamples(device, &a, &b, asked, prepared->beatDivider, channels), asked);
    if (count == 0)
        return false;
    if (config->frequency < filterBelow_Hz)
        for (uint16_t* record : {a, b})
            if (record != nullptr)
                lowPass10Percent(record, static_cast<int32_t>(count));

    prepared->peakA = measure_peakpeak(a, count);
    prepared->peakB = b != nullptr ? measure_peakpeak(b, count) : 0;
    removeDC(a, b, count, channels);
    arrayInit(&crossingsA.list, crossingsA.items);
    arrayInit(&crossingsB.list, crossingsB.items);
    getZeroCrossings(a, b, count, channels, &crossingsA.list, &crossingsB.list);
    config->kphiA = meanSlope(a, count, crossingsA.list);
    config->kphiB = meanSlope(b, count, crossingsB.list);
    return true;
}

void restartBeat(Device* device, const MeasConfig* config) {
    if (Device_getInternalReferenceSelection(device) != internalReference1GHz) {
        moveSources(device, config->frequencyRounded, offsetBack);
        moveSources(device, config->frequency - beatOffset_Hz, offsetUp);
    }
    tvstuff_delay_us(settle_us);
}

} // namespace

bool kphi_isGood(double kphiA, double kphiB, uint32_t measurementMethod) {
    if (!(kphiA > 0) || measurementMethod != methodCrossCorrelation)
        return kphiA > 0;
    return kphiB > 0 && kphiA / kphiB <= ratioMax && kphiB / kphiA <= ratioMax;
}

void arrayInit(ZeroCrossingList* list, std::span<uint32_t> storage) {
    *list = {storage.data(), 0, static_cast<uint32_t>(storage.size())};
}

void arrayInsert(ZeroCrossingList* list, uint32_t position) {
    if (list->count < list->capacity)
        list->items[list->count++] = position;
}

uint32_t measure_peakpeak(const uint16_t* samples, uint32_t count) {
    if (count == 0)
        return 0;
    const Extremes extremes = extremesOf(samples, count);
    return static_cast<uint32_t>(std::max(extremes.max, peakMaxStart) - std::min(extremes.min, peakMinStart));
}

void removeDC(uint16_t* bufferA, uint16_t* bufferB, uint32_t count, uint32_t channels) {
    if (channels != bothChannels)
        bufferB = nullptr;
    if (count == 0)
        return;
    const Extremes a = bufferA != nullptr ? extremesOf(bufferA, count) : Extremes{};
    const Extremes b = bufferB != nullptr ? extremesOf(bufferB, count) : Extremes{};
    if (!reachesCentre(a) || !reachesCentre(b))
        printd(" measureKphi: ERROR: No ZERO CROSSING : Locking may not be impossible !! "
               "mina=%d :  maxa=%d   minb=%d  maxb=%d     \n",
               a.min, a.max, b.min, b.max);
    if (bufferA != nullptr)
        centre(bufferA, count, a);
    if (bufferB != nullptr)
        centre(bufferB, count, b);
}

int32_t getZeroCrossings(const uint16_t* bufferA, const uint16_t* bufferB, uint32_t count, uint32_t channels,
                         ZeroCrossingList* listA, ZeroCrossingList* listB) {
    const bool both = channels == bothChannels;
    if (bufferA == nullptr || (both && bufferB == nullptr))
        return -1;
    findCrossings(bufferA, count, listA);
    if (both)
        findCrossings(bufferB, count, listB);
    return static_cast<int32_t>(both ? std::min(listA->count, listB->count) : listA->count);
}

void measureKphi(Device* device, MeasConfig* config) {
    slot_carryOn(Device_setLnaGain(device, 0)); // the detector constant is checked for plausible counts
    if (!config_doKphi(config)) {
        printd("---> measureKphi: -> OMIT\n");
        return;
    }
    moveSources(device, config->frequency - beatOffset_Hz, offsetUp);
    for (int attempt = 0; attempt < attempts; ++attempt) {
        if (!measureOnce(device, config))
            return;
        if (kphi_isGood(config->kphiA, config->kphiB, config->measurementMethod))
            break;
        printd("   > error: Kphi: kphiA=%.3f [V]     kphiB=%.3f [V]\n", kphiVolts(config->kphiA),
               kphiVolts(config->kphiB));
        restartBeat(device, config);
    }
    moveSources(device, config->frequencyRounded, offsetBack);
}
