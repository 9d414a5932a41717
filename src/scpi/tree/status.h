#pragma once
/// STATus, OUTPut and UNIT: the status registers and settings of a line or two.

#include "device_table/status_registers.h"
#include "scpi/tree/leaves.h"

namespace scpi {

/// The instrument's registers, or null where there are none.
DeviceStatusRegisters* statusRegisters(const Unit& unit);

/// Reads or stores one 16-bit field of a register.
void status_field(Unit& unit, StatusRegister& reg, Shared<uint16_t> StatusRegister::*field);
/// Reads and clears the events.
void status_event(Unit& unit, StatusRegister& reg);

template <auto reg, auto field> void statusField(Unit& unit) {
    if (DeviceStatusRegisters* const registers = statusRegisters(unit); registers != nullptr)
        status_field(unit, registers->*reg, field);
}
template <auto reg> void runStatusEvent(Unit& unit) {
    if (DeviceStatusRegisters* const registers = statusRegisters(unit); registers != nullptr)
        status_event(unit, registers->*reg);
}
template <auto reg> inline constexpr Command statusEvent{runStatusEvent<reg>, Kind::reading};

void unit_power(Unit& unit);

template <auto reg>
inline constexpr Command statusCondition{statusField<reg, &StatusRegister::condition>, Kind::reading};
template <auto reg> inline constexpr Command statusEnable{statusField<reg, &StatusRegister::enable>, Kind::natural};
template <auto reg>
inline constexpr Command statusNtransition{statusField<reg, &StatusRegister::ntransition>, Kind::natural};
template <auto reg>
inline constexpr Command statusPtransition{statusField<reg, &StatusRegister::ptransition>, Kind::natural};

inline constexpr auto operationRegister = &DeviceStatusRegisters::operation;
inline constexpr auto sweepRegister = &DeviceStatusRegisters::operationSweep;
inline constexpr auto waitRegister = &DeviceStatusRegisters::operationWait;
inline constexpr auto questionableRegister = &DeviceStatusRegisters::questionable;

inline constexpr Row outputRows[] = {
    {"OUTPut<n>[:STATe]", QS,
     mirrored<hcupdate_rfOutputState, node_bool<Device_isRfEnabled, Device_enableRf, Device_disableRf>>, "ON|OFF",
     "RF output of the sources; n is not used"},
};

inline constexpr Row statusRows[] = {
    {"STATus:OPERation:CONDition", Q, statusCondition<operationRegister>, "", "Condition register"},
    {"STATus:OPERation:ENABle", QS, statusEnable<operationRegister>, "<0 to 65535>", "Enable register"},
    {"STATus:OPERation:NTRansition", QS, statusNtransition<operationRegister>, "<0 to 65535>",
     "Negative transition filter"},
    {"STATus:OPERation:PTRansition", QS, statusPtransition<operationRegister>, "<0 to 65535>",
     "Positive transition filter"},
    {"STATus:OPERation:SWEep:CONDition", Q, statusCondition<sweepRegister>, "", "Condition register"},
    {"STATus:OPERation:SWEep:ENABle", QS, statusEnable<sweepRegister>, "<0 to 65535>", "Enable register"},
    {"STATus:OPERation:SWEep:NTRansition", QS, statusNtransition<sweepRegister>, "<0 to 65535>",
     "Negative transition filter"},
    {"STATus:OPERation:SWEep:PTRansition", QS, statusPtransition<sweepRegister>, "<0 to 65535>",
     "Positive transition filter"},
    {"STATus:OPERation:SWEep[:EVENt]", Q, statusEvent<sweepRegister>, "", "Event register; reading clears it"},
    {"STATus:OPERation:WAIT:CONDition", Q, statusCondition<waitRegister>, "", "Condition register"},
    {"STATus:OPERation:WAIT:ENABle", QS, statusEnable<waitRegister>, "<0 to 65535>", "Enable register"},
    {"STATus:OPERation:WAIT:NTRansition", QS, statusNtransition<waitRegister>, "<0 to 65535>",
     "Negative transition filter"},
    {"STATus:OPERation:WAIT:PTRansition", QS, statusPtransition<waitRegister>, "<0 to 65535>",
     "Positive transition filter"},
    {"STATus:OPERation:WAIT[:EVENt]", Q, statusEvent<waitRegister>, "", "Event register; reading clears it"},
    {"STATus:OPERation[:EVENt]", Q, statusEvent<operationRegister>, "", "Event register; reading clears it"},
    {"STATus:QUEStionable:CONDition", Q, statusCondition<questionableRegister>, "", "Condition register"},
    {"STATus:QUEStionable:ENABle", QS, statusEnable<questionableRegister>, "<0 to 65535>", "Enable register"},
    {"STATus:QUEStionable:NTRansition", QS, statusNtransition<questionableRegister>, "<0 to 65535>",
     "Negative transition filter"},
    {"STATus:QUEStionable:PTRansition", QS, statusPtransition<questionableRegister>, "<0 to 65535>",
     "Positive transition filter"},
    {"STATus:QUEStionable[:EVENt]", Q, statusEvent<questionableRegister>, "", "Event register; reading clears it"},
};

inline constexpr Row unitRows[] = {
    {"UNIT:POWer", QS, unit_power, "<unit>",
     "Unit of powers: DBM, DBW, DBUW, W, DBV, DBMV, DBUV, V, DBA, DBMA, DBUA or A; what a number without a suffix "
     "means"},
};

} // namespace scpi
