#pragma once
/// W25Q: serial flash with the images of an FPGA, in pages of 256 bytes and sectors of 4096. It stands behind the flash
/// link of its board, which must be enabled around every access.
///
/// Results are 0, or -200: the bus failed, an argument was refused, or the chip was busy for too long, which
/// globalErrorHandler is told. Reads do not look whether the chip is busy. Nothing is locked.

#include "drivers/flash_link.h"

inline constexpr uint32_t W25Q_pageBytes = 256, W25Q_sectorBytes = 4096, W25Q_blockBytes = 0x10000;

struct W25Q {
    FlashLink link;
    uint8_t status; // register, as last read
    uint32_t slow;  // 1: erasing may take 200 s instead of 40 s
};

/// Only fills the record.
void W25Q_init(W25Q* flash, uint32_t writeSlave, uint32_t readSlave, uint32_t slow);

/// All bits of the range become 1. A sector and a block are those that the address lies in.
[[nodiscard]] int W25Q_eraseChip(W25Q* flash);
[[nodiscard]] int W25Q_eraseSector(W25Q* flash, uint32_t address);
[[nodiscard]] int W25Q_eraseBlock64k(W25Q* flash, uint32_t address);
/// Whole blocks, from the one that `start` lies in until `bytes` from there on are erased.
[[nodiscard]] int W25Q_eraseRange(W25Q* flash, uint32_t start, uint32_t bytes);

/// Clears bits: 1 to 256 bytes within a page. The sector form takes any number from the start of a page on.
[[nodiscard]] int W25Q_writePage(W25Q* flash, uint32_t address, const void* data, uint32_t bytes);
[[nodiscard]] int W25Q_writeSector(W25Q* flash, uint32_t address, const void* data, uint32_t bytes);
[[nodiscard]] int W25Q_readPage(W25Q* flash, uint32_t address, void* data, uint32_t bytes);
/// Page by page.
[[nodiscard]] int W25Q_readSector(W25Q* flash, uint32_t address, void* data, uint32_t bytes);

// Files, as in flash_file.h.

[[nodiscard]] int W25Q_writeBinary(W25Q* flash, const char* path, uint32_t address);
[[nodiscard]] int W25Q_readBinary(W25Q* flash, const char* path, uint32_t address, uint32_t bytes);
[[nodiscard]] int W25Q_compareBinary(W25Q* flash, const char* path, uint32_t address);

/// Maker in the upper byte, chip in the lower.
[[nodiscard]] int W25Q_readId(W25Q* flash, uint16_t* id);
[[nodiscard]] int W25Q_readStatusRegister(W25Q* flash, uint8_t* status);
/// Write protection; takes its time, which the caller awaits by the busy bit.
[[nodiscard]] int W25Q_writeStatusRegister(W25Q* flash, uint8_t status);
