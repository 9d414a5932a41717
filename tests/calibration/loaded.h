#pragma once
/// A record that is filled from text as from the unit's file.

#include "calibration/calibration_files.h"
#include "identity/device_config_sn.h"

#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <string>
#include <utility>

struct Loaded : testing::Test {
    Loaded() { unit("220-336206910-0001"); }

    /// Becomes the unit with this serial number, with the defaults of one without a file.
    void unit(const char* serialNumber) {
        strcpy(device_config_sn, serialNumber);
        CalibrationTVPN_reset(record.get());
        calibration_tvpn_gainCalVersion = 0;
    }

    static void put(const std::string& text) { std::ofstream(csvPath, std::ios::binary | std::ios::trunc) << text; }
    int read() { return Csvtables_TVPNX_Csv2Cal(&device, record.get(), csvPath); }
    int load(const std::string& text) {
        put(text);
        return read();
    }

    static constexpr char csvPath[] = "/tmp/calibration-test.csv";
    std::unique_ptr<CalibrationTVPN> record = std::make_unique<CalibrationTVPN>();
    std::map<std::pair<SourceSensitivity, int>, double> sensitivities;
    CalibrationDevice device{[](void* self, SourceSensitivity which, int channel, double value) {
                                 static_cast<Loaded*>(self)->sensitivities[{which, channel}] = value;
                             },
                             this, 6};
};
