#pragma once
/// The instrument's own IPv4 address, and whether it has changed.

inline constexpr int addressTextSize = 16; // bytes of a dotted quad with its end

/// Writes the address of the interface eth0:avahi, else of eth0, as a dotted quad into `buffer` (addressTextSize
/// bytes). Returns 0, or -1 with "0.0.0.0" in the buffer if there is none.
int TvsocketGetMyAddr(char* buffer);

/// Writes the address as above and returns whether it differs from that of the last call ("0.0.0.0" before the first).
/// One thread at a time.
[[nodiscard]] bool Tvsocket_hasAddressChanged(char* buffer);

/// On the debug channel.
void TvsocketPrintMyAddr();
