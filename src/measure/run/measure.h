#pragma once
/// The one thread that performs measurements, so that the links stay free during a run that may last for hours.

#include "base/waiting.h"
#include "device_table/device_fptrs.h"

#include <cstdint>
#include <sys/time.h>

/// Sets the configuration to its start values and starts the measurement thread. Once, on the main thread, when the
/// boards stand. Returns 0; -321 if the memory pool could not give the result arrays (nothing may be measured then).
[[nodiscard]] int measure_init(Device* device);
int startMeasurementThread(Device* device);

// Operations below that wait for a run return waiting_result where they may leave a record (base/waiting.h); they are
// finished when the run is over. Otherwise they wait on the calling thread.

/// INIT. Starts a run of the mode in force; while a run is on it first waits for the end of that one. Returns 0,
/// or -221 while a client is reading the capture buffers.
int measure_startMeasurement(Device* device);
/// ABORt. The run in progress stops before its next capture; its result code stays 0. Without a run nothing happens.
/// Does not wait. Returns 0.
int measure_stopMeasurement(Device* device);
/// True while a run is on, but on its own thread: what would disturb it has to wait first, with one of the two below.
/// Both do `operation` when no run is in the way any more, and return what it does; `argument` is in its record.
[[nodiscard]] bool measure_isRunInTheWay();
/// Without a run: whether a client fetches samples from the acquisition board or its buffers, or a capture of spectra
/// that a client began goes on. What needs the board is refused then, with -221, as both may last for hours.
[[nodiscard]] bool measure_isBoardBusy(Device* device);
/// For commands that drive the hardware themselves, as INIT does: the run comes to its own end.
[[nodiscard]] int measure_afterRun(Device* device, Waiting::Finish operation, int32_t argument = 0);
/// For changes that a run cannot live through, another mode, a reset: the run is stopped and the capture cut that it
/// waits for.
[[nodiscard]] int measure_afterStop(Device* device, Waiting::Finish operation, int32_t argument = 0);
/// True if the run of the record is over.
[[nodiscard]] bool measure_isRunOver(const Waiting& waiting);

[[nodiscard]] bool measure_isMeasurementThread();
/// The number of the run in progress, counted from 1; 0 without one.
[[nodiscard]] uint64_t measure_runInProgress();

/// Time from which printTime measures; CLOCK_MONOTONIC.
extern timeval start_time;
void resetTime();
/// Prints the seconds since start_time on the debug channel. The label "locking" also stores them in lockTimeSec; a
/// `restart` other than 0 sets start_time to now.
void printTime(const char* label, int restart);
/// Prints the seconds since the given moment of CLOCK_MONOTONIC.
void printTimeSince(const char* label, int64_t seconds, int64_t microseconds);
[[nodiscard]] timeval measure_now();
[[nodiscard]] double measure_secondsSince(const timeval& moment);
