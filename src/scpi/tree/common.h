#pragma once
/// Common commands of IEEE 488.2.

#include "scpi/tree/leaves.h"

namespace scpi {

/// Called first by *RCL<n>. Start-up sets it before the first link is served; null where there is no bus.
inline int (*recall_resetBus)() = nullptr;

void common_clearStatus(Unit& unit);
void common_eventEnable(Unit& unit);
void common_eventStatus(Unit& unit);
void common_identify(Unit& unit);
void common_operationComplete(Unit& unit);
void common_options(Unit& unit);
void common_recall(Unit& unit);
void common_save(Unit& unit);
void common_deleteSaved(Unit& unit);
void common_serviceEnable(Unit& unit);
void common_statusByte(Unit& unit);
void common_selftest(Unit& unit);
void common_wait(Unit& unit);

inline constexpr Row commonRows[] = {
    {"*CLS", S, {common_clearStatus, Kind::action}, "", "Clear the events of all status registers and the error queue"},
    {"*ESE", QS, {common_eventEnable, Kind::natural}, "<0 to 255>", "Standard event enable register"},
    {"*ESR", Q, {common_eventStatus, Kind::reading}, "", "Standard event status register; reading does not clear it"},
    {"*IDN", Q, common_identify, "", "Maker, model with its extension, serial number, firmware version"},
    {"*OPC", QS, common_operationComplete, "", "1: each command has ended when the next one runs"},
    {"*OPT", Q, common_options, "", "Installed options, quoted"},
    {"*RCL<n>",
     S,
     {common_recall, Kind::action},
     "",
     "Recall stored settings n, 0 to 999; nothing happens if there are none"},
    {"*RST", S, action<Automeasure_config_reset>, "", "Measurement configuration to its defaults"},
    {"*SAV<n>", S, {common_save, Kind::action}, "", "Store the settings as n, 0 to 999; not in this instrument"},
    {"*SDS<n>", S, {common_deleteSaved, Kind::action}, "", "Delete stored settings n, 0 to 999"},
    {"*SRE", QS, {common_serviceEnable, Kind::natural}, "<0 to 255>", "Service request enable register"},
    {"*STB", Q, {common_statusByte, Kind::reading}, "", "Status byte; always 0, no event becomes a service request"},
    {"*TST", Q, {common_selftest, Kind::reading}, "", "Self test; 0 is good"},
    {"*WAI", S, {common_wait, Kind::action}, "", "Does nothing: each command has ended when the next one runs"},
};

} // namespace scpi
