#pragma once
/// What of the settings is not made for each row: what follows a new value, and the defaults.

#include "measure/settings/measurement_configuration.h"

#include <optional>

/// Marks and moves what a new value of `config` asks for. Returns what moving gave.
int setting_follow(Device* device, MeasConfig* config, uint32_t outdates, std::optional<HardwareSide> moves,
                   bool active);

/// Gives the settings of a record their defaults, but for those that a reset leaves. No hardware moves, and what was
/// detected stays. That of the sweep leaves the set-up of its runs alone.
void setting_restore(MeasConfig* config);
void setting_restore(VcoConfig* config);
void setting_restore(BasebandConfig* config);
