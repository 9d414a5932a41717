#pragma once
/// Locking: brings the source of each channel into quadrature with the DUT and keeps it there.
///
/// Two facts tell that a loop is locked: its tune voltage has stopped moving near where it is expected, and the mixer
/// output stays far smaller than the beat was. An acquisition aid, the lock helper, pushes the tune voltage of a
/// channel that is not there yet. `locked` of what is prepared tells the outcome; the loops stay as they ended, also
/// after a failure.
///
/// All of this works on the channel selection of the device and leaves channel A selected.

#include "device_table/device_fptrs.h"

#include <cstdint>

struct MeasConfig;

/// The lock step of a run: PULSE_lock for a pulsed DUT, else FAST_lock with ateMode set. The caller clears
/// `locked` before.
void lock(Device* device, MeasConfig* config);

/// Locks to a continuous DUT: two attempts at most, the second with 1.05 times the bandwidth of the first. Without a
/// filter that fits both channels there is no lock.
void FAST_lock(Device* device, MeasConfig* config);

/// Tune voltage of the source of each channel, V. Board A stays selected.
void getTune(Device* device, double* tuneA, double* tuneB);
