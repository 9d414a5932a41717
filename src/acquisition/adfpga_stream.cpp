// The sample stream: blocks that the FPGA sends, through a real-time device.

#include "acquisition/adfpga_link.h"
#include "acquisition/adfpga_text.h"
#include "base/error_codes.h"
#include "base/tvdebug.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>

namespace {

constexpr char streamDevice[] = "tv_ssc_adc_driver";

// Requests of the device.
constexpr uint32_t requestValidBytes = 0xE001; // argument: where the number of valid bytes goes
constexpr uint32_t requestStop = 0xE004;       // wakes blocked readers
constexpr uint32_t requestTimeout = 0xE005;    // argument: time-out of each read, microseconds

/// Opens the device for one block. Its configuration: bytes, and three constants of the driver.
int openForBlock(uint32_t bytes, uint32_t timeoutUs) {
    const int fd = rt_dev_open(streamDevice, O_RDWR);
    if (fd <= 0) {
        printd("TVPN_ADFPGA_listenSsc_nonrt(): failed to open SSC AD device node! errno=%d\n", errno);
        return -1;
    }
    AdfpgaText configuration;
    configuration.add(bytes).add(",0,2,1\n");
    const long written = rt_dev_write(fd, configuration.text(), configuration.length());
    const int timed = rt_dev_ioctl(fd, requestTimeout, uintptr_t{timeoutUs});
    long armed = 0;
    {
        const PrimaryMode primary;
        armed = rt_dev_read(fd, nullptr, 0);
    }
    if (written >= 0 && timed >= 0 && armed >= 0)
        return fd;
    printd("TVPN_ADFPGA_listenSsc_nonrt(): SSC AD device refused the block (%ld, %d, %ld)\n", written, timed, armed);
    rt_dev_close(fd);
    return -1;
}

void closeDevice(TVPN_ADFPGA* board) REQUIRES(board->streamMutex) {
    if (board->sscFd >= 0)
        rt_dev_close(board->sscFd);
    board->sscFd = -1;
}

} // namespace

PrimaryMode::PrimaryMode() {
    rt_task_shadow(nullptr, nullptr, 0, rt_taskJoinable); // fails on a thread that is a task already
    rt_task_set_mode(0, rt_modePrimary, nullptr);
}

PrimaryMode::~PrimaryMode() {
    rt_task_set_mode(rt_modePrimary, 0, nullptr);
}

int TVPN_ADFPGA_listenSsc_nonrt(TVPN_ADFPGA* board, uint32_t bytes, uint32_t timeoutUs) {
    MutexLock lock(board->streamMutex);
    closeDevice(board); // left open by a block transfer whose client is gone
    board->sscRemaining = 0;
    const int fd = openForBlock(bytes, timeoutUs);
    if (fd < 0)
        return scpi::executionError;
    board->sscFd = fd;
    board->sscRemaining = bytes;
    // A cancel that came before found nothing to stop.
    board->sscState = board->transferCancel != 0 ? sscCancelled : sscListening;
    return 0;
}

int TVPN_ADFPGA_receiveSsc_rt(TVPN_ADFPGA* board, void* buffer, uint32_t maxBytes, uint32_t* received) {
    *received = 0;
    int fd;
    {
        MutexLock lock(board->streamMutex);
        if (board->sscState != sscListening && board->sscState != sscReceiving)
            return 0;
        board->sscState = sscReceiving;
        fd = board->sscFd;
    }
    // Only a read with room tells the end of a block, one without arms the device.
    uint32_t beyond = 0;
    const bool isFull = maxBytes < sizeof beyond;
    const long result = isFull ? rt_dev_read(fd, &beyond, sizeof beyond)
                               : rt_dev_read(fd, buffer, maxBytes / sizeof beyond * sizeof beyond);
    if (result < 0)
        return scpi::timeOutError;
    *received = isFull ? 0 : static_cast<uint32_t>(result);
    board->sscRemaining = board->sscRemaining - std::min(board->sscRemaining.get(), *received);
    return 0;
}

int TVPN_ADFPGA_receiveSsc(TVPN_ADFPGA* board, void* buffer, uint32_t maxBytes, uint32_t* received) {
    const PrimaryMode primary;
    return TVPN_ADFPGA_receiveSsc_rt(board, buffer, maxBytes, received);
}

void TVPN_ADFPGA_closeSsc(TVPN_ADFPGA* board) {
    MutexLock lock(board->streamMutex);
    closeDevice(board);
    board->sscState = sscClosed;
}

void TVPN_ADFPGA_cancelSsc(TVPN_ADFPGA* board) {
    MutexLock lock(board->streamMutex);
    board->sscState = sscCancelled;
    if (board->sscFd >= 0)
        rt_dev_ioctl(board->sscFd, requestStop, uintptr_t{0});
}

uint32_t TVPN_ADFPGA_getValidSscBytes(TVPN_ADFPGA* board) {
    MutexLock lock(board->streamMutex);
    return board->sscFd >= 0 ? 0 : board->validSscBytes.get();
}

void adfpga_finishSsc(TVPN_ADFPGA* board) {
    {
        MutexLock lock(board->streamMutex);
        uint32_t valid = 0;
        if (board->sscFd >= 0) {
            const PrimaryMode primary;
            rt_dev_read(board->sscFd, nullptr, 0); // the driver settles its count
        }
        if (board->sscFd >= 0 && rt_dev_ioctl(board->sscFd, requestValidBytes, &valid) >= 0)
            board->validSscBytes = valid;
    }
    TVPN_ADFPGA_closeSsc(board);
}
