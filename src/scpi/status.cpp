#include "scpi/status.h"

#include <utility>

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

uint16_t statusregister_takeEvent(StatusRegister* reg) {
    return std::exchange(reg->event, uint16_t{0});
}

void statusregister_clearEvents(DeviceStatusRegisters* registers) {
    for (StatusRegister* reg :
         {&registers->operation, &registers->operationSweep, &registers->operationWait, &registers->questionable})
        reg->event = 0;
    registers->esr = 0;
}
