#pragma once
/// Finding the device under test: search over the frequency counters, correction by the beat on the older boards, and
/// the frequency that the internal sources go to.

#include "base/shared.h"
#include "device_table/device_fptrs.h"

struct MeasConfig;

/// Tune voltage (V) that the locked loop needs away from its centre because the sources stand on a rounded frequency;
/// 0 when they stand on the DUT.
inline constinit Shared<double> DELTAV = 0;

/// The search step of a run on `config`. Leaves the DUT in `frequency` (Hz), the sources on `frequencyRounded`, its
/// level in `power`, and the settings for a capture of the beat. Left out, apart from rounding and settings, when
/// `frequency` is known and the search is off or its detect flag down.
///
/// Returns 0, or -200 if no frequency was found: `frequency` is -1 then, or with ateMode what it was.
[[nodiscard]] int pn_measure_frequencySearch(Device* device, MeasConfig* config);

/// The search on request: all attempts, with a counter gate of 20 ms at most, and the input attenuation fitted to the
/// level found. Switches the automatic search on and ateMode off. While a run is on it waits for its end, as INIT does.
/// Result as above.
int pn_measure_execfrequencySearch(Device* device);

/// Leaves what a reading of the DUT's level gives in `power` (dBm; -100 without one), and the detector's own in
/// `powerRaw` (ADC counts; 0 without one).
void pn_measure_readPower(Device* device, MeasConfig* config, const Slot<const tvpow*(Device*)>& reading);

/// Puts the sources on the whole MHz beside `frequency` if the loop can pull the rest, else on `frequency`. Sets
/// `frequencyRounded` and DELTAV; with RF off both stay. The sources are left alone if they are as near as one volt
/// pulls. Returns `frequencyRounded`, Hz.
double pn_measure_roundFrequency(Device* device, MeasConfig* config);
