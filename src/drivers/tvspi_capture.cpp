#include "base/error_codes.h"
#include "base/sync.h"
#include "base/tvdebug.h"
#include "core/abstime.h"
#include "drivers/tvspi.h"
#include "drivers/tvspi_lock.h"
#include "platform/tvko.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr uint32_t headBytes = sizeof(tvko_listRecord);
constexpr uint32_t endBytes = headBytes; // room kept for the end of a list
constexpr uint32_t wordBytes = sizeof(uint32_t);
constexpr uint32_t chipAddressMax = 255;

// Never held over a transfer: who waits for the bus may be waiting for a thread that wants to append.
Mutex captureMutex;
std::atomic<uint8_t*> tvspiCaptureBuffer{nullptr}; // null: no capture, or a break; changes under captureMutex only
uint8_t* tvspiCaptureBreakBuffer GUARDED_BY(captureMutex) = nullptr;
uint32_t tvspiCaptureSize GUARDED_BY(captureMutex) = 0;
uint32_t tvspiCaptureUsage GUARDED_BY(captureMutex) = 0;
uint32_t tvspiCaptureConf GUARDED_BY(captureMutex) = 0;
uint32_t tvspiCaptureDepth GUARDED_BY(captureMutex) = 0;
uint32_t tvspiCaptureBreakDepth GUARDED_BY(captureMutex) = 0;
uint32_t tvspiCaptureSizeMax GUARDED_BY(captureMutex) = 0;
bool bufferTooSmall GUARDED_BY(captureMutex) = false;

void closeList(uint8_t* end) {
    constexpr uint32_t word = tvko_listEnd;
    memcpy(end, &word, sizeof word);
}

bool emptyList(const uint8_t* list) {
    uint32_t word;
    memcpy(&word, list, sizeof word);
    return word == tvko_listEnd;
}

void recordPeak() REQUIRES(captureMutex) {
    if (!bufferTooSmall)
        tvspiCaptureSizeMax = std::max(tvspiCaptureSizeMax, tvspiCaptureUsage + endBytes);
}

/// Bytes of a record, in 64 bits because a caller's length may be anything.
uint64_t recordBytes(uint32_t length) {
    return (uint64_t{length} + headBytes + wordBytes - 1) & ~uint64_t{wordBytes - 1};
}

void append(uint8_t* list, const tvko_listRecord& head, const void* data) REQUIRES(captureMutex) {
    const auto bytes = static_cast<uint32_t>(recordBytes(head.length));
    uint8_t* const record = list + tvspiCaptureUsage;
    memset(record, 0, bytes);
    memcpy(record, &head, headBytes);
    if (head.length != 0)
        memcpy(record + headBytes, data, head.length);
    tvspiCaptureUsage += bytes;
    closeList(list + tvspiCaptureUsage);
}

/// Begins a break; returns the list that is to be sent then, null if there is none.
uint8_t* enterBreak() REQUIRES(captureMutex) {
    if (tvspiCaptureBreakDepth++ > 0)
        return nullptr;
    tvspiCaptureBreakBuffer = tvspiCaptureBuffer.exchange(nullptr);
    if (tvspiCaptureBreakBuffer == nullptr || bufferTooSmall)
        return nullptr;
    recordPeak();
    return tvspiCaptureBreakBuffer;
}

enum class Offer { noCapture, gathered, gatheredToSend, listFull, tooLarge };

/// Appends a record if there is a capture and room. Out of room, a break has begun and `full` is the list to be sent.
Offer offer(const tvko_listRecord& head, const void* data, uint8_t** full) {
    MutexLock lock(captureMutex);
    uint8_t* const list = tvspiCaptureBuffer;
    if (list == nullptr)
        return Offer::noCapture;
    const uint64_t bytes = recordBytes(head.length) + endBytes;
    if (tvspiCaptureUsage + bytes <= tvspiCaptureSize) {
        append(list, head, data);
        return tvspiCaptureConf == 0 ? Offer::gathered : Offer::gatheredToSend;
    }
    *full = enterBreak();
    return bytes > tvspiCaptureSize ? Offer::tooLarge : Offer::listFull;
}

} // namespace

void tvspi_startCapture(void* buffer, uint32_t size, uint32_t mode) {
    MutexLock lock(captureMutex);
    if (tvspiCaptureBreakDepth > 0 || tvspiCaptureDepth++ > 0)
        return;
    auto* const list = static_cast<uint8_t*>(buffer);
    bufferTooSmall = list == nullptr || size < endBytes;
    tvspiCaptureSize = size;
    tvspiCaptureUsage = 0;
    tvspiCaptureConf = mode;
    if (!bufferTooSmall)
        closeList(list);
    tvspiCaptureBuffer = list;
}

int tvspi_stopCapture() {
    MutexLock lock(captureMutex);
    if (tvspiCaptureDepth == 0) {
        printd("tvspi_stopCapture() error: stop exceeds start\n");
        return scpi::executionError;
    }
    if (tvspiCaptureBreakDepth > 0) {
        printd("tvspi_stopCapture() error: can't stop capture while in break mode\n");
        return scpi::executionError;
    }
    if (--tvspiCaptureDepth > 0)
        return 0;
    tvspiCaptureBuffer = nullptr;
    recordPeak();
    return bufferTooSmall ? scpi::tooMuchData : 0;
}

int tvspi_breakCapture() {
    uint8_t* list = nullptr;
    {
        MutexLock lock(captureMutex);
        list = enterBreak();
        if (tvspiCaptureBreakDepth == 1 && tvspiCaptureBreakBuffer != nullptr && bufferTooSmall)
            return scpi::tooMuchData;
    }
    return tvspi_sendCapture(list);
}

int tvspi_resumeCapture() {
    MutexLock lock(captureMutex);
    if (tvspiCaptureBreakDepth == 0) {
        printd("tvspi_resumeCapture() error: resume exceeds break\n");
        return scpi::executionError;
    }
    if (--tvspiCaptureBreakDepth > 0 || tvspiCaptureBreakBuffer == nullptr)
        return 0;
    tvspiCaptureUsage = 0;
    if (!bufferTooSmall)
        closeList(tvspiCaptureBreakBuffer);
    tvspiCaptureBuffer = tvspiCaptureBreakBuffer;
    tvspiCaptureBreakBuffer = nullptr;
    return 0;
}

int tvspi_sendCapture(void* buffer) {
    auto* const list = static_cast<uint8_t*>(buffer);
    if (list == nullptr || tvspiCaptureBuffer != nullptr || emptyList(list))
        return 0;
    const int result = tvspi_request("tvspi_sendCapture", tvko_sendList, list);
    closeList(list);
    return result;
}

uint32_t tvspi_getCaptureSize() {
    MutexLock lock(captureMutex);
    return bufferTooSmall ? tvspi_captureOverflow : tvspiCaptureUsage + endBytes;
}

uint32_t tvspi_getCaptureSizeMax() {
    MutexLock lock(captureMutex);
    return tvspiCaptureSizeMax;
}

int tvspi_doCapture(uint32_t address, uint32_t length, uint32_t mode, const void* data) {
    if (tvspiCaptureBuffer == nullptr || (length != 0 && data == nullptr))
        return 0;
    for (;;) {
        uint8_t* full = nullptr;
        const Offer outcome = offer({address, length, mode}, data, &full);
        if (outcome == Offer::noCapture || outcome == Offer::gatheredToSend)
            return 0;
        if (outcome == Offer::gathered)
            return 1;
        tvspi_sendCapture(full);
        const bool direct = outcome == Offer::tooLarge && address <= chipAddressMax;
        if (direct)
            tvspiSend(address, length, mode, data);
        tvspi_resumeCapture();
        if (outcome == Offer::tooLarge)
            return direct ? 1 : 0; // an operation that no list can hold is the caller's
    }
}

int tvstuff_delay_us_spi(uint32_t microseconds) {
    if (const int captured = tvspi_doCapture(tvko_listDelay, sizeof microseconds, 0, &microseconds); captured != 0)
        return captured;
    tvstuff_delay_us(microseconds);
    return 0;
}
