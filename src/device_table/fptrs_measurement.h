#pragma once
/// Slots of the measurement run and its results. A getter of an array fills the pointer and returns the size in bytes;
/// the array stays where it is, its content changes with the next save.

#include "device_table/fptrs_types.h"

// clang-format off

// Run.
inline Slot<int(Device*)> Automeasure_preparePnMeas;                           // starts; blocks while a run is on
inline Slot<int(Device*)> Automeasure_getPreparePnMeasStatus;                  // 0 locked, -1 not
inline Slot<int(Device*, int, int)> Automeasure_waitForMeasurement;            // whole run 1 or a save 0, average
inline Slot<int(Device*, int, int, int)> Automeasure_timedWaitForMeasurement;  // the same, time limit in ms
inline Slot<int(Device*, int)> Automeasure_waitForVCOMeasurement;              // whole sweep 1 or the next point 0
inline Slot<int(Device*, int, int)> Automeasure_timedWaitForVCOMeasurement;    // the same, time limit in ms
inline Slot<int(Device*)> Automeasure_triggerPreliminaryResult;
inline Slot<int(Device*)> Automeasure_getPreliminaryAverageCount;
inline Slot<int(Device*)> Automeasure_getPreliminaryCorrelationCount;
inline Slot<int(Device*, double)> Automeasure_getStageFromOffset;              // offset in Hz: its stage
inline Slot<int(Device*)> Automeasure_getLastMeasurementTimeMs;                // ms
inline Slot<int(Device*)> Automeasure_getLockTimeMs;                           // ms
inline Slot<int(Device*, char*)> Automeasure_printTimes;                       // into reportTextSize bytes
inline Slot<int(Device*, char*)> Automeasure_printPnMeasInfo;                  // into reportTextSize bytes
inline Slot<int(Device*)> Automeasure_plotTimeData;

// Trace.
inline Slot<int(Device*, const float**)> Automeasure_getPnSpectrumFreq;        // offsets, Hz
inline Slot<int(Device*, const float**)> Automeasure_getPnSpectrumData;        // dBc/Hz
inline Slot<int(Device*, const float**)> Automeasure_getPnSpectrumPowerData;   // before smoothing and spur handling
inline Slot<double(Device*)> Automeasure_getPnSpotSpectrumFreq;                // Hz
inline Slot<double(Device*)> Automeasure_getPnSpotSpectrumData;                // dBc/Hz
inline Slot<int(Device*, const float**)> Automeasure_getSpurFreq;              // Hz
inline Slot<int(Device*, const float**)> Automeasure_getSpurData;              // dBc
inline Slot<double(Device*)> Automeasure_getFunctionIntegral;
inline Slot<double(Device*)> Automeasure_getFunctionJitter;                    // s
inline Slot<int(Device*)> Automeasure_calculateAVariance;
inline Slot<int(Device*, const float**)> Automeasure_getFunctionAVarianceTau;  // s
inline Slot<int(Device*, const float**)> Automeasure_getFunctionAVarianceSigma;
inline Slot<int(Device*, const float**)> Automeasure_getAmTraceData;           // unregistered here
inline Slot<int(Device*, const float**)> Automeasure_getBbTraceData;           // unregistered here
inline Slot<int(Device*, const float**)> Automeasure_getPnTraceData;           // unregistered here

// Sweep of an oscillator.
inline Slot<int(Device*)> Automeasure_getVCOIteration;                         // points done
inline Slot<int(Device*, const float**)> Automeasure_getVoltage;               // tune voltage, V
inline Slot<int(Device*, const float**)> Automeasure_getVCOFrequency;          // Hz
inline Slot<int(Device*, const float**)> Automeasure_getVCOPower;              // dBm
inline Slot<int(Device*, const float**)> Automeasure_getKVCO;                  // Hz/V
inline Slot<int(Device*, const float**)> Automeasure_getKPush;                 // Hz/V
inline Slot<int(Device*, const float**)> Automeasure_getISupply;               // A
inline Slot<int(Device*, const float**, int32_t)> Automeasure_getVcoPnOffset;  // offset 1 to 4, dBc/Hz

// clang-format on
