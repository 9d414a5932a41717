#include "core/user_memory.h"

#include "base/error_codes.h"
#include "base/tvdebug.h"
#include "core/file_trees.h"
#include "core/shell.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>
#include <memory>
#include <sys/stat.h>

namespace {

constexpr char statsFile[] = "/media/ram/user_memory_stats";
constexpr uint64_t bytesPerKilobyte = 1024;
constexpr uint64_t figureMax = INT32_MAX; // clients read the figures as signed numbers
constexpr mode_t allMayWrite = 0777;

struct CloseFile {
    void operator()(FILE* file) const { fclose(file); }
};
using File = std::unique_ptr<FILE, CloseFile>;

/// Runs a command that writes statsFile and opens that. An old file must not stand for a command that failed.
File runForStats(const char* command) {
    remove(statsFile);
    tvstuffSystem(command);
    return File(fopen(statsFile, "r"));
}

} // namespace

int tvstuff_getUserMemoryStats(uint32_t* free, uint32_t* used) {
    uint64_t usedKilobytes = 0;
    uint64_t freeBytes = 0;
    if (const File file = runForStats("du -s /tolvane/cust/ > /media/ram/user_memory_stats");
        !file || fscanf(file.get(), "%" SCNu64, &usedKilobytes) != 1)
        return scpi::executionError;
    if (const File file = runForStats("df -k -B 1 /tolvane/ > /media/ram/user_memory_stats");
        !file || fscanf(file.get(), "%*[^\n]\n") == EOF ||
        fscanf(file.get(), "%*s\t%*s\t%*s\t%" SCNu64, &freeBytes) != 1)
        return scpi::executionError;
    *used = static_cast<uint32_t>(std::min(usedKilobytes, figureMax / bytesPerKilobyte) * bytesPerKilobyte);
    *free = static_cast<uint32_t>(std::min(freeBytes, figureMax));
    return 0;
}

int tvstuff_deleteUserMemory() {
    ProtectedWrite writable;
    tvstuffSystem("rm -rf /tolvane/cust/");
    int result = 0;
    for (const char* folder : {"/tolvane/cust", "/tolvane/cust/list", "/tolvane/cust/flatness"})
        if (mkdir(folder, allMayWrite) != 0)
            result = scpi::executionError;
    return result;
}

void tvstuff_printMemoryUsage() {
    std::array<char, 512> line;
    if (const File stat{fopen("/proc/self/stat", "r")}; stat && fgets(line.data(), line.size(), stat.get()))
        printd("tvstuff_printMemoryUsage(): %s", line.data());
    if (const File info{fopen("/proc/meminfo", "r")}) {
        uint64_t locked_kB;
        while (fgets(line.data(), line.size(), info.get()))
            if (sscanf(line.data(), "Mlocked: %" SCNu64, &locked_kB) == 1)
                printd("tvstuff_printMemoryUsage(): Mlocked: %" PRIu64 " kB\n", locked_kB);
    }
}
