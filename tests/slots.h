#pragma once
/// What tests put into the device table in place of boards.

#include "device_table/slot.h"

inline constexpr SlotRegistrar fill{"test"};
