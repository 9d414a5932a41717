#include "drivers/ADF4002.h"

#include "base/error_codes.h"

namespace {

constexpr char name[] = "ADF4002";

constexpr Field nCounter{pll::nLatch, 8, 13};
static_assert(fieldsFit({nCounter}, pll::latchBits));
constexpr uint32_t nStart = 257; // N = 1
static_assert(field_get(nStart, pll::number) == pll::nLatch && field_get(nStart, nCounter) == 1);

} // namespace

void ADF4002_init(ADF4002* chip, uint32_t address, uint32_t board, uint32_t mode) {
    *chip = {};
    chip_attach(&chip->latches.bus, "ADF4002 PLL", address, board, mode);
    chip->latches.r = pll::rStart;
    chip->latches.n = nStart;
    chip->latches.function = pll::functionStart;
    pll::start(&chip->latches, name);
}

int ADF4002_setManualRNConfig(ADF4002* chip, uint32_t r, uint32_t n) {
    if (r == 0 || r > field_max(pll::rCounter) || n == 0 || n > field_max(nCounter))
        return scpi::illegalParameterValue;
    PllLatches* latches = &chip->latches;
    latches->r = field_put(latches->r, pll::rCounter, r);
    latches->n = field_put(latches->n, nCounter, n);
    return chip_firstFailure({pll::send(latches, name, latches->n), pll::send(latches, name, latches->r)});
}

int ADF4002_setMUX(ADF4002* chip, uint32_t mux) {
    return pll::setFunction(&chip->latches, name, pll::muxOut, mux);
}

int ADF4002_powerUp(ADF4002* chip) {
    return pll::setFunction(&chip->latches, name, pll::powerDown, 0);
}

void ADF4002_printErrMsg(const ADF4002* chip, const char* what) {
    chip_printErrMsg(&chip->latches.bus, name, what);
}

void ADF4002_printInfo(const ADF4002* chip) {
    pll::printInfo(&chip->latches, name);
}
