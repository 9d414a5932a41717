#pragma once
/// Records of beats, and what is read off them.

#include "device_table/slot.h"
#include "measure/model_l/pn_measure_tvpnl.h"
#include "measure/model_l/tvpnl_capture.h"

#include <array>
#include <cstdint>

/// 0x40000 samples of both channels at divider 2; null where the capture failed.
[[nodiscard]] std::array<TvpnlRecord, 2> pn_measure_tvpnl_getBeat(Device* device);

/// The record comes within a tenth of the ADC's range of one of its ends.
[[nodiscard]] bool pn_measure_tvpnl_isBeatSaturated(Device* device, const TvpnlRecord& beat);

/// Sets the smallest step attenuation (steps of 0.5 dB, 0 to 63) with which neither channel's beat is saturated, 63 if
/// all are. Returns 0 or -200: a capture failed, and what its step would have told is missing.
int pn_measure_tvpnl_adjustInputAttenuation(Device* device);

/// Captures a beat, prints and returns the estimates of both detectors; stores nothing. -200 where the capture failed
/// or a record has no beat.
int pn_measure_tvpnl_kPhi(Device* device, std::array<TvpnlKphi, 2>* kphi);

struct TvpnlSwing {
    double min = 0, max = 0, mean = 0; // V
};
/// Of both channels over a capture of `beatSamples`, `beatDivider` and `beatChannels`. Returns 0 or -200.
int pn_measure_tvpnl_measureP2PValue(Device* device, std::array<TvpnlSwing, 2>* swings);
