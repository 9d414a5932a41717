#pragma once
/// Slots of the analog boards and of the DUT supply. Unless told otherwise they act on the selected board.

#include "device_table/fptrs_types.h"

// clang-format off

// Channel selection and paths.
inline Slot<int(Device*)> Device_selectPhaseNoiseAlgBoardA;
inline Slot<int(Device*)> Device_selectPhaseNoiseAlgBoardB;
inline Slot<int(Device*)> Device_isPhaseNoiseAlgBoardASelected;
inline Slot<int(Device*)> Device_isPhaseNoiseAlgBoardBSelected;
inline Slot<int(Device*, int)> Device_setPath;                         // 1 none, 2 baseband, 3 phase noise, 5 transient
inline Slot<int(Device*, int, int)> Device_setPathOneChannel;          // channel (1 is A, 2 is B), path
inline Slot<int(Device*)> Device_getIFPath;
inline Slot<int(Device*, int)> Device_setIFPath;                       // 1 DC, 2 5 MHz, 3 20 MHz, 4 50 MHz
inline Slot<int(Device*, uint32_t)> Device_selectHP;                   // IF path by number
inline Slot<int(Device*)> Device_isPreamplifierEnabled;
inline Slot<int(Device*)> Device_enablePreamplifier;                   // both boards
inline Slot<int(Device*)> Device_disablePreamplifier;                  // both boards
inline Slot<int(Device*)> Device_isFMDiscriminatorEnabled;
inline Slot<int(Device*)> Device_enableFMDiscriminator;
inline Slot<int(Device*)> Device_disableFMDiscriminator;
inline Slot<uint32_t(Device*)> Device_getPrescaler;                    // division ratio
inline Slot<int(Device*, uint32_t)> Device_setPrescaler;               // division ratio
inline Slot<int(Device*)> Device_isAutoPrescaler;
inline Slot<int(Device*)> Device_enableAutoPrescaler;
inline Slot<int(Device*)> Device_disableAutoPrescaler;
inline Slot<int(Device*, int32_t)> Device_setMuxDivider;               // division before the counter

// Gain and attenuation.
inline Slot<int(Device*)> Device_getLnaGain;                           // IF gain, dB
inline Slot<int(Device*, int)> Device_setLnaGain;                      // IF gain, dB; both boards
inline Slot<int(Device*, char*)> Device_getLnaGainList;                // the gains, into listTextSize bytes
inline Slot<int(Device*)> Device_getDefaultGainStages;                 // number of gains
inline Slot<uint32_t(Device*)> Device_getTotalStepAttenuation;         // steps of 0.5 dB
inline Slot<int(Device*, uint32_t)> Device_setTotalStepAttenuation;    // steps of 0.5 dB; both boards

// Phase locked loop.
inline Slot<int(Device*, int)> Device_selectPnLoopMode;                // 1 open, 3 closed, 4 with aid, 5 calibration
inline Slot<int(Device*, uint32_t)> Device_selectLoopC;                // capacitor 0 to 4
inline Slot<int(Device*, char*)> Device_getLoopCListStr;               // capacitors in F, into listTextSize bytes
inline Slot<int(Device*, int, double)> Device_setResistance;           // index 1 to 3, ohm
inline Slot<int(Device*, float)> Device_setLockhelperVoltage;          // V
inline Slot<int(Device*, float)> Device_setVoutPosVoltage;             // supply of the loop, V
inline Slot<double(Device*)> Device_getIsTuneVoltage;                  // at the internal source, V
inline Slot<double(Device*)> Device_getTuneOutputVoltage;              // calibration tune voltage, V
inline Slot<int(Device*, double)> Device_setTuneOutputVoltage;         // V
inline Slot<double(Device*)> Device_getExternalTuneOutputVoltage;      // V
inline Slot<int(Device*, double)> Device_setExternalTuneOutputVoltage; // V

// Tuning sensitivity of the internal sources.
inline Slot<double(Device*)> Device_getFmSensitivity;                  // at the carrier, Hz/V
inline Slot<double(Device*)> Device_getVcoSensitivity;                 // of the oscillator in use, Hz/V
inline Slot<int(Device*, double)> Device_setVcoSensitivity;            // Hz/V
inline Slot<double(Device*)> Device_getVco10MSensitivity;              // Hz/V
inline Slot<int(Device*, double)> Device_setVco10MSensitivity;         // Hz/V
inline Slot<double(Device*)> Device_getVco100MSensitivity;             // Hz/V
inline Slot<int(Device*, double)> Device_setVco100MSensitivity;        // Hz/V
inline Slot<double(Device*)> Device_getVco1000MSensitivity;            // Hz/V
inline Slot<int(Device*, double)> Device_setVco1000MSensitivity;       // Hz/V

// Tune voltage of the device under test.
inline Slot<double(Device*)> Device_getDutTuneOutputVoltage;           // V
inline Slot<int(Device*, double)> Device_setDutTuneOutputVoltage;      // V
inline Slot<int(Device*)> Device_isDutTuneOutputVoltageEnabled;
inline Slot<int(Device*)> Device_enableDutTuneOutputVoltage;
inline Slot<int(Device*)> Device_disableDutTuneOutputVoltage;

// DUT supply: the second argument is the output, 1 or 2.
inline Slot<double(Device*, int32_t)> Device_getSupplyOutputVoltage;             // V
inline Slot<int(Device*, int32_t, double)> Device_setSupplyOutputVoltage;        // V
inline Slot<double(Device*, int32_t)> Device_getSupplyOutputVoltageMin;          // V
inline Slot<double(Device*, int32_t)> Device_getSupplyOutputVoltageMax;          // V
inline Slot<int(Device*, int32_t, uint32_t)> Device_setSupplyOutputVoltageDac;   // DAC word
inline Slot<double(Device*, int32_t)> Device_getSupplyOutputCurrent;             // limit, A
inline Slot<int(Device*, int32_t, double)> Device_setSupplyOutputCurrent;        // limit, A
inline Slot<double(Device*, int32_t)> Device_getSupplyOutputCurrentMin;          // A
inline Slot<double(Device*, int32_t)> Device_getSupplyOutputCurrentMax;          // A
inline Slot<double(Device*, int32_t)> Device_getSupplyOutputCurrentAdc;          // mean of the ADC, counts
inline Slot<double(Device*, int32_t)> Device_measureSupplyOutputCurrent;         // A
inline Slot<int(Device*, int32_t)> Device_isSupplyOutputEnabled;
inline Slot<int(Device*, int32_t)> Device_enableSupplyOutput;
inline Slot<int(Device*, int32_t)> Device_disableSupplyOutput;

// clang-format on
