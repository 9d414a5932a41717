#pragma once
/// The beat: the tone at a mixer output while the source is not locked, as far from 0 Hz as the source is from the
/// device under test (both behind the prescaler).

#include "device_table/device_fptrs.h"

#include <cstdint>

struct MeasConfig;

inline constexpr double beatUnknown = -1; // Hz

/// Measures the beat on both channels with one capture of beatSamples, beatDivider and beatChannels of what is
/// prepared: the mean over up to `count` periods, in whole hertz cut down. Only a beat of at least half the ADC's range
/// counts. A `filter` other than 0 takes the noise above a tenth of the sample rate out first, for a DUT below 60 MHz.
///
/// A channel without a full period, or without a record, gives beatUnknown. Returns 0 if both channels have a beat,
/// else -200.
int checkBeat(Device* device, const MeasConfig* config, double* beatA, double* beatB, int32_t count, int filter);
