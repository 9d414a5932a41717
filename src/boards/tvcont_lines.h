#pragma once
/// Lines of the controller board's shift register: a row a bit, a column a revision. For the files of the board alone.

#include "boards/line_table.h"
#include "boards/tvcont.h"

#include <cstdint>
#include <initializer_list>

// clang-format off

enum TvcontBit : uint8_t {
    FUNCOUT_0_BIT, FUNCOUT_1_BIT, FUNCOUT_15_BIT, // routing of the function output
    LFG_OFF_BIT, LFG_CTRL_BIT, UMODAM_LFG_BIT,
    RF_BIT, DCDC_BIT, RESET_MUX_BIT, FAN_BIT,
    EATT_A_BIT, EATT_B_BIT, EATT_C_BIT, EATT_D_BIT,
    LED_READY_BIT, LED_REMOTE_BIT, LED_ERROR_BIT,
    LED_OUT2_BIT, LED_OUT3_BIT, LED_OUT4_BIT, LED_OUT5_BIT, LED_OUT6_BIT, LED_OUT7_BIT,
    tvcontBits
};

inline constexpr uint32_t tvcontRegisterBytes = 3;

inline constexpr LineRow<TvcontBit, tvcontRevisions> tvcontBitRows[] = {
    //                     older  1E    1F    FS
    {FUNCOUT_0_BIT, {0,    0,    0,    0}},   // with the generator: its square wave
    {FUNCOUT_1_BIT,  {1,    1,    1,    1}},
    {FUNCOUT_15_BIT,     {15,   15,   15,   15}},
    {LFG_OFF_BIT,         {4,    4,    4,    4}},
    {LFG_CTRL_BIT,        {6,    6,    6,    6}},
    {UMODAM_LFG_BIT,      {14,   14,   14,   14}},
    {RF_BIT,              {7,    7,    7,    7}},
    {DCDC_BIT,            {12,   12,   12,   12}},
    {RESET_MUX_BIT,       {19,   19,   19,   19}},
    {FAN_BIT,             {255,  255,  20,   20}},
    {EATT_A_BIT,          {9,    9,    9,    9}},
    {EATT_B_BIT,          {10,   10,   10,   10}},
    {EATT_C_BIT,          {11,   11,   11,   11}},
    {EATT_D_BIT,          {8,    8,    8,    8}},
    {LED_READY_BIT,       {255,  16,   16,   16}},
    {LED_REMOTE_BIT,      {255,  17,   17,   17}},
    {LED_ERROR_BIT,       {255,  18,   18,   18}},
    {LED_OUT2_BIT,        {255,  255,  255,  21}},
    {LED_OUT3_BIT,        {255,  255,  255,  22}},
    {LED_OUT4_BIT,        {255,  255,  255,  23}},
    {LED_OUT5_BIT,        {255,  255,  255,  13}},
    {LED_OUT6_BIT,        {255,  255,  255,  24}},  // this and the next lie beyond the register
    {LED_OUT7_BIT,        {255,  255,  255,  25}},
};

// clang-format on

constexpr uint8_t tvcont_line(TvcontBit bit, TvcontRevision revision) {
    return tvcontBitRows[bit].line[revision];
}

static_assert(linesFit<TvcontBit>(tvcontBitRows, tvcontBits,
                                  {tvcontRegisterBytes, tvcontRegisterBytes, tvcontRegisterBytes,
                                   tvcontRegisterBytes + 1}),
              "a bit without a row, a line beyond the register, or two bits on a line");

/// Lines of bits that the revision has.
constexpr uint64_t tvcont_mask(std::initializer_list<TvcontBit> bits, TvcontRevision revision) {
    uint64_t mask = 0;
    for (const TvcontBit bit : bits)
        mask |= line_mask(tvcont_line(bit, revision));
    return mask;
}

/// Lines of `clear` off, then those of `set` on, in one transfer; none if nothing changes.
[[nodiscard]] int tvcont_changeLines(TVCONT* board, uint64_t set, uint64_t clear);
/// -241 if the revision has no such line.
[[nodiscard]] int tvcont_setLine(TVCONT* board, TvcontBit bit, bool on);
