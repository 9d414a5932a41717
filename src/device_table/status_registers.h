#pragma once
/// Status registers of the instrument: the standard event and service request registers of IEEE 488.2, and the SCPI
/// tree STATus:OPERation (with :SWEep and :WAIT below it) and STATus:QUEStionable.
///
/// Conditions change on transfer threads, the rest on the main thread. A change goes through the operations here, which
/// lock: it leaves its events by the transition filters, and a register below another shows there, as a condition,
/// whether it has enabled events.

#include "base/shared.h"

#include <cstdint>

struct StatusRegister {
    Shared<uint16_t> enable;
    Shared<uint16_t> condition;
    Shared<uint16_t> ntransition; // bits whose fall is an event
    Shared<uint16_t> ptransition; // bits whose rise is one
    Shared<uint16_t> event;
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

/// Set and clear bits of the condition, from any thread.
void statusRegister_setCondition(StatusRegister* reg, uint16_t bits);
void statusRegister_clearCondition(StatusRegister* reg, uint16_t bits);
/// Which events count for the parent.
void statusRegister_setEnable(StatusRegister* reg, uint16_t bits);
/// The events, which the register forgets.
uint16_t statusRegister_takeEvent(StatusRegister* reg);
