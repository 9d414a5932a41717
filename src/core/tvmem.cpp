#include "core/tvmem.h"

#include "base/tvdebug.h"

namespace {

constexpr size_t cacheLine = 64;

alignas(cacheLine) std::array<std::byte, tvmemBufferSize> tvmemBuffer;
int32_t fillMark = 0;

} // namespace

void* tvmemAlloc(int32_t size) {
    if (size < 0 || size > tvmemBufferSize - fillMark)
        return nullptr;
    void* block = tvmemBuffer.data() + fillMark;
    fillMark += size;
    printd("tvmemAlloc(): allocated %d, free %d\n", size, tvmemBufferSize - fillMark);
    return block;
}

void tvmemFree(void*) {}

int32_t tvmemAllocated() {
    return fillMark;
}
