#pragma once
/// The function output, its generator and the trigger pulse at I/O update behind the device table. Each operation asks
/// the slot Device_getFuncoutBoardPtr for the board; without one it gives -113, and a getter 0.

#include "numeric/tvtypes.h"

struct TVCONT;
struct Device;

inline constexpr tvfreq DEFAULT_LFG_FREQUENCY{400, 0};
inline constexpr double DEFAULT_LFG_AMPLITUDE = 1.0; // V

/// Fills the slots and sets the defaults: output off, source the generator, a sine of 400 Hz and 1 V. Does nothing
/// while Device_getFuncoutBoardPtr is not there.
void Funcout_init(Device* device);
void Funcout_registerDeviceFunctions();
/// Limits of the generator: 10 Hz to 5 MHz.
void Funcout_setDefaults(TVCONT* board);
