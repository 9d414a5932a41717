#include "boards/funcout.h"

#include "base/error_codes.h"
#include "base/tvdebug.h"
#include "boards/tvcont.h"
#include "device_table/fptrs_funcout.h"
#include "device_table/fptrs_system.h"

namespace {

constexpr SlotRegistrar fill{"boards"};

constexpr tvfreq frequencyMin{10, 0}, frequencyMax{5'000'000, 0};

/// Null if there is none.
TVCONT* boardOf(Device* device) {
    return Device_getFuncoutBoardPtr ? Device_getFuncoutBoardPtr(device) : nullptr;
}

/// An operation of the board alone.
template <int (*operation)(TVCONT*)> int onBoard(Device* device) {
    TVCONT* board = boardOf(device);
    return board != nullptr ? operation(board) : scpi::undefinedHeader;
}

template <TvcontFuncoutSource source> int isSource(Device* device) {
    const TVCONT* board = boardOf(device);
    return board != nullptr && board->funcoutSource == source ? 1 : 0;
}

template <TvcontLfgShape shape> int isShape(Device* device) {
    const TVCONT* board = boardOf(device);
    return board != nullptr && board->lfgShape == shape ? 1 : 0;
}

template <bool TVCONT::*state> int isOn(Device* device) {
    const TVCONT* board = boardOf(device);
    return board != nullptr && board->*state ? 1 : 0;
}

template <tvfreq TVCONT::*frequency> const tvfreq* frequencyOf(Device* device) {
    static constexpr tvfreq none{};
    const TVCONT* board = boardOf(device);
    return board != nullptr ? &(board->*frequency) : &none;
}

/// A line of its own that shows a source on the trigger output; other instruments of the line have it.
const Slot<int(Device*)>* lineOf(uint32_t source) {
    return source == funcoutLow       ? &Device_setTriggerOutputLineLow
           : source == funcoutHigh    ? &Device_setTriggerOutputLineHigh
           : source == funcoutTrigger ? &Device_setTriggerOutputLineTrigger
                                      : nullptr;
}

/// A source that only the line can show.
template <TvcontFuncoutSource source, int (*operation)(TVCONT*)> int setSourceOfLine(Device* device) {
    const Slot<int(Device*)>& line = *lineOf(source);
    if (!line)
        return scpi::executionError;
    const int shown = line(device);
    return shown != 0 ? shown : onBoard<operation>(device);
}

int enableFuncout(Device* device) {
    const TVCONT* board = boardOf(device);
    const Slot<int(Device*)>* line = board != nullptr ? lineOf(board->funcoutSource) : nullptr;
    const int shown = line != nullptr && *line ? (*line)(device) : 0;
    return shown != 0 ? shown : onBoard<TVCONT_enableFuncout>(device);
}

int disableFuncout(Device* device) {
    const int hidden = Device_setTriggerOutputLineOff ? Device_setTriggerOutputLineOff(device) : 0;
    return hidden != 0 ? hidden : onBoard<TVCONT_disableFuncout>(device);
}

int setFuncoutDac(Device* device, uint32_t value) {
    TVCONT* board = boardOf(device);
    return board != nullptr ? TVCONT_setUserOutputDac(board, value) : scpi::undefinedHeader;
}

int setLfgFrequency(Device* device, const tvfreq* frequency) {
    TVCONT* board = boardOf(device);
    return board != nullptr ? TVCONT_LFG_setFrequency(board, frequency) : scpi::undefinedHeader;
}

double getLfgAmplitude(Device* device) {
    const TVCONT* board = boardOf(device);
    return board != nullptr ? static_cast<double>(board->lfgVoltage) : 0;
}

int setLfgAmplitude(Device* device, double volts) {
    TVCONT* board = boardOf(device);
    return board != nullptr ? TVCONT_LFG_setVoltage(board, static_cast<float>(volts)) : scpi::undefinedHeader;
}

int enableTriggerPulse(Device* device, int mode) {
    TVCONT* board = boardOf(device);
    return board != nullptr ? TVCONT_enableTriggerOutputPulseAtIoupdate(board, mode) : scpi::undefinedHeader;
}

} // namespace

void Funcout_init(Device* device) {
    if (!Device_getFuncoutBoardPtr) {
        printd("Funcout_init(): Error: Device_getFuncoutBoardPtr not registered!\n");
        return;
    }
    Funcout_registerDeviceFunctions();
    if (TVCONT* board = boardOf(device); board != nullptr)
        Funcout_setDefaults(board);
    // a start goes on without an output, and the next setting sends what was lost
    slot_carryOn({Device_disableFuncout(device), Device_setFuncoutSourceLfg(device),
                  Device_setLfgFrequency(device, &DEFAULT_LFG_FREQUENCY),
                  Device_setLfgAmplitude(device, DEFAULT_LFG_AMPLITUDE), Device_setLfgShapeSine(device)});
}

void Funcout_setDefaults(TVCONT* board) {
    board->lfgFrequencyMin = frequencyMin;
    board->lfgFrequencyMax = frequencyMax;
}

void Funcout_registerDeviceFunctions() {
    fill(Device_isFuncoutEnabled, isOn<&TVCONT::funcoutEnabled>);
    fill(Device_enableFuncout, enableFuncout);
    fill(Device_disableFuncout, disableFuncout);
    fill(Device_isFuncoutSourceDac, isSource<funcoutDac>);
    fill(Device_isFuncoutSourceHigh, isSource<funcoutHigh>);
    fill(Device_isFuncoutSourceLfg, isSource<funcoutLfg>);
    fill(Device_isFuncoutSourceLow, isSource<funcoutLow>);
    fill(Device_isFuncoutSourcePulm, isSource<funcoutPulm>);
    fill(Device_isFuncoutSourceTrigger, isSource<funcoutTrigger>);
    fill(Device_setFuncoutSourceDac, onBoard<TVCONT_setFuncoutSourceDac>);
    fill(Device_setFuncoutSourceHigh, onBoard<TVCONT_setFuncoutSourceHigh>);
    fill(Device_setFuncoutSourceLfg, onBoard<TVCONT_setFuncoutSourceLfg>);
    fill(Device_setFuncoutSourceLow, setSourceOfLine<funcoutLow, TVCONT_setFuncoutSourceLow>);
    fill(Device_setFuncoutSourcePulm, onBoard<TVCONT_setFuncoutSourcePulm>);
    fill(Device_setFuncoutSourceTrigger, setSourceOfLine<funcoutTrigger, TVCONT_setFuncoutSourceTrigger>);
    fill(Device_setFuncoutDac, setFuncoutDac);
    fill(Device_getLfgFrequency, frequencyOf<&TVCONT::lfgFrequency>);
    fill(Device_setLfgFrequency, setLfgFrequency);
    fill(Device_getLfgFrequencyMin, frequencyOf<&TVCONT::lfgFrequencyMin>);
    fill(Device_getLfgFrequencyMax, frequencyOf<&TVCONT::lfgFrequencyMax>);
    fill(Device_getLfgAmplitude, getLfgAmplitude);
    fill(Device_setLfgAmplitude, setLfgAmplitude);
    fill(Device_isLfgShapeSine, isShape<lfgSine>);
    fill(Device_isLfgShapeSquare, isShape<lfgSquare>);
    fill(Device_isLfgShapeTriangle, isShape<lfgTriangle>);
    fill(Device_setLfgShapeSine, onBoard<TVCONT_LFG_setShapeSine>);
    fill(Device_setLfgShapeSquare, onBoard<TVCONT_LFG_setShapeSquare>);
    fill(Device_setLfgShapeTriangle, onBoard<TVCONT_LFG_setShapeTriangle>);
    fill(Device_isTriggerOutputPulseAtIoupdateEnabled, isOn<&TVCONT::triggerPulseAtIoupdate>);
    fill(Device_enableTriggerOutputPulseAtIoupdate, enableTriggerPulse);
    fill(Device_disableTriggerOutputPulseAtIoupdate, onBoard<TVCONT_disableTriggerOutputPulseAtIoupdate>);
}
