#include "scpi/block.h"

#include "base/error_codes.h"
#include "base/tvdebug.h"
#include "core/file_trees.h"
#include "scpi/link.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>

namespace {

constexpr size_t wordBytes = 4;
constexpr int discardBytes = 256; // step in which a cancelled transfer reads off its source

void putLittleEndian(char* where, uint32_t word) {
    for (size_t i = 0; i < wordBytes; ++i)
        where[i] = static_cast<char>(word >> (8 * i));
}

bool isAscii(const scpi_block& block) {
    return block.bdAsciiHeader[0] == '#';
}

uint32_t asciiHeaderBytes(const scpi_block& block) {
    return 2 + static_cast<uint32_t>(block.bdAsciiHeader[1] - '0');
}

uint64_t framingBytes(const scpi_block& block) {
    return isAscii(block) ? asciiHeaderBytes(block) : wordBytes + uint64_t{block.bdHeaderSize} + wordBytes;
}

void setName(scpi_block& block, const char* path) {
    block.bdFileName.fill(0);
    strncpy(block.bdFileName.data(), path, block.bdFileName.size() - 1);
}

void setEnd(scpi_block& block, BdEndFunction function, void* argument) {
    block.bdEndFunction = function;
    block.bdEndArgument = argument;
}

/// Ends a transfer in either direction and leaves the record idle.
void stop(scpi_block& block) {
    const uint32_t flags = block.bdFlags;
    block.bdFlags = 0;
    if (block.bdFile != nullptr)
        fclose(block.bdFile);
    block.bdFile = nullptr;
    if (flags & bdTvFile)
        tvstuffProtectTv();
    if (flags & bdRootFile)
        tvstuffProtectRoot();
    if ((flags & bdActive) && block.bdEndFunction != nullptr)
        block.bdEndFunction(block.bdEndArgument, block.bdFileName.data());
}

void setInterrupt(scpi_link* link, BdInterruptFunction interrupt) REQUIRES(deviceAccessMutex) {
    MutexLock lock(link->bdInterruptMutex);
    link->bdInterrupt = interrupt;
    link->bdInterruptArgument = link->bdSend.bdDataArgument;
}

void stopSend(scpi_link* link) REQUIRES(deviceAccessMutex) {
    setInterrupt(link, nullptr); // first: it must not meet the next user of the source
    stop(link->bdSend);
}

/// A fresh, active record; a transfer that was still under way ends first.
scpi_block& restart(scpi_block& block) {
    if (block.bdFlags & bdActive)
        stop(block);
    scpi_exec_initBlockDataConfig(&block);
    block.bdFlags = bdActive;
    return block;
}

scpi_block& restartSend(scpi_link* link) REQUIRES(deviceAccessMutex) {
    setInterrupt(link, nullptr);
    return restart(link->bdSend);
}

/// Copies what falls into [position, position + room) of `size` framing bytes at `bytes` that start at `start`.
int copyPiece(char* buffer, int room, uint64_t position, uint64_t start, const char* bytes, uint64_t size) {
    if (room <= 0 || position < start || position >= start + size)
        return 0;
    const auto count = static_cast<int>(std::min<uint64_t>(start + size - position, static_cast<uint64_t>(room)));
    memcpy(buffer, bytes + (position - start), static_cast<size_t>(count));
    return count;
}

int sendFraming(scpi_link* link, char* buffer, int room) REQUIRES(deviceAccessMutex) {
    scpi_block& block = link->bdSend;
    int done = 0;
    const auto piece = [&](uint64_t start, const char* bytes, uint64_t size) REQUIRES(deviceAccessMutex) {
        const int count = copyPiece(buffer + done, room - done, block.bdPosition, start, bytes, size);
        done += count;
        block.bdPosition += static_cast<uint32_t>(count);
    };
    if (isAscii(block)) {
        piece(0, block.bdAsciiHeader.data(), asciiHeaderBytes(block));
        return done;
    }
    std::array<char, wordBytes> size;
    putLittleEndian(size.data(), block.bdHeaderSize);
    piece(0, size.data(), size.size());
    std::array<char, (1 + bdFragmentMax) * wordBytes> header;
    for (size_t i = 0; i < link->bdSendHeader.size(); ++i)
        putLittleEndian(header.data() + i * wordBytes, link->bdSendHeader[i]);
    piece(wordBytes, header.data(), block.bdHeaderSize);
    putLittleEndian(size.data(), static_cast<uint32_t>(block.bdDataSize));
    piece(wordBytes + block.bdHeaderSize, size.data(), size.size());
    return done;
}

/// Reads up to `count` bytes at `offset` of the data. Negative on failure.
int readSource(scpi_block& block, int count, uint32_t offset, char* buffer) {
    if (block.bdFile != nullptr)
        return static_cast<int>(fread(buffer, 1, static_cast<size_t>(count), block.bdFile));
    if (block.bdDataFunction != nullptr)
        return block.bdDataFunction(block.bdDataArgument, count, offset, buffer);
    return count;
}

int memoryHandler(void* argument, int count, uint32_t offset, char* buffer) {
    memcpy(buffer, static_cast<const char*>(argument) + offset, static_cast<size_t>(count));
    return count;
}

/// A piece never crosses from one fragment into the next.
int fragmentedMemoryHandler(void* argument, int count, uint32_t offset, char* buffer) {
    deviceAccessMutex.assertHeld();
    const auto* link = static_cast<const scpi_link*>(argument);
    for (int i = 0; i < link->bdFragmentCount; ++i) {
        const bd_fragment& fragment = link->bdFragments[static_cast<size_t>(i)];
        const auto length = static_cast<uint32_t>(fragment.length);
        if (offset < length) {
            const uint32_t bytes = std::min(length - offset, static_cast<uint32_t>(count));
            memcpy(buffer, static_cast<const char*>(fragment.data) + offset, bytes);
            return static_cast<int>(bytes);
        }
        offset -= length;
    }
    return -1;
}

} // namespace

void scpi_exec_initBlockDataConfig(scpi_block* record) {
    *record = scpi_block{};
}

bool scpi_exec_receivingBlockData(const scpi_link* link) {
    deviceAccessMutex.assertHeld();
    return (link->bdReceive.bdFlags & bdActive) != 0;
}
bool scpi_exec_sendingBlockData(const scpi_link* link) {
    deviceAccessMutex.assertHeld();
    return (link->bdSend.bdFlags & bdActive) != 0;
}

void scpi_exec_startBdSend_handler(scpi_link* link, int32_t dataSize, BdDataFunction dataFunction, void* dataArgument,
                                   BdEndFunction endFunction, void* endArgument) {
    deviceAccessMutex.assertHeld();
    scpi_block& block = restartSend(link);
    block.bdDataSize = std::max(dataSize, 0);
    block.bdDataFunction = dataFunction;
    block.bdDataArgument = dataArgument;
    setEnd(block, endFunction, endArgument);
}

void scpi_exec_startBdSend_memory(scpi_link* link, int32_t dataSize, const void* data, BdEndFunction endFunction,
                                  void* endArgument) {
    deviceAccessMutex.assertHeld();
    scpi_exec_startBdSend_handler(link, dataSize, memoryHandler, const_cast<void*>(data), endFunction, endArgument);
}

void scpi_exec_bd_clearFragments(scpi_link* link) {
    deviceAccessMutex.assertHeld();
    link->bdFragmentCount = 0;
    link->bdSendHeader.fill(0);
}

int scpi_exec_bd_appendFragment(scpi_link* link, int32_t length, const void* data) {
    deviceAccessMutex.assertHeld();
    if (link->bdFragmentCount >= bdFragmentMax)
        return scpi::executionError;
    link->bdFragments[static_cast<size_t>(link->bdFragmentCount++)] = {data, std::max(length, 0)};
    return 0;
}

void scpi_exec_startBdSend_fragmentedMemory(scpi_link* link, BdEndFunction endFunction, void* endArgument) {
    deviceAccessMutex.assertHeld();
    int64_t size = 0;
    link->bdSendHeader[0] = 1;
    for (int i = 0; i < link->bdFragmentCount; ++i) {
        const int32_t length = link->bdFragments[static_cast<size_t>(i)].length;
        link->bdSendHeader[static_cast<size_t>(i) + 1] = static_cast<uint32_t>(length);
        size += length;
    }
    scpi_exec_startBdSend_handler(link, static_cast<int32_t>(std::min<int64_t>(size, INT32_MAX)),
                                  fragmentedMemoryHandler, link, endFunction, endArgument);
    link->bdSend.bdHeaderSize = static_cast<uint32_t>((1 + link->bdFragmentCount) * static_cast<int>(wordBytes));
}

void scpi_exec_startBdSend_file(scpi_link* link, const char* path, BdEndFunction endFunction, void* endArgument) {
    deviceAccessMutex.assertHeld();
    scpi_block& block = restartSend(link);
    setName(block, path);
    setEnd(block, endFunction, endArgument);
    block.bdFile = fopen(path, "rb");
    if (block.bdFile == nullptr) {
        printd("scpi_exec_startBdSend_file(): could not open file\n");
        return;
    }
    const long length = fseek(block.bdFile, 0, SEEK_END) == 0 ? ftell(block.bdFile) : 0;
    rewind(block.bdFile);
    block.bdDataSize = static_cast<int32_t>(std::clamp<long>(length, 0, INT32_MAX));
}

int scpi_exec_bdSend_asciiHeader(scpi_link* link) {
    deviceAccessMutex.assertHeld();
    scpi_block& block = link->bdSend;
    if (block.bdHeaderSize != 0)
        return scpi::executionError;
    std::array<char, 12> digits;
    const int count = snprintf(digits.data(), digits.size(), "%d", block.bdDataSize);
    block.bdAsciiHeader[0] = '#';
    block.bdAsciiHeader[1] = static_cast<char>('0' + std::min(count, 9));
    // A block of 10^9 bytes or more has no ASCII header of one length digit; none of ours comes near.
    memcpy(block.bdAsciiHeader.data() + 2, digits.data(), static_cast<size_t>(std::min(count, 9)));
    return 0;
}

void scpi_exec_bdSend_interruptWith(scpi_link* link, BdInterruptFunction interrupt) {
    deviceAccessMutex.assertHeld();
    setInterrupt(link, interrupt);
}

void scpi_exec_startBdReceive_file(scpi_link* link, const char* path, BdEndFunction endFunction, void* endArgument,
                                   const char* headerText) {
    deviceAccessMutex.assertHeld();
    scpi_block& block = restart(link->bdReceive);
    setName(block, path);
    setEnd(block, endFunction, endArgument);
    if (tvstuffIsTvFile(path)) {
        block.bdFlags |= bdTvFile;
        tvstuffWriteTv();
    } else if (tvstuffIsRootFile(path)) {
        block.bdFlags |= bdRootFile;
        tvstuffWriteRoot();
    }
    block.bdFile = fopen(path, "w+b");
    if (headerText[0] == '#' && headerText[1] != 0) {
        strncpy(block.bdAsciiHeader.data(), headerText, block.bdAsciiHeader.size() - 1);
        block.bdDataSize =
            static_cast<int32_t>(std::clamp<long>(strtol(block.bdAsciiHeader.data() + 2, nullptr, 10), 0, INT32_MAX));
        if (block.bdDataSize == 0)
            stop(block);
    }
}

void scpi_exec_startBdReceive_nowhere(scpi_link* link, int32_t dataSize) {
    deviceAccessMutex.assertHeld();
    scpi_block& block = restart(link->bdReceive);
    block.bdAsciiHeader[0] = '#';
    block.bdDataSize = dataSize;
    if (dataSize == 0)
        stop(block);
}

int scpi_exec_handleBlockDataSend(scpi_link* link, char* buffer, int room) {
    deviceAccessMutex.assertHeld();
    scpi_block& block = link->bdSend;
    int done = sendFraming(link, buffer, room);
    const uint64_t framing = framingBytes(block);
    if (block.bdPosition < framing)
        return done;

    const auto offset = static_cast<uint32_t>(block.bdPosition - framing);
    const int left = block.bdDataSize - static_cast<int32_t>(offset);
    const int count = std::min(room - done, left);
    if (count > 0) {
        int got = -1;
        if (!(block.bdFlags & bdSourceFailed)) {
            got = std::min(readSource(block, count, offset, buffer + done), count);
            // Nothing although the whole answer buffer was offered: the source has run dry before its announced end.
            if (got < 0 || (got == 0 && room >= link->ansSize)) {
                block.bdFlags |= bdSourceFailed;
                got = -1;
            }
        }
        if (got < 0) {
            memset(buffer + done, 0, static_cast<size_t>(count));
            got = count;
        }
        done += got;
        block.bdPosition += static_cast<uint32_t>(got);
    }
    if (block.bdPosition - framing >= static_cast<uint64_t>(block.bdDataSize))
        stopSend(link);
    return done;
}

int scpi_exec_handleBlockDataReceive(scpi_link* link, const char* data, int count) {
    deviceAccessMutex.assertHeld();
    scpi_block& block = link->bdReceive;
    int done = 0;
    uint64_t framing = 0;
    if (!isAscii(block)) {
        const auto collect = [&](uint64_t start, uint32_t& word) REQUIRES(deviceAccessMutex) {
            while (done < count && block.bdPosition >= start && block.bdPosition < start + wordBytes) {
                const auto byte = static_cast<uint32_t>(static_cast<unsigned char>(data[done]));
                word |= byte << (8 * (block.bdPosition - start));
                ++done;
                ++block.bdPosition;
            }
        };
        collect(0, block.bdHeaderSize);
        const uint64_t sizeAt = wordBytes + uint64_t{block.bdHeaderSize};
        if (block.bdPosition >= wordBytes && block.bdPosition < sizeAt) {
            const auto skip =
                static_cast<int>(std::min<uint64_t>(sizeAt - block.bdPosition, static_cast<uint64_t>(count - done)));
            done += skip;
            block.bdPosition += static_cast<uint32_t>(skip);
        }
        auto size = static_cast<uint32_t>(block.bdDataSize);
        if (block.bdPosition >= wordBytes)
            collect(sizeAt, size);
        block.bdDataSize = static_cast<int32_t>(size);
        framing = sizeAt + wordBytes;
        // A position is 32 bits wide: a block that announces more than that is refused by ending it here.
        if (framing + size > UINT32_MAX || block.bdDataSize < 0) {
            stop(block);
            return done;
        }
        if (block.bdPosition < framing)
            return done;
    }

    const auto offset = static_cast<uint32_t>(block.bdPosition - framing);
    const int taken = std::min(count - done, block.bdDataSize - static_cast<int32_t>(offset));
    if (taken > 0) {
        if (block.bdFile != nullptr)
            fwrite(data + done, 1, static_cast<size_t>(taken), block.bdFile); // a full disk drops data, not the link
        else if (block.bdDataFunction != nullptr)
            block.bdDataFunction(block.bdDataArgument, taken, offset, const_cast<char*>(data + done));
        done += taken;
        block.bdPosition += static_cast<uint32_t>(taken);
    }
    if (block.bdPosition - framing >= static_cast<uint64_t>(block.bdDataSize))
        stop(block);
    return done;
}

void scpi_exec_stopBlockDataSend(scpi_link* link) {
    deviceAccessMutex.assertHeld();
    stopSend(link);
}
void scpi_exec_stopBlockDataReceive(scpi_link* link) {
    deviceAccessMutex.assertHeld();
    stop(link->bdReceive);
}
void scpi_exec_cancelBlockDataReceive(scpi_link* link) {
    deviceAccessMutex.assertHeld();
    stop(link->bdReceive);
}

void scpi_exec_interruptBlockDataSend(scpi_link* link) {
    MutexLock lock(link->bdInterruptMutex);
    if (link->bdInterrupt != nullptr)
        link->bdInterrupt(link->bdInterruptArgument);
}

void scpi_exec_cancelBlockDataSend(scpi_link* link) {
    deviceAccessMutex.assertHeld();
    scpi_block& block = link->bdSend;
    const uint64_t framing = framingBytes(block);
    uint64_t offset = block.bdPosition > framing ? block.bdPosition - framing : 0;
    std::array<char, discardBytes> sink;
    while (!(block.bdFlags & bdSourceFailed) && offset < static_cast<uint64_t>(block.bdDataSize)) {
        const auto step = static_cast<int>(std::min<uint64_t>(sink.size(), block.bdDataSize - offset));
        const int got = readSource(block, step, static_cast<uint32_t>(offset), sink.data());
        if (got <= 0)
            break;
        offset += static_cast<uint64_t>(got);
    }
    stopSend(link);
}
