#pragma once
/// Connects the firmware's device slots straight to the bench, in place of the boards between them. The only part of
/// the virtual instrument that knows the firmware.
///
/// It fills the slots of spectra, level, IF gain, prescaler and reference selection. Where a run reads the level, just
/// before its captures, the adapter also does what search, detector calibration, lock and gain adjustment would have
/// done: it counts the carrier, closes the loops, sets the gain, and leaves what they found in the record in force.

#include "virtual/bench.h"

/// Before the firmware starts. `bench` must live as long as the process.
void virtual_adapter_install(vi::Bench& bench);
