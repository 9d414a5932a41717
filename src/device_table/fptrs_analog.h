#pragma once
/// Slots of the analog boards and of the DUT supply. Unless told otherwise they act on the selected board.

#include "device_table/fptrs_types.h"

// clang-format off

// Channel selection and paths.
inline Slot<int(Device*)> Device_selectPhaseNoiseAlgBoardA{onBoards};
inline Slot<int(Device*)> Device_selectPhaseNoiseAlgBoardB{onBoards};
inline Slot<int(Device*)> Device_isPhaseNoiseAlgBoardASelected{onBoards};
inline Slot<int(Device*)> Device_isPhaseNoiseAlgBoardBSelected{onBoards};
inline Slot<int(Device*, int)> Device_setPath{onBoards};               // 1 none, 2 baseband, 3 phase noise, 5 transient
inline Slot<int(Device*, int, int)> Device_setPathOneChannel{onBoards}; // channel (1 is A, 2 is B), path
inline Slot<int(Device*)> Device_getIFPath{onBoards};
inline Slot<int(Device*, int)> Device_setIFPath{onBoards};             // 1 DC, 2 5 MHz, 3 20 MHz, 4 50 MHz
inline Slot<int(Device*, uint32_t)> Device_selectHP{onBoards};         // IF path by number
inline Slot<int(Device*)> Device_isPreamplifierEnabled{onBoards};
inline Slot<int(Device*)> Device_enablePreamplifier{onBoards};         // both boards
inline Slot<int(Device*)> Device_disablePreamplifier{onBoards};        // both boards
inline Slot<int(Device*)> Device_isFMDiscriminatorEnabled{onBoards};
inline Slot<int(Device*)> Device_enableFMDiscriminator{onBoards};
inline Slot<int(Device*)> Device_disableFMDiscriminator{onBoards};
inline Slot<uint32_t(Device*)> Device_getPrescaler{onBoards};          // division ratio
inline Slot<int(Device*, uint32_t)> Device_setPrescaler{onBoards};     // division ratio
inline Slot<int(Device*)> Device_isAutoPrescaler{onBoards};
inline Slot<int(Device*)> Device_enableAutoPrescaler{onBoards};
inline Slot<int(Device*)> Device_disableAutoPrescaler{onBoards};
inline Slot<int(Device*, int32_t)> Device_setMuxDivider{onBoards};     // division before the counter

// Gain and attenuation.
inline Slot<int(Device*)> Device_getLnaGain{onBoards};                 // IF gain, dB
inline Slot<int(Device*, int)> Device_setLnaGain{onBoards};            // IF gain, dB; both boards
inline Slot<int(Device*, char*)> Device_getLnaGainList;                // the gains, into listTextSize bytes
inline Slot<int(Device*)> Device_getDefaultGainStages;                 // number of gains
inline Slot<uint32_t(Device*)> Device_getTotalStepAttenuation{onBoards}; // steps of 0.5 dB
inline Slot<int(Device*, uint32_t)> Device_setTotalStepAttenuation{onBoards}; // steps of 0.5 dB; both boards

// Phase locked loop.
inline Slot<int(Device*, int)> Device_selectPnLoopMode{onBoards};      // 1 open, 3 closed, 4 with aid, 5 calibration
inline Slot<int(Device*, uint32_t)> Device_selectLoopC{onBoards};      // capacitor 0 to 4
inline Slot<int(Device*, char*)> Device_getLoopCListStr;               // capacitors in F, into listTextSize bytes
inline Slot<int(Device*, int, double)> Device_setResistance{onBoards}; // index 1 to 3, ohm
inline Slot<int(Device*, float)> Device_setLockhelperVoltage{onBoards}; // V
inline Slot<int(Device*, float)> Device_setVoutPosVoltage{onBoards};   // supply of the loop, V
inline Slot<double(Device*)> Device_getIsTuneVoltage{onBoards};        // at the internal source, V
inline Slot<double(Device*)> Device_getTuneOutputVoltage{onBoards};    // calibration tune voltage, V
inline Slot<int(Device*, double)> Device_setTuneOutputVoltage{onBoards}; // V
inline Slot<double(Device*)> Device_getExternalTuneOutputVoltage{onBoards}; // V
inline Slot<int(Device*, double)> Device_setExternalTuneOutputVoltage{onBoards}; // V

// Tuning sensitivity of the internal sources.
inline Slot<double(Device*)> Device_getFmSensitivity{onBoards};        // at the carrier, Hz/V
inline Slot<double(Device*)> Device_getVcoSensitivity{onBoards};       // of the oscillator in use, Hz/V
inline Slot<int(Device*, double)> Device_setVcoSensitivity{onBoards};  // Hz/V
inline Slot<double(Device*)> Device_getVco10MSensitivity{onBoards};    // Hz/V
inline Slot<int(Device*, double)> Device_setVco10MSensitivity{onBoards}; // Hz/V
inline Slot<double(Device*)> Device_getVco100MSensitivity{onBoards};   // Hz/V
inline Slot<int(Device*, double)> Device_setVco100MSensitivity{onBoards}; // Hz/V
inline Slot<double(Device*)> Device_getVco1000MSensitivity{onBoards};  // Hz/V
inline Slot<int(Device*, double)> Device_setVco1000MSensitivity{onBoards}; // Hz/V

// Tune voltage of the device under test.
inline Slot<double(Device*)> Device_getDutTuneOutputVoltage{onBoards}; // V
inline Slot<int(Device*, double)> Device_setDutTuneOutputVoltage{onBoards}; // V
inline Slot<int(Device*)> Device_isDutTuneOutputVoltageEnabled{onBoards};
inline Slot<int(Device*)> Device_enableDutTuneOutputVoltage{onBoards};
inline Slot<int(Device*)> Device_disableDutTuneOutputVoltage{onBoards};

// DUT supply: the second argument is the output, 1 or 2.
inline Slot<double(Device*, int32_t)> Device_getSupplyOutputVoltage{onBoards};   // V
inline Slot<int(Device*, int32_t, double)> Device_setSupplyOutputVoltage{onBoards}; // V
inline Slot<double(Device*, int32_t)> Device_getSupplyOutputVoltageMin;          // V
inline Slot<double(Device*, int32_t)> Device_getSupplyOutputVoltageMax;          // V
inline Slot<int(Device*, int32_t, uint32_t)> Device_setSupplyOutputVoltageDac{onBoards}; // DAC word
inline Slot<double(Device*, int32_t)> Device_getSupplyOutputCurrent{onBoards};   // limit, A
inline Slot<int(Device*, int32_t, double)> Device_setSupplyOutputCurrent{onBoards}; // limit, A
inline Slot<double(Device*, int32_t)> Device_getSupplyOutputCurrentMin;          // A
inline Slot<double(Device*, int32_t)> Device_getSupplyOutputCurrentMax;          // A
inline Slot<double(Device*, int32_t)> Device_getSupplyOutputCurrentAdc{onBoards}; // mean of the ADC, counts
inline Slot<double(Device*, int32_t)> Device_measureSupplyOutputCurrent{onBoards}; // A
inline Slot<int(Device*, int32_t)> Device_isSupplyOutputEnabled{onBoards};
inline Slot<int(Device*, int32_t)> Device_enableSupplyOutput{onBoards};
inline Slot<int(Device*, int32_t)> Device_disableSupplyOutput{onBoards};

// clang-format on
