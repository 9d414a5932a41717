#pragma once
/// The unit's GPIB connector and what is plugged in there: an adapter for clients on the network, and at address 21 a
/// device that only listens.

#include <netinet/in.h>
#include <string>

namespace vi {

/// Gives the firmware its driver and lets clients in at `address`, at port 1234 or, where that is taken, at any, for
/// the life of the process. The records of the unit, in the folder `records`, then hold the port ("gpib"), the
/// adapter's settings ("gpib-adapter") and what the listener has heard ("gpib-listener"). A unit whose serial number
/// has no GPIB has no driver and no records. Once, before the firmware starts.
void gpibConnector_start(in_addr address, const std::string& serialNumber, const std::string& records);

} // namespace vi
