#include "identity/device_config_files.h"

#include "base/error_codes.h"
#include "core/file_draft.h"
#include "core/file_trees.h"
#include "identity/device_variants.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr char bootDelayFile[] = "/tolvane/dev/bootdelay";
constexpr char vcoTuningFile[] = "/tolvane/dev/vcotuning";
constexpr char gpibFile[] = "/tolvane/dev/gpib";
constexpr size_t pathMax = 64;
constexpr size_t gpibAddressMax = 15;  // characters
constexpr size_t numberTextSize = 336; // any finite double as "%f"

class Descriptor {
public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() {
        if (number_ >= 0)
            close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    explicit operator bool() const { return number_ >= 0; }

    /// Bytes read, fewer than `size` only at the end of the file; -1 on failure.
    ssize_t readUpTo(char* buffer, size_t size) {
        size_t done = 0;
        while (done < size) {
            const ssize_t count = read(number_, buffer + done, size - done);
            if (count < 0 && errno == EINTR)
                continue;
            if (count < 0)
                return -1;
            if (count == 0)
                break;
            done += static_cast<size_t>(count);
        }
        return static_cast<ssize_t>(done);
    }

private:
    int number_;
};

const char* vcoSensitivityFile(int channel) {
    return channel == 0 ? "/tolvane/dev/vcosensa" : "/tolvane/dev/vcosensb";
}

struct VcoTuningPath {
    char text[pathMax];

    explicit VcoTuningPath(unsigned index) {
        if (index == 0)
            snprintf(text, sizeof text, "%s", vcoTuningFile);
        else
            snprintf(text, sizeof text, "%s%u", vcoTuningFile, index);
    }
};

double withinBootDelayLimits(double seconds) {
    return seconds > BOOT_DELAY_MIN && seconds <= BOOT_DELAY_MAX ? seconds : BOOT_DELAY_MIN;
}

/// The system's scripts read the file: nothing that a shell could take for its own may be in it.
bool isGpibAddress(std::string_view text) {
    constexpr auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    constexpr std::string_view separators = ",. ";
    return !text.empty() && text.size() <= gpibAddressMax && isDigit(text.front()) && isDigit(text.back()) &&
           std::all_of(text.begin(), text.end(),
                       [&](char c) { return isDigit(c) || separators.find(c) != std::string_view::npos; }) &&
           std::count_if(text.begin(), text.end(), [&](char c) { return !isDigit(c); }) <= 1;
}

} // namespace

int device_config_loadString(const char* path, char* buffer, size_t size) {
    if (size == 0)
        return scpi::executionError;
    buffer[0] = '\0';
    Descriptor file(open(path, O_RDONLY | O_CLOEXEC));
    if (!file)
        return scpi::executionError;
    const ssize_t count = file.readUpTo(buffer, size - 1);
    buffer[std::max<ssize_t>(count, 0)] = '\0';
    return count < 0 ? scpi::executionError : 0;
}

int device_config_loadBinary(const char* path, void* buffer, size_t size) {
    Descriptor file(open(path, O_RDONLY | O_CLOEXEC));
    if (!file || file.readUpTo(static_cast<char*>(buffer), size) != static_cast<ssize_t>(size))
        return scpi::executionError;
    return 0;
}

int device_config_storeBinary(const char* path, const void* buffer, size_t size) {
    ProtectedWrite guard;
    return file_replace(path, {static_cast<const char*>(buffer), size});
}

int device_config_storeString(const char* path, const char* text) {
    return device_config_storeBinary(path, text, strlen(text));
}

int device_config_loadBootDelay(double* seconds) {
    char text[numberTextSize];
    const int result = device_config_loadString(bootDelayFile, text, sizeof text);
    *seconds = result == 0 ? withinBootDelayLimits(strtod(text, nullptr)) : 0.0;
    return result;
}

int device_config_storeBootDelay(double seconds) {
    char text[numberTextSize];
    snprintf(text, sizeof text, "%f", withinBootDelayLimits(seconds));
    return device_config_storeString(bootDelayFile, text);
}

int device_config_loadVcoTuning(uint32_t* word, unsigned index) {
    uint32_t stored;
    const int result = device_config_loadBinary(VcoTuningPath(index).text, &stored, sizeof stored);
    if (result == 0)
        *word = stored;
    return result;
}

int device_config_storeVcoTuning(uint32_t word, unsigned index) {
    return device_config_storeBinary(VcoTuningPath(index).text, &word, sizeof word);
}

int device_config_getVcoSensitivity(double* value, int channel) {
    char text[numberTextSize];
    if (device_config_loadString(vcoSensitivityFile(channel), text, sizeof text) != 0)
        return scpi::executionError;
    char* end;
    const double stored = strtod(text, &end);
    if (end == text)
        return scpi::executionError;
    *value = stored;
    return 0;
}

int device_config_setVcoSensitivity(double value, int channel) {
    char text[numberTextSize];
    snprintf(text, sizeof text, "%f\n", value);
    return device_config_storeString(vcoSensitivityFile(channel), text);
}

int device_config_getGPIBaddr(char* buffer, size_t size) {
    if (size == 0)
        return scpi::executionError;
    buffer[0] = '\0';
    if (!device_config_usesGPIB())
        return scpi::undefinedHeader;
    if (device_config_loadString(gpibFile, buffer, size) == 0)
        buffer[strcspn(buffer, "\r\n")] = '\0';
    if (buffer[0] == '\0')
        snprintf(buffer, size, "0");
    return 0;
}

int device_config_setGPIBaddr(const char* text) {
    if (!isGpibAddress(text))
        return scpi::illegalParameterValue;
    char line[gpibAddressMax + 2];
    snprintf(line, sizeof line, "%s\n", text);
    return device_config_storeString(gpibFile, line);
}
