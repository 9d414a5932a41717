#include "measure/preparation/time_samples.h"

#include "measure/preparation/both_boards.h"

#include <algorithm>

namespace {

constexpr uint32_t channelA = 0;
constexpr uint32_t channelB = 1;
constexpr uint32_t onlySegment = 0;
constexpr uint32_t channelAOnly = 1, bothChannels = 2; // numbers of channels
constexpr uint32_t noStages = 0;                       // the capture of this board has none

/// Fetches the record of a channel. Returns its samples; 0 and null if there is none.
uint32_t fetch(Device* device, uint32_t channel, uint16_t** buffer) {
    const int bytes = Device_getPhaseNoiseFbuffer(device, channel, onlySegment, buffer);
    if (*buffer == nullptr || bytes < static_cast<int>(sizeof(uint16_t))) {
        *buffer = nullptr;
        return 0;
    }
    return static_cast<uint32_t>(bytes) / sizeof(uint16_t);
}

void setSampling(Device* device, uint32_t samples, uint32_t divider, uint32_t channels) {
    slot_carryOn({Device_setPhaseNoiseSamples(device, samples), // stored; the capture that follows tells
                  Device_setPhaseNoiseChannels(device, channels), Device_setPhaseNoiseDivider(device, divider)});
}

} // namespace

uint32_t getTimeSamples(Device* device, uint16_t** bufferA, uint16_t** bufferB, uint32_t samples, uint32_t divider,
                        uint32_t channels) {
    setSampling(device, samples, divider, channels);
    return getTimeSamplesPREC(device, bufferA, bufferB, samples, divider, channels);
}

uint32_t getTimeSamplesPREC(Device* device, uint16_t** bufferA, uint16_t** bufferB, uint32_t, uint32_t,
                            uint32_t channels) {
    *bufferA = nullptr;
    *bufferB = nullptr;
    // What a failed capture leaves in the buffers is an older one's.
    if (Device_getFilteredSamples(device, noStages) < 0)
        return 0;
    const uint32_t samplesA = fetch(device, channelA, bufferA);
    if (channels == channelAOnly)
        return samplesA;
    const uint32_t samplesB = fetch(device, channelB, bufferB);
    return samplesA == samplesB ? samplesA : 0;
}

// The query tells whether both channels are captured, not how many.
OwnSampling::OwnSampling(Device* device, const Prepared& beat)
    : device_(device), samples_(Device_getPhaseNoiseSamples(device)), divider_(Device_getPhaseNoiseDivider(device)),
      bothChannels_(Device_getPhaseNoiseChannels(device) != 0),
      boardB_(Device_isPhaseNoiseAlgBoardBSelected(device) != 0) {
    if (beat.beatSamples != 0)
        setSampling(device, beat.beatSamples, beat.beatDivider, beat.beatChannels);
}

OwnSampling::~OwnSampling() {
    setSampling(device_, samples_, divider_, bothChannels_ ? bothChannels : channelAOnly);
    if (boardB_)
        selectBoardB(device_);
}
