#include "scpi/settings_store.h"

#include "base/error_codes.h"
#include "base/tvdebug.h"
#include "core/file_draft.h"
#include "core/file_trees.h"
#include "device_table/device_fptrs.h"
#include "scpi/link.h"
#include "scpi/parser.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <tuple>

namespace {

constexpr int32_t settingsMax = 1000;
constexpr int answerRoom = 64; // bytes for one setting's value
constexpr int lineRoom = 64;   // bytes of a line in a file, end included

using Answer = std::array<char, answerRoom + linkAnswerMargin>;
using Path = std::array<char, 64>;

Path settingsPath(int32_t number) {
    Path path;
    snprintf(path.data(), path.size(), "/tolvane/cust/sav%d", number);
    return path;
}

bool isNumber(int32_t number) {
    return number >= 0 && number < settingsMax;
}

/// Keeps the stored path of a link that is in the middle of a message.
class StoredPathKeeper {
public:
    explicit StoredPathKeeper(scpi_link* link) REQUIRES(deviceAccessMutex)
        : link_(link), path_(link->storedPath), pos_(link->storedPathPos) {}
    ~StoredPathKeeper() {
        deviceAccessMutex.assertHeld();
        link_->storedPath = path_;
        link_->storedPathPos = pos_;
    }
    StoredPathKeeper(const StoredPathKeeper&) = delete;
    StoredPathKeeper& operator=(const StoredPathKeeper&) = delete;

private:
    scpi_link* link_;
    std::array<char, storedPathSize> path_;
    char* pos_;
};

/// One line: the setting's path and the value that its query answers.
void scpi_getAndStoreSetting(scpi_link* link, FileDraft& file, const char* path, int length)
    REQUIRES(deviceAccessMutex) {
    std::array<char, lineRoom * 2 + std::tuple_size_v<Answer>> text;
    snprintf(text.data(), text.size(), ":%.*s?", length, path);
    Answer answer{};
    scpi_parser(link, text.data(), answer.data(), answerRoom, 0, 1);
    snprintf(text.data(), text.size(), ":%.*s %s\n", length, path, answer.data());
    file.write(text.data());
}

bool recalling;

} // namespace

int32_t scpi_storeDeviceSettings(scpi_link* link, int32_t number) {
    deviceAccessMutex.assertHeld();
    const char* list = Device_getStoredScpiParameters ? Device_getStoredScpiParameters(parser->device) : nullptr;
    if (!isNumber(number) || list == nullptr)
        return scpi::undefinedHeader;
    const Path path = settingsPath(number);
    ProtectedWrite guard;
    FileDraft file(path.data());
    if (!file.isOpen()) {
        printd("scpi_storeDeviceSettings(): opening %s for writing failed\n", path.data());
        return scpi::executionError;
    }
    {
        StoredPathKeeper keeper(link);
        while (const char* const end = strchr(list, '\n')) {
            scpi_getAndStoreSetting(link, file, list, static_cast<int>(end - list));
            list = end + 1;
        }
    }
    file.write("\n");
    return file.commit();
}

int32_t scpi_recallDeviceSettings(scpi_link*, int32_t number) {
    deviceAccessMutex.assertHeld();
    if (!isNumber(number))
        return scpi::undefinedHeader;
    if (recalling)
        return scpi::executionError;
    FILE* const file = fopen(settingsPath(number).data(), "r");
    if (file == nullptr)
        return 0;
    recalling = true;
    {
        StoredPathKeeper keeper(&link_file);
        link_file.listParser = nullptr; // of a command file that ended in a list
        std::array<char, lineRoom> line;
        Answer answer;
        while (fgets(line.data(), line.size(), file) != nullptr) {
            char* const end = strchr(line.data(), '\n');
            if (end == nullptr || end == line.data())
                continue;
            *end = 0;
            link_file.storedPath[0] = 0;      // each line is a message of its own
            const WaitingPlace here(nullptr); // nobody could come back to the middle of a file
            scpi_parser(&link_file, line.data(), answer.data(), answerRoom, 0, 1);
            link_file.listParser = nullptr;
            if (scpi_exec_sendingBlockData(&link_file)) // nobody reads a block here
                scpi_exec_cancelBlockDataSend(&link_file);
        }
    }
    recalling = false;
    fclose(file);
    return 0;
}

int32_t scpi_deleteDeviceSettings(scpi_link*, int32_t number) {
    if (!isNumber(number))
        return scpi::undefinedHeader;
    ProtectedWrite guard;
    return remove(settingsPath(number).data()) == 0 || errno == ENOENT ? 0 : scpi::executionError;
}
