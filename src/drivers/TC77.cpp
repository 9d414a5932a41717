#include "drivers/TC77.h"

#include "drivers/tvspi.h"

#include <array>
#include <cstdio>

namespace {

constexpr char name[] = "TC77";
constexpr uint32_t frameBytes = 2;
constexpr uint32_t notTemperature = 7; // a ready flag and two bits that float
constexpr double degreesPerBit = 0.0078125;

double degrees(uint64_t frame) {
    return static_cast<int16_t>(frame & ~uint64_t{notTemperature}) * degreesPerBit;
}

} // namespace

void TC77_init(TC77* chip, uint32_t address, uint32_t board) {
    chip_attach(&chip->bus, "TC77 temperature sensor", address | tvspi_getCurrentAddressRoute(), board, 0);
}

double TC77_getTemperature(const TC77* chip) {
    return degrees(chip_receive(&chip->bus, name, frameBytes));
}

double TC77_getTemperature_async(const TC77* chip) {
    std::array<uint8_t, frameBytes> bytes{};
    const ChipBus& bus = chip->bus;
    if (tvspiRecv_async(bus.address, bus.board, frameBytes, bus.mode, bytes.data()) == 0)
        return degrees(chip_fromMemory(bytes.data(), frameBytes));
    TC77_printErrMsg(chip, "SPI read failed");
    return 0;
}

void TC77_printErrMsg(const TC77* chip, const char* what) {
    chip_printErrMsg(&chip->bus, name, what);
}

void TC77_printInfo(const TC77* chip) {
    chip_printInfo(&chip->bus, name);
    printf("\ttemperature: %.4f degrees\n", TC77_getTemperature(chip));
}
