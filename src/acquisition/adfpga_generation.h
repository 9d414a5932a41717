#pragma once
/// What the two generations of the acquisition board differ in, as far as it is a fact and no procedure: a row each.

#include "acquisition/TVPN_ADFPGA.h"

inline constexpr uint32_t adfpga_controlBytes = 3;

struct AdfpgaGeneration {
    double baseSampleFrequency_Hz;                           // clock of ADCs and counters
    int64_t triggerLevelMax_Hz;                              // of the frequency-versus-time capture
    uint32_t answerMode;                                     // SPI mode word of an answer
    uint32_t firstSettableStage;                             // of lower ones the points are fixed
    bool reportsMissingReference;                            // on a status line
    bool logsPointsReceived;                                 // of a stage that timed out
    std::array<uint8_t, adfpga_controlBytes> controlAtStart; // control lines
    std::array<uint32_t, adfpga_stagesMax> pointsAtStart;
    std::array<uint32_t, adfpga_stagesMax> hardwarePoints; // 0, and other points: the soft core does the transform
};

inline constexpr AdfpgaGeneration adfpga_generations[] = {
    {.baseSampleFrequency_Hz = 125e6,
     .triggerLevelMax_Hz = 50'000'000,
     .answerMode = 9,
     .firstSettableStage = 6,
     .reportsMissingReference = false,
     .logsPointsReceived = true,
     .controlAtStart = {0x00, 0x01, 0xE4},
     .pointsAtStart = {512, 512, 512, 512, 512, 512, 512, 512},
     .hardwarePoints = {}},
    {.baseSampleFrequency_Hz = 250e6,
     .triggerLevelMax_Hz = 100'000'000,
     .answerMode = 0,
     .firstSettableStage = 0,
     .reportsMissingReference = true,
     .logsPointsReceived = false,
     .controlAtStart = {},
     .pointsAtStart = {4096, 512, 512, 512, 512, 512, adfpga_fdPointsMin, adfpga_fdPointsMin},
     .hardwarePoints = {4096, 512, 512, 512, 512, 512, 0, 0}},
};

[[nodiscard]] inline const AdfpgaGeneration& adfpga_generation(const TVPN_ADFPGA* board) {
    return adfpga_generations[adfpga_isSecondGeneration(board) ? 1 : 0];
}
