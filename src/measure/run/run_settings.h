#pragma once
/// A run's own copy of the settings in force. It is taken at INIT; what a client sets afterwards reaches the next run.
///
/// On the run's thread configPNPtr is the copy. What the run finds (carrier, levels, gain, detector constants) goes
/// back to the record step by step, but for what a client has set meanwhile, which is the client's. The detect flags
/// that the run has not used up go back at its end; arming them during a run arms the next.

#include "base/sync.h"
#include "measure/run/meas_data.h"

struct MeasConfig;
struct VcoSettings;

/// Makes the copy of the record in force, with what commands the next run is to do once. No run may be on.
void runSettings_take() REQUIRES(meas_data.stateMutex);

// On the run's thread.

/// From now on configPNPtr is the copy.
void runSettings_use();
/// The copy.
[[nodiscard]] MeasConfig* runSettings_ofRun();
/// What was set of the sweep then.
[[nodiscard]] const VcoSettings& runSettings_ofSweep();
/// Gives the record what the run has found so far.
void runSettings_publish();
/// The same at the end of the run, and the flags; configPNPtr is the record again.
void runSettings_leave();
