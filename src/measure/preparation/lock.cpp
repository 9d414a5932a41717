#include "measure/preparation/lock.h"

#include "base/tvdebug.h"
#include "core/abstime.h"
#include "device_table/internal_reference.h"
#include "measure/preparation/adc_scale.h"
#include "measure/preparation/frequency_search.h"
#include "measure/preparation/lock_channel.h"
#include "measure/preparation/lock_check.h"
#include "measure/preparation/loop_params.h"
#include "measure/preparation/pulse_lock.h"
#include "measure/settings/measurement_configuration.h"

#include <algorithm>
#include <cmath>

namespace {

// With the bandwidth that the instrument chose, and with one that the user set.
constexpr int32_t automaticPasses = 350, userPasses = 1500;
constexpr double automaticStep = 0.02, userStep = 0.1; // V a pass, of a tune voltage that stands
constexpr int32_t stablePasses = 3;                    // and more

constexpr double sourceCenter = 7.2; // V, tune voltage of a source on its frequency
constexpr double foundReach = 2, foundWindow = 1.3;
constexpr double wideMin = 1, wideMax = 14;
constexpr TuneBand band1GHz = {.center = 1.4, .min = 0.35, .max = 2.4, .window = 1.1};

constexpr double helperRest = 2.5; // V, pushes nowhere
constexpr double helperReach = 1.5, helperReach1GHz = 1;
constexpr double helperLowMost = 2.0, helperHighLeast = 3.0; // V
constexpr double r3Max = 5000;                               // ohm
constexpr double r3Growth = 1.1;
constexpr double acquisitionR1 = 0.3; // of R1, while a channel is not locked

constexpr int quickChecks = 3, userChecks = 3;
constexpr uint64_t filterSettle_us = 1000, stableRest_us = 2000, userRest_us = 100'000;
constexpr double endMove = 0.05; // V, in whole volts

constexpr double retryFactor = 1.05;
constexpr double retryBandwidthMax = 4000; // Hz

/// The working values of one FAST_lock.
struct FastLock {
    Device* device;
    MeasConfig* config;
    bool automatic;     // the instrument chooses the bandwidth
    bool reference1GHz; // whose loops need no help of a lower R1
    TuneBand band;
    double tuneStep; // V
    int32_t maxPasses;
    double helperLow, helperHigh; // V
    LockChannels channels;
    bool wasLockedB; // when it came near

    [[nodiscard]] bool bothLocked() const { return channels.a.locked != 0 && channels.b.locked != 0; }
};

TuneBand bandOf(const MeasConfig* config, int selection) {
    const double center = DELTAV + sourceCenter;
    if (selection == internalReference1GHz)
        return band1GHz;
    if (config->autoFrequency == 0 || selection == internalReference10MHz)
        return {.center = center, .min = wideMin, .max = wideMax, .window = center - wideMin};
    return {.center = center, .min = center - foundReach, .max = center + foundReach, .window = foundWindow};
}

FastLock begin(Device* device, MeasConfig* config) {
    FastLock run{};
    const int selection = Device_getInternalReferenceSelection(device);
    run.device = device;
    run.config = config;
    run.automatic = config->autoLoopBW != 0;
    run.reference1GHz = selection == internalReference1GHz;
    run.band = bandOf(config, selection);
    run.tuneStep = run.automatic ? automaticStep : userStep;
    run.maxPasses = run.automatic ? automaticPasses : userPasses;
    return run;
}

void setR1(const FastLock& run, const LockChannel& channel, bool locked) {
    slot_carryOn(
        Device_setResistance(run.device, 1, locked || run.reference1GHz ? channel.r1 : channel.r1 * acquisitionR1));
}

/// Filters, helper voltages and helper resistances of an attempt. False without filters.
bool designAttempt(FastLock* run, double wanted) {
    const bool usable = calcLoopParams(run->device, run->config, wanted);
    run->channels = lockChannels_ofDesign(*run->config->prepared);
    run->wasLockedB = false;
    const double reach = kphiVolts(run->config->kphiA) * (run->reference1GHz ? helperReach1GHz : helperReach);
    run->helperLow = std::min(helperRest - reach, helperLowMost);
    run->helperHigh = std::max(helperRest + reach, helperHighLeast);
    for (LockChannel* channel : {&run->channels.a, &run->channels.b})
        channel->r3 = run->reference1GHz ? 2 * channel->r1 : std::min(channel->r1 / 2, r3Max);
    return usable && run->channels.haveFilters();
}

/// Closes both loops with the filters of the attempt and chooses which way the helpers push.
void closeLoops(FastLock* run) {
    Device* device = run->device;
    LockChannels& channels = run->channels;
    lockChannels_close(device, &channels);
    for (LockChannel* channel : {&channels.a, &channels.b})
        channel->helper = run->band.center > channel->tune ? run->helperLow : run->helperHigh;
    for (const LockChannel* channel : {&channels.a, &channels.b})
        onBoard(device, *channel, [&] {
            slot_carryOn({Device_setLockhelperVoltage(device, static_cast<float>(channel->helper)),
                          Device_selectLoopC(device, channel->capacitor)});
            setR1(*run, *channel, false);
            slot_carryOn(Device_setResistance(device, 2, channel->r2));
        });
    tvstuff_delay_us(filterSettle_us);
    lockChannels_readTune(device, &channels);
}

bool nearCenter(const LockChannel& channel, const TuneBand& band) {
    return std::trunc(std::abs(channel.tune - band.center)) < band.window; // in whole volts
}

/// True if both channels locked by themselves. One that did not gets its helper.
bool lockedAtOnce(FastLock* run) {
    LockChannels& channels = run->channels;
    if (nearCenter(channels.a, run->band) && nearCenter(channels.b, run->band))
        for (int check = 0; check < quickChecks; ++check) {
            checkLockQUAD(run->device, run->config, &channels.a.locked, &channels.b.locked, 1, 0);
            if (!run->bothLocked())
                break;
        }
    for (const LockChannel* channel : {&channels.a, &channels.b})
        onBoard(run->device, *channel, [&] {
            if (channel->locked != 0)
                setR1(*run, *channel, true);
            else
                slot_carryOn(Device_selectPnLoopMode(run->device, loopHelper));
        });
    return run->bothLocked();
}

void judgeTune(FastLock* run) {
    LockChannels& channels = run->channels;
    lockChannel_mark(&channels.a, run->band, run->tuneStep);
    if (lockChannel_mark(&channels.b, run->band, run->tuneStep))
        run->wasLockedB = channels.b.locked != 0;
    if (lockChannels_stable(channels, stablePasses)) {
        channels.a.locked = channels.b.locked = 1;
        printd("   > FAST_lock():  Tuning voltages are stable! tuneA=%.2f   tuneB=%.2f \n", channels.a.tune,
               channels.b.tune);
    }
}

void switchHelpers(const FastLock& run) {
    for (const LockChannel* channel : {&run.channels.a, &run.channels.b})
        onBoard(run.device, *channel, [&] {
            setR1(run, *channel, channel->locked != 0);
            slot_carryOn(Device_selectPnLoopMode(run.device, channel->locked != 0 ? loopQuadrature : loopHelper));
        });
}

/// Asks the mixer outputs whether loops whose tune voltages stand are locked.
void confirm(FastLock* run) {
    LockChannels& channels = run->channels;
    tvstuff_delay_us(stableRest_us);
    const int checks = run->automatic ? 1 : userChecks;
    for (int check = 0; check < checks && run->bothLocked(); ++check)
        checkLockQUAD(run->device, run->config, &channels.a.locked, &channels.b.locked, 1, 0);
    if (run->automatic)
        return;
    const double tuneA = channels.a.tune, tuneB = channels.b.tune;
    lockChannels_readTune(run->device, &channels);
    if (!(std::abs(channels.a.tune - tuneA) < run->tuneStep))
        channels.a.locked = 0;
    if (!(std::abs(channels.b.tune - tuneB) < run->tuneStep))
        channels.b.locked = 0;
}

/// Turns the helper of a channel round that it has pushed out of the band.
void steer(FastLock* run, LockChannel* channel) {
    double helper = channel->helper;
    if (channel->tune > run->band.max)
        helper = run->helperHigh;
    else if (channel->tune < run->band.min)
        helper = run->helperLow;
    if (helper != channel->helper)
        onBoard(run->device, *channel, [&] { setHelper(run->device, channel, channel->r3 * r3Growth, helper); });
}

/// One pass with the helpers. True if both channels are locked after it.
bool helperPass(FastLock* run) {
    LockChannels& channels = run->channels;
    lockChannels_readTune(run->device, &channels);
    judgeTune(run);
    switchHelpers(*run);
    if (run->bothLocked())
        confirm(run);
    if (channels.b.locked == 0 && run->wasLockedB)
        onBoard(run->device, channels.b, [&] { slot_carryOn(Device_selectPnLoopMode(run->device, loopHelper)); });
    steer(run, &channels.a);
    steer(run, &channels.b);
    return run->bothLocked();
}

bool attempt(FastLock* run, double wanted) {
    if (!designAttempt(run, wanted))
        return false;
    closeLoops(run);
    if (lockedAtOnce(run))
        return true;
    lockChannels_startMarks(&run->channels, run->band);
    for (int32_t pass = 1; pass <= run->maxPasses; ++pass)
        if (helperPass(run) && pass < run->maxPasses)
            return true;
    return false;
}

/// The last look: a loop that fell out again moves.
bool stillLocked(FastLock* run) {
    if (!run->automatic)
        tvstuff_delay_us(userRest_us);
    LockChannels& channels = run->channels;
    lockChannels_readTune(run->device, &channels);
    const double tuneA = channels.a.tune, tuneB = channels.b.tune;
    lockChannels_readTune(run->device, &channels);
    const auto stands = [](double before, double now) { return std::trunc(std::abs(now - before)) <= endMove; };
    if (stands(tuneA, channels.a.tune) && stands(tuneB, channels.b.tune))
        return true;
    printd("    -> interrupting, because tune voltages have changed\n");
    return false;
}

} // namespace

void FAST_lock(Device* device, MeasConfig* config) {
    FastLock run = begin(device, config);
    double wanted = run.automatic ? -1 : config->loopBandwidth.get();
    bool locked = attempt(&run, wanted);
    if (!locked) {
        wanted = retryFactor * (wanted < 0 ? config->loopBandwidth.get() : wanted);
        if (wanted < retryBandwidthMax)
            locked = attempt(&run, wanted);
    }
    if (!stillLocked(&run))
        locked = false;
    config->prepared->locked = locked;
    if (locked)
        printd("   > completed with LOCK\n");
    else
        printd("   > EXIT WITH NO LOCK\n");
}

void lock(Device* device, MeasConfig* config) {
    if (config->pulseEnabled != 0)
        return PULSE_lock(device, config);
    config->ateMode = 1;
    FAST_lock(device, config);
}
