#include "drivers/S25FL.h"

#include "base/error_codes.h"
#include "base/tvdebug.h"
#include "core/abstime.h"
#include "drivers/flash_file.h"

#include <array>
#include <cstdio>

namespace {

constexpr size_t addressBytes = 4;
constexpr FlashKind kind{"S25FL",
                         "pageSize",
                         "S25FL_writePage(): page write timed out",
                         "S25FL_writePage() error: page write timed out\n",
                         0x12,
                         0x13,
                         addressBytes};
constexpr uint8_t eraseSector = 0xDC, readConfiguration = 0x35, readId = 0x9F, softwareReset = 0xF0;

constexpr size_t architectureByte = 4; // of the identification
constexpr uint8_t quadMode = 0x02;     // of the configuration register
constexpr uint64_t reset_us = 100;

constexpr FlashPatience registerPatience{1000, 1'000'000, "S25FL_enableQuadSPI(): timed out", nullptr};
constexpr FlashPatience sectorPatience{10'000, 1'000'000, "S25FL_eraseSector(): timed out", nullptr};
constexpr FlashPatience chipPatience{1'000'000, 100'000'000, "S25FL_eraseChip(): chip erase timed out", nullptr};

struct Geometry {
    uint32_t sectorSize, pageSize; // bytes
};
constexpr std::array<Geometry, 2> geometries{{{0x40000, 512}, {0x10000, 256}}}; // by sector architecture

int readSectorArchitecture(S25FL* flash) {
    std::array<uint8_t, S25FL_idBytes> id{};
    const int status = S25FL_readId(flash, id.data());
    const uint8_t architecture = id[architectureByte];
    const bool known = status == 0 && architecture < geometries.size();
    const Geometry& geometry = geometries[known ? architecture : 0];
    flash->sectorSize = geometry.sectorSize;
    flash->pageSize = geometry.pageSize;
    if (known)
        return 0;
    printd("S25FL_readSectorArchitecture() error: unknown sector architecture.\nUsing default sector size 256kB\n");
    return scpi::executionError;
}

int enableQuadSPI(S25FL* flash) {
    constexpr std::array<uint8_t, 2> statusAndConfiguration{0, quadMode};
    if (const int status = flash_send(flash->link, flash_writeEnable); status != 0)
        return status;
    if (const int status = flash_send(flash->link, flash_writeRegister, statusAndConfiguration); status != 0)
        return status;
    if (const int status = flash_awaitEnd(flash->link, registerPatience, &flash->status); status != 0)
        return status;
    uint8_t configuration;
    if (const int status = S25FL_readConfigurationRegister(flash, &configuration); status != 0)
        return status;
    if ((configuration & quadMode) != 0)
        return 0;
    fputs("S25FL_enableQuadSPI() error: configuration register readback mismatch\n", stderr);
    return scpi::executionError;
}

FlashForFiles forFiles(S25FL* flash) {
    return {
        .chip = "S25FL",
        .sectorBytes = flash->sectorSize,
        .compareBytes = flash_dataMax,
        .differenceText = "S25FL_compareBinary(): invalid data in chunk starting at address",
        .record = flash,
        .writeSector =
            [](void* record, uint32_t address, std::span<const uint8_t> data) {
                return S25FL_writeSector(static_cast<S25FL*>(record), address, data.data(),
                                         static_cast<uint32_t>(data.size()));
            },
        .read =
            [](void* record, uint32_t address, std::span<uint8_t> data) {
                return S25FL_readData(static_cast<S25FL*>(record), address, data.data(),
                                      static_cast<uint32_t>(data.size()));
            },
        .eraseSector = [](void* record,
                          uint32_t address) { return S25FL_eraseSector(static_cast<S25FL*>(record), address); },
    };
}

} // namespace

int S25FL_init(S25FL* flash, uint32_t writeSlave, uint32_t readSlave) {
    *flash = {.link = {writeSlave, readSlave}, .status = 0, .configuration = 0, .sectorSize = 0, .pageSize = 0};
    const int reset = flash_send(flash->link, softwareReset);
    tvstuff_delay_us(reset_us);
    const int geometry = readSectorArchitecture(flash);
    const int quad = enableQuadSPI(flash);
    return reset != 0 ? reset : geometry != 0 ? geometry : quad;
}

int S25FL_eraseChip(S25FL* flash) {
    uint8_t status;
    if (const int result = S25FL_readStatusRegister(flash, &status); result != 0)
        return result;
    if ((status >> flash_busyBit & 1) != 0) {
        printd("S25FL_eraseChip(): error: chip busy\n");
        return scpi::executionError;
    }
    return flash_erase(flash->link, flash_eraseChip, chipPatience, &flash->status);
}

int S25FL_eraseSector(S25FL* flash, uint32_t address) {
    return flash_erase(flash->link, {eraseSector, address, addressBytes}, sectorPatience, &flash->status);
}

int S25FL_eraseRange(S25FL* flash, uint32_t start, uint32_t bytes) {
    if (flash->sectorSize == 0 || start % flash->sectorSize != 0 || bytes % flash->sectorSize != 0) {
        printd("S25FL_eraseRange() error: range not aligned returned %d\n", scpi::illegalParameterValue);
        return scpi::illegalParameterValue;
    }
    for (uint32_t at = 0; at < bytes; at += flash->sectorSize)
        if (const int status = S25FL_eraseSector(flash, start + at); status != 0)
            return status;
    return 0;
}

int S25FL_writePage(S25FL* flash, uint32_t address, const void* data, uint32_t bytes) {
    return flash_writePage(flash->link, kind, flash->pageSize, address, {static_cast<const uint8_t*>(data), bytes},
                           &flash->status);
}

int S25FL_writeSector(S25FL* flash, uint32_t address, const void* data, uint32_t bytes) {
    return flash_writePages(flash->link, kind, flash->pageSize, address, {static_cast<const uint8_t*>(data), bytes},
                            &flash->status);
}

int S25FL_readData(S25FL* flash, uint32_t address, void* data, uint32_t bytes) {
    return flash_read(flash->link, {kind.read, address, addressBytes}, {static_cast<uint8_t*>(data), bytes});
}

int S25FL_writeBinary(S25FL* flash, const char* path, uint32_t address) {
    return flash_writeFile(forFiles(flash), path, address);
}

int S25FL_readBinary(S25FL* flash, const char* path, uint32_t address, uint32_t bytes) {
    return flash_readFile(forFiles(flash), path, address, bytes);
}

int S25FL_compareBinary(S25FL* flash, const char* path, uint32_t address) {
    return flash_compareFile(forFiles(flash), path, address);
}

int S25FL_readId(S25FL* flash, uint8_t id[S25FL_idBytes]) {
    return flash_read(flash->link, readId, {id, S25FL_idBytes});
}

int S25FL_readStatusRegister(S25FL* flash, uint8_t* status) {
    const int result = flash_read(flash->link, flash_readStatus, {&flash->status, 1});
    *status = flash->status;
    return result;
}

int S25FL_readConfigurationRegister(S25FL* flash, uint8_t* configuration) {
    const int result = flash_read(flash->link, readConfiguration, {&flash->configuration, 1});
    *configuration = flash->configuration;
    return result;
}

uint32_t S25FL_getPageSize(const S25FL* flash) {
    return flash->pageSize;
}

uint32_t S25FL_getSectorSize(const S25FL* flash) {
    return flash->sectorSize;
}
