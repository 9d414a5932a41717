#pragma once
/// Slots of the carrier: output, frequency, level readings, frequency counting, reference.

#include "device_table/fptrs_types.h"

// clang-format off

// Output and frequency.
inline Slot<int(Device*)> Device_isRfEnabled;
inline Slot<int(Device*)> Device_enableRf;
inline Slot<int(Device*)> Device_disableRf;
inline Slot<int(Device*, int)> Device_enableRfOneChannel;                       // 1 is A, 2 is B
inline Slot<int(Device*, int)> Device_disableRfOneChannel;                      // 1 is A, 2 is B
inline Slot<const tvfreq*(Device*)> Device_getFrequency;                        // carrier in force
inline Slot<int(Device*, const tvfreq*)> Device_setFrequency;                   // both channels
inline Slot<const tvfreq*(Device*)> Device_getFrequencyFixed;
inline Slot<int(Device*, const tvfreq*)> Device_setFrequencyFixed;
inline Slot<const tvfreq*(Device*)> Device_getFrequencyMin;
inline Slot<const tvfreq*(Device*)> Device_getFrequencyMax;
inline Slot<int(Device*, const tvfreq*)> Device_setFrequencyOneChannel;         // selected channel only
inline Slot<int(Device*, const tvfreq*, int)> Device_setOffsettedFrequency;     // frequency, 1 up or 0 back
inline Slot<int(Device*, const tvfreq*)> Device_setFreqVariable;                // analog boards only
inline Slot<int(Device*)> Device_isFrequencyRoundingEnabled;
inline Slot<int(Device*)> Device_enableFrequencyRounding;
inline Slot<int(Device*)> Device_disableFrequencyRounding;
inline Slot<uint32_t(Device*)> Device_getDivThresFrequency;                     // prescaler threshold, MHz
inline Slot<int(Device*, uint32_t)> Device_setDivThresFrequency;                // prescaler threshold, MHz
inline Slot<uint64_t(Device*)> Device_getFtw;                                   // tuning word of the selected source
inline Slot<int(Device*, int, uint64_t)> Device_setFtw;                         // the int is not used
inline Slot<int(Device*, int, int64_t)> Device_setFtwStep;                      // added to the word; the same
inline Slot<double(Device*)> Device_getPdFrequency;                             // at the phase detector, Hz
inline Slot<int(Device*)> Device_configPulse;                                   // pulse setting to the analog boards

// Level readings.
inline Slot<const tvpow*(Device*)> Device_getPower;                             // device under test, dBm
inline Slot<const tvpow*(Device*)> Device_getPowerFixed;                        // dBm
inline Slot<const tvpow*(Device*)> Device_getPowerRaw;                          // detector, ADC counts
inline Slot<const tvpow*(Device*)> Device_getREFPower;                          // reference input, dBm
inline Slot<const tvpow*(Device*)> Device_quicklyGetPower;                      // dBm, without a change of paths

// Frequency counting.
inline Slot<int(Device*)> Device_enableCounter;                                 // returns the prescaler
inline Slot<int(Device*)> Device_disableCounter;
inline Slot<int(Device*)> Device_measureFrequency;                              // into the carrier frequency
inline Slot<uint32_t(Device*)> Device_getCounterMinimum;                        // lower of the last raw counts
inline Slot<int(Device*, uint32_t)> Device_setCounterMinimum;
inline Slot<tv_time(Device*)> Device_getCounterTimeout;                         // gate time, s
inline Slot<int(Device*, tv_time)> Device_setCounterTimeout;                    // gate time, s
inline Slot<int(Device*)> Device_getDUTFrequency;                               // into the configuration; 0
inline Slot<double(Device*, double)> Device_getPhaseNoiseDUTFrequency;          // Hz near a hint; negative: none
inline Slot<double(Device*, double)> Device_BOARD1C_getPhaseNoiseDUTFrequency;

// Reference.
inline Slot<int(Device*)> Device_isReferenceSourceInternal;
inline Slot<int(Device*)> Device_setReferenceSourceInternal;
inline Slot<int(Device*)> Device_setReferenceSourceExternal;
inline Slot<int(Device*)> Device_setReferenceSourceExternalAmpAtt;
inline Slot<int(Device*)> Device_getInternalReferenceSelection;                 // 0 to 3; -1 without sources
inline Slot<int(Device*, int)> Device_setInternalReferenceSelection;           // 10 MHz x 100, 100 x 10, 1 GHz, PLL
inline Slot<int(Device*)> Device_isInternalReferenceReady;
inline Slot<int(Device*)> Device_isReferenceLownoiseEnabled;
inline Slot<int(Device*)> Device_enableReferenceLownoise;
inline Slot<int(Device*)> Device_disableReferenceLownoise;
inline Slot<int(Device*)> Device_enableOCXO;
inline Slot<int(Device*)> Device_disableOCXO;
inline Slot<int(Device*)> Device_isReferenceSource10MInternal;                  // sample clock
inline Slot<int(Device*)> Device_setReferenceSource10MInternal;
inline Slot<int(Device*)> Device_setReferenceSource10MExternal;
inline Slot<int(Device*)> Device_isReferenceSource10MLocked;

// clang-format on
