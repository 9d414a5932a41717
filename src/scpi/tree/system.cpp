#include "scpi/tree/system.h"

#include "core/shell.h"
#include "identity/device_config.h"
#include "scpi/link.h"
#include "scpi/parser.h"
#include "scpi/text/text_format.h"
#include "scpi/text/text_parse.h"

namespace scpi {
namespace {

constexpr size_t gpibTextSize = 64; // bytes of an address on the GPIB bus
constexpr size_t macTextSize = 32;  // bytes of a hardware address

/// The only parameter without its quotes, or null.
char* quotedParameter(Unit& unit) {
    char* const text = onlyParameter(unit);
    char* content = nullptr;
    if (text == nullptr)
        return nullptr;
    if (const int32_t error = scpi_str2chararray(text, &content); error != 0) {
        unit.errorCode = error;
        return nullptr;
    }
    return content;
}

/// The only parameter as a truth value. False with the unit's error if it is none.
bool boolParameter(Unit& unit, bool& value) {
    char* const text = onlyParameter(unit);
    if (text == nullptr)
        return false;
    unit.errorCode = scpi_str2bool(text, &value);
    return unit.errorCode == 0;
}

} // namespace

void system_nextError(Unit& unit) {
    int32_t code = 0;
    if (noParameters(unit))
        unit.errorCode = scpi_popErrorQueue(&parser->errors, &code, unit.answer, unit.answerRoom, &unit.answerLength);
}

void system_allErrors(Unit& unit) {
    if (noParameters(unit))
        unit.errorCode =
            scpi_getAndClearWholeErrorQueue(&parser->errors, unit.answer, unit.answerRoom, &unit.answerLength);
}

void system_version(Unit& unit) {
    if (noParameters(unit))
        answerText(unit, {"1999.0"});
}

void system_quotedSetting(Unit& unit, const char* (*get)(), int (*set)(const char*)) {
    if (unit.mode == modeQuery) {
        if (noParameters(unit))
            answerQuoted(unit, get());
    } else if (const char* const text = quotedParameter(unit); text != nullptr) {
        unit.errorCode = set(text);
    }
}

void system_name(Unit& unit) {
    system_quotedSetting(unit, device_config_getModelNameExt, device_config_setModelNameExt);
}
void system_lanIp(Unit& unit) {
    system_quotedSetting(unit, device_config_getIP, device_config_setIP);
}
void system_lanSubnet(Unit& unit) {
    system_quotedSetting(unit, device_config_getSubn, device_config_setSubn);
}
void system_lanGateway(Unit& unit) {
    system_quotedSetting(unit, device_config_getGW, device_config_setGW);
}

void system_gpibAddress(Unit& unit) {
    if (unit.mode == modeQuery) {
        if (!noParameters(unit))
            return;
        std::array<char, gpibTextSize> address{};
        unit.errorCode = device_config_getGPIBaddr(address.data(), address.size());
        if (unit.errorCode == 0)
            answerQuoted(unit, address.data());
    } else if (const char* const text = quotedParameter(unit); text != nullptr) {
        unit.errorCode = device_config_setGPIBaddr(text);
    }
}

void system_lanMode(Unit& unit) {
    if (unit.mode == modeQuery) {
        if (!noParameters(unit))
            return;
        const LanMode mode = device_config_isLanConfigMan()    ? lanModeMan
                             : device_config_isLanConfigDhcp() ? lanModeDhcp
                                                               : lanModeAuto;
        answerWord(unit, lanModes, mode);
        return;
    }
    const Word* const word = wordParameter(unit, lanModes);
    if (word == nullptr)
        return;
    switch (word->code) {
    case lanModeMan: device_config_setLanConfigMan(); break;
    case lanModeDhcp: device_config_setLanConfigDhcp(); break;
    default: device_config_setLanConfigAuto(); break;
    }
    unit.errorCode = 0;
}

void system_lanMac(Unit& unit) {
    if (!noParameters(unit))
        return;
    std::array<char, macTextSize> address{};
    unit.errorCode = device_config_getMacAddr(address.data(), address.size());
    if (unit.errorCode == 0)
        answerQuoted(unit, address.data());
}

void system_lanDefault(Unit& unit) {
    if (noParameters(unit))
        unit.errorCode = device_config_setDefaultLanConfig();
}

void system_lanRestart(Unit& unit) {
    if (noParameters(unit))
        unit.errorCode = device_config_setLanConfig();
}

void system_restart(Unit& unit) {
    if (!noParameters(unit))
        return;
    unit.errorCode = tvstuffSystem("shutdown -r now") == 0 ? 0 : executionError;
}

void system_queryEcho(Unit& unit) {
    bool on = false;
    if (unit.mode == modeQuery) {
        if (noParameters(unit))
            unit.errorCode = scpi_bool2str(scpi_link_isQueryEchoEnabled(unit.link), unit.answer, unit.answerRoom,
                                           &unit.answerLength);
    } else if (boolParameter(unit, on)) {
        (on ? scpi_link_enableQueryEcho : scpi_link_disableQueryEcho)(unit.link);
    }
}

void system_socketEcho(Unit& unit) {
    bool on = false;
    if (unit.mode != modeQuery)
        (void)boolParameter(unit, on);
    else if (noParameters(unit))
        answerText(unit, {"0"});
}

} // namespace scpi
