#pragma once
/// Connects the firmware's device slots straight to the bench, in place of the boards between them. The only part of
/// the virtual instrument that knows the firmware.
///
/// It fills the slots that a run calls, and does what the boards' firmware would: it plans paths and divisions, sources
/// and counter ratios. It works on the record of the instrument, whose own operations select the channel. A call costs
/// three bus transfers of 20 microseconds.

#include "virtual/physics/bench.h"

/// Before the firmware starts. `bench` must live as long as the process.
void virtual_adapter_install(vi::Bench& bench);
