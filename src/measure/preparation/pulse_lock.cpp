#include "measure/preparation/pulse_lock.h"

#include "base/tvdebug.h"
#include "core/abstime.h"
#include "device_table/internal_reference.h"
#include "measure/preparation/frequency_search.h"
#include "measure/preparation/lock_channel.h"
#include "measure/preparation/lock_check.h"
#include "measure/preparation/loop_params.h"
#include "measure/settings/measurement_configuration.h"

#include <algorithm>
#include <cmath>

// The loop sees the DUT only part of the time, so it is given time, and asked often.

namespace {

constexpr uint64_t timeLimit_us = 60'000'000;
constexpr uint64_t idlePass_us = 1000; // of a pass that took no time at all, so that the limit comes

constexpr double sourceCenter = 7.2; // V, tune voltage of a source on its frequency
constexpr double reach = 2, window = 0.75;
constexpr TuneBand band1GHz = {.center = 1, .min = 0.45, .max = 1.9, .window = 0.5};
constexpr double tuneStep = 0.1; // V a pass, of a tune voltage that stands
constexpr int32_t stablePasses = 10;

constexpr double helperLow = 2.1, helperHigh = 2.9; // V
constexpr double r3Share = 0.2;                     // of R1
constexpr double r3DoubledBelow = 25000, r3StartMax = 10000, r3Max = 50000;
constexpr double r3Growth = 1.1, r3Shrink = 1.2;

constexpr uint64_t rest_us = 10'000, failedRest_us = 5000;
constexpr int32_t checksPassed = 9; // and more

struct PulseLock {
    Device* device;
    MeasConfig* config;
    TuneBand band;
    LockChannels channels;
    int32_t passedA, passedB; // checks in a row

    [[nodiscard]] bool confirmed() const { return passedA > checksPassed && passedB > checksPassed; }
};

TuneBand bandOf(Device* device) {
    if (Device_getInternalReferenceSelection(device) == internalReference1GHz)
        return band1GHz;
    const double center = DELTAV + sourceCenter;
    return {.center = center, .min = center - reach, .max = center + reach, .window = window};
}

void chooseR3(LockChannels* channels) {
    channels->a.r3 = r3Share * channels->a.r1;
    channels->b.r3 = r3Share * channels->b.r1;
    for (int doubling = 0; doubling < 2; ++doubling)
        if (channels->a.r3 < r3DoubledBelow) {
            channels->a.r3 *= 2;
            channels->b.r3 *= 2;
        }
    if (channels->a.r3 > r3StartMax)
        channels->a.r3 = channels->b.r3 = r3StartMax;
}

void closeLoops(PulseLock* run) {
    Device* device = run->device;
    LockChannels& channels = run->channels;
    lockChannels_close(device, &channels);
    for (LockChannel* channel : {&channels.a, &channels.b})
        onBoard(device, *channel, [&] {
            channel->helper = run->band.center > channel->tune ? helperLow : helperHigh;
            slot_carryOn({Device_setLockhelperVoltage(device, static_cast<float>(channel->helper)),
                          Device_selectLoopC(device, channel->capacitor), Device_setResistance(device, 1, channel->r1),
                          Device_setResistance(device, 2, channel->r2), Device_selectPnLoopMode(device, loopHelper)});
        });
}

void judgeTune(PulseLock* run) {
    LockChannels& channels = run->channels;
    lockChannels_readTune(run->device, &channels);
    lockChannel_mark(&channels.a, run->band, tuneStep);
    lockChannel_mark(&channels.b, run->band, tuneStep);
    if (lockChannels_stable(channels, stablePasses)) {
        channels.a.locked = channels.b.locked = 1;
        channels.a.stable = channels.b.stable = 0;
    }
}

void count(PulseLock* run, LockChannel* channel, int32_t* passed) {
    if (channel->locked != 0) {
        ++*passed;
        return;
    }
    *passed = 0;
    channel->r3 /= r3Shrink;
    onBoard(run->device, *channel, [&] {
        slot_carryOn(
            {Device_selectPnLoopMode(run->device, loopHelper), Device_setResistance(run->device, 3, channel->r3)});
    });
    tvstuff_delay_us(failedRest_us);
}

/// Asks the mixer outputs whether loops whose tune voltages stood are locked.
void confirm(PulseLock* run) {
    LockChannels& channels = run->channels;
    tvstuff_delay_us(rest_us);
    checkLockPULSE(run->device, run->config, &channels.a.locked, &channels.b.locked, 0, 0);
    count(run, &channels.a, &run->passedA);
    count(run, &channels.b, &run->passedB);
}

/// Turns the helper of a channel round that it has pushed out of the band.
void steer(PulseLock* run, LockChannel* channel) {
    double helper = channel->helper;
    if (channel->tune > run->band.max)
        helper = helperHigh;
    else if (channel->tune < run->band.min)
        helper = helperLow;
    if (helper != channel->helper)
        onBoard(run->device, *channel,
                [&] { setHelper(run->device, channel, std::min(channel->r3 * r3Growth, r3Max), helper); });
}

void pass(PulseLock* run) {
    LockChannels& channels = run->channels;
    judgeTune(run);
    for (const LockChannel* channel : {&channels.a, &channels.b})
        onBoard(run->device, *channel, [&] {
            slot_carryOn(Device_selectPnLoopMode(run->device, channel->locked != 0 ? loopQuadrature : loopHelper));
        });
    if (channels.a.locked != 0 && channels.b.locked != 0)
        confirm(run);
    steer(run, &channels.a);
    steer(run, &channels.b);
}

/// True if both channels were confirmed in time.
bool attempt(PulseLock* run, uint64_t begin_us) {
    chooseR3(&run->channels);
    closeLoops(run);
    lockChannels_startMarks(&run->channels, run->band);
    for (uint64_t now_us = tv_abstime_us(); !run->confirmed() && now_us - begin_us < timeLimit_us;) {
        pass(run);
        const uint64_t before_us = now_us;
        if (now_us = tv_abstime_us(); now_us == before_us) {
            tvstuff_delay_us(idlePass_us);
            now_us = tv_abstime_us();
        }
    }
    return tv_abstime_us() - begin_us < timeLimit_us;
}

} // namespace

void PULSE_lock(Device* device, MeasConfig* config) {
    const uint64_t begin_us = tv_abstime_us();
    PulseLock run{};
    run.device = device;
    run.config = config;
    run.band = bandOf(device);
    calcLoopParams(device, config, config->autoLoopBW != 0 ? -1 : config->loopBandwidth.get());
    run.channels = lockChannels_ofDesign(*config->prepared);
    config->prepared->locked = run.channels.haveFilters() && attempt(&run, begin_us);
    if (config->prepared->locked != 0)
        printd("   > completed with LOCK\n");
    else
        printd("   > EXIT WITH NO LOCK\n");
}
