#pragma once
/// Status registers of the instrument: the standard event and service request registers of IEEE 488.2, and the SCPI
/// tree STATus:OPERation (with :SWEep and :WAIT below it) and STATus:QUEStionable. No event of this instrument drives
/// them. The main thread alone touches them.

#include <cstdint>

struct StatusRegister {
    uint16_t enable;
    uint16_t condition;
    uint16_t ntransition;
    uint16_t ptransition;
    uint16_t event;
    StatusRegister* parent; // register that this one summarises into, or null
    uint32_t parentBit;     // value of its bit there
};

struct DeviceStatusRegisters {
    StatusRegister operation;
    StatusRegister operationSweep; // bit 3 of operation
    StatusRegister operationWait;  // bit 5 of operation
    StatusRegister questionable;
    uint16_t ese; // standard event enable
    uint16_t esr; // standard event status
    uint16_t sre; // service request enable
};

inline constexpr uint32_t operationSweepBit = 8;
inline constexpr uint32_t operationWaitBit = 32;

inline void statusRegisterInit(StatusRegister* reg) {
    *reg = {};
}

/// Clears everything and links the registers to their parents. The record must stay where it is from then on.
inline void deviceStatusRegistersInit(DeviceStatusRegisters* registers) {
    *registers = {};
    registers->operationSweep.parent = &registers->operation;
    registers->operationSweep.parentBit = operationSweepBit;
    registers->operationWait.parent = &registers->operation;
    registers->operationWait.parentBit = operationWaitBit;
}
