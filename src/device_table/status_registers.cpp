#include "device_table/status_registers.h"

#include "base/sync.h"

namespace {

Mutex registersMutex; // guards all registers; taken last

void changeCondition(StatusRegister* reg, uint32_t condition) REQUIRES(registersMutex);

void summarise(const StatusRegister& reg) REQUIRES(registersMutex) {
    if (reg.parent == nullptr)
        return;
    const uint32_t others = reg.parent->condition & ~reg.parentBit;
    changeCondition(reg.parent, (reg.event & reg.enable) != 0 ? others | reg.parentBit : others);
}

void changeCondition(StatusRegister* reg, uint32_t condition) REQUIRES(registersMutex) {
    const uint32_t rising = condition & ~uint32_t{reg->condition}, falling = reg->condition & ~condition;
    reg->condition = static_cast<uint16_t>(condition);
    reg->event = static_cast<uint16_t>(reg->event | (rising & reg->ptransition) | (falling & reg->ntransition));
    summarise(*reg);
}

} // namespace

void statusRegister_setCondition(StatusRegister* reg, uint16_t bits) {
    MutexLock lock(registersMutex);
    changeCondition(reg, uint32_t{reg->condition} | bits);
}

void statusRegister_clearCondition(StatusRegister* reg, uint16_t bits) {
    MutexLock lock(registersMutex);
    changeCondition(reg, reg->condition & ~uint32_t{bits});
}

void statusRegister_setEnable(StatusRegister* reg, uint16_t bits) {
    MutexLock lock(registersMutex);
    reg->enable = bits;
    summarise(*reg);
}

uint16_t statusRegister_takeEvent(StatusRegister* reg) {
    MutexLock lock(registersMutex);
    const uint16_t events = reg->event.exchange(0);
    summarise(*reg);
    return events;
}
