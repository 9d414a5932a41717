#pragma once
/// Slots of the measurement configuration. `configPN` is the phase noise set-up, `configVCO` the sweep of an
/// oscillator; `config` stands for the one in force. Frequencies are in Hz, levels and gains in dB or dBm, voltages
/// in V. Redo codes: 0 always, 1 once, 2 never. Reference codes: 0 normal, 1 low noise, 2 high sensitivity, 3 external.

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
inline Slot<double(Device*)> Automeasure_config_getFrequency;
inline Slot<int(Device*, double)> Automeasure_config_setFrequency;
inline Slot<double(Device*)> Automeasure_config_getFrequencyRaw;
inline Slot<int(Device*)> Automeasure_config_isAutoFrequency;
inline Slot<int(Device*)> Automeasure_config_enableAutoFrequency;
inline Slot<int(Device*)> Automeasure_config_disableAutoFrequency;
inline Slot<int(Device*)> Automeasure_config_getRedoFrequency;
inline Slot<int(Device*, int)> Automeasure_config_setRedoFrequency;
inline Slot<double(Device*)> Automeasure_config_getPower;
inline Slot<int(Device*, double)> Automeasure_config_setPower;
inline Slot<double(Device*)> Automeasure_config_getPowerRaw;                   // before calibration
inline Slot<double(Device*)> Automeasure_config_getKphi;                       // ADC counts
inline Slot<double(Device*)> Automeasure_config_getKphi_converted;             // V
inline Slot<int(Device*)> Automeasure_config_getPulseStatus;
inline Slot<int(Device*)> Automeasure_config_enablePulse;
inline Slot<int(Device*)> Automeasure_config_disablePulse;
inline Slot<int(Device*)> Automeasure_config_getVCODUTType;                    // 0 VCO, 1 VCXO
inline Slot<int(Device*, int)> Automeasure_config_setVCODUTType;

// Limits.
inline Slot<double(Device*)> Automeasure_config_getMinFrequency;
inline Slot<double(Device*)> Automeasure_config_getMaxFrequency;
inline Slot<double(Device*)> Automeasure_config_getMinPower;
inline Slot<double(Device*)> Automeasure_config_getMaxPower;
inline Slot<double(Device*)> Automeasure_config_getMinOffsetMin;
inline Slot<double(Device*)> Automeasure_config_getMaxOffsetMin;
inline Slot<double(Device*)> Automeasure_config_getMinOffsetMax;
inline Slot<double(Device*)> Automeasure_config_getMaxOffsetMax;
inline Slot<double(Device*)> Automeasure_config_getMinSpotFrequency;
inline Slot<double(Device*)> Automeasure_config_getMaxSpotFrequency;
inline Slot<int32_t(Device*)> Automeasure_config_getMinIterations;
inline Slot<int32_t(Device*)> Automeasure_config_getMaxIterations;
inline Slot<int32_t(Device*)> Automeasure_config_getMinCorrelations;
inline Slot<int32_t(Device*)> Automeasure_config_getMaxCorrelations;
inline Slot<int32_t(Device*)> Automeasure_config_getMinPointsPerDecade;
inline Slot<int32_t(Device*)> Automeasure_config_getMaxPointsPerDecade;
inline Slot<double(Device*)> Automeasure_config_getMinAttenuation;
inline Slot<double(Device*)> Automeasure_config_getMaxAttenuation;
inline Slot<double(Device*)> Automeasure_config_getMinIFgain;
inline Slot<double(Device*)> Automeasure_config_getMaxIFgain;
inline Slot<double(Device*)> Automeasure_config_getMinKphi;                    // V
inline Slot<double(Device*)> Automeasure_config_getMaxKphi;                    // V
inline Slot<double(Device*)> Automeasure_config_getMinLoopBandwidth;
inline Slot<double(Device*)> Automeasure_config_getMaxLoopBandwidth;
inline Slot<double(Device*)> Automeasure_getMinSpurThreshold;
inline Slot<double(Device*)> Automeasure_getMaxSpurThreshold;
inline Slot<double(Device*)> Automeasure_getMinSmoothingAperture;              // percent
inline Slot<double(Device*)> Automeasure_getMaxSmoothingAperture;              // percent
inline Slot<double(Device*, int32_t)> Automeasure_configPN_getMinReferenceSens; // source; Hz/V
inline Slot<double(Device*, int32_t)> Automeasure_configPN_getMaxReferenceSens; // source; Hz/V

// Phase noise.
inline Slot<double(Device*)> Automeasure_configPN_getFrequency;
inline Slot<int(Device*, double)> Automeasure_configPN_setFrequency;
inline Slot<int(Device*)> Automeasure_configPN_isAutoFrequency;
inline Slot<int(Device*)> Automeasure_configPN_enableAutoFrequency;
inline Slot<int(Device*)> Automeasure_configPN_disableAutoFrequency;
inline Slot<int(Device*)> Automeasure_configPN_getRedoFrequency;
inline Slot<int(Device*, int)> Automeasure_configPN_setRedoFrequency;
inline Slot<int(Device*)> Automeasure_configPN_enableFreqInit;                 // the run first waits for the sources
inline Slot<int(Device*)> Automeasure_configPN_disableFreqInit;
inline Slot<int(Device*)> Automeasure_configPN_resetDetectFlags;
inline Slot<double(Device*)> Automeasure_configPN_getOffsetMin;
inline Slot<int(Device*, double)> Automeasure_configPN_setOffsetMin;
inline Slot<double(Device*)> Automeasure_configPN_getOffsetMax;
inline Slot<int(Device*, double)> Automeasure_configPN_setOffsetMax;
inline Slot<double(Device*)> Automeasure_configPN_getSpotFrequency;
inline Slot<int(Device*, double)> Automeasure_configPN_setSpotFrequency;
inline Slot<int32_t(Device*)> Automeasure_configPN_getIterations;
inline Slot<int(Device*, int32_t)> Automeasure_configPN_setIterations;
inline Slot<int32_t(Device*)> Automeasure_configPN_getCorrelations;
inline Slot<int(Device*, int32_t)> Automeasure_configPN_setCorrelations;
inline Slot<int32_t(Device*)> Automeasure_configPN_getPointsPerDecade;
inline Slot<int(Device*, int32_t)> Automeasure_configPN_setPointsPerDecade;
inline Slot<int(Device*, int)> Automeasure_configPN_setMeasurementMethod;      // 0 single, 1 DUT, 2 cross-correlation
inline Slot<int(Device*, int)> Automeasure_configBB_setMeasurementMethod;
inline Slot<double(Device*)> Automeasure_configPN_getAttenuation;
inline Slot<int(Device*, double)> Automeasure_configPN_setAttenuation;
inline Slot<int(Device*)> Automeasure_configPN_isAutoAttenuation;
inline Slot<int(Device*)> Automeasure_configPN_enableAutoAttenuation;
inline Slot<int(Device*)> Automeasure_configPN_disableAutoAttenuation;
inline Slot<int(Device*)> Automeasure_configPN_getRedoAttenuation;
inline Slot<int(Device*, int)> Automeasure_configPN_setRedoAttenuation;
inline Slot<double(Device*)> Automeasure_configPN_getIFgain;
inline Slot<int(Device*, double)> Automeasure_configPN_setIFgain;
inline Slot<int(Device*)> Automeasure_configPN_isAutoIFgain;
inline Slot<int(Device*)> Automeasure_configPN_enableAutoIFgain;
inline Slot<int(Device*)> Automeasure_configPN_disableAutoIFgain;
inline Slot<int(Device*)> Automeasure_configPN_getRedoIFgain;
inline Slot<int(Device*, int)> Automeasure_configPN_setRedoIFgain;
inline Slot<int(Device*, double)> Automeasure_configPN_setKphi;                // ADC counts, of the selected board
inline Slot<int(Device*)> Automeasure_configPN_isAutoKphi;
inline Slot<int(Device*)> Automeasure_configPN_enableAutoKphi;
inline Slot<int(Device*)> Automeasure_configPN_disableAutoKphi;
inline Slot<int(Device*)> Automeasure_configPN_getRedoKphi;
inline Slot<int(Device*, int)> Automeasure_configPN_setRedoKphi;
inline Slot<double(Device*)> Automeasure_configPN_getLoopBandwidth;
inline Slot<int(Device*, double)> Automeasure_configPN_setLoopBandwidth;
inline Slot<int(Device*)> Automeasure_configPN_isAutoLoopBW;
inline Slot<int(Device*)> Automeasure_configPN_enableAutoLoopBW;
inline Slot<int(Device*)> Automeasure_configPN_disableAutoLoopBW;
inline Slot<int(Device*)> Automeasure_configPN_isSmoothingEnabled;
inline Slot<int(Device*)> Automeasure_configPN_enableSmoothing;
inline Slot<int(Device*)> Automeasure_configPN_disableSmoothing;
inline Slot<double(Device*)> Automeasure_configPN_getSmoothingAperture;        // percent
inline Slot<int(Device*, double)> Automeasure_configPN_setSmoothingAperture;   // percent
inline Slot<int(Device*)> Automeasure_configPN_isSpurOmissionEnabled;
inline Slot<int(Device*)> Automeasure_configPN_enableSpurOmission;
inline Slot<int(Device*)> Automeasure_configPN_disableSpurOmission;
inline Slot<double(Device*)> Automeasure_configPN_getSpurThreshold;
inline Slot<int(Device*, double)> Automeasure_configPN_setSpurThreshold;
inline Slot<int(Device*, float, float)> Automeasure_configPN_setFunctionRange; // from, to offset
inline Slot<int(Device*, int)> Automeasure_configPN_setReference;
inline Slot<double(Device*, int32_t)> Automeasure_configPN_getReferenceSens;   // source 1 or 2; Hz/V
inline Slot<int(Device*, int32_t, double)> Automeasure_configPN_setReferenceSens;
inline Slot<int(Device*, int32_t, double)> Automeasure_configPN_setReferenceVoltage; // source 1 or 2, V
inline Slot<int(Device*)> Automeasure_execSensitivity;                         // measure that sensitivity now

// Test set. A text that is handed out lasts until the next call.
inline Slot<int(Device*, const TestSetDefinition*)> Automeasure_setTestSetDefinition; // to testSetEnd; null: none
inline Slot<int(Device*, const char**)> Automeasure_getTestSetDefinition;
inline Slot<int(Device*, const char**)> Automeasure_getTestSet;                // results, comma between

// Sweep of an oscillator. The commands reach it only while the mode 6 is selected.
inline Slot<double(Device*)> Automeasure_configVCO_getVoltageStart;
inline Slot<int(Device*, double)> Automeasure_configVCO_setVoltageStart;
inline Slot<double(Device*)> Automeasure_configVCO_getMinVoltageStart;
inline Slot<double(Device*)> Automeasure_configVCO_getMaxVoltageStart;
inline Slot<double(Device*)> Automeasure_configVCO_getVoltageStop;
inline Slot<int(Device*, double)> Automeasure_configVCO_setVoltageStop;
inline Slot<double(Device*)> Automeasure_configVCO_getMinVoltageStop;
inline Slot<double(Device*)> Automeasure_configVCO_getMaxVoltageStop;
inline Slot<int32_t(Device*)> Automeasure_configVCO_getVoltagePoints;
inline Slot<int(Device*, int32_t)> Automeasure_configVCO_setVoltagePoints;
inline Slot<int32_t(Device*)> Automeasure_configVCO_getMinVoltagePoints;
inline Slot<int32_t(Device*)> Automeasure_configVCO_getMaxVoltagePoints;
inline Slot<const tv_time*(Device*)> Automeasure_configVCO_getTuneDelay;       // us
inline Slot<int(Device*, const tv_time*)> Automeasure_configVCO_setTuneDelay;  // us
inline Slot<int(Device*, int)> Automeasure_configVCO_setReference;
inline Slot<double(Device*, int32_t)> Automeasure_configVCO_getPnOffset;       // number 1 to 4; -1 for another
inline Slot<int(Device*, double, double, double, double)> Automeasure_configVCO_setPnOffsets; // 0 switches one off
inline Slot<int(Device*)> Automeasure_configVCO_getNumberOfUsedOffsets;
inline Slot<int(Device*)> Automeasure_configVCO_isFrequencyEnabled;
inline Slot<int(Device*)> Automeasure_configVCO_enableFrequency;
inline Slot<int(Device*)> Automeasure_configVCO_disableFrequency;
inline Slot<int(Device*)> Automeasure_configVCO_isPowerEnabled;
inline Slot<int(Device*)> Automeasure_configVCO_enablePower;
inline Slot<int(Device*)> Automeasure_configVCO_disablePower;
inline Slot<int(Device*)> Automeasure_configVCO_isKVCOEnabled;
inline Slot<int(Device*)> Automeasure_configVCO_enableKVCO;
inline Slot<int(Device*)> Automeasure_configVCO_disableKVCO;
inline Slot<int(Device*)> Automeasure_configVCO_isKPushEnabled;
inline Slot<int(Device*)> Automeasure_configVCO_enableKPush;
inline Slot<int(Device*)> Automeasure_configVCO_disableKPush;
inline Slot<int(Device*)> Automeasure_configVCO_isISupplyEnabled;
inline Slot<int(Device*)> Automeasure_configVCO_enableISupply;
inline Slot<int(Device*)> Automeasure_configVCO_disableISupply;
inline Slot<int(Device*)> Automeasure_configVCO_isPhaseNoiseEnabled;
inline Slot<int(Device*)> Automeasure_configVCO_enablePhaseNoise;
inline Slot<int(Device*)> Automeasure_configVCO_disablePhaseNoise;

// clang-format on
