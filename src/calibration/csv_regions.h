#pragma once
/// The regions of the calibration file, each with what takes it apart. For the reader alone.

#include "calibration/csv_lines.h"
#include "calibration/csvtables.h"

#include <cstdint>
#include <optional>

inline constexpr uint32_t sensitivityKinds = 4;
inline constexpr uint32_t sourceChannels = 2;

/// A file on its way: what it has said so far. It becomes the unit's calibration when the file has been read whole.
struct CsvReader {
    CsvLines lines;
    CalibrationTVPN calibration;
    int32_t powerCalVersion;
    int32_t gainCalVersion;
    uint32_t defaultGainStages;
    std::optional<float> sensitivity[sensitivityKinds][sourceChannels];
};

/// Takes a region from its first line, which the reader stands on, to its last. False if the file cannot be used.
struct CsvRegion {
    int32_t number;
    uint32_t table;
    bool (*extract)(CsvReader& reader, uint32_t table);
};
/// Null for a number that means nothing.
[[nodiscard]] const CsvRegion* csv_regionOf(int32_t number);

/// The region that is taken line by line.
inline constexpr int32_t supplyRegion = 33004;
/// `number` counts the lines of the region from 0.
void extractTvpnDutSupplyCalibration(CsvReader& reader, uint32_t number);
