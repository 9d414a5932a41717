#pragma once
/// Codes of Device_selectPnLoopMode that a run uses.

inline constexpr int loopOpen = 1;       // the source is tuned by the calibration voltage
inline constexpr int loopQuadrature = 3; // closed, helper off
inline constexpr int loopHelper = 4;     // closed, helper on
