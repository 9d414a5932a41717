#include "boards/tvcont_commons.h"

#include "base/error_codes.h"
#include "boards/tvcont.h"
#include "boards/tvcont_lines.h"
#include "device_table/fptrs_system.h"
#include "identity/device_config_files.h"

namespace {

constexpr SlotRegistrar fill{"boards"};

/// Null if there is none.
TVCONT* boardOf(Device* device) {
    return Device_getTvcontPtr ? Device_getTvcontPtr(device) : nullptr;
}

int switchLine(Device* device, TvcontBit bit, bool on) {
    TVCONT* board = boardOf(device);
    return board != nullptr ? tvcont_setLine(board, bit, on) : scpi::undefinedHeader;
}

int switchOutputLed(Device* device, uint32_t number, bool on) {
    TVCONT* board = boardOf(device);
    if (board == nullptr)
        return scpi::undefinedHeader;
    const int line = TVCONT_getOutputLedBit(board, number);
    if (line < 0)
        return scpi::hardwareMissing;
    const uint64_t mask = uint64_t{1} << line;
    return tvcont_changeLines(board, on ? mask : 0, on ? 0 : mask);
}

} // namespace

void tvcont_commons_init() {
    tvcont_commons_registerDeviceFunctions();
}

void tvcont_commons_registerDeviceFunctions() {
    fill(Device_enableOutputLed, tvcont_commons_enableOutputLed);
    fill(Device_disableOutputLed, tvcont_commons_disableOutputLed);
    fill(Device_enableLedReady, tvcont_commons_enableLedReady);
    fill(Device_disableLedReady, tvcont_commons_disableLedReady);
    fill(Device_enableLedRemote, tvcont_commons_enableLedRemote);
    fill(Device_disableLedRemote, tvcont_commons_disableLedRemote);
    fill(Device_enableLedError, tvcont_commons_enableLedError);
    fill(Device_disableLedError, tvcont_commons_disableLedError);
    fill(Device_enableFan, tvcont_commons_enableFan);
    fill(Device_disableFan, tvcont_commons_disableFan);
    fill(Device_setFanDac, tvcont_commons_setFanDac);
    fill(Device_getFanDac, tvcont_commons_getFanDac);
    fill(Device_getPinStateRESET, tvcont_commons_getPinStateRESET);
    fill(Device_getPinStatePHSTATUS, tvcont_commons_getPinStatePHSTATUS);
    fill(Device_readFsRegister, tvcont_commons_readFsRegister);
    fill(Device_getBootDelay, tvcont_commons_getBootDelay);
    fill(Device_setBootDelay, tvcont_commons_setBootDelay);
}

int tvcont_commons_enableOutputLed(Device* device, uint32_t number) {
    return switchOutputLed(device, number, true);
}

int tvcont_commons_disableOutputLed(Device* device, uint32_t number) {
    return switchOutputLed(device, number, false);
}

int tvcont_commons_enableLedReady(Device* device) {
    return switchLine(device, LED_READY_BIT, true);
}

int tvcont_commons_disableLedReady(Device* device) {
    return switchLine(device, LED_READY_BIT, false);
}

int tvcont_commons_enableLedRemote(Device* device) {
    return switchLine(device, LED_REMOTE_BIT, true);
}

int tvcont_commons_disableLedRemote(Device* device) {
    return switchLine(device, LED_REMOTE_BIT, false);
}

int tvcont_commons_enableLedError(Device* device) {
    return switchLine(device, LED_ERROR_BIT, true);
}

int tvcont_commons_disableLedError(Device* device) {
    return switchLine(device, LED_ERROR_BIT, false);
}

int tvcont_commons_enableFan(Device* device) {
    return switchLine(device, FAN_BIT, true);
}

int tvcont_commons_disableFan(Device* device) {
    return switchLine(device, FAN_BIT, false);
}

int tvcont_commons_setFanDac(Device* device, double value) {
    TVCONT* board = boardOf(device);
    return board != nullptr ? TVCONT_setFanDac(board, value) : scpi::undefinedHeader;
}

double tvcont_commons_getFanDac(Device* device) {
    const TVCONT* board = boardOf(device);
    return board != nullptr ? TVCONT_getFanDac(board) : -1;
}

int tvcont_commons_getPinStateRESET(Device* device) {
    TVCONT* board = boardOf(device);
    return board != nullptr ? TVCONT_getPinStateRESET(board) : scpi::undefinedHeader;
}

int tvcont_commons_getPinStatePHSTATUS(Device* device) {
    const TVCONT* board = boardOf(device);
    return board != nullptr ? TVCONT_getPinStatePHSTATUS(board) : scpi::undefinedHeader;
}

int tvcont_commons_readFsRegister(Device* device, int32_t /*number*/, uint32_t* /*value*/) {
    const TVCONT* board = boardOf(device);
    if (board == nullptr)
        return scpi::undefinedHeader;
    return board->revision == tvcontFS ? scpi::timeOutError : scpi::hardwareMissing;
}

double tvcont_commons_getBootDelay(Device* device) {
    double seconds = 0;
    if (boardOf(device) != nullptr)
        device_config_loadBootDelay(&seconds);
    return seconds;
}

int tvcont_commons_setBootDelay(Device* device, double seconds) {
    return boardOf(device) != nullptr ? device_config_storeBootDelay(seconds) : scpi::undefinedHeader;
}
