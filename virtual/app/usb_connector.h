#pragma once
/// The unit's USB connector, for hosts on the network.

#include <cstdint>
#include <string>

namespace vi {

/// Gives the firmware its driver and exports the unit on USB/IP's port of `address` (IPv4, network byte order), for the
/// life of the process; `record` is a file that then holds the port. Where that cannot be had one line on standard
/// output says so, there is no record, and nobody is at the other end of the cable. Once, before the firmware starts.
void usbConnector_start(uint32_t address, const std::string& serialNumber, const char* record);

} // namespace vi
