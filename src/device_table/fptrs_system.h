#pragma once
/// Slots of the instrument as a whole: identity, life cycle, lamps, fan, calibration, service.

#include "device_table/fptrs_types.h"

// clang-format off

// Identity and life cycle.
inline Slot<const char*(Device*)> Device_getName;                      // model name
inline Slot<DeviceStatusRegisters*(Device*)> Device_getStatusRegisters;
inline Slot<int(Device*)> Device_clear;                                // device clear of a link
inline Slot<int(Device*, uint32_t, uint32_t)> Device_periodic;         // on every tick: counter bits that rose, counter
inline Slot<int(Device*)> Device_initImmediate;                        // start the measurement; blocks while one runs
inline Slot<int(Device*)> Device_abort;                                // stop the measurement
inline Slot<int(Device*)> Device_abort_local;                          // cancel the transfer of the acquisition board
inline Slot<int(Device*, const tv_time*)> Device_complete{onBoards};   // waits up to so long (s) for it; 1 ended, 0 not
inline Slot<int(Device*)> Device_resetFull{onBoards};
inline Slot<int(Device*)> Device_resetFpga{onBoards};
inline Slot<uint32_t(Device*)> Device_getResetCount;                   // resets of the FPGA since start
inline Slot<int(Device*)> Device_getDefaultSourceIndex;
inline Slot<int(Device*)> Device_getSourceIndexMin;
inline Slot<int(Device*)> Device_getSourceIndexMax;
inline Slot<double(Device*)> Device_getBootDelay;                      // s
inline Slot<int(Device*, double)> Device_setBootDelay;                 // s

// Self tests and reports. A report goes into a text of reportTextSize bytes.
inline Slot<int(Device*)> Device_selftest{onBoards};                   // signed 16-bit code, 0 is good
inline Slot<int(Device*, char*)> Device_getDeviceStatus{onBoards};     // report of selftest and boards
inline Slot<int(Device*)> Device_printInfo{onBoards};                  // boards on the console
inline Slot<int(Device*)> Device_test{onBoards};
inline Slot<int(Device*)> Device_testIS{onBoards};                     // internal source boards
inline Slot<int(Device*)> Device_testTVPN_ADFPGA{onBoards};            // acquisition board
inline Slot<int(Device*)> Device_diagAlgAdc1{onBoards};                // tune and offset readings on the console
inline Slot<float(Device*)> Device_getContTemperature;                 // controller board, degrees Celsius
inline Slot<int(Device*)> Device_getPinStatePHSTATUS;
inline Slot<int(Device*)> Device_getPinStateRESET;
inline Slot<int(Device*, int32_t, uint32_t*)> Device_readFsRegister{onBoards}; // number of the register, its value
inline Slot<TVCONT*(Device*)> Device_getTvcontPtr;                     // controller board, null without one
inline Slot<TVCONT*(Device*)> Device_getFuncoutBoardPtr;               // board that carries the function output

// Lamps and fan.
inline Slot<int(Device*)> Device_enableLedReady;
inline Slot<int(Device*)> Device_disableLedReady;
inline Slot<int(Device*)> Device_enableLedRemote;
inline Slot<int(Device*)> Device_disableLedRemote;
inline Slot<int(Device*)> Device_enableLedError;
inline Slot<int(Device*)> Device_disableLedError;
inline Slot<int(Device*, uint32_t)> Device_enableOutputLed;            // number of the output
inline Slot<int(Device*, uint32_t)> Device_disableOutputLed;           // number of the output
inline Slot<int(Device*)> Device_enableFan;
inline Slot<int(Device*)> Device_disableFan;
inline Slot<double(Device*)> Device_getFanDac;                         // 0 to 1; -1 without one
inline Slot<int(Device*, double)> Device_setFanDac;                    // 0 to 1

// Calibration.
inline Slot<int(Device*)> Device_loadCalibrationData{onBoards};
inline Slot<int(Device*, char*)> Device_getCalibrationDate;            // into calibrationDateSize bytes
inline Slot<int(Device*, const char*)> Device_setCalibrationDate{onBoards}; // "year/month/day/hour/minute"
inline Slot<const char*(Device*)> Device_getCalibrationFilename;       // absolute path
inline Slot<const char*(Device*)> Device_getReadbackCalibrationFilename;
inline Slot<int(Device*, int, const float*, float*)> Device_calibrateTVPNGain; // count, offsets Hz, levels dB in place
inline Slot<int(Device*, double*, double*)> Device_calibrateTVPNFrequency;     // Hz in place, gives the value before

// Of other instruments of the line; unregistered here.
inline Slot<int(Device*)> Device_reset{onBoards};
inline Slot<int(Device*)> Device_execute;                              // after each program message
inline Slot<int(Device*)> Device_ioupdate{onBoards};                   // latched settings take effect
inline Slot<int(Device*, int)> Device_ioupdateTrigger{onBoards};       // the same on a trigger
inline Slot<int(Device*)> Device_lastDeviceError;
inline Slot<int(Device*)> Device_isAnalyzer;
inline Slot<double(Device*)> Device_getBatteryVoltage;                 // V
inline Slot<const char*(Device*)> Device_getStoredScpiParameters;      // paths, a line each, or null

// clang-format on
