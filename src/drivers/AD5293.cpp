#include "drivers/AD5293.h"

#include "base/error_codes.h"
#include "drivers/register_fields.h"

#include <algorithm>
#include <cstdio>

namespace {

constexpr char name[] = "AD5293";
constexpr uint32_t steps = 1024;
constexpr uint32_t frameBytes = 2;

constexpr Field data{0, 0, 10};
constexpr Field command{0, 10, 4};
static_assert(fieldsFit({data, command}, 8 * frameBytes));
static_assert(AD5293_chainMax * frameBytes <= sizeof(uint64_t), "a chain is one frame");

constexpr uint32_t order(uint32_t code, uint32_t value) {
    return field_put(field_put(0, command, code), data, value);
}
constexpr uint32_t normalMode = order(8, 0);
constexpr uint32_t shutdownMode = order(8, 1);
constexpr uint32_t wiperUnprotected = order(6, 2);
static_assert(normalMode == 8192 && shutdownMode == 8193 && wiperUnprotected == 6146 && order(1, 0) == 0x400);

/// Chips of the chain before `chip`, and behind it.
uint32_t before(const AD5293* chip) {
    uint32_t count = 0;
    for (const AD5293* other = chip->previous; other != nullptr; other = other->previous)
        ++count;
    return count;
}
uint32_t behind(const AD5293* chip) {
    uint32_t count = 0;
    for (const AD5293* other = chip->next; other != nullptr; other = other->next)
        ++count;
    return count;
}

/// The end of a frame stays in the chip nearest to the bus. A word of 0 is no command, so the neighbours keep their
/// state.
int send(const AD5293* chip, uint64_t word) {
    const uint32_t position = before(chip);
    const uint32_t chips = position + 1 + behind(chip);
    return chip_send(&chip->bus, name, word << position * frameBytes * 8, size_t{chips} * frameBytes);
}

uint64_t stepsFor(const AD5293* chip, uint32_t ohm) {
    return std::min<uint64_t>(uint64_t{ohm} * steps / chip->nominal_ohm, steps);
}

} // namespace

void AD5293_init(AD5293* chip, uint32_t address, uint32_t board, uint32_t nominal) {
    *chip = {};
    chip_attach(&chip->bus, "AD5293 digital resistor", address, board, chip_clockPhase);
    chip->nominal_ohm = nominal == 0 ? 20000 : nominal == 1 ? 50000 : 100000;
    chip->wiper = steps / 2;
}

int AD5293_daisyChain(AD5293* chip, AD5293* next) {
    if (chip->next != nullptr || next->previous != nullptr)
        return scpi::illegalParameterValue;
    for (const AD5293* other = next; other != nullptr; other = other->next)
        if (other == chip)
            return scpi::illegalParameterValue;
    if (before(chip) + behind(next) + 2 > AD5293_chainMax)
        return scpi::illegalParameterValue;
    chip->next = next;
    next->previous = chip;
    return 0;
}

int AD5293_setNormalMode(AD5293* chip) {
    return send(chip, normalMode);
}

int AD5293_setShutdownMode(AD5293* chip) {
    return send(chip, shutdownMode);
}

int AD5293_enableSpiControl(AD5293* chip) {
    return send(chip, wiperUnprotected);
}

int AD5293_setWiper(AD5293* chip, uint32_t value) {
    chip->wiper = std::min(value, field_max(data));
    return send(chip, order(1, chip->wiper));
}

int AD5293_setWBResistance(AD5293* chip, uint32_t ohm) {
    return AD5293_setWiper(chip, static_cast<uint32_t>(stepsFor(chip, ohm)));
}

int AD5293_setWAResistance(AD5293* chip, uint32_t ohm) {
    return AD5293_setWiper(chip, static_cast<uint32_t>(steps - stepsFor(chip, ohm)));
}

void AD5293_printErrMsg(const AD5293* chip, const char* what) {
    chip_printErrMsg(&chip->bus, name, what);
}

void AD5293_printInfo(const AD5293* chip) {
    chip_printInfo(&chip->bus, name);
    printf("\tnominal: %u ohm\n\twiper: %u\n\tchip %u of %u\n", chip->nominal_ohm, chip->wiper, before(chip) + 1,
           before(chip) + 1 + behind(chip));
}
