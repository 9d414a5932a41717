#pragma once
/// Records of samples of the model L.

#include "device_table/slot.h"

#include <array>
#include <cstdint>

/// Samples of a channel at a stage; of the device, until its next capture. None: null and 0.
struct TvpnlRecord {
    uint16_t* samples = nullptr;
    int32_t count = 0;
};

/// Captures `samples` of both channels at the divider; compares what came and fetches the records of the last capture.
/// Failures go to standard output. Returns 0 or -200.
int pn_measure_tvpnl_SDgetFIRSamples(Device* device, uint32_t samples, int32_t stages);
/// One of them. Goes to standard output where there is none, or where those of both channels differ in length.
[[nodiscard]] std::array<TvpnlRecord, 2> tvpnl_records(Device* device, int32_t stage);

/// Captures and fetches stage 0 at a divider of its own.
[[nodiscard]] std::array<TvpnlRecord, 2> tvpnl_capture(Device* device, uint32_t samples, uint32_t channels,
                                                       uint32_t divider);
