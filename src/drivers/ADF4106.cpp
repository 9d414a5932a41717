#include "drivers/ADF4106.h"

#include "base/error_codes.h"

#include <algorithm>
#include <bit>

namespace {

constexpr char name[] = "ADF4106";

constexpr Field aCounter{pll::nLatch, 2, 6};
constexpr Field bCounter{pll::nLatch, 8, 13};
constexpr Field prescalerCode{pll::functionLatch, 22, 2};
static_assert(fieldsFit({aCounter, bCounter, prescalerCode, pll::counterReset, pll::powerDown, pll::muxOut,
                         pll::pumpThreeState},
                        pll::latchBits));
constexpr uint32_t nStart = 1025; // B = 4
static_assert(field_get(nStart, pll::number) == pll::nLatch && field_get(nStart, bCounter) == 4);

constexpr uint32_t prescalerMin = 8; // code 0; each code doubles it
constexpr uint32_t prescalerMax = 64;
constexpr uint32_t code(uint32_t prescaler) {
    return static_cast<uint32_t>(std::countr_zero(prescaler / prescalerMin));
}
static_assert(code(16) == 1 && code(prescalerMax) == field_max(prescalerCode));

void putN(PllLatches* latches, uint32_t a, uint32_t b, uint32_t prescaler) {
    latches->n = field_put(field_put(latches->n, aCounter, a), bCounter, b);
    latches->function = field_put(latches->function, prescalerCode, code(prescaler));
}

} // namespace

void ADF4106_init(ADF4106* chip, uint32_t address, uint32_t board) {
    *chip = {};
    chip_attach(&chip->latches.bus, "ADF4106 PLL", address, board, 0);
    chip->latches.r = pll::rStart;
    chip->latches.n = nStart;
    chip->latches.function = pll::functionStart;
    pll::start(&chip->latches, name);
}

int ADF4106_setManualRNConfig(ADF4106* chip, uint32_t r, uint32_t n) {
    if (r == 0 || r > field_max(pll::rCounter))
        return scpi::illegalParameterValue;
    const uint32_t b = std::min(n / prescalerMax, field_max(bCounter));
    const uint32_t a = std::min(n - prescalerMax * b, field_max(aCounter));
    PllLatches* latches = &chip->latches;
    putN(latches, a, b, prescalerMax);
    latches->r = field_put(latches->r, pll::rCounter, r);
    return chip_firstFailure({pll::send(latches, name, latches->n), pll::send(latches, name, latches->r),
                              pll::send(latches, name, latches->function)});
}

int ADF4106_setNDivider(ADF4106* chip, uint32_t a, uint32_t b, uint32_t prescaler) {
    const bool known = std::has_single_bit(prescaler) && prescaler >= prescalerMin && prescaler <= prescalerMax;
    if (!known || a > field_max(aCounter) || b > field_max(bCounter))
        return scpi::illegalParameterValue;
    PllLatches* latches = &chip->latches;
    putN(latches, a, b, prescaler);
    return chip_firstFailure({pll::send(latches, name, latches->n), pll::send(latches, name, latches->function)});
}

int ADF4106_setRDivider(ADF4106* chip, uint32_t r) {
    if (r == 0 || r > field_max(pll::rCounter))
        return scpi::illegalParameterValue;
    chip->latches.r = field_put(chip->latches.r, pll::rCounter, r);
    return pll::send(&chip->latches, name, chip->latches.r);
}

int ADF4106_setMUX(ADF4106* chip, uint32_t mux) {
    return pll::setFunction(&chip->latches, name, pll::muxOut, mux);
}

int ADF4106_setCpPinThreeState(ADF4106* chip) {
    return pll::setFunction(&chip->latches, name, pll::pumpThreeState, 1);
}

int ADF4106_powerUp(ADF4106* chip) {
    return pll::setFunction(&chip->latches, name, pll::powerDown, 0);
}

void ADF4106_printErrMsg(const ADF4106* chip, const char* what) {
    chip_printErrMsg(&chip->latches.bus, name, what);
}

void ADF4106_printInfo(const ADF4106* chip) {
    pll::printInfo(&chip->latches, name);
}
