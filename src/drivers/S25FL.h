#pragma once
/// S25FL: serial flash with the images of an FPGA, used with four data lines by the FPGA and one by the processor. The
/// chip tells its own geometry. It stands behind the flash link of its board, which must be enabled around every
/// access.
///
/// Results are 0, or -200: the bus failed, an argument was refused, or the chip was busy for too long, which
/// globalErrorHandler is told. Reads do not look whether the chip is busy. Nothing is locked.

#include "drivers/flash_link.h"

struct S25FL {
    FlashLink link;
    uint8_t status, configuration; // registers, as last read or written
    uint32_t sectorSize, pageSize; // bytes
};

/// Resets the chip, asks for its geometry and enables its four data lines. A geometry that is not known counts as
/// sectors of 256 KiB and pages of 512 bytes, and gives -200 as well.
[[nodiscard]] int S25FL_init(S25FL* flash, uint32_t writeSlave, uint32_t readSlave);

/// All bits of the range become 1. The chip form also fails if the chip is busy.
[[nodiscard]] int S25FL_eraseChip(S25FL* flash);
[[nodiscard]] int S25FL_eraseSector(S25FL* flash, uint32_t address);
/// Whole sectors: -224, and nothing is erased, if start or length are none.
[[nodiscard]] int S25FL_eraseRange(S25FL* flash, uint32_t start, uint32_t bytes);

/// Clears bits: 1 byte to pageSize within a page. The sector form takes any number from the start of a page on.
[[nodiscard]] int S25FL_writePage(S25FL* flash, uint32_t address, const void* data, uint32_t bytes);
[[nodiscard]] int S25FL_writeSector(S25FL* flash, uint32_t address, const void* data, uint32_t bytes);
[[nodiscard]] int S25FL_readData(S25FL* flash, uint32_t address, void* data, uint32_t bytes);

// Files, as in flash_file.h.

[[nodiscard]] int S25FL_writeBinary(S25FL* flash, const char* path, uint32_t address);
[[nodiscard]] int S25FL_readBinary(S25FL* flash, const char* path, uint32_t address, uint32_t bytes);
[[nodiscard]] int S25FL_compareBinary(S25FL* flash, const char* path, uint32_t address);

inline constexpr size_t S25FL_idBytes = 8;
/// Maker, two bytes of the chip's, length of what follows, sector architecture, family, and two of its model.
[[nodiscard]] int S25FL_readId(S25FL* flash, uint8_t id[S25FL_idBytes]);
[[nodiscard]] int S25FL_readStatusRegister(S25FL* flash, uint8_t* status);
[[nodiscard]] int S25FL_readConfigurationRegister(S25FL* flash, uint8_t* configuration);
[[nodiscard]] uint32_t S25FL_getPageSize(const S25FL* flash);
[[nodiscard]] uint32_t S25FL_getSectorSize(const S25FL* flash);
