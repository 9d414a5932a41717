#pragma once
/// The I/O update line of the controller board, which reaches every board: chips that hold back what they are sent take
/// it over with the pulse.

/// Pulses the line, or appends the pulse to a running capture (1 then). 0, or -200 when the module refused.
[[nodiscard]] int TVCONT_ioupdate();
/// The same; with `arg` other than 0 the triggered update, with `arg` for the module.
[[nodiscard]] int TVCONT_ioupdateTrigger(int arg);
