#include "links/discovery.h"

#include "base/tvdebug.h"
#include "device_table/device_fptrs.h"
#include "identity/device_config.h"
#include "scpi/link.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <netinet/in.h>
#include <string_view>
#include <sys/socket.h>
#include <unistd.h>

namespace {

// Layout of the answer; the rest is zero.
constexpr size_t nameOffset = 21;
constexpr size_t serialOffset = 51;
constexpr size_t fieldSize = 30;

constexpr size_t queryRoom = 31; // bytes; longer queries are cut, and none but the empty one matters
constexpr time_t retrySeconds = 1;

void buildAnswer(RmtdevFinder* finder) {
    char* name = finder->answer.data() + nameOffset;
    char* serial = finder->answer.data() + serialOffset;
    finder->answer.fill(0);
    const char* model = Device_getName ? Device_getName(finder->device) : nullptr;
    if (model != nullptr)
        snprintf(name, fieldSize, "%s%s", model, device_config_getModelNameExt_bracketed());
    else
        snprintf(name, fieldSize, "(ARM test device)");
    const std::string_view number(device_config_getSN());
    number.copy(serial, fieldSize);
}

/// Commands can change the name and its serial number. While one runs, possibly for hours, the last answer still
/// serves.
void refreshAnswer(RmtdevFinder* finder) {
    if (!deviceAccessMutex.try_lock())
        return;
    buildAnswer(finder);
    deviceAccessMutex.unlock();
}

} // namespace

RmtdevFinder rmtdevFinderSocket;

void tvsocketBcastOpen(RmtdevFinder* finder, int port, Device* device, uint32_t address) {
    finder->device = device;
    buildAnswer(finder);
    finder->fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (finder->fd < 0) {
        printd("tvsocketBcastOpen(): error opening socket (%d)\n", errno);
        return;
    }
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_addr.s_addr = address;
    place.sin_port = htons(static_cast<uint16_t>(port));
    if (bind(finder->fd, reinterpret_cast<const sockaddr*>(&place), sizeof place) != 0) {
        printd("tvsocketBcastOpen(): error in bind() (%d)\n", errno);
        tvsocketBcastClose(finder);
    }
}

int tvsocketBcastHandle(RmtdevFinder* finder) {
    if (finder->fd < 0)
        return -1;
    std::array<char, queryRoom> query;
    sockaddr_storage sender{};
    socklen_t senderSize = sizeof sender;
    const ssize_t length =
        recvfrom(finder->fd, query.data(), query.size(), 0, reinterpret_cast<sockaddr*>(&sender), &senderSize);
    if (length < 0 && errno != EINTR) {
        const timespec pause{.tv_sec = retrySeconds, .tv_nsec = 0}; // a failing network must not keep a thread busy
        nanosleep(&pause, nullptr);
    }
    if (length != 0)
        return 0;
    refreshAnswer(finder);
    sendto(finder->fd, finder->answer.data(), finder->answer.size(), MSG_NOSIGNAL,
           reinterpret_cast<const sockaddr*>(&sender), senderSize);
    return 0;
}

void tvsocketBcastClose(RmtdevFinder* finder) {
    if (finder->fd >= 0)
        close(finder->fd);
    finder->fd = -1;
}
