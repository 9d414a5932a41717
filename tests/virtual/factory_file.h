#pragma once
/// The factory calibration file of a unit, in its place.

#include "calibration/calibration_files.h"
#include "virtual/factory/calibration_file.h"

#include <filesystem>
#include <fstream>
#include <string>

inline void layFactoryFile(const std::string& serial) {
    std::filesystem::create_directories(std::filesystem::path(calibrationFile).parent_path());
    std::ofstream(calibrationFile) << vi::factory_calibrationFile(serial);
}
