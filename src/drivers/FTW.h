#pragma once
/// Frequency tuning words: a direct digital synthesizer with an n-bit word makes fout = FTW * fin / 2^n. Exact, in
/// integers only.

#include "numeric/tvtypes.h"

#include <cstdint>

struct FTW {
    uint32_t bits; // n, 1 to 64
    tvfreq fin;    // clock
    tvfreq fout;   // wanted
    uint64_t ftw;  // floor(2^n * fout / fin); 2^n - 1 if fout is fin or more; 0 if one of them is negative or fin is 0
};

/// Both frequencies 0.
void FTW_init(FTW* record, uint32_t bits);

/// Store without calculating.
void FTW_presetIn(FTW* record, tvfreq fin);
void FTW_presetOut(FTW* record, tvfreq fout);
/// Calculate from what is stored.
void FTW_calcPreset(FTW* record);
void FTW_calcFTW(FTW* record);

/// Store and calculate.
void FTW_setIn(FTW* record, tvfreq fin);
void FTW_setOut(FTW* record, tvfreq fout);
void FTW_set(FTW* record, tvfreq fin, tvfreq fout);

/// In place: the nearest 64-bit value whose low `n` bits are those of the pattern `high` * 2^32 + `low`. Of two equally
/// near the upper one.
void FTW_roundToPattern(uint64_t* word, uint32_t n, uint32_t low, uint32_t high);
/// In place: the nearest multiple of 2^`n` that fits. Of two equally near the lower one.
void FTW_round(uint64_t* word, uint32_t n);

/// `ftw` * `fin` / 2^64, rounded toward zero to 2^-64 Hz: the output of a synthesizer with a 64-bit word. For one of n
/// bits `fin` is its clock times 2^(64-n).
void FTW_calcRealFout(const FTW* record, const tvfreq* fin, tvfreq* result);
/// The inverse: `fout` * 2^64 / `ftw`, rounded toward zero. 0 for the word 0; the limit of tvfreq where it does not
/// fit.
void FTW_calcRealFin(const FTW* record, const tvfreq* fout, tvfreq* result);
