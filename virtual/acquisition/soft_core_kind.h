#pragma once
/// What the soft cores of the two generations of the acquisition board differ in, and what the parts of one share.

#include "virtual/acquisition/adc_words.h"
#include "virtual/boards/unit_boards.h"
#include "virtual/physics/sample_source.h"

#include <array>
#include <cstdint>
#include <mutex>

namespace vi {

inline constexpr uint32_t coreStages = 8;

struct CoreKind {
    double clock_Hz;      // of ADCs and counters
    uint32_t answerMode;  // SPI mode word
    bool stagesTogether;  // stages run side by side
    uint32_t firstLength; // the first stage whose length can be set
    std::array<uint32_t, coreStages> pointsAtStart;
    bool hasThermometer;
};
[[nodiscard]] const CoreKind& coreKind_of(FpgaGeneration generation);

/// Rate of a stage, proportional to the clock in force.
[[nodiscard]] double coreKind_stageRate_Hz(const CoreKind& kind, double clock_Hz, uint32_t stage);

/// The ADCs at a moment.
struct ConverterState {
    double clock_Hz = 0; // 0: they stand still
    std::array<AdcWords, channels> words;
};

/// The analog side, which takes one caller at a time but for its faults.
struct SourceAccess {
    std::mutex mutex;
    SampleSource& source;
};

inline constexpr uint64_t coreReaction_ns = 1'000'000; // to a command: the core's loop comes round
inline constexpr uint64_t coreNever_ns = UINT64_MAX;
/// The moment so long after another; coreNever_ns from a year on.
[[nodiscard]] uint64_t core_after(uint64_t start_ns, double seconds);

} // namespace vi
