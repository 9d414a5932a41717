#pragma once
/// Frequency plan of the source board above 400 MHz. For the files of the board alone.

#include "numeric/tvtypes.h"

inline constexpr int64_t isDirectMax_Hz = 400'000'000;      // the DDS alone; also the highest comparison frequency
inline constexpr int64_t isUndoubledMax_Hz = 6'900'000'000; // the VCO

/// Dividers between the VCO's output and the comparison with the DDS.
struct IsDividers {
    uint32_t a = 1; // 1, 2, 4, 8
    uint32_t b = 1; // 1, 2, 3, 4
};

/// The first pair that brings `f`, above 400 MHz, down to what the DDS can make, and there to a frequency without near
/// spurs; if none does, the last that was tried.
IsDividers is_planDividers(const tvfreq& f);

/// No low-order product of the DDS and its clock of 1 GHz falls close to `hertz`.
bool is_isSpurFree(int64_t hertz);
