// Counting an unknown carrier: where to look for it, and by what the counters divide until both see it.

#include "base/tvdebug.h"
#include "core/abstime.h"
#include "device/device_counter.h"
#include "device/device_operations.h"
#include "device/forward.h"
#include "device/input_relay.h"
#include "device_table/device_fptrs.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr SlotRegistrar fill{"device"};

constexpr double notFound = -200, notFoundFirst = -1;
constexpr double highInput_Hz = 2e9; // hints from here on look at the high input
constexpr uint64_t settling_us = 10'000;
constexpr int32_t ratioStep = 4;
constexpr double hertzPerMegahertz = 1e6;

struct Readings {
    double first, second; // of the carrier, Hz
};

double mean(const Readings& readings) {
    return (readings.first + readings.second) / 2;
}

tvfreq exactly(double frequency_Hz) {
    tvfreq exact;
    double2tvfreq(&frequency_Hz, &exact);
    return exact;
}

double lastCarrier(const Device* device) {
    return tvfreq2double(&device->frequency, nullptr);
}

void planBoth(Device* device, double frequency_Hz) {
    device_planBoth(device, exactly(frequency_Hz));
}

/// Reads both counters behind a division of `ratio`.
bool readAt(Device* device, int32_t ratio, Readings* readings) {
    const bool agree = readOutFrequencyCounter(device, &readings->first, &readings->second);
    const double division = static_cast<double>(ratio) * TVPNX_ALG_getPrescaler(device->selectedAlg);
    readings->first *= division;
    readings->second *= division;
    return agree;
}

void divideBoth(Device* device, int32_t ratio) {
    onBothChannels(device, [=] { return TVPNX_ALG_setCounter(device->selectedAlg, ratio); });
}

// ---- from 2B on: two inputs, a ladder of ratios ---------------------------------------------------------------------

struct FirstRatio {
    double below_Hz;
    int32_t ratio;
};
using FirstRatios = std::array<FirstRatio, 4>; // the last row takes the rest
constexpr FirstRatios lastOn2B = {{{30e6, 1}, {350e6, 4}, {INFINITY, 64}, {}}};
constexpr FirstRatios lastOn2C = {{{30e6, 1}, {350e6, 4}, {2e9, 64}, {INFINITY, 256}}};
constexpr FirstRatios hintedOn2B = {{{30e6, 1}, {highInput_Hz, 4}, {INFINITY, 64}, {}}};
constexpr FirstRatios hintedOn2C = {{{30e6, 1}, {350e6, 4}, {INFINITY, 64}, {}}};
constexpr FirstRatios hintedOn2D = {{{50e6, 1}, {highInput_Hz, 64}, {INFINITY, 512}, {}}};

int32_t firstRatio(const FirstRatios& rows, double frequency_Hz) {
    return std::find_if(rows.begin(), rows.end(), [=](const FirstRatio& row) { return frequency_Hz < row.below_Hz; })
        ->ratio;
}

int32_t startRatio(const Device* device, double hint_Hz) {
    const bool again = hint_Hz < 0;
    const double place_Hz = again ? lastCarrier(device) : hint_Hz;
    switch (device->selectedAlg->algVersion) {
    case TVPNX_ALG_2B: return firstRatio(again ? lastOn2B : hintedOn2B, place_Hz);
    case TVPNX_ALG_2C: return firstRatio(again ? lastOn2C : hintedOn2C, place_Hz);
    default: return again ? device->lastCounterRatio : firstRatio(hintedOn2D, place_Hz);
    }
}

/// The input that the hint lies at, and the boards' paths. The high input has its place at 3 GHz and above; 2B counts
/// from 6 GHz on behind its divider by 4.
void lookNear(Device* device, double hint_Hz) {
    constexpr double highPlace_Hz = 3e9, divided2BFrom_Hz = 6e9, divided2B_Hz = 20e9;
    constexpr double weak_Hz = 1e6;
    const uint32_t version = device->selectedAlg->algVersion;
    if (hint_Hz >= 0)
        inputRelay_follow(device, hint_Hz >= highInput_Hz);
    else if (device->lowPath != 0)
        inputRelay_followCounters(device, false);
    double place_Hz = hint_Hz < 0 ? lastCarrier(device) : hint_Hz;
    const bool weak = version == TVPNX_ALG_2B && hint_Hz < 0 && device->lowPath != 0 && place_Hz < weak_Hz;
    if (version != TVPNX_ALG_2D && (device->lowPath == 0 || hint_Hz > 0 || weak))
        slot_carryOn(Device_enablePreamplifier(device)); // without it only the weakest carriers are missed
    if (device->lowPath == 0 && place_Hz < device->divThresFrequency * hertzPerMegahertz)
        place_Hz = highPlace_Hz;
    if (version == TVPNX_ALG_2B && place_Hz > divided2BFrom_Hz)
        place_Hz = divided2B_Hz;
    planBoth(device, place_Hz);
}

/// One counter may have lost its signal while the other sees a low carrier.
void preferTheOneThatCounts(int32_t ratio, Readings* readings) {
    constexpr int32_t ratioMax = 16;
    constexpr double lost_Hz = 1e6, seen_Hz = 100e6;
    const double low = std::fmin(readings->first, readings->second);
    const double high = std::fmax(readings->first, readings->second);
    if (ratio <= ratioMax && low < lost_Hz && high >= lost_Hz && high <= seen_Hz)
        *readings = {high, high};
}

/// A counter that gives the same behind two ratios counts the carrier.
bool agreesWithBefore(const Readings& before, Readings* now) {
    constexpr double counted_Hz = 1e6;
    if (!(now->first > counted_Hz))
        return false;
    if (counter_agree(now->first, before.first))
        now->second = now->first;
    else if (now->second > 0 && counter_agree(now->second, before.second))
        now->first = now->second;
    else
        return false;
    return true;
}

bool climb2D(Device* device, int32_t ratio, bool again, Readings* readings) {
    constexpr int32_t ratioEnd = 1024, ratioWithout = 256, ratioInstead = 512;
    bool settled = false;
    Readings before{0, 0};
    while (ratio < ratioEnd) {
        divideBoth(device, ratio);
        if (!settled)
            tvstuff_delay_us(settling_us);
        settled = true;
        bool found = readAt(device, ratio, readings);
        if (!found) {
            preferTheOneThatCounts(ratio, readings);
            found = agreesWithBefore(before, readings);
        }
        before = *readings;
        if (!found && again) {
            again = false;
            found = readAt(device, ratio, readings);
        }
        if (found) {
            device->lastCounterRatio = ratio;
            return true;
        }
        ratio *= ratioStep;
        if (ratio == ratioWithout)
            ratio = ratioInstead;
    }
    return false;
}

bool climb2BC(Device* device, int32_t ratio, double hint_Hz, Readings* readings) {
    constexpr int32_t ratioEnd = 512;
    constexpr int secondAttempts = 5;
    const bool is2C = device->selectedAlg->algVersion == TVPNX_ALG_2C;
    for (; ratio < ratioEnd; ratio *= ratioStep) {
        divideBoth(device, ratio);
        if (is2C)
            tvstuff_delay_us(settling_us);
        if (readAt(device, ratio, readings) || (is2C && hint_Hz < 0 && readAt(device, ratio, readings)))
            return true;
    }
    if (device->lowPath == 0 || hint_Hz >= highInput_Hz)
        return false;
    slot_carryOn(Device_enablePreamplifier(device)); // as above
    ratio = 1;
    for (int i = 0; i < secondAttempts; ++i, ratio *= ratioStep) {
        divideBoth(device, ratio);
        if (readAt(device, ratio, readings))
            return true;
    }
    return false;
}

double countOnTwoInputs(Device* device, double hint_Hz) {
    const int32_t ratio = startRatio(device, hint_Hz);
    lookNear(device, hint_Hz);
    Readings readings{0, 0};
    const bool found = device->selectedAlg->algVersion == TVPNX_ALG_2D ? climb2D(device, ratio, hint_Hz < 0, &readings)
                                                                       : climb2BC(device, ratio, hint_Hz, &readings);
    if (!found)
        return notFound;
    device->frequency = exactly(mean(readings));
    return mean(readings);
}

// ---- 2A -------------------------------------------------------------------------------------------------------------

double countOn2A(Device* device, double hint_Hz) {
    constexpr double weakBelow_Hz = 50e6;
    if (hint_Hz > 0) // as with the later boards
        slot_carryOn(hint_Hz < weakBelow_Hz ? Device_enablePreamplifier(device) : Device_disablePreamplifier(device));
    planBoth(device, hint_Hz < 0 ? lastCarrier(device) : hint_Hz);
    for (const int32_t ratio : {1, 4, 16}) {
        Readings readings{0, 0};
        divideBoth(device, ratio);
        if (readAt(device, ratio, &readings))
            return mean(readings);
    }
    return notFound;
}

// ---- 1B, 1C: one counter, behind board A ----------------------------------------------------------------------------

bool readFirst(Device* device, double plan_Hz, double* carrier_Hz) {
    const tvfreq plan = exactly(plan_Hz);
    alg_carryOn(TVPNX_ALG_setFrequency(&device->algA, &plan)); // the first revisions take each
    Readings readings{0, 0};
    const bool agree = readOutFrequencyCounter(device, &readings.first, &readings.second);
    *carrier_Hz = mean(readings);
    return agree;
}

/// Undivided, then as far as the counter's own divider reaches.
bool readWithoutHint(Device* device, double* carrier_Hz) {
    constexpr uint32_t attenuation = 64, undivided = 1;
    constexpr double lowPlan_Hz = 100e6, highPlan_Hz = 1e9;
    onBothChannels(device, [=] {
        alg_carryOn(TVPNX_ALG_setDUTAttenuation(device->selectedAlg, attenuation)); // the first revisions take it
        alg_carryOn(TVPNX_ALG_disableAutoPrescaler(device->selectedAlg));           // a mark in the record
        return TVPNX_ALG_setPrescaler(device->selectedAlg, undivided);
    });
    const bool found = readFirst(device, lowPlan_Hz, carrier_Hz) || readFirst(device, highPlan_Hz, carrier_Hz);
    onBothChannels(device, [=] { return TVPNX_ALG_enableAutoPrescaler(device->selectedAlg); });
    return found;
}

double countOnFirst(Device* device, double hint_Hz) {
    constexpr double withoutHintBelow = 2;
    double carrier_Hz = 0;
    const bool found = hint_Hz > 0 && hint_Hz < withoutHintBelow
                           ? readWithoutHint(device, &carrier_Hz)
                           : readFirst(device, hint_Hz < 0 ? lastCarrier(device) : hint_Hz, &carrier_Hz);
    if (!found)
        return notFoundFirst;
    const tvfreq carrier = exactly(carrier_Hz);
    alg_carryOn(TVPNX_ALG_setFrequency(&device->algA, &carrier)); // as above
    return carrier_Hz;
}

// ---------------------------------------------------------------------------------------------------------------------

double count(Device* device, double hint_Hz) {
    switch (device->selectedAlg->algVersion) {
    case TVPNX_ALG_1B:
    case TVPNX_ALG_1C: return countOnFirst(device, hint_Hz);
    case TVPNX_ALG_2A: return countOn2A(device, hint_Hz);
    default: return countOnTwoInputs(device, hint_Hz);
    }
}

double getPhaseNoiseDUTFrequency(Device* device, double hint_Hz) {
    onBothChannels(device, [=] { return TVPNX_ALG_enableFrequencyCounter(device->selectedAlg); });
    const double carrier_Hz = count(device, hint_Hz);
    onBothChannels(device, [=] { return TVPNX_ALG_disableFrequencyCounter(device->selectedAlg); });
    return carrier_Hz;
}

double getFirstPhaseNoiseDUTFrequency(Device*, double) {
    return notFoundFirst;
}

} // namespace

void device_registerSearch() {
    fill(Device_getPhaseNoiseDUTFrequency, getPhaseNoiseDUTFrequency);
    fill(Device_BOARD1C_getPhaseNoiseDUTFrequency, getFirstPhaseNoiseDUTFrequency);
}
