#include "drivers/MCP4131.h"

#include "base/error_codes.h"
#include "drivers/register_fields.h"

#include <cstdio>

namespace {

constexpr char name[] = "MCP4131";
constexpr size_t frameBytes = 2;

constexpr Field data{0, 0, 7};
constexpr Field command{0, 10, 2}; // 0: write
constexpr Field memory{0, 12, 4};  // 0: the wiper
static_assert(fieldsFit({data, command, memory}, 8 * frameBytes));

} // namespace

void MCP4131_init(MCP4131* chip, uint32_t address, uint32_t board) {
    *chip = {};
    chip_attach(&chip->bus, "MCP4131 digital resistor", address, board, 0);
    chip_carryOn(MCP4131_setWiper(chip, 0));
}

int MCP4131_setWiper(MCP4131* chip, uint32_t wiper) {
    if (wiper > field_max(data))
        return scpi::illegalParameterValue;
    chip->wiper = wiper;
    return chip_send(&chip->bus, name, field_put(0, data, wiper), frameBytes);
}

int MCP4131_setWiperRatio(MCP4131* chip, double ratio) {
    const double position = ratio * field_max(data);
    const double limited = position > 0 ? (position < field_max(data) ? position : field_max(data)) : 0;
    return MCP4131_setWiper(chip, static_cast<uint32_t>(limited));
}

double MCP4131_getWiperRatio(const MCP4131* chip) {
    return static_cast<double>(chip->wiper) / field_max(data);
}

void MCP4131_printErrMsg(const MCP4131* chip, const char* what) {
    chip_printErrMsg(&chip->bus, name, what);
}

void MCP4131_printInfo(const MCP4131* chip) {
    chip_printInfo(&chip->bus, name);
    printf("\twiper: %u\n", chip->wiper);
}
