#pragma once
/// SYSTem: the error queue, identity, network and link settings.

#include "identity/device_config_lan.h"
#include "scpi/tree/leaves.h"

namespace scpi {

void system_nextError(Unit& unit);
void system_allErrors(Unit& unit);
void system_version(Unit& unit);
void system_name(Unit& unit);
void system_restart(Unit& unit);
void system_gpibAddress(Unit& unit);
void system_lanMode(Unit& unit);
void system_lanMac(Unit& unit);
void system_lanDefault(Unit& unit);
void system_lanRestart(Unit& unit);
void system_queryEcho(Unit& unit);
void system_socketEcho(Unit& unit);

/// A setting that is a quoted text with a getter and a setter.
void system_quotedSetting(Unit& unit, const char* (*get)(), int (*set)(const char*));

void system_lanIp(Unit& unit);
void system_lanSubnet(Unit& unit);
void system_lanGateway(Unit& unit);

/// An operation of the front panel; -241 for one that has gone.
template <auto& act> void runPanelAction(Unit& unit) {
    if (act && noParameters(unit))
        unit.errorCode = act() == 0 ? 0 : hardwareMissing;
}
template <auto& act> inline constexpr Command panelAction{runPanelAction<act>, Kind::action};

inline constexpr Word lanModes[] = {
    {"AUTO", "AUTO", lanModeAuto},
    {"DHCP", "DHCP", lanModeDhcp},
    {"MANual", "MAN", lanModeMan},
};

inline constexpr Command system_gpibAddressText{system_gpibAddress, Kind::text};

inline constexpr Row systemRows[] = {
    {"SYSTem:ERRor:ALL",
     Q,
     {system_allErrors, Kind::report},
     "",
     "All entries of the error queue, oldest first; empties it"},
    {"SYSTem:ERRor[:NEXT]",
     Q,
     {system_nextError, Kind::report},
     "",
     "The oldest entry of the error queue, which it leaves"},
    {"SYSTem:VERSion", Q, {system_version, Kind::report}, "", "Version of SCPI, 1999.0"},
    {"SYSTem:NAME", QS, {system_name, Kind::text}, "\"<text>\"", "Extension of the model name, at most 14 characters"},
    {"SYSTem:LOCK", S, panelAction<hcupdate_lock>, "", "Lock the front panel"},
    {"SYSTem:LOCK:REL", S, panelAction<hcupdate_release>, "", "Release the front panel"},
    {"SYSTem:RESTart", S, {system_restart, Kind::action}, "", "Restart the unit; the link goes down"},
    {"SYSTem:COMMunicate:GPIB:ADDRess", QS, mirrored<hcupdate_gpibAddress, system_gpibAddressText>, "\"<address>\"",
     "Address on the GPIB bus"},
    {"SYSTem:COMMunicate:LAN:CONFig",
     QS,
     {system_lanMode, Kind::word, false, repliesOf<lanModes>},
     wordsOf<lanModes>,
     "Source of the addresses; SYSTem:COMMunicate:LAN:RESTart applies it. The query answers AUTO, DHCP or MAN"},
    {"SYSTem:COMMunicate:LAN:IP", QS, {system_lanIp, Kind::text}, "\"<a.b.c.d>\"", "Address of the unit"},
    {"SYSTem:COMMunicate:LAN:SUBNet", QS, {system_lanSubnet, Kind::text}, "\"<a.b.c.d>\"", "Network mask"},
    {"SYSTem:COMMunicate:LAN:GATEway", QS, {system_lanGateway, Kind::text}, "\"<a.b.c.d>\"", "Default gateway"},
    {"SYSTem:COMMunicate:LAN:MAC", Q, {system_lanMac, Kind::text}, "", "Hardware address, quoted"},
    {"SYSTem:COMMunicate:LAN:DEFault", S, {system_lanDefault, Kind::action}, "", "Apply the mode AUTO"},
    {"SYSTem:COMMunicate:LAN:RESTart", S, {system_lanRestart, Kind::action}, "", "Apply the network settings"},
    {"SYSTem:COMMunicate:QUERy:ECHO",
     QS,
     {system_queryEcho, Kind::onOff},
     "ON|OFF",
     "On this link: every query gives a line, an empty one if it failed"},
    {"SYSTem:COMMunicate:SOCKet:ECHO",
     QS,
     {system_socketEcho, Kind::onOff},
     "ON|OFF",
     "Taken and ignored; the query answers 0"},
};

} // namespace scpi
