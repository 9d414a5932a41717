#pragma once
/// The front panel on a Unix socket, for programs that show it and press its keys: docs/panel.md has the protocol.

#include "virtual/panel/front_panel.h"

#include <string>

namespace vi {

/// Serves `panel` on the socket `path` for the life of the process, on a thread of its own; replaces a socket that a
/// former process has left there. Takes the panel's onNews. Returns 0 or an errno.
[[nodiscard]] int panelServer_start(FrontPanel* panel, const std::string& path);

} // namespace vi
