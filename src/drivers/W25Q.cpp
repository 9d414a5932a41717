#include "drivers/W25Q.h"

#include "drivers/flash_file.h"

#include <algorithm>

namespace {

constexpr size_t addressBytes = 3;
constexpr FlashKind kind{"W25Q",
                         "W25Q_PAGE_BYTES",
                         "W25Q_writePage(): page write timed out",
                         "W25Q_writePage() error: page write timed out\n",
                         0x02,
                         0x03,
                         addressBytes};
constexpr uint8_t eraseSector = 0x20, eraseBlock = 0xD8, readId = 0x90;

constexpr uint32_t statusMode = 0; // SPI mode word of the status register's write
constexpr uint64_t eraseLimit_us = 40'000'000, slowEraseLimit_us = 200'000'000;
constexpr uint64_t second_us = 1'000'000, millisecond_us = 1000;

int erase(W25Q* flash, const FlashHead& head, uint64_t interval_us, const char* timeoutText) {
    const uint64_t limit_us = flash->slow == 1 ? slowEraseLimit_us : eraseLimit_us;
    return flash_erase(flash->link, head, {interval_us, limit_us, timeoutText, nullptr}, &flash->status);
}

FlashForFiles forFiles(W25Q* flash) {
    return {
        .chip = "W25Q",
        .sectorBytes = W25Q_sectorBytes,
        .compareBytes = W25Q_sectorBytes,
        .differenceText = "W25Q_compareBinary(): invalid data at sector",
        .record = flash,
        .writeSector =
            [](void* record, uint32_t address, std::span<const uint8_t> data) {
                return W25Q_writeSector(static_cast<W25Q*>(record), address, data.data(),
                                        static_cast<uint32_t>(data.size()));
            },
        .read =
            [](void* record, uint32_t address, std::span<uint8_t> data) {
                return W25Q_readSector(static_cast<W25Q*>(record), address, data.data(),
                                       static_cast<uint32_t>(data.size()));
            },
        .eraseSector = [](void* record,
                          uint32_t address) { return W25Q_eraseSector(static_cast<W25Q*>(record), address); },
    };
}

} // namespace

void W25Q_init(W25Q* flash, uint32_t writeSlave, uint32_t readSlave, uint32_t slow) {
    *flash = {.link = {writeSlave, readSlave}, .status = 0, .slow = slow};
}

int W25Q_eraseChip(W25Q* flash) {
    return erase(flash, flash_eraseChip, second_us, "W25Q_eraseChip(): chip erase timed out");
}

int W25Q_eraseSector(W25Q* flash, uint32_t address) {
    return erase(flash, {eraseSector, address, addressBytes}, second_us, "W25Q_eraseSector(): sector erase timed out");
}

int W25Q_eraseBlock64k(W25Q* flash, uint32_t address) {
    return erase(flash, {eraseBlock, address, addressBytes}, millisecond_us,
                 "W25Q_eraseBlock64k(): 64k block erase timed out");
}

int W25Q_eraseRange(W25Q* flash, uint32_t start, uint32_t bytes) {
    if (bytes == 0)
        return 0;
    const uint64_t end = uint64_t{start} + bytes;
    for (uint64_t block = start / W25Q_blockBytes * W25Q_blockBytes; block < end; block += W25Q_blockBytes)
        if (const int status = W25Q_eraseBlock64k(flash, static_cast<uint32_t>(block)); status != 0)
            return status;
    return 0;
}

int W25Q_writePage(W25Q* flash, uint32_t address, const void* data, uint32_t bytes) {
    return flash_writePage(flash->link, kind, W25Q_pageBytes, address, {static_cast<const uint8_t*>(data), bytes},
                           &flash->status);
}

int W25Q_writeSector(W25Q* flash, uint32_t address, const void* data, uint32_t bytes) {
    return flash_writePages(flash->link, kind, W25Q_pageBytes, address, {static_cast<const uint8_t*>(data), bytes},
                            &flash->status);
}

int W25Q_readPage(W25Q* flash, uint32_t address, void* data, uint32_t bytes) {
    return flash_read(flash->link, {kind.read, address, addressBytes}, {static_cast<uint8_t*>(data), bytes});
}

int W25Q_readSector(W25Q* flash, uint32_t address, void* data, uint32_t bytes) {
    auto* const to = static_cast<uint8_t*>(data);
    for (uint32_t at = 0; at < bytes; at += W25Q_pageBytes)
        if (const int status = W25Q_readPage(flash, address + at, to + at, std::min(bytes - at, W25Q_pageBytes));
            status != 0)
            return status;
    return 0;
}

int W25Q_writeBinary(W25Q* flash, const char* path, uint32_t address) {
    return flash_writeFile(forFiles(flash), path, address);
}

int W25Q_readBinary(W25Q* flash, const char* path, uint32_t address, uint32_t bytes) {
    return flash_readFile(forFiles(flash), path, address, bytes);
}

int W25Q_compareBinary(W25Q* flash, const char* path, uint32_t address) {
    return flash_compareFile(forFiles(flash), path, address);
}

int W25Q_readId(W25Q* flash, uint16_t* id) {
    uint8_t answer[2]{};
    const int status = flash_read(flash->link, {readId, 0, addressBytes}, answer);
    *id = static_cast<uint16_t>(answer[0] << 8 | answer[1]);
    return status;
}

int W25Q_readStatusRegister(W25Q* flash, uint8_t* status) {
    const int result = flash_read(flash->link, flash_readStatus, {&flash->status, 1});
    *status = flash->status;
    return result;
}

int W25Q_writeStatusRegister(W25Q* flash, uint8_t status) {
    if (const int result = flash_send(flash->link, flash_writeEnable); result != 0)
        return result;
    return flash_send(flash->link, flash_writeRegister, {&status, 1}, statusMode);
}
