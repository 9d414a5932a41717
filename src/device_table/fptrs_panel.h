#pragma once
/// Slots of the front panel: its mirror of the instrument's state, a line each. They are filled where a panel is built
/// in, and give 0, or -1 if the panel does not hear of it. Callable from any thread.

#include "device_table/fptrs_types.h"

// clang-format off

inline Slot<int(Device*)> DevHc_enableRf{onBoards};
inline Slot<int(Device*)> DevHc_disableRf{onBoards};
inline Slot<int(const char*)> hcupdate;     // any line, without its newline; -223 if it is too long
inline Slot<int()> hcupdate_frequencyFixed;
inline Slot<int()> hcupdate_powerFixed;
inline Slot<int()> hcupdate_rfOutputState;
inline Slot<int()> hcupdate_lfoState;
inline Slot<int()> hcupdate_lfoAmplitude;
inline Slot<int()> hcupdate_lfoFrequency;
inline Slot<int()> hcupdate_lfoShape;
inline Slot<int()> hcupdate_lfoSource;
inline Slot<int()> hcupdate_roscSour;
inline Slot<int()> hcupdate_roscLock;
inline Slot<int(int)> hcupdate_batteryState; // 1 to 6
inline Slot<int()> hcupdate_ipAddress;
inline Slot<int()> hcupdate_gpibAddress;
inline Slot<int()> hcupdate_connectLan;
inline Slot<int()> hcupdate_disconnectLan;
inline Slot<int()> hcupdate_connectUsb;
inline Slot<int()> hcupdate_disconnectUsb;
inline Slot<int()> hcupdate_connectGpib;
inline Slot<int()> hcupdate_disconnectGpib;
inline Slot<int()> hcupdate_lock;           // the panel takes no more keys
inline Slot<int()> hcupdate_release;
inline Slot<int()> hcupdate_remoteOPC;      // settings have been recalled
inline Slot<int()> hcupdate_clearQuesPow;   // the level is in range
inline Slot<int()> hcupdate_setQuesPow;

// clang-format on
