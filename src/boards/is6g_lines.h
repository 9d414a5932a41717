#pragma once
/// Lines of the double-channel source board, and how its operations reach them. For the files of the board alone.

#include "base/error_codes.h"
#include "boards/line_table.h"
#include "boards/tvpn_is6g.h"
#include "core/abstime.h"

// clang-format off

enum Is6gControlBit : uint8_t { IS6G_OCXO_BIT, IS6G_POWER_BIT, IS6G_RF_BIT, is6gControlBits };
inline constexpr LineRow<Is6gControlBit, 1> is6gControlRows[] = {
    {IS6G_OCXO_BIT,  {5}},
    {IS6G_POWER_BIT, {6}},
    {IS6G_RF_BIT,    {7}},
};

enum Is6gPathBit : uint8_t {
    IS6G_PLL_A0_BIT, IS6G_PLL_A1_BIT, IS6G_DIV_A0_BIT, IS6G_DIV_A1_BIT, IS6G_DIV_A2_BIT, IS6G_PLL_ON_BIT,
    IS6G_RF_OUT_BIT, is6gPathBits
};
inline constexpr LineRow<Is6gPathBit, 1> is6gPathRows[] = {
    {IS6G_PLL_A0_BIT, {1}}, // factor between DDS and VCO
    {IS6G_PLL_A1_BIT, {2}},
    {IS6G_DIV_A0_BIT, {3}}, // divider behind the VCO
    {IS6G_DIV_A1_BIT, {4}},
    {IS6G_DIV_A2_BIT, {5}},
    {IS6G_PLL_ON_BIT, {6}},
    {IS6G_RF_OUT_BIT, {7}},
};

// clang-format on

inline constexpr std::array<uint8_t, 1> is6gRegisterBytes = {1};
static_assert(linesFit(is6gControlRows, is6gControlBits, is6gRegisterBytes) &&
                  linesFit(is6gPathRows, is6gPathBits, is6gRegisterBytes),
              "a bit without a row, a line beyond the register, or two bits on a line");

using Is6gPattern = LinePattern<1>;

/// A character of `values` a bit, see line_pattern.
consteval Is6gPattern is6g_control(std::initializer_list<Is6gControlBit> bits, std::string_view values) {
    return line_pattern(is6gControlRows, bits, values);
}
consteval Is6gPattern is6g_path(std::initializer_list<Is6gPathBit> bits, std::string_view values) {
    return line_pattern(is6gPathRows, bits, values);
}

/// Sends the register if a line has changed.
inline int is6g_apply(SRI* sri, const Is6gPattern& pattern) {
    line_preset(sri, pattern, 0);
    return SRI_applyChanges(sri);
}

inline constexpr int64_t is6gDirectMax_Hz = 400'000'000; // the DDS alone

inline bool is6g_isSelector(uint32_t selector) {
    return selector <= TVPN_IS6G_both;
}

/// `action` for each selected channel; the first result that is not 0, after all.
template <class Action> int is6g_forEach(TVPN_IS6G* board, uint32_t selector, Action action) {
    if (!is6g_isSelector(selector))
        return scpi::illegalParameterValue;
    int result = 0;
    uint32_t cursor = 0;
    while (TVPN_IS6G_channel* channel = TVPN_IS6G_each(board, &cursor, selector))
        result = chip_firstFailure({result, action(channel)});
    return result;
}

/// What `value` tells of the first selected channel; 0 without one.
template <class Value> auto is6g_ofFirst(TVPN_IS6G* board, uint32_t selector, Value value) {
    uint32_t cursor = 0;
    TVPN_IS6G_channel* channel = TVPN_IS6G_each(board, &cursor, selector);
    return channel != nullptr ? value(channel) : decltype(value(channel)){};
}

// Of one channel.

[[nodiscard]] int is6g_setDds(TVPN_IS6G_channel* channel, const tvfreq& frequency);
[[nodiscard]] int is6g_lock(TVPN_IS6G_channel* channel);
