#pragma once
/// Slots of the function output, the low-frequency generator and the trigger pulse at I/O update.

#include "device_table/fptrs_types.h"

// clang-format off

inline Slot<int(Device*)> Device_isFuncoutEnabled{onBoards};
inline Slot<int(Device*)> Device_enableFuncout{onBoards};
inline Slot<int(Device*)> Device_disableFuncout{onBoards};
inline Slot<int(Device*)> Device_isFuncoutSourceDac{onBoards};
inline Slot<int(Device*)> Device_isFuncoutSourceHigh{onBoards};
inline Slot<int(Device*)> Device_isFuncoutSourceLfg{onBoards};
inline Slot<int(Device*)> Device_isFuncoutSourceLow{onBoards};
inline Slot<int(Device*)> Device_isFuncoutSourcePulm{onBoards};
inline Slot<int(Device*)> Device_isFuncoutSourceTrigger{onBoards};
inline Slot<int(Device*)> Device_setFuncoutSourceDac{onBoards};
inline Slot<int(Device*)> Device_setFuncoutSourceHigh{onBoards};
inline Slot<int(Device*)> Device_setFuncoutSourceLfg{onBoards};
inline Slot<int(Device*)> Device_setFuncoutSourceLow{onBoards};
inline Slot<int(Device*)> Device_setFuncoutSourcePulm{onBoards};
inline Slot<int(Device*)> Device_setFuncoutSourceTrigger{onBoards};
inline Slot<int(Device*, uint32_t)> Device_setFuncoutDac{onBoards};    // DAC word

inline Slot<const tvfreq*(Device*)> Device_getLfgFrequency{onBoards};
inline Slot<int(Device*, const tvfreq*)> Device_setLfgFrequency{onBoards};
inline Slot<const tvfreq*(Device*)> Device_getLfgFrequencyMin;
inline Slot<const tvfreq*(Device*)> Device_getLfgFrequencyMax;
inline Slot<double(Device*)> Device_getLfgAmplitude{onBoards};         // V
inline Slot<int(Device*, double)> Device_setLfgAmplitude{onBoards};    // V
inline Slot<int(Device*)> Device_isLfgShapeSine{onBoards};
inline Slot<int(Device*)> Device_isLfgShapeSquare{onBoards};
inline Slot<int(Device*)> Device_isLfgShapeTriangle{onBoards};
inline Slot<int(Device*)> Device_setLfgShapeSine{onBoards};
inline Slot<int(Device*)> Device_setLfgShapeSquare{onBoards};
inline Slot<int(Device*)> Device_setLfgShapeTriangle{onBoards};

inline Slot<int(Device*)> Device_isTriggerOutputPulseAtIoupdateEnabled{onBoards};
inline Slot<int(Device*, int)> Device_enableTriggerOutputPulseAtIoupdate{onBoards}; // mode of the pulse
inline Slot<int(Device*)> Device_disableTriggerOutputPulseAtIoupdate{onBoards};

// Trigger output line of other instruments of the line; unregistered here.
inline Slot<int(Device*)> Device_setTriggerOutputLineOff{onBoards};
inline Slot<int(Device*)> Device_setTriggerOutputLineHigh{onBoards};
inline Slot<int(Device*)> Device_setTriggerOutputLineLow{onBoards};
inline Slot<int(Device*)> Device_setTriggerOutputLineTrigger{onBoards};

// clang-format on
