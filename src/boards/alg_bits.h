#pragma once
/// Control lines of the analog board: a row a bit, a column a build of the board.

#include "boards/line_table.h"

/// Builds of the board that differ in their lines.
enum AlgColumn : uint8_t { alg1x, alg2A, alg2BC, alg2D, algColumns }; // 1B and 1C; 2A; 2B and 2C; 2D

// clang-format off

/// Those with a number in their name are known by what they do only.
enum AlgBit : uint8_t {
    // Input.
    DUT_DIVX_PWR_EN_BIT, DIVX_SELA_BIT, DIVX_SELB_BIT, DUT_4_BIT, DUT_5_BIT, DUT_6_BIT, DUT_7_BIT, DUT_9_BIT,
    DUT_MUX_A0_BIT, DUT_MUX_A1_BIT, DUT_CNT_MUX_BIT, DUT_AMP_BIT, DUT_AMP_LOW_BIT,
    // Reference.
    REF_MUX_BIT, REF_EXT_BIT, REF_EXT_LO2_BIT, REF_37_BIT, REF_38_BIT, REF_39_BIT,
    // Counter.
    CNT_PWR_EN_BIT, CNT_DIV_MUX_A0_BIT, CNT_DIV_MUX_A1_BIT, CNT_DIV_MUX_A2_BIT, CNT_DIV_TOP_BIT, CNT_UHF_BIT,
    CNT_38_BIT, IF_CNT_MUX_BIT,
    // IF chain.
    IF_MUX_VGA1_EN_BIT, IF_MUX_VGA2_EN_BIT, IF_FILTER_A0_BIT, IF_FILTER_A1_BIT, IF_5M_DIS_BIT, IF_23_BIT,
    IF_50M_EN_BIT, IF_20M_EN_BIT, IF_12_BIT, IF_16_BIT, IF_17_BIT, IF_18_BIT, IF_19_BIT, IF_30_BIT,
    IF_MUX_A0_BIT, IF_MUX_A1_BIT, IF_MUX_EN_BIT, IF_BB_AMP_DIS_BIT, IF_FM_DEMOD_EN_BIT, IF_AC_COUP_MUX_BIT,
    // Power detectors.
    DUT_PD_EN_BIT, PD_DUT_BIT, PD_REF_BIT, PD_ADL6010_BIT, PD_AM_BIT,
    PD_20_BIT, PD_34_BIT, PD_35_BIT, PD_36_BIT, PD_37_BIT,
    // Loop capacitors.
    LP_C_SW_IN1_BIT, LP_C_SW_IN2_BIT, LP_C_SW_IN3_BIT, LP_C_SW_IN4_BIT,
    // Tuning.
    TUNE_LOOP_INT_EN_BIT, TUNE_LOOP_EXT_EN_BIT, TUNE_CAL_EXT_EN_BIT, TUNE_CAL_INT_EN_BIT, TUNE_CONNECT_BIT,
    TUNE_SOURCE_CAL_BIT, TUNE_SOURCE_LOOP_BIT, TUNE_LOAD_EXT_BIT, TUNE_LOAD_INT_BIT,
    // Pulsed signals.
    PULSE_19_BIT, PULSE_33_BIT,
    algBits
};

using AlgBitRow = LineRow<AlgBit, algColumns>;

inline constexpr AlgBitRow algBitRows[] = {
    //                       1B 1C     2A        2B 2C     2D
    {DUT_DIVX_PWR_EN_BIT,  {1,        0,        0,        0}},
    {DIVX_SELA_BIT,        {2,        1,        1,        1}},
    {DIVX_SELB_BIT,        {3,        2,        2,        2}},
    {DUT_4_BIT,            {4,        255,      255,      255}},
    {DUT_5_BIT,            {5,        255,      255,      255}},
    {DUT_6_BIT,            {6,        255,      255,      255}},
    {DUT_7_BIT,            {7,        255,      255,      255}},
    {DUT_9_BIT,            {9,        255,      255,      255}},
    {DUT_MUX_A0_BIT,       {255,      10,       10,       10}},
    {DUT_MUX_A1_BIT,       {255,      8,        8,        8}},
    {DUT_CNT_MUX_BIT,      {255,      3,        3,        3}},
    {DUT_AMP_BIT,          {255,      5,        5,        5}},       // from 2B on of path 1
    {DUT_AMP_LOW_BIT,      {255,      255,      32,       32}},      // of path 0
    {REF_MUX_BIT,          {255,      31,       31,       31}},
    {REF_EXT_BIT,          {255,      33,       255,      255}},
    {REF_EXT_LO2_BIT,      {255,      11,       255,      255}}, // cleared: LO3
    {REF_37_BIT,           {37,       255,      255,      255}},
    {REF_38_BIT,           {38,       255,      255,      255}},
    {REF_39_BIT,           {39,       255,      255,      255}},
    {CNT_PWR_EN_BIT,       {21,       4,        4,        4}},
    {CNT_DIV_MUX_A0_BIT,   {255,      6,        6,        6}},
    {CNT_DIV_MUX_A1_BIT,   {255,      7,        7,        7}},
    {CNT_DIV_MUX_A2_BIT,   {255,      9,        9,        9}},
    {CNT_DIV_TOP_BIT,      {255,      255,      11,       11}},      // the highest ratio; 2A has LO2 there
    {CNT_UHF_BIT,          {22,       255,      255,      255}},
    {CNT_38_BIT,           {255,      255,      38,       38}},
    {IF_CNT_MUX_BIT,       {255,      15,       15,       15}},
    {IF_MUX_VGA1_EN_BIT,   {30,       16,       16,       16}},
    {IF_MUX_VGA2_EN_BIT,   {31,       18,       18,       18}},
    {IF_FILTER_A0_BIT,     {14,       14,       14,       14}},
    {IF_FILTER_A1_BIT,     {13,       13,       13,       13}},
    {IF_5M_DIS_BIT,        {255,      22,       22,       22}},
    {IF_23_BIT,            {255,      23,       23,       23}},
    {IF_50M_EN_BIT,        {255,      24,       24,       24}},
    {IF_20M_EN_BIT,        {255,      25,       25,       25}},
    {IF_12_BIT,            {12,       12,       12,       12}},      // from 2A on set for good
    {IF_16_BIT,            {16,       255,      255,      255}},
    {IF_17_BIT,            {17,       255,      255,      255}},
    {IF_18_BIT,            {18,       255,      255,      255}},
    {IF_19_BIT,            {19,       255,      255,      255}},
    {IF_30_BIT,            {255,      30,       255,      255}},
    {IF_MUX_A0_BIT,        {255,      27,       27,       27}},
    {IF_MUX_A1_BIT,        {255,      26,       26,       26}},
    {IF_MUX_EN_BIT,        {255,      28,       28,       28}},
    {IF_BB_AMP_DIS_BIT,    {255,      29,       29,       29}},
    {IF_FM_DEMOD_EN_BIT,   {255,      17,       17,       17}},
    {IF_AC_COUP_MUX_BIT,   {255,      20,       20,       255}}, // 2D has a detector there
    {DUT_PD_EN_BIT,        {24,       35,       255,      255}},
    {PD_DUT_BIT,           {255,      34,       255,      255}},
    {PD_REF_BIT,           {255,      36,       255,      255}},
    {PD_ADL6010_BIT,       {255,      37,       255,      255}},
    {PD_AM_BIT,            {255,      38,       255,      255}},
    {PD_20_BIT,            {255,      255,      255,      20}},
    {PD_34_BIT,            {255,      255,      34,       34}},
    {PD_35_BIT,            {255,      255,      35,       35}},
    {PD_36_BIT,            {255,      255,      36,       36}},
    {PD_37_BIT,            {255,      255,      37,       37}},
    {LP_C_SW_IN1_BIT,      {26,       42,       42,       42}},
    {LP_C_SW_IN2_BIT,      {27,       40,       40,       40}},
    {LP_C_SW_IN3_BIT,      {28,       39,       39,       39}},
    {LP_C_SW_IN4_BIT,      {29,       41,       41,       41}},
    {TUNE_LOOP_INT_EN_BIT, {255,      43,       43,       43}},
    {TUNE_LOOP_EXT_EN_BIT, {255,      44,       44,       44}},
    {TUNE_CAL_EXT_EN_BIT,  {255,      45,       45,       45}},
    {TUNE_CAL_INT_EN_BIT,  {255,      46,       46,       46}},
    {TUNE_CONNECT_BIT,     {255,      47,       47,       47}},      // 2A: the tune ADC; then the DUT's tune output
    {TUNE_SOURCE_CAL_BIT,  {32,       255,      255,      255}},
    {TUNE_SOURCE_LOOP_BIT, {33,       255,      255,      255}},
    {TUNE_LOAD_EXT_BIT,    {34,       255,      255,      255}},
    {TUNE_LOAD_INT_BIT,    {35,       255,      255,      255}},
    {PULSE_19_BIT,         {255,      255,      255,      19}},
    {PULSE_33_BIT,         {255,      255,      255,      33}},
};

// clang-format on

inline constexpr std::array<uint8_t, algColumns> algRegisterBytes = {5, 6, 6, 6};

static_assert(linesFit(algBitRows, algBits, algRegisterBytes),
              "a bit without a row, a line beyond the register, or two bits on a line");

using AlgPattern = LinePattern<algColumns>;

/// A character of `values` a bit, see line_pattern.
consteval AlgPattern alg_pattern(std::initializer_list<AlgBit> bits, std::string_view values) {
    return line_pattern(algBitRows, bits, values);
}
