#pragma once
/// AD5293: digital resistor of 1024 steps, alone or in a daisy chain. chip.h tells the common shape.

#include "drivers/chip.h"

struct AD5293 {
    ChipBus bus;
    uint32_t nominal_ohm;
    uint32_t wiper;   // 0 to 1023; 512 from power-on
    AD5293* previous; // neighbours in the chain, null at its ends
    AD5293* next;
};

inline constexpr uint32_t AD5293_chainMax = 4; // chips

/// `nominal` 0: 20000 ohm, 1: 50000 ohm, any other: 100000 ohm. Sends nothing, as the chain is not known yet.
void AD5293_init(AD5293* chip, uint32_t address, uint32_t board, uint32_t nominal);

/// Makes `next` follow `chip`, which lies nearer to the bus. Refuses (-224) a chip that has a neighbour on that side, a
/// ring, and a chain of more than AD5293_chainMax chips.
[[nodiscard]] int AD5293_daisyChain(AD5293* chip, AD5293* next);

[[nodiscard]] int AD5293_setNormalMode(AD5293* chip);
/// Opens terminal A and joins the wiper with B.
[[nodiscard]] int AD5293_setShutdownMode(AD5293* chip);
/// The chip takes wiper positions only after this.
[[nodiscard]] int AD5293_enableSpiControl(AD5293* chip);

/// Values above 1023 count as 1023.
[[nodiscard]] int AD5293_setWiper(AD5293* chip, uint32_t value);
/// Resistance from the wiper to B and to A in ohm, cut to a step, the nominal value at most.
[[nodiscard]] int AD5293_setWBResistance(AD5293* chip, uint32_t ohm);
[[nodiscard]] int AD5293_setWAResistance(AD5293* chip, uint32_t ohm);

void AD5293_printErrMsg(const AD5293* chip, const char* what);
void AD5293_printInfo(const AD5293* chip);
