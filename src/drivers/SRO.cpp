#include "drivers/SRO.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>

namespace {

constexpr char name[] = "SRO";
constexpr uint32_t lengthMax = 8;

} // namespace

void SRO_init(SRO* sro, uint32_t address, uint32_t board, uint32_t length) {
    *sro = {};
    chip_attach(&sro->bus, "ShiftRegisterOut", address, board, 0);
    sro->length = std::min(length, lengthMax);
}

uint64_t SRO_getValue64(const SRO* sro) {
    return SRO_getValue64_unshifted(sro) >> 1;
}

uint64_t SRO_getValue64_unshifted(const SRO* sro) {
    return chip_receive(&sro->bus, name, sro->length);
}

void SRO_printErrMsg(const SRO* sro, const char* what) {
    chip_printErrMsg(&sro->bus, name, what);
}

void SRO_printInfo(const SRO* sro) {
    chip_printInfo(&sro->bus, name);
    printf("\tbytes: %u\n\tvalue: 0x%" PRIX64 "\n", sro->length, SRO_getValue64(sro));
}
