#pragma once
/// Records of the time domain: the samples of both mixer outputs as the ADCs see them. A sample is 16 bits in offset
/// binary; adc_scale.h has the scale.
///
/// The records lie in the acquisition's own buffers. They may be changed in place, and stay until the next capture.

#include "device_table/device_fptrs.h"
#include "measure/preparation/prepared.h"

#include <cstdint>

inline constexpr uint32_t timeSamplesMin = 2;
inline constexpr uint32_t timeSamplesMax = 0x100000; // the acquisition's limits, per channel

/// Captures `samples` (timeSamplesMin to timeSamplesMax, even; the board rounds others) of each channel at the ADC
/// clock divided by `divider`. Fetches the record of A, and with `channels` other than 1 that of B too.
///
/// Returns the samples of each record, which may be fewer or more than asked. 0 if the capture failed, a record is
/// missing or the two differ in length. A record that is not there is null.
[[nodiscard]] uint32_t getTimeSamples(Device* device, uint16_t** bufferA, uint16_t** bufferB, uint32_t samples,
                                      uint32_t divider, uint32_t channels);

/// The same with the settings of the last capture; only `channels` counts here, for what is fetched.
[[nodiscard]] uint32_t getTimeSamplesPREC(Device* device, uint16_t** bufferA, uint16_t** bufferB, uint32_t samples,
                                          uint32_t divider, uint32_t channels);

/// Lends the settings of a capture, and the selection of a board, to a run or a measurement by command: as long as this
/// exists the last ones of the instrument's own, those of the `beat`, are in force, if there are any; then the user's
/// are back.
class OwnSampling {
public:
    OwnSampling(Device* device, const Prepared& beat);
    ~OwnSampling();
    OwnSampling(const OwnSampling&) = delete;
    OwnSampling& operator=(const OwnSampling&) = delete;

private:
    Device* device_;
    uint32_t samples_, divider_;
    bool bothChannels_, boardB_;
};
