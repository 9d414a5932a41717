#pragma once
/// Lines that mirror a value of the device on the front panel: a prefix, a blank and the value. All return 0, or -1 if
/// the panel has gone, the device function is absent or its hardware belongs to a run. Any thread.

#include "device_table/slot.h"
#include "numeric/tvtypes.h"

struct Tvhc;

/// Names the panel that the lines go to; null, as at the start, for none.
void Tvhcupdate_init(Tvhc* tvhc);
[[nodiscard]] Tvhc* Tvhcupdate_getLink();

/// Sends the text as it is.
[[nodiscard]] int Tvhcupdate_n(int length, const char* text);
/// Sends a line; -223 for one that with its newline is longer than 127 bytes.
[[nodiscard]] int Tvhcupdate_line(const char* text);

/// The text itself if `predicate` holds.
[[nodiscard]] int hcupdate_tEnumMember(const char* text, const Slot<int(Device*)>& predicate, Device* device);
[[nodiscard]] int hcupdate_tState(const char* prefix, const Slot<int(Device*)>& get, Device* device);
[[nodiscard]] int hcupdate_tDouble(const char* prefix, const Slot<double(Device*)>& get, Device* device);
/// In dBm, two places.
[[nodiscard]] int hcupdate_tPow(const char* prefix, const Slot<const tvpow*(Device*)>& get, Device* device);
/// In Hz.
[[nodiscard]] int hcupdate_tFreq(const char* prefix, const Slot<const tvfreq*(Device*)>& get, Device* device);
