#include "drivers/chip.h"

#include "base/error_codes.h"
#include "drivers/tvspi.h"

#include <array>
#include <atomic>
#include <cstdio>

namespace {

constexpr size_t frameMax = 8; // bytes

std::atomic<bool> quiet;

} // namespace

void chip_attach(ChipBus* bus, const char* slaveName, uint32_t address, uint32_t board, uint32_t mode) {
    *bus = {address, board, mode};
    tvspi_addSlave(address, slaveName);
}

void chip_printErrMsg(const ChipBus* bus, const char* chipName, const char* what) {
    if (quiet)
        return;
    fprintf(stderr, "ERROR - %s: %s\n", what, chipName);
    fprintf(stderr, "\tIC: %p\n", static_cast<const void*>(bus));
    fprintf(stderr, "\tboard: %u\n", bus->board);
    fprintf(stderr, "\taddress: %u\n", bus->address);
}

void chip_keepQuiet() {
    quiet = true;
}

void chip_printInfo(const ChipBus* bus, const char* chipName) {
    printf("%s\n\taddress: %u\n\tboard: %u\n\tmode: %u\n", chipName, bus->address, bus->board, bus->mode);
}

int chip_sendBytes(const ChipBus* bus, const char* chipName, const uint8_t* bytes, size_t length, uint32_t modeBits) {
    if (tvspiSend(bus->address, static_cast<uint32_t>(length), bus->mode | modeBits, bytes) == 0)
        return 0;
    chip_printErrMsg(bus, chipName, "SPI write failed");
    return scpi::executionError;
}

int chip_send(const ChipBus* bus, const char* chipName, uint64_t frame, size_t length, uint32_t modeBits) {
    std::array<uint8_t, frameMax> bytes;
    chip_toMemory(frame, bytes.data(), length);
    return chip_sendBytes(bus, chipName, bytes.data(), length, modeBits);
}

int chip_read(const ChipBus* bus, const char* chipName, size_t length, uint64_t* frame) {
    std::array<uint8_t, frameMax> bytes{};
    *frame = 0;
    if (tvspiRecv(bus->address, bus->board, static_cast<uint32_t>(length), bus->mode, bytes.data()) != 0) {
        chip_printErrMsg(bus, chipName, "SPI read failed");
        return scpi::executionError;
    }
    *frame = chip_fromMemory(bytes.data(), length);
    return 0;
}

uint64_t chip_receive(const ChipBus* bus, const char* chipName, size_t length) {
    uint64_t frame = 0;
    chip_carryOn(chip_read(bus, chipName, length, &frame));
    return frame;
}

void chip_toMemory(uint64_t frame, uint8_t* bytes, size_t length) {
    for (size_t i = 0; i < length; ++i)
        bytes[i] = static_cast<uint8_t>(frame >> 8 * i);
}

uint64_t chip_fromMemory(const uint8_t* bytes, size_t length) {
    uint64_t frame = 0;
    for (size_t i = 0; i < length; ++i)
        frame |= static_cast<uint64_t>(bytes[i]) << 8 * i;
    return frame;
}
