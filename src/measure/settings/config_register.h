#pragma once
/// What the measurement publishes in the device table.

/// One assignment a slot. What other layers fill stays as it is.
void registerAutomeasureFunctions();
