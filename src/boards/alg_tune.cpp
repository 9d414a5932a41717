// Tune voltages and their switches, and the reference that they belong to.

#include "base/error_codes.h"
#include "base/tvdebug.h"
#include "boards/alg_lines.h"
#include "core/abstime.h"

#include <cmath>

namespace {

constexpr uint64_t adcSettling_us = 10'000;

constexpr double dutTuneMax_V = 21;

// The narrow tune output: the word of the AD5640, whose full scale is 5 V, in front of two amplifier stages.
constexpr double narrowReference_V = 5, narrowFullScale = 16383, narrowGain1 = 3.9, narrowGain2 = 1.252666667;
constexpr uint32_t narrowWordAbove = 10731; // for voltages beyond the end: 16 V
// The wide one: 16 bits over 26.25 V from the lowest voltage on.
constexpr double wideMin_V = -5.25, wideSpan_V = 26.25;
constexpr uint32_t wideFullScale = 65535;

/// On 1B and 1C.
consteval AlgPattern source(std::string_view values) {
    return alg_pattern({TUNE_SOURCE_CAL_BIT, TUNE_SOURCE_LOOP_BIT}, values);
}
consteval AlgPattern load(std::string_view values) {
    return alg_pattern({TUNE_LOAD_EXT_BIT, TUNE_LOAD_INT_BIT}, values);
}
consteval AlgPattern reference(std::string_view values) {
    return alg_pattern({REF_37_BIT, REF_38_BIT, REF_39_BIT}, values);
}
constexpr AlgPattern sourceCalibration = source("10"), sourceLoop = source("01"), sourceNone = source("00");
constexpr AlgPattern loadExternal = load("10"), loadInternal = load("01"), loadBoth = load("11"), loadNone = load("00");
constexpr AlgPattern referenceInternal = reference("010"), referenceDirect = reference("000"),
                     referenceAmplified = reference("101");

struct TuneSwitch {
    AlgBit bit;
    bool on;
};

std::array<TuneSwitch, 4> tuneSwitches(const TVPNX_ALG* board) {
    const bool internal = board->referenceInternal, loop = board->tuneSourceLoop, open = board->openMode;
    return {{{TUNE_LOOP_INT_EN_BIT, internal && loop},
             {TUNE_LOOP_EXT_EN_BIT, !internal && loop},
             {TUNE_CAL_INT_EN_BIT, internal && open},
             {TUNE_CAL_EXT_EN_BIT, internal ? !open : !loop}}};
}

int refreshTuneVoltage(TVPNX_ALG* board) {
    const bool external = board->referenceInternal && !board->openMode;
    return TVPNX_ALG_setCalibrationDriverVout(board, external ? board->externalTuneVoltage : board->calTuneVoltage);
}

/// What must be off opens before anything closes, so that no two sources meet.
void refreshTuneMuxConfiguration(TVPNX_ALG* board) {
    const std::array<TuneSwitch, 4> switches = tuneSwitches(board);
    for (const TuneSwitch& each : switches)
        if (!each.on)
            alg_presetBit(board, each.bit, false);
    alg_send(board);
    refreshTuneVoltage(board);
    for (const TuneSwitch& each : switches)
        if (each.on)
            alg_presetBit(board, each.bit, true);
    alg_send(board);
}

int setTuneSource(TVPNX_ALG* board, bool loop, const AlgPattern& lines) {
    board->tuneSourceLoop = loop;
    if (!alg_isFirst(board)) {
        refreshTuneMuxConfiguration(board);
        return 0;
    }
    alg_apply(board, lines);
    return refreshTuneVoltage(board); // the loop may have been opened or closed since
}

int setTuneLoad(TVPNX_ALG* board, bool external, const AlgPattern& lines) {
    board->tuneLoadExternal = external;
    if (alg_isFirst(board))
        alg_apply(board, lines);
    else
        refreshTuneMuxConfiguration(board);
    return 0;
}

void warnFrom2A(const TVPNX_ALG* board, const char* text) {
    if (!alg_isFirst(board))
        printd("TVPNX_ALG: WARNING: %s\n", text);
}

void connectDutTune(TVPNX_ALG* board, bool on) {
    board->dutTuneEnabled = on;
    alg_applyBit(board, TUNE_CONNECT_BIT, on);
}

int switchDutTune(TVPNX_ALG* board, bool on) {
    if (alg_revision(board).dutTune == AlgDutTune::none)
        return scpi::hardwareMissing;
    connectDutTune(board, on);
    return 0;
}

void planAnew(TVPNX_ALG* board) {
    alg_carryOn(TVPNX_ALG_setFrequency(board, &board->dutFrequency)); // it was taken before
    refreshTuneMuxConfiguration(board);
}

int readTuneAdc(TVPNX_ALG* board, bool connected) {
    alg_applyBit(board, TUNE_CONNECT_BIT, connected);
    tvstuff_delay_us(adcSettling_us);
    return static_cast<int>(AD7940_getValue(&board->tuneAdc));
}

} // namespace

int TVPNX_ALG_setOpenMode(TVPNX_ALG* board, int open) {
    board->openMode = open != 0;
    return 0;
}

int TVPNX_ALG_setRefTuneSourceLoop(TVPNX_ALG* board) {
    return setTuneSource(board, true, sourceLoop);
}

int TVPNX_ALG_setRefTuneSourceCalibration(TVPNX_ALG* board) {
    return setTuneSource(board, false, sourceCalibration);
}

int TVPNX_ALG_setRefTuneSourceNone(TVPNX_ALG* board) {
    warnFrom2A(board, "no tune source counts as the calibration source");
    return setTuneSource(board, false, sourceNone);
}

int TVPNX_ALG_setRefTuneLoadInt(TVPNX_ALG* board) {
    return setTuneLoad(board, false, loadInternal);
}

int TVPNX_ALG_setRefTuneLoadExt(TVPNX_ALG* board) {
    return setTuneLoad(board, true, loadExternal);
}

int TVPNX_ALG_setRefTuneLoadNone(TVPNX_ALG* board) {
    warnFrom2A(board, "no tune load counts as the internal load");
    return setTuneLoad(board, false, loadNone);
}

int TVPNX_ALG_setRefTuneLoadIntExt(TVPNX_ALG* board) {
    warnFrom2A(board, "both tune loads count as the internal load");
    return setTuneLoad(board, false, loadBoth);
}

int TVPNX_ALG_setExternalTuneVoltage(TVPNX_ALG* board, double volt) {
    if (std::isnan(volt))
        return scpi::illegalParameterValue;
    board->externalTuneVoltage = volt;
    return refreshTuneVoltage(board);
}

double TVPNX_ALG_getExternalTuneVoltage(const TVPNX_ALG* board) {
    return board->externalTuneVoltage;
}

int TVPNX_ALG_setCalTuneVoltage(TVPNX_ALG* board, double volt) {
    if (std::isnan(volt))
        return scpi::illegalParameterValue;
    board->calTuneVoltage = volt;
    return refreshTuneVoltage(board);
}

double TVPNX_ALG_getTuneVoltage(const TVPNX_ALG* board) {
    return board->calTuneVoltage;
}

int TVPNX_ALG_setDutTuneVoltage(TVPNX_ALG* board, double volt) {
    const int result = TVPNX_ALG_setDutTuneVout(board, volt);
    if (result == 0)
        board->dutTuneVoltage = volt;
    return result;
}

int TVPNX_ALG_setDutTuneVout(TVPNX_ALG* board, double volt) {
    if (std::isnan(volt))
        return scpi::illegalParameterValue;
    switch (alg_revision(board).dutTune) {
    case AlgDutTune::none: return scpi::hardwareMissing;
    case AlgDutTune::narrow: {
        const double word = volt / narrowReference_V * narrowFullScale / narrowGain1 / narrowGain2;
        chip_carryOn(
            AD5640_setValue(&board->dutTune, volt > dutTuneMax_V ? narrowWordAbove : alg_word(word, narrowFullScale)));
        connectDutTune(board, true);
        return 0;
    }
    case AlgDutTune::wide:
        chip_carryOn(AD5760_setValue(&board->dutTuneWide,
                                     alg_word((volt - wideMin_V) * wideFullScale / wideSpan_V, wideFullScale)));
        return 0;
    }
    return scpi::hardwareMissing;
}

double TVPNX_ALG_getDutTuneVoltage(const TVPNX_ALG* board) {
    return board->dutTuneVoltage;
}

int TVPNX_ALG_enableDutTuneVoltage(TVPNX_ALG* board) {
    return switchDutTune(board, true);
}

int TVPNX_ALG_disableDutTuneVoltage(TVPNX_ALG* board) {
    return switchDutTune(board, false);
}

int TVPNX_ALG_isDutTuneVoltageEnabled(const TVPNX_ALG* board) {
    return board->dutTuneEnabled ? 1 : 0;
}

int TVPNX_ALG_getTuneAdcValue(TVPNX_ALG* board) {
    if (alg_isFirst(board))
        return scpi::hardwareMissing;
    return alg_isSwitched(board) ? readTuneAdc(board, true) : static_cast<int>(AD7940_getValue(&board->tuneAdc));
}

int TVPNX_ALG_getOffsetAdcValue(TVPNX_ALG* board) {
    return alg_isSwitched(board) ? readTuneAdc(board, false) : scpi::hardwareMissing;
}

int TVPNX_ALG_setRefInternal(TVPNX_ALG* board) {
    board->referenceInternal = true;
    if (alg_isFirst(board))
        alg_apply(board, referenceInternal);
    else
        planAnew(board);
    return 0;
}

int TVPNX_ALG_setRefExternalDirect(TVPNX_ALG* board) {
    board->referenceInternal = false;
    if (alg_isFirst(board))
        alg_apply(board, referenceDirect);
    else
        planAnew(board);
    return 0;
}

int TVPNX_ALG_setRefExternalAttAMP(TVPNX_ALG* board) {
    board->referenceInternal = false;
    if (alg_isSwitched(board))
        planAnew(board);
    if (alg_isFirst(board)) {
        alg_apply(board, referenceAmplified);
        chip_carryOn(HMC624_setAttenuation(&board->referenceAttenuator, 0));
    }
    return 0;
}

int TVPNX_ALG_setRefExtAttenuation(TVPNX_ALG* board, uint32_t value) {
    if (!alg_isFirst(board))
        return scpi::hardwareMissing;
    chip_carryOn(HMC624_setAttenuation(&board->referenceAttenuator, value));
    return 0;
}
