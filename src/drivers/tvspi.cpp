#include "drivers/tvspi.h"

#include "base/error_codes.h"
#include "base/tvdebug.h"
#include "drivers/tvspi_lock.h"
#include "platform/rt.h"
#include "platform/tvko.h"

#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <sys/file.h>

namespace {

constexpr uint32_t addressMask = 0x1FF;
constexpr uint32_t startDivider = 40;
constexpr uint32_t settingMax = 255; // of divider and delay
constexpr int closed = -1;

std::atomic<tvspi_sendFunction> alternativeSend{nullptr};
std::atomic<tvspi_recvFunction> alternativeRecv{nullptr};

/// A request beside the transfers, past the locks. `argument` is a number or an address.
template <class T> bool accepted(uint32_t request, T argument) {
    return rt_dev_ioctl(tvkono, request, argument) >= 0;
}

template <class T> int plainRequest(uint32_t request, T argument) {
    return accepted(request, argument) ? 0 : -1;
}

template <class T> int timerRequest(uint32_t request, T argument) {
    return accepted(request, argument) ? 0 : scpi::executionError;
}

constexpr std::array<tvspi_slave, tvspi_slaveListSize> noSlaves = [] {
    std::array<tvspi_slave, tvspi_slaveListSize> list{};
    for (tvspi_slave& slave : list)
        slave.address = tvspi_slaveFree;
    return list;
}();

} // namespace

std::atomic<int> tvkono{closed};
std::array<tvspi_slave, tvspi_slaveListSize> tvspi_slave_list = noSlaves;

int tvspiOpen() {
    tvspiClose();
    alternativeSend = nullptr;
    alternativeRecv = nullptr;
    tvspi_resetLocks();
    const int module = rt_dev_open(tvko_deviceName, O_RDWR);
    if (module < 0) {
        printd("tvspiOpen(): could not open the SPI/GPIO kernel module device node\n");
        return module;
    }
    if (const int result = flock(module, LOCK_EX | LOCK_NB); result != 0) {
        printd("tvspiOpen(): could not get exclusive access to the SPI/GPIO kernel module,\n"
               "terminate all processes accessing SPI/GPIO\n");
        rt_dev_close(module);
        return result;
    }
    tvkono = module;
    tvspi_slave_list = noSlaves;
    tvspiSetBitrateDivider(startDivider);
    return 0;
}

void tvspiClose() {
    if (const int module = tvkono.exchange(closed); module >= 0)
        rt_dev_close(module);
}

int tvspiReset() {
    return 0;
}

int tvspiSend(uint32_t address, uint32_t length, uint32_t mode, const void* data) {
    address &= addressMask;
    if (tvspi_doCapture(address, length, mode, data) != 0)
        return 0;
    if (const tvspi_sendFunction function = alternativeSend; function != nullptr)
        return function(address, length, mode, data);
    tvko_transfer transfer{address, length, mode, 0, const_cast<void*>(data)};
    return tvspi_request("tvspiSend", tvko_send, data != nullptr ? &transfer : nullptr);
}

int tvspiRecv(uint32_t address, uint32_t board, uint32_t length, uint32_t mode, void* data) {
    address &= addressMask;
    if (const tvspi_recvFunction function = alternativeRecv; function != nullptr)
        return function(address, board, length, mode, data);
    tvko_transfer transfer{address, length, mode, board, data};
    return tvspi_request("tvspiRecv", tvko_receive, data != nullptr ? &transfer : nullptr);
}

int tvspiSend_async(uint32_t address, uint32_t length, uint32_t mode, const void* data) {
    return tvspiSend(address, length, mode, data);
}

int tvspiRecv_async(uint32_t address, uint32_t board, uint32_t length, uint32_t mode, void* data) {
    return tvspiRecv(address, board, length, mode, data);
}

void tvspiRegisterSendFunction(tvspi_sendFunction function) {
    alternativeSend = function;
}

void tvspiRegisterRecvFunction(tvspi_recvFunction function) {
    alternativeRecv = function;
}

int tvspiSelectChip(uint32_t address) {
    return plainRequest(tvko_selectChip, address);
}

int tvspiDeselectChip() {
    return plainRequest(tvko_deselectChip, 0);
}

int tvspiReadPinState(uint32_t pin) {
    const int module = tvkono;
    if (module < 0)
        return module;
    uint32_t value = 0;
    return accepted(pin, &value) ? static_cast<int>(value) : -1;
}

int tvspiSetBitrateDivider(uint32_t value) {
    value = std::clamp(value, 1U, settingMax);
    printd("tvspiSetBitrateDivider( %d )\n", static_cast<int>(value));
    return plainRequest(tvko_setBitrateDivider, value);
}

int tvspiSetChipSelectDelay(uint32_t value) {
    value = std::min(value, settingMax);
    printd("tvspiSetChipSelectDelay( %d )\n", static_cast<int>(value));
    return plainRequest(tvko_setSelectDelay, value);
}

int tvspiModule0Recv(uintptr_t first, uintptr_t second) {
    if (spiLock) {
        printd("tvspiModule0Recv() cancelled as SPI1 is locked\n");
        return -1;
    }
    tvko_module0Transfer transfer{0, first, 0, second};
    return plainRequest(tvko_module0Receive, &transfer);
}

void tvspi_addSlave(uint32_t address, const char* name) {
    for (tvspi_slave& slave : tvspi_slave_list)
        if (slave.address == tvspi_slaveFree) {
            slave.address = address;
            snprintf(slave.name, sizeof slave.name, "%s", name);
            return;
        }
}

const char* tvspi_getSlaveName(uint32_t address) {
    for (const tvspi_slave& slave : tvspi_slave_list)
        if (slave.address == address && address != tvspi_slaveFree)
            return slave.name;
    return "(unknown)";
}

uint32_t tvspi_getCurrentAddressRoute() {
    return 0;
}

void tvspi_setCurrentAddressRoute(uint32_t) {}

void tvspi_addInvalidationListener(void (*)(void*), void*) {}

void tvspi_notifyInvalidationListener() {}

int tvspi_spiTimerInit() {
    return timerRequest(tvko_timerInit, 0);
}

int tvspi_spiTimerRelease() {
    return timerRequest(tvko_timerRelease, 0);
}

int tvspi_spiTimerStart(const uint32_t* record) {
    return timerRequest(tvko_timerStart, record);
}

int tvspi_spiTimerStop() {
    return timerRequest(tvko_timerStop, 0);
}

int tvspi_spiTimerAllocmem(uint32_t bytes) {
    return timerRequest(tvko_timerAllocate, bytes);
}

int tvspi_spiTimerFreemem() {
    return timerRequest(tvko_timerFree, 0);
}

int tvspi_spiTimerWritemem(uint32_t offset, uint32_t length, const void* data, uint32_t nx8) {
    if (nx8 != 0) {
        printd("tvspi_spiTimerWritemem() error: SPI transfer mode nx8 = %d not supported\n", static_cast<int>(nx8));
        return scpi::executionError;
    }
    tvko_timerData record{offset, length, data};
    return timerRequest(tvko_timerWrite, &record);
}
