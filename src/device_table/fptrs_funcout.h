#pragma once
/// Slots of the function output, the low-frequency generator and the trigger pulse at I/O update.

#include "device_table/fptrs_types.h"

// clang-format off

inline Slot<int(Device*)> Device_isFuncoutEnabled;
inline Slot<int(Device*)> Device_enableFuncout;
inline Slot<int(Device*)> Device_disableFuncout;
inline Slot<int(Device*)> Device_isFuncoutSourceDac;
inline Slot<int(Device*)> Device_isFuncoutSourceHigh;
inline Slot<int(Device*)> Device_isFuncoutSourceLfg;
inline Slot<int(Device*)> Device_isFuncoutSourceLow;
inline Slot<int(Device*)> Device_isFuncoutSourcePulm;
inline Slot<int(Device*)> Device_isFuncoutSourceTrigger;
inline Slot<int(Device*)> Device_setFuncoutSourceDac;
inline Slot<int(Device*)> Device_setFuncoutSourceHigh;
inline Slot<int(Device*)> Device_setFuncoutSourceLfg;
inline Slot<int(Device*)> Device_setFuncoutSourceLow;
inline Slot<int(Device*)> Device_setFuncoutSourcePulm;
inline Slot<int(Device*)> Device_setFuncoutSourceTrigger;
inline Slot<int(Device*, uint32_t)> Device_setFuncoutDac;              // DAC word

inline Slot<const tvfreq*(Device*)> Device_getLfgFrequency;
inline Slot<int(Device*, const tvfreq*)> Device_setLfgFrequency;
inline Slot<const tvfreq*(Device*)> Device_getLfgFrequencyMin;
inline Slot<const tvfreq*(Device*)> Device_getLfgFrequencyMax;
inline Slot<double(Device*)> Device_getLfgAmplitude;                   // V
inline Slot<int(Device*, double)> Device_setLfgAmplitude;              // V
inline Slot<int(Device*)> Device_isLfgShapeSine;
inline Slot<int(Device*)> Device_isLfgShapeSquare;
inline Slot<int(Device*)> Device_isLfgShapeTriangle;
inline Slot<int(Device*)> Device_setLfgShapeSine;
inline Slot<int(Device*)> Device_setLfgShapeSquare;
inline Slot<int(Device*)> Device_setLfgShapeTriangle;

inline Slot<int(Device*)> Device_isTriggerOutputPulseAtIoupdateEnabled;
inline Slot<int(Device*, int)> Device_enableTriggerOutputPulseAtIoupdate; // mode of the pulse
inline Slot<int(Device*)> Device_disableTriggerOutputPulseAtIoupdate;

// Trigger output line of other instruments of the line; unregistered here.
inline Slot<int(Device*)> Device_setTriggerOutputLineOff;
inline Slot<int(Device*)> Device_setTriggerOutputLineHigh;
inline Slot<int(Device*)> Device_setTriggerOutputLineLow;
inline Slot<int(Device*)> Device_setTriggerOutputLineTrigger;

// clang-format on
