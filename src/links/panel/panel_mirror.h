#pragma once
/// Which lines the front panel gets about what.

/// Fills the slots of the mirror (device_table/fptrs_panel.h); after those of the device.
void panelMirror_register();

/// The full picture, as the panel has it before the first change.
void hcupdate_everything();
