#include "scpi/tree/status.h"

#include "scpi/status.h"

namespace scpi {

DeviceStatusRegisters* statusRegisters(const Unit& unit) {
    return Device_getStatusRegisters ? Device_getStatusRegisters(unit.device) : nullptr;
}

void status_field(Unit& unit, StatusRegister& reg, Shared<uint16_t> StatusRegister::*field) {
    if (unit.mode == modeQuery) {
        if (noParameters(unit))
            answerInt(unit, reg.*field);
    } else if (char* const text = onlyParameter(unit); text != nullptr) {
        uint32_t value = 0;
        unit.errorCode = scpi_str2uint(text, &value);
        if (unit.errorCode != 0)
            return;
        if (field == &StatusRegister::enable)
            statusRegister_setEnable(&reg, static_cast<uint16_t>(value));
        else
            reg.*field = static_cast<uint16_t>(value);
    }
}

void status_event(Unit& unit, StatusRegister& reg) {
    if (noParameters(unit))
        answerInt(unit, statusRegister_takeEvent(&reg));
}

void unit_power(Unit& unit) {
    if (unit.mode == modeQuery) {
        const char* name = nullptr;
        scpi_unit_getPowerUnit(nullptr, &name);
        if (noParameters(unit))
            answerText(unit, {name});
    } else if (char* const text = onlyParameter(unit); text != nullptr) {
        unit.errorCode = scpi_unit_setPowerUnit(text);
    }
}

} // namespace scpi
