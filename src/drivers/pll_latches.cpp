#include "drivers/pll_latches.h"

#include "base/error_codes.h"

#include <cstdio>

namespace pll {

int send(const PllLatches* latches, const char* chipName, uint32_t word) {
    return chip_send(&latches->bus, chipName, word, latchBits / 8);
}

void start(PllLatches* latches, const char* chipName) {
    chip_carryOn(send(latches, chipName, latches->function));
    chip_carryOn(send(latches, chipName, latches->r));
    chip_carryOn(send(latches, chipName, latches->n));
    chip_carryOn(setFunction(latches, chipName, counterReset, 0));
}

int setFunction(PllLatches* latches, const char* chipName, const Field& field, uint32_t value) {
    if (value > field_max(field))
        return scpi::illegalParameterValue;
    latches->function = field_put(latches->function, field, value);
    return send(latches, chipName, latches->function);
}

void printInfo(const PllLatches* latches, const char* chipName) {
    chip_printInfo(&latches->bus, chipName);
    printf("\tR latch: 0x%06X\n\tN latch: 0x%06X\n\tfunction latch: 0x%06X\n", latches->r, latches->n,
           latches->function);
}

} // namespace pll
