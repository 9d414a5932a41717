#include "drivers/LTC6950.h"

#include <algorithm>
#include <cstdio>

namespace {

constexpr char name[] = "LTC6950";

constexpr size_t pumpRegister = 6;
constexpr uint8_t pumpDown = 5; // held in reset, down current on
constexpr uint8_t pumpUp = 6;   // held in reset, up current on

int setPump(LTC6950* chip, uint8_t bits) {
    chip->reg[pumpRegister] = static_cast<uint8_t>(chip->reg[pumpRegister] | bits);
    return LTC6950_write(chip);
}

} // namespace

void LTC6950_init(LTC6950* chip, uint32_t address, uint32_t board) {
    *chip = {};
    chip_attach(&chip->bus, "LTC6950 clock divider", address, board, 0);
    chip->reg = LTC6950::reg_default;
    chip_carryOn(LTC6950_write(chip));
}

int LTC6950_write(const LTC6950* chip) {
    // On the wire a 0, to write from register 0 on, and then the registers: in memory they lie in front of it,
    // reversed.
    std::array<uint8_t, LTC6950_registers + 1> frame{};
    std::reverse_copy(chip->reg.begin(), chip->reg.end(), frame.begin());
    return chip_sendBytes(&chip->bus, name, frame.data(), frame.size());
}

int LTC6950_CP_sink(LTC6950* chip) {
    return setPump(chip, pumpDown);
}

int LTC6950_CP_source(LTC6950* chip) {
    return setPump(chip, pumpUp);
}

void LTC6950_printErrMsg(const LTC6950* chip, const char* what) {
    chip_printErrMsg(&chip->bus, name, what);
}

void LTC6950_printInfo(const LTC6950* chip) {
    chip_printInfo(&chip->bus, name);
    for (size_t number = 0; number < chip->reg.size(); ++number)
        printf("\tregister 0x%02zX: 0x%02X\n", number, chip->reg[number]);
}
