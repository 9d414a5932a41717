#pragma once
/// Network settings of the unit: addresses as the system has them, and the mode in which it gets them.
///
/// The address watch refreshes the settings from a thread of its own; the operations here lock them. A text that a
/// getter hands out lasts until the same getter is called again on the same thread.

#include "base/sync.h"
#include "numeric/tvtypes.h"

#include <cstddef>
#include <cstdint>

enum LanMode : int32_t {
    lanModeDhcp = 0,
    lanModeMan = 1,
    lanModeAuto = 2, // DHCP, or an address of the link-local range where nobody answers
};

/// Dotted quads, "0.0.0.0" when unknown.
struct LanConfig {
    char lanIp[ipv4TextSize];
    char lanSubnet[ipv4TextSize];
    char lanGateway[ipv4TextSize];
    LanMode lanMode;
};

[[nodiscard]] const char* device_config_getIP();
[[nodiscard]] const char* device_config_getSubn();
[[nodiscard]] const char* device_config_getGW();

/// Store an address; device_config_setLanConfig brings it to the system. Return 0, or -224 for a text that is no
/// address (nothing stored). A subnet mask is a run of one bits from the top, at least one.
[[nodiscard]] int device_config_setIP(const char* text);
[[nodiscard]] int device_config_setSubn(const char* text);
[[nodiscard]] int device_config_setGW(const char* text);

[[nodiscard]] bool device_config_isLanConfigAuto();
[[nodiscard]] bool device_config_isLanConfigDhcp();
[[nodiscard]] bool device_config_isLanConfigMan();

/// Store the mode; device_config_setLanConfig brings it to the system.
void device_config_setLanConfigAuto();
void device_config_setLanConfigDhcp();
void device_config_setLanConfigMan();

/// Refreshes the settings from the system: addresses of eth0 (of its link-local alias, if there is one), default
/// gateway, stored mode. What cannot be found out is "0.0.0.0", or AUTO for the mode.
void device_config_getLanConfig();

/// Brings mode and addresses to the system and restarts the link watcher, which takes more than a second. Returns 0, or
/// -200 if the files could not be written: then they and the network are as they were.
[[nodiscard]] int device_config_setLanConfig();

/// device_config_setLanConfig with the mode AUTO; after a failure the mode is the old one.
[[nodiscard]] int device_config_setDefaultLanConfig();

/// Finishes a change of the settings that a killed process has left half done. Once, at start.
void device_config_finishLanConfig();

/// Hardware address of eth0 as text, cut to `size`; empty if it cannot be found out. Returns 0.
int device_config_getMacAddr(char* buffer, size_t size);
