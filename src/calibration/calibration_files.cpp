#include "calibration/calibration_files.h"

#include "base/error_codes.h"
#include "core/shell.h"
#include "identity/device_config_files.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>

namespace {

constexpr char defaultDate[] = "2000/01/01/00/00";

bool isWordCharacter(char c) {
    return isgraph(static_cast<unsigned char>(c)) != 0;
}

} // namespace

int loadCalibrationData(const CalibrationDevice* device, CalibrationTVPN* calibration) {
    const int result = Csvtables_TVPNX_Csv2Cal(device, calibration, calibrationFile);
    if (result > 0)
        return scpi::executionError;
    if (result == 0)
        tvstuffSystem("cp /tolvane/dev/calibration.csv /tolvane/temp/calibration-check.csv");
    return result;
}

int getCalibrationDate(char* text, size_t size) {
    char stored[calibrationDateMax + 1];
    static_cast<void>(device_config_loadString(calibrationDateFile, stored, sizeof stored)); // empty if there is none
    const char* begin = std::find_if(stored, stored + strlen(stored), isWordCharacter);
    const char* end = std::find_if_not(begin, begin + strlen(begin), isWordCharacter);
    if (begin == end)
        snprintf(text, size, "%s", defaultDate);
    else
        snprintf(text, size, "%.*s", static_cast<int>(end - begin), begin);
    return 0;
}

int setCalibrationDate(const char* text) {
    const size_t length = strlen(text);
    if (length == 0 || length > calibrationDateMax || !std::all_of(text, text + length, isWordCharacter))
        return scpi::illegalParameterValue;
    char line[calibrationDateMax + 2];
    snprintf(line, sizeof line, "%s\n", text);
    return device_config_storeString(calibrationDateFile, line);
}
