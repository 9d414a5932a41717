#pragma once
/// Slots of the measurement configuration that take more than one value or stand for no setting; the settings bring
/// theirs, fptrs_settings.h. `configPN` is the phase noise set-up, `configVCO` the sweep of an
/// oscillator; `config` stands for the one in force. Frequencies are in Hz, levels and gains in dB or dBm, voltages
/// in V. Redo codes: 0 always, 1 once, 2 never. Reference codes: 0 normal, 1 low noise, 2 high sensitivity, 3 external.

#include "device_table/fptrs_settings.h"
#include "device_table/fptrs_types.h"
#include "device_table/test_set.h"

// clang-format off

// Configuration in force.
inline Slot<int(Device*)> Automeasure_config_reset;                            // everything to its default
inline Slot<int(Device*, int)> Automeasure_config_selectConfiguration;         // mode that the commands address
inline Slot<int(Device*)> Automeasure_config_getMeasurementMode;               // 0 PN, 1 APN, 2 BB, 5 transient, 6 VCO
inline Slot<int(Device*, int)> Automeasure_config_setMeasurementMode;
inline Slot<int(Device*)> Automeasure_config_resetDetectFlags;                 // forget what was detected
inline Slot<int(Device*)> Automeasure_config_searchForDUT;                     // search the carrier now
inline Slot<double(Device*)> Automeasure_config_getFrequencyRaw;
inline Slot<double(Device*)> Automeasure_config_getPowerRaw;                   // before calibration
inline Slot<double(Device*)> Automeasure_config_getKphi;                       // ADC counts
inline Slot<double(Device*)> Automeasure_config_getKphi_converted;             // V

// Phase noise.
inline Slot<double(Device*, int32_t)> Automeasure_configPN_getMinReferenceSens; // source; Hz/V
inline Slot<double(Device*, int32_t)> Automeasure_configPN_getMaxReferenceSens; // source; Hz/V
inline Slot<int(Device*)> Automeasure_configPN_resetDetectFlags;
inline Slot<int(Device*, float, float)> Automeasure_configPN_setFunctionRange; // from, to offset
inline Slot<double(Device*, int32_t)> Automeasure_configPN_getReferenceSens;   // source 1 or 2; Hz/V
inline Slot<int(Device*, int32_t, double)> Automeasure_configPN_setReferenceSens;
inline Slot<int(Device*, int32_t, double)> Automeasure_configPN_setReferenceVoltage; // source 1 or 2, V
inline Slot<int(Device*)> Automeasure_execSensitivity;                         // measure that sensitivity now

// Test set. A text that is handed out lasts until the next call.
inline Slot<int(Device*, const TestSetDefinition*)> Automeasure_setTestSetDefinition; // to testSetEnd; null: none
inline Slot<int(Device*, const char**)> Automeasure_getTestSetDefinition;
inline Slot<int(Device*, const char**)> Automeasure_getTestSet;                // results, comma between

// Sweep of an oscillator. The commands reach it only while the mode 6 is selected.
inline Slot<const tv_time*(Device*)> Automeasure_configVCO_getTuneDelay;       // us
inline Slot<int(Device*, const tv_time*)> Automeasure_configVCO_setTuneDelay;  // us
inline Slot<int(Device*, int)> Automeasure_configVCO_setReference;
inline Slot<double(Device*, int32_t)> Automeasure_configVCO_getPnOffset;       // number 1 to 4; -1 for another
inline Slot<int(Device*, double, double, double, double)> Automeasure_configVCO_setPnOffsets; // 0 switches one off
inline Slot<int(Device*)> Automeasure_configVCO_getNumberOfUsedOffsets;

// clang-format on
