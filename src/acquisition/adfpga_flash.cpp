// Images of the FPGA: update, check, and the link to their flash.

#include "acquisition/adfpga_flash.h"

#include "base/error_codes.h"
#include "base/error_handler.h"

#include <array>
#include <cstdio>
#include <sys/stat.h>

namespace {

constexpr uint32_t writeSlave = 252, readSlave = 253;

/// The flash of a generation.
struct ImageFlash {
    const char* update; // name of the operation in its messages
    uint32_t firmwareAddress, bytes;
    int (*erase)(TVPN_ADFPGA* board);
    int (*write)(TVPN_ADFPGA* board, const char* path, uint32_t address);
    int (*compare)(TVPN_ADFPGA* board, const char* path, uint32_t address);
};

constexpr uint32_t configAddress = 0;
constexpr size_t textSize = 80; // of a failure

constexpr ImageFlash firstGeneration{
    "TVPN_ADFPGA_updateFpgaConfig()",
    0x410000,
    8 << 20,
    [](TVPN_ADFPGA* board) { return W25Q_eraseChip(&board->flashW25Q); },
    [](TVPN_ADFPGA* board, const char* path, uint32_t address) {
        return W25Q_writeBinary(&board->flashW25Q, path, address);
    },
    [](TVPN_ADFPGA* board, const char* path, uint32_t address) {
        return W25Q_compareBinary(&board->flashW25Q, path, address);
    },
};
constexpr ImageFlash secondGeneration{
    "TVPN_ADFPGA_2_updateFpgaConfig()",
    0x1300000,
    32 << 20,
    [](TVPN_ADFPGA* board) { return S25FL_eraseChip(&board->flashS25FL); },
    [](TVPN_ADFPGA* board, const char* path, uint32_t address) {
        return S25FL_writeBinary(&board->flashS25FL, path, address);
    },
    [](TVPN_ADFPGA* board, const char* path, uint32_t address) {
        return S25FL_compareBinary(&board->flashS25FL, path, address);
    },
};

int setLink(TVPN_ADFPGA* board, bool enabled) REQUIRES(board->controlMutex) {
    const bool line = enabled == (board->activeFlash == 0);
    return line ? SRI_setBit(&board->sri, adfpga_sriFlashLink) : SRI_clearBit(&board->sri, adfpga_sriFlashLink);
}

const ImageFlash& flashOf(const TVPN_ADFPGA* board) {
    return adfpga_isSecondGeneration(board) ? secondGeneration : firstGeneration;
}

bool fits(const char* file, uint32_t room) {
    struct stat found {};
    return file != nullptr && stat(file, &found) == 0 && found.st_size <= room;
}

int update(TVPN_ADFPGA* board, const ImageFlash& flash, const char* configFile, const char* firmwareFile) {
    int status = TVPN_ADFPGA_enableFlashLink(board);
    const auto step = [&](const char* what, const char* file, const char* failure, auto operation) {
        printf("%s: %s\n", flash.update, what);
        if (file != nullptr)
            printf("        (file %s)\n", file);
        fflush(stdout); // what comes now takes its time
        if (status == 0)
            status = operation();
        if (status != 0)
            printf("%s: %s failed!\n", flash.update, failure);
    };
    step("Erase FPGA config flash", nullptr, "Erase", [&] { return flash.erase(board); });
    const auto write = [&](const char* file, uint32_t address, uint32_t end) {
        return fits(file, end - address) ? flash.write(board, file, address) : scpi::executionError;
    };
    step("Write FPGA config flash (FPGA)", configFile, "Write",
         [&] { return write(configFile, configAddress, flash.firmwareAddress); });
    step("Write FPGA config flash (Soft core firmware)", firmwareFile, "Write",
         [&] { return write(firmwareFile, flash.firmwareAddress, flash.bytes); });
    step("Check FPGA config flash (FPGA)", nullptr, "Check",
         [&] { return flash.compare(board, configFile, configAddress); });
    step("Check FPGA config flash (Soft core firmware)", nullptr, "Check",
         [&] { return flash.compare(board, firmwareFile, flash.firmwareAddress); });
    const int released = TVPN_ADFPGA_disableFlashLink(board);
    if (status == 0)
        status = released;
    if (status != 0) {
        std::array<char, textSize> text;
        snprintf(text.data(), text.size(), "%s: Config flash update failed", flash.update);
        TVPN_ADFPGA_error(board, status, text.data());
    }
    printf("%s: Reset FPGA\n", flash.update);
    adfpga_pulseReset(board);
    return status;
}

} // namespace

int adfpga_startFlash(TVPN_ADFPGA* board) {
    if (!adfpga_isSecondGeneration(board)) {
        W25Q_init(&board->flashW25Q, writeSlave, readSlave, 0);
        return 0;
    }
    const int linked = setLink(board, true);
    const int started = S25FL_init(&board->flashS25FL, writeSlave, readSlave);
    return chip_firstFailure({linked, started, setLink(board, false)});
}

int TVPN_ADFPGA_enableFlashLink(TVPN_ADFPGA* board) {
    MutexLock lock(board->controlMutex);
    return setLink(board, true);
}

int TVPN_ADFPGA_disableFlashLink(TVPN_ADFPGA* board) {
    MutexLock lock(board->controlMutex);
    return setLink(board, false);
}

int TVPN_ADFPGA_updateFpgaConfig(TVPN_ADFPGA* board, const char* configFile, const char* firmwareFile) {
    return update(board, flashOf(board), configFile, firmwareFile);
}

int TVPN_ADFPGA_checkFpgaConfig(TVPN_ADFPGA* board, const char* configFile, const char* firmwareFile) {
    const ImageFlash& flash = flashOf(board);
    int status = TVPN_ADFPGA_enableFlashLink(board);
    if (status == 0)
        status = flash.compare(board, configFile, configAddress);
    if (status == 0)
        status = flash.compare(board, firmwareFile, flash.firmwareAddress);
    const int released = TVPN_ADFPGA_disableFlashLink(board);
    return status != 0 ? status : released;
}

void TVPN_ADFPGA_error(TVPN_ADFPGA*, int status, const char* text) {
    globalErrorHandler(status, text);
}
