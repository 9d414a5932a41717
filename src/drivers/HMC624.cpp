#include "drivers/HMC624.h"

#include <algorithm>
#include <cstdio>

namespace {

constexpr char name[] = "HMC624";
constexpr uint32_t invertedLatchEnable = 2; // of the mode word
constexpr uint32_t attenuationMax = 63;
constexpr double step_dB = 0.5;

void init(HMC624* chip, uint32_t address, uint32_t board, uint32_t mode) {
    *chip = {};
    chip_attach(&chip->bus, "HMC624 attenuator", address, board, mode);
    chip_carryOn(HMC624_setAttenuation(chip, 0));
}

} // namespace

void HMC624_init(HMC624* chip, uint32_t address, uint32_t board) {
    init(chip, address, board, 0);
}

void HMC624_initInvertedLE(HMC624* chip, uint32_t address, uint32_t board) {
    init(chip, address, board, invertedLatchEnable);
}

int HMC624_setAttenuation(HMC624* chip, uint32_t attenuation) {
    chip->attenuation = std::min(attenuation, attenuationMax);
    return chip_send(&chip->bus, name, ~uint64_t{chip->attenuation}, 1); // a low bit switches its pad in
}

uint32_t HMC624_getAttenuation(const HMC624* chip) {
    return chip->attenuation;
}

void HMC624_printErrMsg(const HMC624* chip, const char* what) {
    chip_printErrMsg(&chip->bus, name, what);
}

void HMC624_printInfo(const HMC624* chip) {
    chip_printInfo(&chip->bus, name);
    printf("\tattenuation: %.1f dB\n", chip->attenuation * step_dB);
}
