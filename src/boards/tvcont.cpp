#include "boards/tvcont.h"

#include "base/error_codes.h"
#include "base/tvdebug.h"
#include "boards/tvcont_commons.h"
#include "boards/tvcont_lines.h"
#include "core/abstime.h"
#include "drivers/tvspi.h"
#include "identity/device_variants.h"
#include "platform/rt.h"
#include "platform/tvko.h"

#include <cstdio>

namespace {

enum Address : uint32_t {
    registerAddress = 240,
    fanPotAddress = 241,
    userConverterAddress = 243,
    lfgDdsAddress = 244,
    lfgAmplitudeAddress = 245,
    tempSensorAddress = 246,
};

constexpr uint64_t eattSettling_us = 50'000;
constexpr uint32_t eattStageMax = 15;

constexpr TvcontBit eattBits[] = {EATT_A_BIT, EATT_B_BIT, EATT_C_BIT, EATT_D_BIT};

enum TriggerPulse : uint32_t { pulseOff = 0, pulsePlain = 1, pulseOfMode = 3 };

TvcontRevision revisionOfUnit() {
    if (device_config_usesOptionFs())
        return tvcontFS;
    return device_config_usesTvcont_1ForNewer()   ? tvcont1F
           : device_config_usesTvcont_1EorNewer() ? tvcont1E
                                                  : tvcontOlder;
}

int setTriggerPulse(TVCONT* board, TriggerPulse pulse) {
    if (rt_dev_ioctl(tvkono, tvko_triggerPulse, uintptr_t{pulse}) < 0)
        return scpi::executionError;
    board->triggerPulseAtIoupdate = pulse != pulseOff;
    return 0;
}

void initChips(TVCONT* board) {
    constexpr uint8_t linesAtStart[tvcontRegisterBytes] = {};
    {
        const MutexLock lock(tvcont_linesMutex);
        SRI_init(&board->shiftRegister, registerAddress, board->board, linesAtStart, tvcontRegisterBytes);
    }
    TC77_init(&board->tempSensor, tempSensorAddress, board->board);
    AD5432_init(&board->lfgAmplitudeDac, lfgAmplitudeAddress, board->board);
    AD5932_init(&board->lfgDds, lfgDdsAddress, board->board);
    chip_carryOn(AD5932_setRefFreq(&board->lfgDds, LFG_DDS_REF_FREQ));
    if (board->revision >= tvcont1E)
        AD5640_init(&board->userDac, userConverterAddress, board->board);
    else
        AD7680_init(&board->userAdc, userConverterAddress, board->board);
    if (board->revision == tvcontFS)
        MCP4131_init(&board->fanPot, fanPotAddress, board->board);
}

/// Code of the lines for a stage, by the unit's attenuator.
uint32_t eattCode(uint32_t stage) {
    constexpr uint32_t codesPE45[] = {6, 10, 5, 9};
    constexpr uint32_t codesPE3[] = {15, 3, 12, 0};
    if (device_config_usesPE4() || device_config_usesPE5())
        return codesPE45[stage & 3];
    return device_config_usesPE3() ? codesPE3[stage & 3] : stage;
}

} // namespace

int tvcont_changeLines(TVCONT* board, uint64_t set, uint64_t clear) {
    const MutexLock lock(tvcont_linesMutex);
    SRI_presetValue(&board->shiftRegister, (SRI_getValue(&board->shiftRegister) & ~clear) | set);
    return SRI_applyChanges(&board->shiftRegister);
}

int tvcont_setLine(TVCONT* board, TvcontBit bit, bool on) {
    const uint64_t mask = tvcont_mask({bit}, board->revision);
    if (mask == 0)
        return scpi::hardwareMissing;
    return tvcont_changeLines(board, on ? mask : 0, on ? 0 : mask);
}

void TVCONT_init(TVCONT* board, uint32_t index) {
    *board = {};
    board->board = index;
    board->revision = revisionOfUnit();
    TVCONT_enableRF = board->revision == tvcontFS ? FS_TVCONT_enableRF : STD_TVCONT_enableRF;
    TVCONT_disableRF = board->revision == tvcontFS ? FS_TVCONT_disableRF : STD_TVCONT_disableRF;
    printd("TVCONT_init(): initializing IC's\n");
    initChips(board);
    chip_carryOn(TVCONT_resetEattLine(board));
    chip_carryOn(tvcont_changeLines(board, tvcont_mask({UMODAM_LFG_BIT, DCDC_BIT}, board->revision), 0));
    tvcont_commons_init();
}

void TVCONT_printInfo(TVCONT* board) {
    printf("TVCONT\n\tboard: %u\n\trevision: %u\n\tfunction output: %d, source %u\n\tgenerator: %d, shape %u, %.3f V\n",
           board->board, board->revision, board->funcoutEnabled ? 1 : 0, board->funcoutSource,
           board->lfgEnabled ? 1 : 0, board->lfgShape, static_cast<double>(board->lfgVoltage));
    {
        const MutexLock lock(tvcont_linesMutex);
        SRI_printInfo(&board->shiftRegister);
    }
    TC77_printInfo(&board->tempSensor);
    AD5432_printInfo(&board->lfgAmplitudeDac);
    AD5932_printInfo(&board->lfgDds);
    if (board->revision >= tvcont1E)
        AD5640_printInfo(&board->userDac);
    else
        AD7680_printInfo(&board->userAdc);
    if (board->revision == tvcontFS)
        MCP4131_printInfo(&board->fanPot);
}

int TVCONT_enableTriggerOutputPulseAtIoupdate(TVCONT* board, int mode) {
    return setTriggerPulse(board, mode != 0 ? pulseOfMode : pulsePlain);
}

int TVCONT_disableTriggerOutputPulseAtIoupdate(TVCONT* board) {
    return setTriggerPulse(board, pulseOff);
}

int STD_TVCONT_enableRF(TVCONT* board) {
    return tvcont_setLine(board, RF_BIT, true);
}

int STD_TVCONT_disableRF(TVCONT* board) {
    return tvcont_setLine(board, RF_BIT, false);
}

int FS_TVCONT_enableRF(TVCONT* /*board*/) {
    return 0;
}

int FS_TVCONT_disableRF(TVCONT* /*board*/) {
    return 0;
}

int TVCONT_getOutputLedBit(const TVCONT* board, uint32_t number) {
    constexpr TvcontBit lamps[] = {LED_READY_BIT, LED_ERROR_BIT, LED_OUT2_BIT, LED_OUT3_BIT,
                                   LED_OUT4_BIT,  LED_OUT5_BIT,  LED_OUT6_BIT, LED_OUT7_BIT};
    if (number >= std::size(lamps))
        return -1;
    const uint8_t line = tvcont_line(lamps[number], board->revision);
    return line == line_none ? -1 : line;
}

int TVCONT_setFanDac(TVCONT* board, double value) {
    return board->revision == tvcontFS ? MCP4131_setWiperRatio(&board->fanPot, 1 - value) : scpi::hardwareMissing;
}

double TVCONT_getFanDac(const TVCONT* board) {
    return board->revision == tvcontFS ? 1 - MCP4131_getWiperRatio(&board->fanPot) : -1;
}

double TVCONT_getTemperature(const TVCONT* board) {
    return TC77_getTemperature(&board->tempSensor);
}

double TVCONT_getTemperature_async(const TVCONT* board) {
    return TC77_getTemperature_async(&board->tempSensor);
}

int TVCONT_getPinStateRESET(TVCONT* board) {
    const int connected = tvcont_setLine(board, RESET_MUX_BIT, true);
    const int level = tvspiReadPinState(tvko_pinReset);
    const int released = tvcont_setLine(board, RESET_MUX_BIT, false);
    return connected != 0 ? connected : released != 0 ? released : level;
}

int TVCONT_getPinStatePHSTATUS(const TVCONT* /*board*/) {
    return tvspiReadPinState(tvko_pinReset);
}

int TVCONT_setEattLine(TVCONT* board, uint32_t code) {
    uint64_t set = 0, clear = 0;
    for (uint32_t i = 0; i < std::size(eattBits); ++i)
        ((code >> i & 1) != 0 ? set : clear) |= tvcont_mask({eattBits[i]}, board->revision);
    const auto bit = [code](unsigned n) { return static_cast<int>(code >> n & 1); };
    printd("TVCONT_setEattLine(): A:B:C:D = %d:%d:%d:%d\n", bit(0), bit(1), bit(2), bit(3));
    return tvcont_changeLines(board, set, clear);
}

uint32_t TVCONT_getEattLine(TVCONT* board) {
    const MutexLock lock(tvcont_linesMutex);
    uint32_t code = 0;
    for (uint32_t i = 0; i < std::size(eattBits); ++i)
        code |= SRI_getBit(&board->shiftRegister, tvcont_line(eattBits[i], board->revision)) << i;
    return code;
}

int TVCONT_setEattStage(TVCONT* board, uint32_t stage) {
    if (stage == board->eattStage)
        return 0;
    board->eattStage = stage & eattStageMax;
    return TVCONT_setEattLine(board, eattCode(board->eattStage));
}

int TVCONT_resetEattLine(TVCONT* board) {
    int result = 0;
    for (const uint32_t stage : {eattStageMax, 0U}) {
        const int set = TVCONT_setEattStage(board, stage);
        result = result != 0 ? result : set;
        tvstuff_delay_us(eattSettling_us);
    }
    return result;
}
