#pragma once
/// What the user asks of a measurement: the records, and the mode in force. device_table/settings/ has the settings one
/// by one, config_accessors.h the operations on them.
///
/// The main thread writes the settings. A run works on a copy that it takes at its start, and gives back what it finds
/// (frequency, power, gain, detector constants, flags); see run_settings.h.

#include "base/shared.h"
#include "device_table/device_fptrs.h"
#include "measure/run/meas_data.h"
#include "measure/run/vco_trace.h"

#include <array>
#include <cmath>
#include <cstdint>

enum MeasurementMode : uint32_t {
    measurementModePN = 0,  // phase noise
    measurementModeAPN = 1, // additive phase noise
    measurementModeBB = 2,  // baseband
    measurementModeTransient = 5,
    measurementModeVCO = 6,
};
enum MeasurementMethod : uint32_t { methodSingle = 0, methodDut = 1, methodCrossCorrelation = 2 };
enum ReferenceCode : uint32_t {
    referenceNormal = 0,
    referenceLowNoise = 1,
    referenceHighSensitivity = 2,
    referenceExternal = 3,
};
enum RedoCode : uint32_t { redoAlways = 0, redoOnce = 1, redoNever = 2 };

// NOLINTBEGIN(bugprone-macro-parentheses): what the macros get are names

/// What a user sets of a measurement, and nobody else: a field for each row. Flags are 0 or 1.
/// initMeasurementConfiguration gives every record its defaults.
struct MeasSettings {
#define NUMBER(type, field, ...) Shared<type> field;
#define SWITCH(field, ...) Shared<uint32_t> field;
#define CHOICE(field, ...) Shared<uint32_t> field;
#include "device_table/settings/phase_noise.inc"
};

/// What the instrument detects, or a user sets instead. A run gives the record back what of it it finds.
struct Detected {
#define NUMBER(type, field, ...) Shared<type> field;
#include "device_table/settings/detected.inc"
    Shared<double> frequencyRaw = -1;    // the frequency as counted, with the error of the time base
    Shared<double> frequencyRounded = 0; // of the internal sources, Hz; 0 before the first rounding
    Shared<double> powerRaw = 0;         // the detector's reading of the power, ADC counts
};

/// What one run leaves for the next: the steps that it is to do, and how far it came.
struct RunState {
    Shared<uint32_t> doFrequency = 1; // the next run searches the DUT frequency
    Shared<uint32_t> doAttenuation = 1;
    Shared<uint32_t> doKphi = 1;      // the next run measures the detector constants
    Shared<uint32_t> doIFgain = 1;    // the next run adjusts the IF gain
    Shared<uint32_t> firstSearch = 0; // this run has not read the DUT power yet
    Shared<uint32_t> ateMode = 1;     // one counter attempt in a search
    Shared<uint32_t> gridChanged = 1; // the output grid must be made anew
};

/// One measurement set-up.
struct MeasConfig : MeasSettings, Detected, RunState {
    Prepared* prepared = &meas_data; // the steps of a run keep there what they find; there is one run at a time
    int32_t testSetCount GUARDED_BY(meas_data.testSetMutex) = 0;
    TestSetDefinition* testSetDefinition GUARDED_BY(meas_data.testSetMutex) = nullptr; // testSetSize entries
    double* testSetResults GUARDED_BY(meas_data.testSetMutex) = nullptr;               // testSetSize
};

/// What a user sets of the sweep of an oscillator.
struct VcoSettings {
#define NUMBER(type, field, ...) Shared<type> field;
#define SWITCH(field, ...) Shared<uint32_t> field;
#define CHOICE(field, ...) Shared<uint32_t> field;
#define LIST(field, count, ...) std::array<Shared<double>, count> field;
#include "device_table/settings/sweep.inc"
};

/// The sweep, and the set-up of the phase noise runs in it.
struct VcoConfig : VcoSettings {
    MeasConfig config;
};

struct BasebandConfig {
#define CHOICE(field, ...) Shared<uint32_t> field;
#include "device_table/settings/baseband.inc"
};

// NOLINTEND(bugprone-macro-parentheses)

inline constinit MeasConfig configPN{};
inline constinit MeasConfig configAPN{};
inline constinit VcoConfig configVCO{};
inline constinit BasebandConfig configBB{};

/// The record in force; on the thread of a run, the run's own copy of it (run_settings.h).
class ConfigInForce {
public:
    constexpr explicit ConfigInForce(MeasConfig* record) : record_(record) {}
    ConfigInForce& operator=(MeasConfig* record) {
        record_ = record;
        return *this;
    }
    operator MeasConfig*() const { return ofRun != nullptr ? ofRun : record_.get(); }
    MeasConfig* operator->() const { return *this; }

    static inline thread_local MeasConfig* ofRun = nullptr;

private:
    Shared<MeasConfig*> record_;
};

/// It changes only with the mode, and never while a run is on.
inline constinit ConfigInForce configPNPtr{&configPN};
inline constinit Shared<uint32_t> measurement_mode{measurementModePN};
/// The mode whose parameters the configuration commands address; those of the sweep work only with mode 6.
inline constinit Shared<uint32_t> selected_config{measurementModePN};
inline constinit Shared<uint32_t> measureFullPnWithEverything{1};

void limits_inWrongOrder(); // not constexpr: the compiler names it

/// Range of a parameter, both ends allowed.
struct Limits {
    consteval Limits(double least, double greatest) : min(least), max(greatest) {
        if (!(least <= greatest))
            limits_inWrongOrder();
    }
    double min;
    double max;
};
inline constexpr Limits unlimited{-INFINITY, INFINITY};
/// `value` held to `limits`; the least for what is no number.
inline double limited(double value, const Limits& limits) {
    return std::fmin(std::fmax(value, limits.min), limits.max);
}

/// What of the hardware settings move.
enum HardwareSide : uint32_t {
    sideReference = 1,
    sideReferenceVoltage = 2,
    sideAttenuation = 4,
    sideSpotFrequency = 8,
    sideFrequency = 16,
    sideIFgain = 32,
    sidePulse = 64,
};
