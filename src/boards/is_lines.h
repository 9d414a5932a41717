#pragma once
/// Lines of the source board, and how its operations reach them. For the files of the board alone.

#include "base/error_codes.h"
#include "boards/line_table.h"
#include "boards/tvcont_ioupdate.h"
#include "boards/tvpn_is.h"
#include "core/abstime.h"

/// Builds of the board that differ in their lines.
enum IsColumn : uint8_t { is1B, is2, isColumns };

// clang-format off

/// Those with a number in their name are known by what they do only.
enum IsBit : uint8_t {
    IS_RESET_BIT, // from 2A on also the PLL of the 100 MHz oscillator
    // Reference.
    IS_REF_0_BIT, IS_REF_3_BIT, IS_REF_5_BIT, IS_REF_6_BIT, IS_REF_10_BIT, IS_REF_11_BIT, IS_REF_12_BIT,
    IS_REF_18_BIT, IS_REF_19_BIT, IS_REF_20_BIT, IS_REF_21_BIT,
    // 1B.
    IS_OCXO_OUT_BIT, IS_CLOCK_4_BIT, IS_CLOCK_8_BIT, IS_MULT_A0_BIT, IS_MULT_A1_BIT, IS_DIVIDER_BIT,
    // From 2A on.
    IS_RF_DIRECT_BIT, IS_RF_PLL_BIT, IS_RF_DOUBLED_BIT, IS_HIGH_PATH_BIT, IS_PLL_7_BIT, IS_PLL_10_BIT, IS_PLL_13_BIT,
    IS_UNDOUBLED_BIT, IS_DIV_A0_BIT, IS_DIV_A1_BIT, IS_DIV_A2_BIT, IS_DIV_B0_BIT, IS_DIV_B1_BIT,
    isBits
};

inline constexpr LineRow<IsBit, isColumns> isBitRows[] = {
    //                   1B   2A 2B
    {IS_RESET_BIT,      {2,   2}},
    {IS_REF_0_BIT,      {255, 0}},
    {IS_REF_3_BIT,      {3,   3}},
    {IS_REF_5_BIT,      {5,   255}},
    {IS_REF_6_BIT,      {6,   255}},
    {IS_REF_10_BIT,     {10,  255}},
    {IS_REF_11_BIT,     {11,  11}},
    {IS_REF_12_BIT,     {255, 12}}, // 10 MHz oscillator
    {IS_REF_18_BIT,     {255, 18}},
    {IS_REF_19_BIT,     {255, 19}},
    {IS_REF_20_BIT,     {255, 20}}, // 1 GHz oscillator
    {IS_REF_21_BIT,     {255, 21}}, // 100 MHz oscillator
    {IS_OCXO_OUT_BIT,   {0,   255}}, // the output shows the 10 MHz oscillator
    {IS_CLOCK_4_BIT,    {4,   255}},
    {IS_CLOCK_8_BIT,    {8,   255}},
    {IS_MULT_A0_BIT,    {1,   255}},
    {IS_MULT_A1_BIT,    {9,   255}},
    {IS_DIVIDER_BIT,    {7,   255}},
    {IS_RF_DIRECT_BIT,  {255, 16}}, // also feeds the PLL
    {IS_RF_PLL_BIT,     {255, 5}},
    {IS_RF_DOUBLED_BIT, {255, 14}},
    {IS_HIGH_PATH_BIT,  {255, 6}},
    {IS_PLL_7_BIT,      {255, 7}},
    {IS_PLL_10_BIT,     {255, 10}}, // while the band is chosen
    {IS_PLL_13_BIT,     {255, 13}},
    {IS_UNDOUBLED_BIT,  {255, 15}},
    {IS_DIV_A0_BIT,     {255, 8}},
    {IS_DIV_A1_BIT,     {255, 9}},
    {IS_DIV_A2_BIT,     {255, 1}},
    {IS_DIV_B0_BIT,     {255, 22}},
    {IS_DIV_B1_BIT,     {255, 23}},
};

// clang-format on

inline constexpr std::array<uint8_t, isColumns> isRegisterBytes = {3, 3};
static_assert(linesFit(isBitRows, isBits, isRegisterBytes),
              "a bit without a row, a line beyond the register, or two bits on a line");

using IsPattern = LinePattern<isColumns>;

/// A character of `values` a bit, see line_pattern.
consteval IsPattern is_pattern(std::initializer_list<IsBit> bits, std::string_view values) {
    return line_pattern(isBitRows, bits, values);
}

inline bool is_isFirst(const TVPN_IS* board) {
    return board->generation == 0;
}
inline IsColumn is_column(const TVPN_IS* board) {
    return is_isFirst(board) ? is1B : is2;
}

/// Change the shadow, and send nothing.
inline void is_preset(TVPN_IS* board, const IsPattern& pattern) {
    line_preset(&board->shiftRegister, pattern, is_column(board));
}
inline void is_presetBit(TVPN_IS* board, IsBit bit, bool on) {
    line_presetBit(&board->shiftRegister, isBitRows[bit].line[is_column(board)], on);
}
inline int is_apply(TVPN_IS* board, const IsPattern& pattern) {
    is_preset(board, pattern);
    return TVPN_IS_applyPreset(board);
}

/// 0 or -200.
inline int is_ioUpdate() {
    return TVCONT_ioupdate() < 0 ? scpi::executionError : 0;
}

/// A step of a sequence that takes time: 0.
inline int is_wait(uint64_t microseconds) {
    tvstuff_delay_us(microseconds);
    return 0;
}

/// A row of a table whose key is a ratio.
struct IsRatioRow {
    uint32_t ratio;
    IsPattern lines;
};
/// Changes the shadow; -224 if no row has `ratio`.
template <size_t count> int is_presetRatio(TVPN_IS* board, const IsRatioRow (&rows)[count], uint32_t ratio) {
    for (const IsRatioRow& row : rows)
        if (row.ratio == ratio) {
            is_preset(board, row.lines);
            return 0;
        }
    return scpi::illegalParameterValue;
}

/// TVPN_IS_setFrequency and TVPN_IS_setDdsOutputFrequency of 1B.
int is1B_setFrequency(TVPN_IS* board, const tvfreq& frequency);
int is1B_setDdsOutput(TVPN_IS* board, const tvfreq& frequency);
/// `selection` is TVPN_IS_reference...
[[nodiscard]] int is_setReference(TVPN_IS* board, uint32_t selection);
