#include "links/panel/tvhc.h"

#include "base/tvdebug.h"
#include "core/abstime.h"
#include "identity/device_variants.h"
#include "platform/nodes.h"
#include "platform/panel_node.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <string_view>

Tvhc tvhc;

namespace {

constexpr uint64_t retryDelay_us = 2'000'000;
constexpr int identityTimeout_ms = 2000, lookForFailure_ms = 1000;
constexpr std::string_view identityOfOlder = "HC0000000000\n";

/// 1 with input, 0 when the time has passed, below 0 if the device has failed.
int waitInput(int descriptor, int timeout_ms) {
    int result;
    do {
        result = node_waitInput(descriptor, timeout_ms);
    } while (result == -EAGAIN || result == -EINTR);
    return result;
}

/// The newer panel tells with each read which of its ports it came from; text is text from either.
long readFrom(Tvhc* panel, void* buffer, size_t length) REQUIRES(panel->hcMutex) {
    const long count = node_read(panel->readFd, buffer, length);
    if (uint32_t port = 0; panel->stmMode && node_ioctl(panel->writeFd, panelNode_getPort, &port) < 0)
        return -EIO;
    return count;
}

bool isOlderPanel(Tvhc* panel) {
    constexpr std::string_view question = "*IDN?\n";
    if (node_ioctl(panel->writeFd, panelNode_askOlder) < 0 ||
        Tvhc_writeAsync(panel, static_cast<int>(question.size()), question.data()) != 0)
        return false;
    std::array<char, 255> text;
    size_t count = 0;
    while (count < identityOfOlder.size()) {
        if (waitInput(panel->readFd, identityTimeout_ms) <= 0)
            return false;
        MutexLock lock(panel->hcMutex);
        const long read = readFrom(panel, &text[count], text.size() - count);
        if (read <= 0)
            return false;
        count += static_cast<size_t>(read);
    }
    return std::string_view(text.data(), identityOfOlder.size()) == identityOfOlder;
}

/// The device is open. False if it is no panel that is known.
bool settleKind(Tvhc* panel) {
    if (device_config_usesFpStm()) {
        printd("Tvhc_open(): select STM mode\n");
        panel->stmMode = true;
        return node_ioctl(panel->writeFd, panelNode_selectNewer) >= 0;
    }
    if (!isOlderPanel(panel) || node_ioctl(panel->writeFd, panelNode_selectOlder) < 0)
        return false;
    MutexLock lock(panel->hcMutex);
    panel->txPort = 0;
    return true;
}

bool openOnce(Tvhc* panel, const char* path) {
    panel->writeFd = node_open(path, O_WRONLY);
    panel->readFd = node_open(path, O_RDONLY);
    panel->open = panel->writeFd >= 0 && panel->readFd >= 0;
    if (panel->open && settleKind(panel))
        return true;
    Tvhc_close(panel);
    return false;
}

} // namespace

int Tvhc_open(Tvhc* panel, const char* path, int retries) {
    panel->stmMode = false;
    if (!device_config_usesFpStm() && !device_config_usesFpAt91()) {
        printd("Tvhc_open(): no frontpanel installed\n");
        return -1;
    }
    for (int left = retries; left >= 0; --left) {
        if (openOnce(panel, path))
            return 0;
        if (left > 0)
            tvstuff_delay_us(retryDelay_us);
    }
    return -1;
}

void Tvhc_close(Tvhc* panel) {
    MutexLock lock(panel->hcMutex);
    panel->open = false;
    for (int* const descriptor : {&panel->readFd, &panel->writeFd}) {
        if (*descriptor >= 0)
            node_close(*descriptor);
        *descriptor = -1;
    }
    panel->txPort = 0;
}

bool Tvhc_connected(const Tvhc* panel) {
    return panel->open;
}

int Tvhc_setTxPort(Tvhc* panel, int port) {
    if (port == panel->txPort)
        return 0;
    if (node_ioctl(panel->writeFd, port == panelUpdates ? panelNode_sendUpdates : panelNode_sendElsewhere) < 0)
        return -1;
    panel->txPort = port;
    return 0;
}

int Tvhc_read(Tvhc* panel, int length, char* buffer) {
    int ready = 0;
    while (ready == 0 && panel->open) // a write that fails meanwhile wakes nobody
        ready = waitInput(panel->readFd, lookForFailure_ms);
    MutexLock lock(panel->hcMutex);
    const long count = ready > 0 && panel->open ? readFrom(panel, buffer, static_cast<size_t>(length)) : 0;
    if (count <= 0)
        panel->open = false;
    return count > 0 ? static_cast<int>(count) : 0;
}

int Tvhc_write(Tvhc* panel, int port, int length, const char* text) {
    MutexLock lock(panel->hcMutex);
    if (!panel->open)
        return -1;
    panel->open = Tvhc_setTxPort(panel, port) == 0;
    for (int unsent = length; unsent > 0 && panel->open;) {
        const long written = node_write(panel->writeFd, text, static_cast<size_t>(unsent));
        if (written == -EINTR)
            continue;
        if (written <= 0) {
            panel->open = false;
            break;
        }
        text += written;
        unsent -= static_cast<int>(written);
    }
    return panel->open ? 0 : -1;
}

int Tvhc_writeAsync(Tvhc* panel, int length, const char* text) {
    if (!panel->open)
        return -1;
    if (Tvhc_write(panel, panelUpdates, length, text) == 0)
        return 0;
    printd("Tvhc_writeAsync() error: write() failed (may be no front panel installed?)\n");
    printd("Tvhc_writeAsync() error: write() failed, closing link\n");
    return -1;
}
