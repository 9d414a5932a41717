#pragma once
/// A trace as it is handed to those who work on it. The views live as long as the caller holds what guards the arrays.

#include "measure/settings/staging.h"

#include <cstdint>
#include <span>

inline constexpr int32_t pointsPerDecadeMax = 500;
inline constexpr int32_t tracePointsMax = pointsPerDecadeMax * stageCountMax + 1;
inline constexpr int32_t spursMax = tracePointsMax; // of a list of points while they are sought: a line has many
inline constexpr int32_t aVariancePointsMax = 300;

struct TraceView {
    std::span<const float> frequency;     // offsets, Hz, ascending; empty: there is no trace
    std::span<const float> level;         // dBc/Hz
    std::span<const float> spurFrequency; // Hz, ascending
    std::span<const float> spurLevel;     // dBc
    double carrier;                       // Hz; 0 and below: unknown
};

inline constexpr double levelUnknown = -1000.0; // dBc/Hz: outside the trace, or not measured yet
