#pragma once
/// What a client of the adapter may set, and what the adapter keeps of it over a restart.

#include "virtual/gpib/gpib_bus.h"

#include <span>
#include <string>
#include <string_view>

namespace vi {

struct GpibSettings {
    GpibAddress address;
    int autoRead = 0; // 1: reads after each message
    int eoi = 1;      // 1: END with the last byte of a message
    int eos = 0;      // behind a message: 0 CR LF, 1 CR, 2 LF, 3 nothing
    int eotEnable = 0, eotChar = 0;
    int readTimeout_ms = 1000;
    int saveConfig = 0; // 1: each change is kept
};

/// A setting that is a number.
struct GpibSetting {
    std::string_view name; // of the command, without ++
    int GpibSettings::*value;
    int low, high;
};
extern const std::span<const GpibSetting> gpibSettings;

[[nodiscard]] const GpibSetting* gpibSetting_find(std::string_view name);

/// A file that is not there or holds something else leaves what it does not say as it is.
void gpibSettings_load(GpibSettings* settings, const std::string& path);
void gpibSettings_save(const GpibSettings& settings, const std::string& path);

} // namespace vi
