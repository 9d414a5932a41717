#include "acquisition/double_buffer.h"

#include "base/tvdebug.h"

namespace {

DoubleBufferHalf& halfOf(DoubleBuffer* buffer, const std::atomic<uint32_t>& counter) {
    return buffer->buffer[counter.load(std::memory_order_relaxed) & 1];
}

/// Acquires what the other side did to the half before it gave it away.
uint32_t usageOf(const DoubleBufferHalf& half) {
    return half.usage.load(std::memory_order_acquire);
}

/// Each side writes its own counter only.
void advance(std::atomic<uint32_t>& counter) {
    counter.store(counter.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
}

} // namespace

void DOUBLE_BUFFER_init(DoubleBuffer* buffer, uint32_t size, void* data0, void* data1) {
    buffer->buffer[0].data = static_cast<uint8_t*>(data0);
    buffer->buffer[1].data = static_cast<uint8_t*>(data1);
    for (DoubleBufferHalf& half : buffer->buffer) {
        half.size = size;
        half.usage = 0;
        half.pending = 0;
    }
    buffer->readBuffer = 0;
    buffer->writeBuffer = 0;
    buffer->writeOpen = 0;
    buffer->flipMode = doubleBuffer_flipAlways;
    tv_event_init(&buffer->readEvent);
    tv_event_init(&buffer->writeEvent);
}

void DOUBLE_BUFFER_release(DoubleBuffer* buffer) {
    buffer->writeBuffer = 0;
    buffer->readBuffer = 0;
    for (DoubleBufferHalf& half : buffer->buffer)
        half.usage = 0;
    tv_event_release(&buffer->readEvent);
    tv_event_release(&buffer->writeEvent);
}

uint32_t DOUBLE_BUFFER_openWrite(DoubleBuffer* buffer, uint8_t** position) {
    if (buffer->writeOpen.exchange(1, std::memory_order_relaxed) != 0)
        printd("DOUBLE_BUFFER_openWrite() warning: nested open write or concurrent access\n");
    const DoubleBufferHalf& half = halfOf(buffer, buffer->writeBuffer);
    *position = half.data + half.pending;
    return usageOf(half) != 0 ? 0 : half.size - half.pending;
}

int DOUBLE_BUFFER_openWrite_blocking(DoubleBuffer* buffer, uint32_t needed, uint8_t** position) {
    if (DOUBLE_BUFFER_openWrite(buffer, position) >= needed)
        return 0;
    for (;;) {
        DOUBLE_BUFFER_closeWrite(buffer, 0);
        DOUBLE_BUFFER_flip(buffer);
        if (DOUBLE_BUFFER_openWrite(buffer, position) >= needed)
            return 0;
        DOUBLE_BUFFER_waitReadEvent(buffer);
    }
}

void DOUBLE_BUFFER_closeWrite(DoubleBuffer* buffer, uint32_t count) {
    if (buffer->writeOpen.exchange(0, std::memory_order_relaxed) == 0)
        printd("DOUBLE_BUFFER_closeWrite() warning: nested close write or concurrent access\n");
    DoubleBufferHalf& half = halfOf(buffer, buffer->writeBuffer);
    if (half.size - half.pending < count)
        return;
    half.pending += count;
    if (buffer->flipMode == doubleBuffer_flipAlways)
        DOUBLE_BUFFER_flip(buffer);
}

void DOUBLE_BUFFER_flip(DoubleBuffer* buffer) {
    DoubleBufferHalf& half = halfOf(buffer, buffer->writeBuffer);
    if (half.pending == 0)
        return;
    const uint32_t published = half.pending;
    half.pending = 0;
    half.usage.store(published, std::memory_order_release);
    advance(buffer->writeBuffer);
    tv_event_signal(&buffer->writeEvent);
}

void DOUBLE_BUFFER_setFlipMode(DoubleBuffer* buffer, uint32_t mode) {
    buffer->flipMode = mode;
    if (mode == doubleBuffer_flipAlways)
        DOUBLE_BUFFER_flip(buffer);
}

uint32_t DOUBLE_BUFFER_openRead(DoubleBuffer* buffer, uint8_t** data) {
    const DoubleBufferHalf& half = halfOf(buffer, buffer->readBuffer);
    *data = half.data;
    return usageOf(half);
}

void DOUBLE_BUFFER_closeRead(DoubleBuffer* buffer) {
    DoubleBufferHalf& half = halfOf(buffer, buffer->readBuffer);
    if (usageOf(half) == 0)
        return;
    half.usage.store(0, std::memory_order_release);
    advance(buffer->readBuffer);
    tv_event_signal(&buffer->readEvent);
}

int DOUBLE_BUFFER_waitWriteEvent(DoubleBuffer* buffer) {
    tv_event_wait(&buffer->writeEvent);
    return 0;
}

int DOUBLE_BUFFER_waitReadEvent(DoubleBuffer* buffer) {
    tv_event_wait(&buffer->readEvent);
    return 0;
}

void DOUBLE_BUFFER_printInfo(const DoubleBuffer* buffer) {
    printd("DOUBLE_BUFFER_printInfo(): writeBuffer %d, readBuffer %d, usage[0] %d, usage[1] %d\n",
           static_cast<int>(buffer->writeBuffer), static_cast<int>(buffer->readBuffer),
           static_cast<int>(buffer->buffer[0].usage), static_cast<int>(buffer->buffer[1].usage));
}
