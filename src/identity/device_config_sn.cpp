#include "identity/device_config_sn.h"

#include "base/error_codes.h"
#include "identity/device_config_files.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <string_view>

namespace {

constexpr char snFile[] = "/tolvane/dev/sn";
constexpr char unnamedUnit[] = "000-000000000-0000";

constexpr char toUpper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

/// Upper case of `text`, zeros behind it. The measurement thread asks predicates of device_config_sn meanwhile.
void fill(char* buffer, std::string_view text) {
    for (size_t i = 0; i + 1 < serialNumberSize; ++i) {
        const char c = i < text.size() ? toUpper(text[i]) : '\0';
        std::atomic_ref<char>(buffer[i]).store(c, std::memory_order_relaxed);
    }
    std::atomic_ref<char>(buffer[serialNumberSize - 1]).store('\0', std::memory_order_relaxed);
}

bool isSerialNumber(std::string_view text) {
    return !text.empty() && text.size() < serialNumberSize &&
           std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c <= '~'; });
}

} // namespace

const char* device_config_getSN() {
    if (device_config_sn[0] == '\0')
        device_config_readSN(device_config_sn);
    return device_config_sn;
}

void device_config_readSN(char* buffer) {
    char line[serialNumberSize];
    if (device_config_loadString(snFile, line, sizeof line) != 0)
        line[0] = '\0';
    const std::string_view number(line, strcspn(line, "\r\n"));
    fill(buffer, number.empty() ? unnamedUnit : number);
}

int device_config_writeSN(const char* text) {
    if (device_config_storeString(snFile, text) != 0)
        return -1;
    char stored[serialNumberSize];
    device_config_readSN(stored);
    return strcmp(stored, text) == 0 ? 0 : -1;
}

int device_config_setSN(const char* current, const char* next, int* changed) {
    if (changed)
        *changed = 0;
    char stored[serialNumberSize];
    device_config_readSN(stored);
    if (strcmp(current, stored) != 0 || !isSerialNumber(next))
        return scpi::undefinedHeader;
    fill(device_config_sn, next);
    if (device_config_writeSN(device_config_sn) != 0)
        return scpi::undefinedHeader;
    if (changed)
        *changed = 1;
    return 0;
}
