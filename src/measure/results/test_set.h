#pragma once
/// The test set of the ATE interface: a list of figures that every save of a run fills in. It belongs to configPN;
/// testSetMutex guards it, inside resultMutex.

#include "device_table/device_fptrs.h"
#include "measure/results/trace.h"

struct MeasSettings;

/// Takes the entries up to the end mark and sets all results to 0; null makes the set empty. Returns 0; -224 for a list
/// without an end mark in its testSetSize entries (the old set stays).
int configPN_setTestSetDefinition(Device* device, const TestSetDefinition* list);

/// The entries as the command takes them, by comma; types that it does not print are left out. The text lasts until the
/// next call. Returns 0.
int configPN_getTestSetDefinition(Device* device, const char** text);
/// The results with four decimals, by comma, all of the same save. The text lasts until the next call. Returns 0.
int configPN_getTestSet(Device* device, const char** text);

/// All results to 0.
void clearTestSet();
/// `frequency` (Hz) and `power` (dBm) go to their entries.
void insertTestSetPowerFreq(double frequency, double power);
/// All other entries from `trace`: noise at the offsets that the set asks for, dBc/Hz; jitter in fs; the other figures
/// of statistics.h in their units, by `settings`.
void insertTestSetOffsets(const TraceView& trace, const MeasSettings& settings);
