#pragma once
/// What the mixer outputs tell of a lock; see lock.h.

#include "device_table/device_fptrs.h"

#include <cstdint>

struct MeasConfig;

/// Captures the mixer outputs and sets each flag to whether its channel looks locked: over the record, less than a
/// quarter of the half of its beat (peakA, peakB) peak to peak, or less than the half around the centre of the ADC. A
/// capture that fails shows no lock; a record that was not asked for clears no flag.
///
/// `precaptured` 1 captures with the settings of the last capture; 0 takes `samples` of each channel at the divider
/// that fits autoLoopBW.
void checkLockQUAD(Device* device, const MeasConfig* config, uint32_t* lockA, uint32_t* lockB, int precaptured,
                   uint32_t samples);
/// The same for a pulsed DUT: clears the flag of a channel whose record is not around the centre. Does nothing if
/// neither flag is set. The last two arguments are not used.
void checkLockPULSE(Device* device, const MeasConfig* config, uint32_t* lockA, uint32_t* lockB, int dummy, int plot);

/// A long look at the mixers of loops that lock() called locked: its own records are too short to see a slow slip.
/// False when the phase of a channel goes round, or when no samples came. A stop of the run ends the look with true.
/// Leaves the settings for a capture of the beat.
[[nodiscard]] bool lock_holds(Device* device, const MeasConfig* config);

/// Returns 1 as soon as a record of channel A lies within 0.64 V around the centre, 0 after ten that did not.
[[nodiscard]] int waitUntilSteady(Device* device);

/// Captures and gives the extremes of each channel, ADC counts; null pointers are skipped. Returns maximum less minimum
/// of A. Without samples it returns 0 and gives nothing; a channel without a record gives nothing. `plot` is not used.
uint32_t getP2PValue(Device* device, uint32_t* minA, uint32_t* maxA, uint32_t* minB, uint32_t* maxB, uint32_t samples,
                     uint32_t divider, uint32_t channels, int plot);
