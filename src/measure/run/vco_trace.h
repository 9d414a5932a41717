#pragma once
/// The results of a sweep of an oscillator, column by column.

#include <array>
#include <cstddef>

inline constexpr int vcoPointsMax = 1000;
inline constexpr int vcoPnOffsets = 4;

struct VcoTrace {
    using Column = std::array<float, vcoPointsMax>;

    Column voltage;   // at the tune output, V; -10 before the point is measured
    Column frequency; // Hz; 0
    Column iSupply;   // A; 0
    Column kPush;     // Hz/V; 0
    Column kvco;      // tuning sensitivity, Hz/V; 0, also that of the last point until the sweep is whole
    Column power;     // dBm; -1000
    std::array<Column, vcoPnOffsets> pnOffset; // noise at each of the spot offsets, dBc/Hz; -1000
};
