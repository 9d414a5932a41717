#pragma once
/// Gives the settings of a record their defaults, but for those that a reset leaves. No hardware moves, and what was
/// detected stays. That of the sweep leaves the set-up of its runs alone.

#include "measure/settings/measurement_configuration.h"

void setting_restore(MeasConfig* config);
void setting_restore(VcoConfig* config);
void setting_restore(BasebandConfig* config);
