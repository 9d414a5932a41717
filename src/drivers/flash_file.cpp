#include "drivers/flash_file.h"

#include "base/error_codes.h"
#include "base/error_handler.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <fcntl.h>
#include <memory>
#include <new>
#include <sys/stat.h>
#include <unistd.h>

namespace {

struct CloseFile {
    void operator()(FILE* file) const { fclose(file); }
};
using File = std::unique_ptr<FILE, CloseFile>;
using Bytes = std::unique_ptr<uint8_t[]>;

constexpr size_t textSize = 128;

/// A regular file, or null: others might never end, or never begin.
File openImage(const char* path) {
    const int number = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    struct stat found {};
    if (number >= 0 && fstat(number, &found) == 0 && S_ISREG(found.st_mode))
        return File(fdopen(number, "rb"));
    if (number >= 0)
        close(number);
    return nullptr;
}

/// The next piece of a file, as much as there is of `room`; `*piece` is empty at its end. False if it cannot be read.
bool readPiece(FILE* file, std::span<uint8_t> room, std::span<uint8_t>* piece) {
    *piece = room.first(fread(room.data(), 1, room.size(), file));
    return ferror(file) == 0;
}

/// 1 if the flash holds `data` at `address`, 0 if not, or -200.
int holds(const FlashForFiles& flash, uint32_t address, std::span<const uint8_t> data, std::span<uint8_t> room) {
    const auto found = room.first(data.size());
    if (const int status = flash.read(flash.record, address, found); status != 0)
        return status;
    return std::equal(data.begin(), data.end(), found.begin()) ? 1 : 0;
}

int writeChecked(const FlashForFiles& flash, uint32_t address, std::span<const uint8_t> data, std::span<uint8_t> room) {
    for (int attempt = 1;; ++attempt) {
        if (const int status = flash.writeSector(flash.record, address, data); status != 0)
            return status;
        if (const int held = holds(flash, address, data, room); held != 0)
            return held == 1 ? 0 : held;
        if (attempt == flash_writeAttempts) {
            std::array<char, textSize> text;
            snprintf(text.data(), text.size(), "%s_writeBinary(): data integrity check failed %s_WRITE_ATTEMPTS times",
                     flash.chip, flash.chip);
            globalErrorHandler(scpi::executionError, text.data());
            return scpi::executionError;
        }
        fprintf(stderr, "%s_writeBinary(): data integrity check failed, sector at 0x%X\n", flash.chip, address);
        fprintf(stderr, "%s_writeBinary(): will erase and write sector again\n", flash.chip);
        if (const int status = flash.eraseSector(flash.record, address); status != 0)
            return status;
    }
}

} // namespace

int flash_writeFile(const FlashForFiles& flash, const char* path, uint32_t address) {
    const File file = openImage(path);
    const Bytes rooms(new (std::nothrow) uint8_t[size_t{2} * flash.sectorBytes]);
    if (file == nullptr || rooms == nullptr)
        return scpi::executionError;
    const std::span<uint8_t> sector(rooms.get(), flash.sectorBytes),
        readBack(&rooms[flash.sectorBytes], flash.sectorBytes);
    for (std::span<uint8_t> piece; readPiece(file.get(), sector, &piece); address += flash.sectorBytes) {
        if (piece.empty())
            return 0;
        if (const int status = writeChecked(flash, address, piece, readBack); status != 0)
            return status;
    }
    return scpi::executionError;
}

int flash_readFile(const FlashForFiles& flash, const char* path, uint32_t address, uint32_t bytes) {
    File file(fopen(path, "wb"));
    const Bytes room(new (std::nothrow) uint8_t[flash.compareBytes]);
    if (file == nullptr || room == nullptr)
        return scpi::executionError;
    while (bytes > 0) {
        const uint32_t count = std::min(bytes, flash.compareBytes);
        if (const int status = flash.read(flash.record, address, {room.get(), count}); status != 0)
            return status;
        if (fwrite(room.get(), 1, count, file.get()) != count)
            return scpi::executionError;
        address += count;
        bytes -= count;
    }
    return fclose(file.release()) == 0 ? 0 : scpi::executionError;
}

int flash_compareFile(const FlashForFiles& flash, const char* path, uint32_t address) {
    const File file = openImage(path);
    const Bytes rooms(new (std::nothrow) uint8_t[size_t{2} * flash.compareBytes]);
    if (file == nullptr || rooms == nullptr)
        return scpi::executionError;
    const std::span<uint8_t> part(rooms.get(), flash.compareBytes),
        found(&rooms[flash.compareBytes], flash.compareBytes);
    for (std::span<uint8_t> piece; readPiece(file.get(), part, &piece); address += flash.compareBytes) {
        if (piece.empty())
            return 0;
        const int held = holds(flash, address, piece, found);
        if (held < 0)
            return held;
        if (held == 0) {
            std::array<char, textSize> text;
            snprintf(text.data(), text.size(), "%s_compareBinary(): data integrity check failed", flash.chip);
            globalErrorHandler(scpi::executionError, text.data());
            fprintf(stderr, "%s 0x%X\n", flash.differenceText, address);
            return scpi::executionError;
        }
    }
    return scpi::executionError;
}
