#pragma once
/// TC77: temperature sensor on the controller board. chip.h tells the common shape.

#include "drivers/chip.h"

struct TC77 {
    ChipBus bus;
};

/// Sends nothing.
void TC77_init(TC77* chip, uint32_t address, uint32_t board);

/// Degrees Celsius in steps of 0.0625; 0 if the bus failed.
[[nodiscard]] double TC77_getTemperature(const TC77* chip);
[[nodiscard]] double TC77_getTemperature_async(const TC77* chip);

void TC77_printErrMsg(const TC77* chip, const char* what);
/// Takes a reading.
void TC77_printInfo(const TC77* chip);
