#pragma once
/// The I/O update line of the controller board, which reaches every board: chips that hold back what they are sent take
/// it over with the pulse.

/// Pulses the line, or appends the pulse to a running capture (1 then). 0, or a negative value when the module refused.
[[nodiscard]] int TVCONT_ioupdate();
