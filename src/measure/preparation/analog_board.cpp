#include "measure/preparation/analog_board.h"

#include "identity/device_variants.h"

#include <cmath>

namespace {

constexpr double hints2A[] = {hintLastFrequency, 40e6, 100e6, 2.5e9, 5e9, 10e9, 10e6}; // and 1B
constexpr double hints1C[] = {hintLastFrequency, 40e6, 1.5e9, 3e9, hintNone};
constexpr double hints2B[] = {hintLastFrequency, 10e6, 4e9, 10e9, 20e9};
constexpr double hints2CD[] = {hintLastFrequency, 10e6, 4e9, 8e9, 16e9, 26e9};

constexpr LevelRow levels2A[] = {{200e6, 7, 8}, {-INFINITY, 4, 5}};
constexpr LevelRow levels2B[] = {{5e9, 12, 13}, {1.5e9, 10, 11}, {1e9, 4, 5}, {300e6, 1, 2}, {-INFINITY, -1, 0}};
constexpr LevelRow levels2CD[] = {{5e9, 6, 7}, {2e9, 4, 5}, {1.5e9, 9, 10}, {300e6, 4, 5}, {-INFINITY, 1, 2}};

constexpr GainStep gains1C[] = {{10, 0}, {35, 26}, {INFINITY, 46}};
constexpr GainStep gainsOthers[] = {{10, 0}, {15, 12}, {22, 20}, {30, 26}, {35, 32}, {50, 44}, {INFINITY, 56}};
constexpr GainScan scan1C{50, 25, 25, 0};
constexpr GainScan scanOthers{48, 12, 0, 10000};

constexpr Capacitors capacitors{1e-08, 2e-07, 9.4e-07, 3.76e-06};
constexpr Capacitors capacitors1Cf{2e-07, 9.4e-07, 1.88e-06, 3.76e-06};

constexpr uint64_t tuneDelay_us = 10'000; // of boards without a tune output

constexpr int unchanged = -1;
constexpr int counterGain_dB = 46;

struct Row {
    bool (*isThisUnits)();
    AnalogBoard board;
};

// clang-format off
constexpr AnalogBoard board1C(const Capacitors& fitted) {
    return {.hints = hints1C, .counterGain = counterGain_dB, .attenuatedCount = true,
            .beatCorrection = BeatCorrection::always, .settlesAfterSearch = false,
            .preamplifier = {}, .preamplifierToldAlways = false,
            .gains = gains1C, .gainRequestMax = 50, .ifGain = {0, 46}, .gainScan = scan1C,
            .waitsUntilSteady = true, .capacitors = fitted, .fixedFilter = false, .highPassesInTrace = true,
            .tuneDelay_us = tuneDelay_us};
}
constexpr AnalogBoard board2CD(uint64_t delay_us) {
    return {.hints = hints2CD, .counterGain = unchanged, .attenuatedCount = false,
            .beatCorrection = BeatCorrection::never, .settlesAfterSearch = false,
            .preamplifier = levels2CD, .preamplifierToldAlways = false,
            .gains = gainsOthers, .gainRequestMax = 60, .ifGain = {0, 56}, .gainScan = scanOthers,
            .waitsUntilSteady = false, .capacitors = capacitors, .fixedFilter = false, .highPassesInTrace = false,
            .tuneDelay_us = delay_us};
}
constexpr Row rows[] = {
    {device_config_usesTVPNX_ALG_1Cf, board1C(capacitors1Cf)},
    {device_config_usesTVPNX_ALG_1C, board1C(capacitors)},
    {device_config_usesTVPNX_ALG_2A,
     {.hints = hints2A, .counterGain = counterGain_dB, .attenuatedCount = false,
      .beatCorrection = BeatCorrection::unlessSecondCounter, .settlesAfterSearch = true,
      .preamplifier = levels2A, .preamplifierToldAlways = true,
      .gains = gainsOthers, .gainRequestMax = 60, .ifGain = {0, 56}, .gainScan = scanOthers,
      .waitsUntilSteady = true, .capacitors = capacitors, .fixedFilter = true, .highPassesInTrace = false,
      .tuneDelay_us = 150}},
    {device_config_usesTVPNX_ALG_2B,
     {.hints = hints2B, .counterGain = unchanged, .attenuatedCount = false,
      .beatCorrection = BeatCorrection::never, .settlesAfterSearch = false,
      .preamplifier = levels2B, .preamplifierToldAlways = false,
      .gains = gainsOthers, .gainRequestMax = 60, .ifGain = {0, 56}, .gainScan = scanOthers,
      .waitsUntilSteady = false, .capacitors = capacitors, .fixedFilter = false, .highPassesInTrace = false,
      .tuneDelay_us = 70'000}},
    {device_config_usesTVPNX_ALG_2C, board2CD(2'000'000)},
    {device_config_usesTVPNX_ALG_2D, board2CD(250)},
};
constexpr AnalogBoard board1B =
     {.hints = hints2A, .counterGain = unchanged, .attenuatedCount = false,
      .beatCorrection = BeatCorrection::never, .settlesAfterSearch = false,
      .preamplifier = {}, .preamplifierToldAlways = false,
      .gains = gainsOthers, .gainRequestMax = 60, .ifGain = {0, 56}, .gainScan = scanOthers,
      .waitsUntilSteady = true, .capacitors = capacitors, .fixedFilter = false, .highPassesInTrace = false,
      .tuneDelay_us = tuneDelay_us};
// clang-format on

} // namespace

const AnalogBoard& analogBoard() {
    for (const Row& row : rows)
        if (row.isThisUnits())
            return row.board;
    return board1B;
}
