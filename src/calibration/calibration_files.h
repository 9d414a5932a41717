#pragma once
/// The unit's calibration file and the date of its calibration, as they lie in the persistent tree.

#include "calibration/csvtables.h"

#include <cstddef>

inline constexpr char calibrationFile[] = "/tolvane/dev/calibration.csv";
inline constexpr char calibrationCheckFile[] =
    "/tolvane/temp/calibration-check.csv"; // what is in force, to be read back
inline constexpr char calibrationDateFile[] = "/tolvane/dev/calibration_date.csv";
inline constexpr size_t calibrationDateMax = 255; // characters

/// Reads calibrationFile into the record and, if it was taken, copies it to calibrationCheckFile. Returns 0; -100 if
/// there is no file (the record has the defaults); -200 if the file cannot be used (all is as it was). Whoever calls it
/// has the hardware: the sensitivities go to the boards.
[[nodiscard]] int loadCalibrationData(const CalibrationDevice* device, CalibrationTVPN* calibration);

/// The date, "year/month/day/hour/minute", into `size` bytes, cut where it does not fit; "2000/01/01/00/00" if none is
/// stored. Returns 0.
int getCalibrationDate(char* text, size_t size);

/// Stores the date, one word. Returns 0; -224 for a text that is empty, too long or not one printable word; -200 if the
/// file cannot be written. After a failure the old date stays.
[[nodiscard]] int setCalibrationDate(const char* text);
