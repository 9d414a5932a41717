#pragma once
/// How the operations of the analog board reach its lines. For the files of the board alone.
///
/// The board carries on when a transfer fails (chip_carryOn). The shift register is sent when its shadow differs from
/// what it is known to hold, so the next change takes along what a failed transfer left behind.

#include "boards/alg_revisions.h"
#include "boards/tvpnx_alg.h"

/// TVPNX_ALG_setFrequency of 1B, 1C and 2A.
void alg_planBySwitches(TVPNX_ALG* board, const tvfreq& frequency);
/// TVPNX_ALG_setDUT_DivRatioX and TVPNX_ALG_setCounter up to the transfer of the lines.
[[nodiscard]] int alg_presetRatio(TVPNX_ALG* board, uint32_t ratio);
[[nodiscard]] int alg_presetCounter(TVPNX_ALG* board, int32_t ratio);

inline const AlgRevision& alg_revision(const TVPNX_ALG* board) {
    return algRevisions[board->algVersion];
}
inline bool alg_isFirst(const TVPNX_ALG* board) {
    return alg_revision(board).input == AlgInput::attenuator;
}
inline bool alg_isSwitched(const TVPNX_ALG* board) {
    return alg_revision(board).input == AlgInput::switched;
}
inline bool alg_hasThresholds(const TVPNX_ALG* board) {
    return alg_revision(board).input == AlgInput::thresholds;
}

/// Change the shadow, and send nothing.
inline void alg_preset(TVPNX_ALG* board, const AlgPattern& pattern) {
    line_preset(&board->sri, pattern, alg_revision(board).column);
}
inline void alg_presetBit(TVPNX_ALG* board, AlgBit bit, bool on) {
    line_presetBit(&board->sri, algBitRows[bit].line[alg_revision(board).column], on);
}

/// Lines that changed since the last transfer go out together.
inline void alg_send(TVPNX_ALG* board) {
    chip_carryOn(SRI_applyChanges(&board->sri));
}
inline void alg_apply(TVPNX_ALG* board, const AlgPattern& pattern) {
    alg_preset(board, pattern);
    alg_send(board);
}
inline void alg_applyBit(TVPNX_ALG* board, AlgBit bit, bool on) {
    alg_presetBit(board, bit, on);
    alg_send(board);
}

/// `value` cut to a whole number and held within 0 to `max`.
inline uint32_t alg_word(double value, uint32_t max) {
    return value >= max ? max : value > 0 ? static_cast<uint32_t>(value) : 0;
}
