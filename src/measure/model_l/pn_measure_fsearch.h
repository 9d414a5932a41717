#pragma once
/// The model L's search for the carrier, with the comparator that tells on which side of its source the DUT lies.

#include "device_table/slot.h"

/// Finds the carrier in Hz: halves the unit's range with the comparator down to 1000 Hz, then takes the mean of what
/// the beats at both ends of board A's tuning tell; half a bin of the beat, 16 Hz, remains. The source stays where the
/// halving ended, tuned to 5 V. Returns 0 or the first failure, behind which the search has gone on.
int pn_measure_fsearch_frequencySearch(Device* device, double* frequency);

/// The strongest line of a beat of the selected board in Hz, a multiple of the sample rate / 4096; DC and what the
/// window does not keep apart from it do not count. Returns 0; -200 and a beat of 0 where there is no record or
/// transform.
int pn_measure_checkBeat(Device* device, int unused, double* beat);
