#include "calibration/csvtables.h"

#include "base/error_codes.h"
#include "calibration/csv_regions.h"

#include <algorithm>
#include <cctype>
#include <cstring>

namespace {

constexpr int stopped = 1;

constinit CsvReader reader{};

bool isBlank(char c) {
    return isspace(static_cast<unsigned char>(c)) != 0;
}

void begin(uint32_t defaultGainStages) {
    CalibrationTVPN_setDefaults(&reader.calibration);
    reader.powerCalVersion = 0;
    reader.gainCalVersion = calibration_tvpn_gainCalVersion;
    reader.defaultGainStages = defaultGainStages;
    for (auto& kind : reader.sensitivity)
        for (auto& value : kind)
            value.reset();
}

/// True at the end of the file.
bool readAll() {
    int32_t current = 0;
    uint32_t number = 0; // of the line in its region
    while (reader.lines.next()) {
        ++number;
        int32_t opened = 0;
        if (extractRegion(reader.lines.line(), &opened) > 0) {
            current = opened;
            number = 0;
            const CsvRegion* region = csv_regionOf(current);
            if (region != nullptr && !region->extract(reader, region->table))
                return false;
        }
        if (current == supplyRegion)
            extractTvpnDutSupplyCalibration(reader, number);
    }
    return !reader.lines.failed();
}

void putInForce(const CalibrationDevice& device, CalibrationTVPN* calibration) {
    memcpy(calibration, &reader.calibration, sizeof *calibration);
    calibration_tvpn_powerCalVersion = reader.powerCalVersion;
    calibration_tvpn_gainCalVersion = reader.gainCalVersion;
    if (device.setSensitivity == nullptr)
        return;
    for (uint32_t kind = 0; kind < sensitivityKinds; ++kind)
        for (uint32_t channel = 0; channel < sourceChannels; ++channel)
            if (const auto& value = reader.sensitivity[kind][channel])
                device.setSensitivity(device.context, static_cast<SourceSensitivity>(kind), static_cast<int>(channel),
                                      static_cast<double>(*value));
}

} // namespace

int Csvtables_TVPNX_Csv2Cal(const CalibrationDevice* device, CalibrationTVPN* calibration, const char* path) {
    if (!reader.lines.open(path)) {
        CalibrationTVPN_reset(calibration);
        return scpi::commandError;
    }
    begin(device->defaultGainStages);
    const bool whole = readAll();
    reader.lines.close();
    if (!whole)
        return stopped;
    putInForce(*device, calibration);
    return 0;
}

int32_t extractRegion(const char* line, int32_t* region) {
    if (*line == '\0')
        return *region = -1;
    int64_t number = 0;
    for (; *line != '\0' && *line != ';' && *line != '\n'; ++line)
        if (isdigit(static_cast<unsigned char>(*line)) != 0)
            number = std::min<int64_t>(number * 10 + (*line - '0'), INT32_MAX);
    if (number > 0)
        *region = static_cast<int32_t>(number);
    return static_cast<int32_t>(number);
}

const char* csvtables_stripCell(const char* cursor) {
    while (*cursor == ';' || isBlank(*cursor))
        ++cursor;
    return cursor;
}

const char* csvtables_getCell(const char* cursor, const char** next) {
    const char* cell = csvtables_stripCell(cursor);
    for (cursor = cell; *cursor != '\0' && *cursor != ';' && !isBlank(*cursor);)
        ++cursor;
    *next = cursor;
    return cell;
}
