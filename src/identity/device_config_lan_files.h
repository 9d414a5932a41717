#pragma once
/// The files behind the network settings, which belong together:
///   /tolvane/dev/conf/syst_comm_lan_conf   the mode, "AUTO", "DHCP" or "MAN"
///   /tolvane/dev/conf/eth0_static_conf     the stanza of a fixed address; counts in MAN only
///   /etc/network/configuration             the mode again, for the system's scripts
///   /etc/network/interfaces                lo_conf with eth0_dhcp_conf or with eth0_static_conf behind it
/// The first two are the truth and change in the order that keeps each moment valid: the stanza, then the mode. The
/// other two are made from them, and made again at start if a kill in between has left them behind.

#include "identity/device_config_lan.h"

/// The stored mode; AUTO if there is none.
[[nodiscard]] LanMode lanFiles_mode();

/// Stores the settings, inside a protected write of both trees. All drafts are on the disk before the first file
/// changes. Returns 0, or -200 with all files as they were: no room, or a stanza that the system should have laid down
/// is missing.
[[nodiscard]] int lanFiles_store(const LanConfig& config);

/// Brings the files of /etc/network in step with the mode and the stanza. Returns true if one of them had to change. A
/// unit without a stored mode or without the stanza for it is left alone.
bool lanFiles_repair();
