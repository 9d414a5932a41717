#include "scpi/tree/common.h"

#include "identity/device_config.h"
#include "scpi/parser.h"
#include "scpi/settings_store.h"
#include "scpi/status.h"
#include "scpi/tree/status.h"

namespace scpi {
namespace {

constexpr std::string_view maker = "Tolvane AG";
constexpr int32_t settingsNumberMax = 999;

/// An 8-bit register with a getter and a setter.
template <auto get, auto set> void registerByte(Unit& unit) {
    DeviceStatusRegisters* const registers = statusRegisters(unit);
    if (registers == nullptr)
        return;
    if (unit.mode == modeQuery) {
        if (noParameters(unit))
            answerUint(unit, get(registers));
    } else if (char* const text = onlyParameter(unit); text != nullptr) {
        uint32_t value = 0;
        unit.errorCode = scpi_str2uint(text, &value);
        if (unit.errorCode == 0)
            set(registers, value);
    }
}

/// Runs an operation of the settings store on the number that is the header's suffix.
void onStoredSettings(Unit& unit, int32_t (*run)(scpi_link*, int32_t)) {
    if (unit.index <= settingsNumberMax && noParameters(unit))
        unit.errorCode = run(unit.link, unit.index);
}

/// Of what recalled settings may have changed, whichever link has recalled them.
void tellPanelOf(std::initializer_list<const Slot<int()>*> lines) {
    for (const Slot<int()>* const line : lines)
        if (*line)
            slot_carryOn((*line)()); // a panel that has gone misses it
}

int32_t recallOverReset(scpi_link* link, int32_t number) {
    if (recall_resetBus != nullptr)
        recall_resetBus();
    if (Device_reset)
        slot_carryOn(Device_reset(parser->device)); // what is recalled comes in any case
    const int32_t error = scpi_recallDeviceSettings(link, number);
    if (error == 0)
        tellPanelOf({&hcupdate_rfOutputState, &hcupdate_frequencyFixed, &hcupdate_powerFixed, &hcupdate_roscSour,
                     &hcupdate_remoteOPC});
    else
        tellPanelOf({&hcupdate_rfOutputState, &hcupdate_remoteOPC});
    return error;
}

} // namespace

void common_clearStatus(Unit& unit) {
    if (!noParameters(unit))
        return;
    if (DeviceStatusRegisters* const registers = statusRegisters(unit); registers != nullptr)
        statusregister_clearEvents(registers);
    scpi_clearErrorQueue(&parser->errors);
    unit.errorCode = 0;
}

void common_eventEnable(Unit& unit) {
    registerByte<statusregister_getEse, statusregister_setEse>(unit);
}
void common_serviceEnable(Unit& unit) {
    registerByte<statusregister_getSre, statusregister_setSre>(unit);
}

void common_eventStatus(Unit& unit) {
    if (const DeviceStatusRegisters* const registers = statusRegisters(unit); registers != nullptr)
        if (noParameters(unit))
            answerUint(unit, statusregister_getEsr(registers));
}

void common_statusByte(Unit& unit) {
    if (const DeviceStatusRegisters* const registers = statusRegisters(unit); registers != nullptr)
        if (noParameters(unit))
            answerInt(unit, statusregister_getStb(registers) & 0xFF);
}

void common_identify(Unit& unit) {
    if (!noParameters(unit))
        return;
    constexpr std::string_view comma = ",";
    const std::string_view model = Device_getName ? Device_getName(unit.device) : "undefined";
    const std::string_view extension = device_config_getModelNameExt_bracketed();
    const std::string_view serialNumber = device_config_getSN(), version = device_config_getFWVersion();
    answerTexts(unit, maker, comma, model, extension, comma, serialNumber, comma, version);
    unit.quiet = unit.errorCode == 0;
}

void common_options(Unit& unit) {
    if (!noParameters(unit))
        return;
    std::array<char, optionsTextSize> options{};
    device_config_getOptionsString(options.data());
    answerQuoted(unit, options.data());
}

void common_operationComplete(Unit& unit) {
    if (!noParameters(unit))
        return;
    if (unit.mode == modeQuery)
        answerText(unit, {"1"});
    else
        unit.errorCode = 0;
}

void common_wait(Unit& unit) {
    if (noParameters(unit))
        unit.errorCode = 0;
}

void common_selftest(Unit& unit) {
    if (noParameters(unit))
        answerInt(unit, Device_selftest ? static_cast<int16_t>(Device_selftest(unit.device)) : 0);
}

void common_save(Unit& unit) {
    onStoredSettings(unit, scpi_storeDeviceSettings);
}
void common_deleteSaved(Unit& unit) {
    onStoredSettings(unit, scpi_deleteDeviceSettings);
}
void common_recall(Unit& unit) {
    onStoredSettings(unit, recallOverReset);
}

} // namespace scpi
