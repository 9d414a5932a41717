#include "drivers/AD7680.h"

#include <cstdio>

namespace {

constexpr char name[] = "AD7680";
constexpr size_t frameBytes = 3;
constexpr unsigned bitsBehindValue = 5; // four trailing zeros, and one clock that the bus samples late

} // namespace

void AD7680_init(AD7680* chip, uint32_t address, uint32_t board) {
    chip_attach(&chip->bus, "AD7680 ADC", address, board, 0);
}

uint32_t AD7680_getValue(const AD7680* chip) {
    return static_cast<uint32_t>(chip_receive(&chip->bus, name, frameBytes) >> bitsBehindValue);
}

void AD7680_printErrMsg(const AD7680* chip, const char* what) {
    chip_printErrMsg(&chip->bus, name, what);
}

void AD7680_printInfo(const AD7680* chip) {
    chip_printInfo(&chip->bus, name);
    printf("\tvalue: %u\n", AD7680_getValue(chip));
}
