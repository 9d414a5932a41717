#include "measure/preparation/lock_channel.h"

#include "measure/preparation/lock.h"

#include <cmath>

namespace {

constexpr int helperResistance = 3; // Device_setResistance

} // namespace

LockChannels lockChannels_ofDesign(const Prepared& prepared) {
    LockChannels channels{};
    channels.a.select = &Device_selectPhaseNoiseAlgBoardA;
    channels.a.r1 = prepared.loopR1A;
    channels.a.r2 = prepared.loopR2A;
    channels.a.capacitor = prepared.loopCapA;
    channels.b.select = &Device_selectPhaseNoiseAlgBoardB;
    channels.b.r1 = prepared.loopR1B;
    channels.b.r2 = prepared.loopR2B;
    channels.b.capacitor = prepared.loopCapB;
    return channels;
}

void getTune(Device* device, double* tuneA, double* tuneB) {
    selectBoardB(device);
    *tuneB = Device_getIsTuneVoltage(device);
    selectBoardA(device);
    *tuneA = Device_getIsTuneVoltage(device);
}

void lockChannels_readTune(Device* device, LockChannels* channels) {
    getTune(device, &channels->a.tune, &channels->b.tune);
}

void lockChannels_close(Device* device, LockChannels* channels) {
    for (const LockChannel* channel : {&channels->a, &channels->b})
        onBoard(device, *channel, [&] {
            slot_carryOn(
                {Device_selectPnLoopMode(device, loopQuadrature), Device_setResistance(device, 3, channel->r3)});
        });
    lockChannels_readTune(device, channels);
}

void lockChannels_startMarks(LockChannels* channels, const TuneBand& band) {
    for (LockChannel* channel : {&channels->a, &channels->b}) {
        channel->near = !band.holds(channel->tune);
        channel->stable = 0;
        channel->previousTune = -1;
    }
}

bool lockChannel_mark(LockChannel* channel, const TuneBand& band, double step) {
    const bool comesNear = !channel->near && std::abs(channel->tune - band.center) < band.window;
    if (comesNear)
        channel->near = true;
    channel->stable = std::abs(channel->tune - channel->previousTune) < step ? channel->stable + 1 : 0;
    if (!band.holds(channel->tune))
        channel->near = false;
    channel->previousTune = channel->tune;
    return comesNear;
}

bool lockChannels_stable(const LockChannels& channels, int32_t passes) {
    return channels.a.near && channels.b.near && channels.a.stable > passes && channels.b.stable > passes;
}

void setHelper(Device* device, LockChannel* channel, double r3, double volts) {
    channel->r3 = r3;
    channel->helper = volts;
    slot_carryOn({Device_setResistance(device, helperResistance, r3),
                  Device_setLockhelperVoltage(device, static_cast<float>(volts))});
}
