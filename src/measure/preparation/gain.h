#pragma once
/// Three decisions that fit the analog chain to the signal: input level, IF gain, and how a beat must be sampled.

#include "device_table/device_fptrs.h"

struct MeasConfig;

/// Fits the input path to `power` and `frequency` of `config`: on analog boards 2A to 2D the preamplifier, with a
/// hysteresis; on the older ones the step attenuator, with autoAttenuation off at `attenuation`. What is in force then
/// stands in inputAttenuation of what is prepared, dB.
void adjustInputAttenuation(Device* device, const MeasConfig* config);

/// Picks the highest IF gain at which the locked signal leaves the ADC enough room, or the lowest there is. `ifGain` of
/// `config` becomes the gain in force; with the detect flag down it goes to the boards as it stands and becomes what
/// they make of it. A capture that fails leaves `ifGain` alone, and that is then the gain in force. Returns 0; below 0
/// if a board did not take its gain.
[[nodiscard]] int adjustGain(Device* device, MeasConfig* config);

/// Sets beatSamples (a power of two, 2 to timeSamplesMax), beatDivider and beatChannels for a beat on a source of the
/// tuning sensitivity in use.
void detectMinimalBeatMeasurementSettings(Device* device, const MeasConfig* config);
