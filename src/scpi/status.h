#pragma once
/// Operations of the common commands and of STATus on the status registers.

#include "device_table/status_registers.h"

#include <cstdint>

/// Always 0: no event of this instrument becomes a service request.
[[nodiscard]] uint16_t statusregister_getStb(const DeviceStatusRegisters* registers);

[[nodiscard]] uint16_t statusregister_getEse(const DeviceStatusRegisters* registers);
/// Keeps the low 8 bits.
void statusregister_setEse(DeviceStatusRegisters* registers, uint32_t value);

/// Reading does not clear it.
[[nodiscard]] uint16_t statusregister_getEsr(const DeviceStatusRegisters* registers);

[[nodiscard]] uint16_t statusregister_getSre(const DeviceStatusRegisters* registers);
/// Keeps the low 8 bits.
void statusregister_setSre(DeviceStatusRegisters* registers, uint32_t value);

/// Forgets all events, those of the standard event status included; enable and transition values stay.
void statusregister_clearEvents(DeviceStatusRegisters* registers);
