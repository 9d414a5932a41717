#pragma once
/// Slots of the carrier: output, frequency, level readings, frequency counting, reference.

#include "device_table/fptrs_types.h"

// clang-format off

// Output and frequency.
inline Slot<int(Device*)> Device_isRfEnabled{onBoards};
inline Slot<int(Device*)> Device_enableRf{onBoards};
inline Slot<int(Device*)> Device_disableRf{onBoards};
inline Slot<int(Device*, int)> Device_enableRfOneChannel{onBoards};             // 1 is A, 2 is B
inline Slot<int(Device*, int)> Device_disableRfOneChannel{onBoards};            // 1 is A, 2 is B
inline Slot<const tvfreq*(Device*)> Device_getFrequency{onBoards};              // carrier in force
inline Slot<int(Device*, const tvfreq*)> Device_setFrequency{onBoards};         // both channels
inline Slot<const tvfreq*(Device*)> Device_getFrequencyFixed{onBoards};
inline Slot<int(Device*, const tvfreq*)> Device_setFrequencyFixed{onBoards};
inline Slot<const tvfreq*(Device*)> Device_getFrequencyMin;
inline Slot<const tvfreq*(Device*)> Device_getFrequencyMax;
inline Slot<int(Device*, const tvfreq*)> Device_setFrequencyOneChannel{onBoards}; // selected channel only
inline Slot<int(Device*, const tvfreq*, int)> Device_setOffsettedFrequency{onBoards}; // frequency, 1 up or 0 back
inline Slot<int(Device*, const tvfreq*)> Device_setFreqVariable{onBoards};      // analog boards only
inline Slot<int(Device*)> Device_isFrequencyRoundingEnabled{onBoards};
inline Slot<int(Device*)> Device_enableFrequencyRounding{onBoards};
inline Slot<int(Device*)> Device_disableFrequencyRounding{onBoards};
inline Slot<uint32_t(Device*)> Device_getDivThresFrequency{onBoards};           // prescaler threshold, MHz
inline Slot<int(Device*, uint32_t)> Device_setDivThresFrequency{onBoards};      // prescaler threshold, MHz
inline Slot<uint64_t(Device*)> Device_getFtw{onBoards};                         // tuning word of the selected source
inline Slot<int(Device*, int, uint64_t)> Device_setFtw{onBoards};               // the int is not used
inline Slot<int(Device*, int, int64_t)> Device_setFtwStep{onBoards};            // added to the word; the same
inline Slot<double(Device*)> Device_getPdFrequency{onBoards};                   // at the phase detector, Hz
inline Slot<int(Device*)> Device_configPulse{onBoards};                         // pulse setting to the analog boards

// Level readings.
inline Slot<const tvpow*(Device*)> Device_getPower{onBoards};                   // device under test, dBm
inline Slot<const tvpow*(Device*)> Device_getPowerFixed{onBoards};              // dBm
inline Slot<const tvpow*(Device*)> Device_getPowerRaw{onBoards};                // detector, ADC counts
inline Slot<const tvpow*(Device*)> Device_getREFPower{onBoards};                // reference input, dBm
inline Slot<const tvpow*(Device*)> Device_quicklyGetPower{onBoards};            // dBm, without a change of paths

// Frequency counting.
inline Slot<int(Device*)> Device_enableCounter{onBoards};                       // returns the prescaler
inline Slot<int(Device*)> Device_disableCounter{onBoards};
inline Slot<int(Device*)> Device_measureFrequency{onBoards};                    // into the carrier frequency
inline Slot<uint32_t(Device*)> Device_getCounterMinimum{onBoards};              // lower of the last raw counts
inline Slot<int(Device*, uint32_t)> Device_setCounterMinimum{onBoards};
inline Slot<tv_time(Device*)> Device_getCounterTimeout{onBoards};               // gate time, s
inline Slot<int(Device*, tv_time)> Device_setCounterTimeout{onBoards};          // gate time, s
inline Slot<int(Device*)> Device_getDUTFrequency{onBoards};                     // into the configuration; 0
inline Slot<double(Device*, double)> Device_getPhaseNoiseDUTFrequency{onBoards}; // Hz near a hint; negative: none
inline Slot<double(Device*, double)> Device_BOARD1C_getPhaseNoiseDUTFrequency{onBoards};

// Reference.
inline Slot<int(Device*)> Device_isReferenceSourceInternal{onBoards};
inline Slot<int(Device*)> Device_setReferenceSourceInternal{onBoards};
inline Slot<int(Device*)> Device_setReferenceSourceExternal{onBoards};
inline Slot<int(Device*)> Device_setReferenceSourceExternalAmpAtt{onBoards};
inline Slot<int(Device*)> Device_getInternalReferenceSelection{onBoards};       // 0 to 3; -1 without sources
inline Slot<int(Device*, int)> Device_setInternalReferenceSelection{onBoards}; // 10 MHz x 100, 100 x 10, 1 GHz, PLL
inline Slot<int(Device*)> Device_isInternalReferenceReady{onBoards};
inline Slot<int(Device*)> Device_isReferenceLownoiseEnabled{onBoards};
inline Slot<int(Device*)> Device_enableReferenceLownoise{onBoards};
inline Slot<int(Device*)> Device_disableReferenceLownoise{onBoards};
inline Slot<int(Device*)> Device_enableOCXO{onBoards};
inline Slot<int(Device*)> Device_disableOCXO{onBoards};
inline Slot<int(Device*)> Device_isReferenceSource10MInternal{onBoards};        // sample clock
inline Slot<int(Device*)> Device_setReferenceSource10MInternal{onBoards};
inline Slot<int(Device*)> Device_setReferenceSource10MExternal{onBoards};
inline Slot<int(Device*)> Device_isReferenceSource10MLocked{onBoards};

// clang-format on
