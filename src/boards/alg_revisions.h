#pragma once
/// What the revisions of the analog board differ in, a row a revision. Operations ask the row.

#include "boards/alg_bits.h"

#include <limits>
#include <span>

/// Where a chip hangs, counted from the board's first address.
struct AlgChips {
    uint8_t loopR1R2, loopR3Aid, calibrationDriver, loopSupply, powerAdc;
    uint8_t dutAttenuator, referenceAttenuator, counterDivider; // 1B and 1C
    uint8_t tuneAdc, dutTune, dutTuneWide;                      // from 2A on; the last on 2D
};
inline constexpr uint8_t algNoChip = 255;
inline constexpr uint8_t algChipsPerBoard = 16;

/// A request below `below` dB gets these VGA state, IF channel and gain.
struct AlgGainStep {
    int64_t below;
    uint8_t vgaState;
    uint8_t channel; // of TVPNX_ALG_setIFMuxPath
    uint8_t gain_dB;
};

/// With the counter on, frequencies above `above_Hz` pass the divider.
struct AlgCounterRule {
    int64_t above_Hz;
    uint32_t prescaler;
};

/// How the input is planned.
enum class AlgInput : uint8_t {
    attenuator, // 1B, 1C: direct, amplifier or divider, behind a step attenuator
    switched,   // 2A: direct, amplifier or divider
    thresholds, // from 2B on: three paths by thresholds with hysteresis
};

enum class AlgDutTune : uint8_t { none, narrow, wide }; // AD5640, AD5760

struct AlgRevision {
    const char* name;
    AlgColumn column;
    AlgInput input;
    AlgDutTune dutTune;
    bool pulsed; // has pulse and TRAN modes
    AlgChips chips;
    std::array<uint8_t, 6> start; // of the shift register, line 0 in bit 0 of the first byte
    std::span<const AlgGainStep> gains;
    const char* gainList;
    std::array<double, 4> capacitors_F;
    uint32_t counterTop; // highest ratio of the counter chain; 0: an ADF4106 divides
    int64_t quarterFrom_Hz;
    std::span<const AlgCounterRule> counterRules;
    int64_t thresholdAmp_Hz; // 0: the amplifier of path 1 follows that of path 0
};

inline constexpr int64_t algNoLimit = std::numeric_limits<int64_t>::max();

inline constexpr AlgGainStep algGains1B[] = {{5, 1, 0, 0}, {39, 1, 1, 26}, {70, 3, 1, 52}};
inline constexpr AlgGainStep algGains1C[] = {{5, 1, 0, 0}, {24, 3, 0, 20}, {30, 1, 1, 26}, {70, 3, 1, 46}};
inline constexpr AlgGainStep algGains2[] = {{6, 0, 0, 0},   {16, 1, 0, 12}, {26, 0, 1, 20},
                                            {38, 1, 1, 32}, {50, 2, 1, 44}, {algNoLimit, 3, 1, 56}};

inline constexpr AlgCounterRule algCounterRules2C[] = {
    {20'000'000'000, 8}, {14'000'000'000, 4}, {7'000'000'000, 2}}; // the highest first
inline constexpr AlgCounterRule algCounterRules2D[] = {{20'000'000'000, 4}, {12'000'000'000, 2}};

inline constexpr AlgChips algChips1x = {.loopR1R2 = 8,
                                        .loopR3Aid = 9,
                                        .calibrationDriver = 10,
                                        .loopSupply = 11,
                                        .powerAdc = 2,
                                        .dutAttenuator = 1,
                                        .referenceAttenuator = 12,
                                        .counterDivider = 4,
                                        .tuneAdc = algNoChip,
                                        .dutTune = algNoChip,
                                        .dutTuneWide = algNoChip};
inline constexpr AlgChips algChips2 = {.loopR1R2 = 3,
                                       .loopR3Aid = 4,
                                       .calibrationDriver = 5,
                                       .loopSupply = 6,
                                       .powerAdc = 1,
                                       .dutAttenuator = algNoChip,
                                       .referenceAttenuator = algNoChip,
                                       .counterDivider = algNoChip,
                                       .tuneAdc = 2,
                                       .dutTune = 7,
                                       .dutTuneWide = algNoChip};
inline constexpr AlgChips algChips2D = [] {
    AlgChips chips = algChips2;
    chips.dutTuneWide = 8;
    return chips;
}();

/// No two chips of a board share an address; the shift register has the first.
consteval bool algChipsFit(const AlgChips& chips) {
    uint32_t taken = 1;
    for (const uint8_t chip : {chips.loopR1R2, chips.loopR3Aid, chips.calibrationDriver, chips.loopSupply,
                               chips.powerAdc, chips.dutAttenuator, chips.referenceAttenuator, chips.counterDivider,
                               chips.tuneAdc, chips.dutTune, chips.dutTuneWide}) {
        if (chip == algNoChip)
            continue;
        if (chip >= algChipsPerBoard || (taken >> chip & 1) != 0)
            return false;
        taken |= 1U << chip;
    }
    return true;
}
static_assert(algChipsFit(algChips1x) && algChipsFit(algChips2) && algChipsFit(algChips2D));

inline constexpr AlgRevision algRevision1B = {.name = "1B",
                                              .column = alg1x,
                                              .input = AlgInput::attenuator,
                                              .dutTune = AlgDutTune::none,
                                              .pulsed = false,
                                              .chips = algChips1x,
                                              .start = {0x00, 0xEC, 0xB3, 0xBF, 0xD0},
                                              .gains = algGains1B,
                                              .gainList = "0,20,26,52",
                                              .capacitors_F = {2e-07, 9.4e-07, 1.4e-05, 0.000109},
                                              .counterTop = 0,
                                              .quarterFrom_Hz = 0,
                                              .counterRules = {},
                                              .thresholdAmp_Hz = 0};
inline constexpr AlgRevision algRevision1C = [] {
    AlgRevision row = algRevision1B;
    row.name = "1C";
    row.gains = algGains1C;
    row.gainList = "0,20,26,46";
    return row;
}();
inline constexpr AlgRevision algRevision2A = {.name = "2A",
                                              .column = alg2A,
                                              .input = AlgInput::switched,
                                              .dutTune = AlgDutTune::none,
                                              .pulsed = false,
                                              .chips = algChips2,
                                              .start = {0x00, 0x80, 0x80, 0x34, 0x08, 0x00},
                                              .gains = algGains2,
                                              .gainList = "0,12,20,32,56",
                                              .capacitors_F = algRevision1B.capacitors_F,
                                              .counterTop = 64,
                                              .quarterFrom_Hz = 0,
                                              .counterRules = {},
                                              .thresholdAmp_Hz = 0};
inline constexpr AlgRevision algRevision2B = [] {
    AlgRevision row = algRevision2A;
    row.name = "2B";
    row.column = alg2BC;
    row.input = AlgInput::thresholds;
    row.dutTune = AlgDutTune::narrow;
    row.start[4] = 0x04;
    row.capacitors_F = {1e-08, 2e-07, 9.4e-07, 3.76e-06};
    row.counterTop = 256;
    row.quarterFrom_Hz = 18'000'000'000;
    return row;
}();
inline constexpr AlgRevision algRevision2C = [] {
    AlgRevision row = algRevision2B;
    row.name = "2C";
    row.counterRules = algCounterRules2C;
    row.thresholdAmp_Hz = 4'200'000'000;
    return row;
}();
inline constexpr AlgRevision algRevision2D = [] {
    AlgRevision row = algRevision2C;
    row.name = "2D";
    row.column = alg2D;
    row.dutTune = AlgDutTune::wide;
    row.chips = algChips2D;
    row.counterTop = 512;
    row.quarterFrom_Hz = 25'000'000'000;
    row.counterRules = algCounterRules2D;
    row.pulsed = true;
    return row;
}();

/// By `algVersion`.
inline constexpr AlgRevision algRevisions[] = {algRevision1B, algRevision1C, algRevision2A,
                                               algRevision2B, algRevision2C, algRevision2D};
