#include "virtual/gpib/gpib_settings.h"

#include <algorithm>
#include <fstream>

namespace vi {
namespace {

constexpr GpibSetting rows[] = {
    {"auto", &GpibSettings::autoRead, 0, 1},
    {"eoi", &GpibSettings::eoi, 0, 1},
    {"eos", &GpibSettings::eos, 0, 3},
    {"eot_enable", &GpibSettings::eotEnable, 0, 1},
    {"eot_char", &GpibSettings::eotChar, 0, 255},
    {"read_tmo_ms", &GpibSettings::readTimeout_ms, 1, 3000},
    {"savecfg", &GpibSettings::saveConfig, 0, 1},
};

} // namespace

const std::span<const GpibSetting> gpibSettings(rows);

const GpibSetting* gpibSetting_find(std::string_view name) {
    const auto* const found =
        std::find_if(std::begin(rows), std::end(rows), [&](const GpibSetting& row) { return row.name == name; });
    return found == std::end(rows) ? nullptr : found;
}

void gpibSettings_load(GpibSettings* settings, const std::string& path) {
    std::ifstream file(path);
    std::string name;
    for (int value; file >> name >> value;)
        if (const GpibSetting* const row = gpibSetting_find(name); row != nullptr)
            settings->*row->value = std::clamp(value, row->low, row->high);
        else if (name == "addr")
            settings->address.primary = std::clamp(value, 0, 30);
        else if (name == "secondary")
            settings->address.secondary = std::clamp(value, -1, 30);
}

void gpibSettings_save(const GpibSettings& settings, const std::string& path) {
    std::ofstream file(path);
    file << "addr " << settings.address.primary << "\nsecondary " << settings.address.secondary << '\n';
    for (const GpibSetting& row : rows)
        file << row.name << ' ' << settings.*row.value << '\n';
}

} // namespace vi
