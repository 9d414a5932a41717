#include "scpi/status.h"

namespace {

constexpr uint32_t byteMask = 0xFF;

} // namespace

uint16_t statusregister_getStb(const DeviceStatusRegisters*) {
    return 0;
}

uint16_t statusregister_getEse(const DeviceStatusRegisters* registers) {
    return registers->ese;
}
void statusregister_setEse(DeviceStatusRegisters* registers, uint32_t value) {
    registers->ese = static_cast<uint16_t>(value & byteMask);
}

uint16_t statusregister_getEsr(const DeviceStatusRegisters* registers) {
    return registers->esr;
}

uint16_t statusregister_getSre(const DeviceStatusRegisters* registers) {
    return registers->sre;
}
void statusregister_setSre(DeviceStatusRegisters* registers, uint32_t value) {
    registers->sre = static_cast<uint16_t>(value & byteMask);
}

void statusregister_clearEvents(DeviceStatusRegisters* registers) {
    for (StatusRegister* reg : // parents last: what they summarise changes with the others
         {&registers->operationSweep, &registers->operationWait, &registers->operation, &registers->questionable})
        statusRegister_takeEvent(reg);
    registers->esr = 0;
}
