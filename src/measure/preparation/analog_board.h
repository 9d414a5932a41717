#pragma once
/// What the revisions of the analog board differ in for a measurement: a row each. The board's own differences are in
/// boards/alg_revisions.h.

#include "measure/settings/measurement_configuration.h"

#include <array>
#include <cstdint>
#include <span>

/// Above a carrier of `above` Hz: levels of the DUT, dBm, below which the preamplifier goes on and above which off.
struct LevelRow {
    double above;
    double lower;
    double upper;
};

/// An IF gain of the boards, dB: what requests below `below` get.
struct GainStep {
    double below;
    double gain;
};

/// The IF gains that are tried, highest first, and how far a record may then reach.
struct GainScan {
    int start;     // dB
    int step;      // dB
    int lowest;    // dB
    int spanLimit; // counts
};

inline constexpr uint32_t loopCapacitors = 4;
using Capacitors = std::array<double, loopCapacitors>; // farad, number 1 first

/// Whether the counters are so coarse that a beat has to correct them.
enum class BeatCorrection { never, unlessSecondCounter, always }; // the counters of acquisition board 1E do without

struct AnalogBoard {
    // Search.
    std::span<const double> hints; // for the counters, Hz, in the order of the attempts; see below
    int counterGain;               // IF gain while counting, dB; negative: the one in force
    bool attenuatedCount;          // the input is attenuated and the loops are open while it counts
    BeatCorrection beatCorrection;
    bool settlesAfterSearch;
    // Input.
    std::span<const LevelRow> preamplifier; // ascending down to any carrier; empty: a step attenuator instead
    bool preamplifierToldAlways;            // also when its state stays
    // IF gain and loop.
    std::span<const GainStep> gains; // ascending
    double gainRequestMax;           // dB
    Limits ifGain;                   // that a user may set, dB
    GainScan gainScan;
    bool waitsUntilSteady;  // after the gain has been set
    Capacitors capacitors;  // of the loop
    bool fixedFilter;       // of the loop with the normal reference, unless a bandwidth is asked for
    bool highPassesInTrace; // that the published trace is corrected for
    uint64_t tuneDelay_us;  // after a step of the DUT's tune voltage, unless the user sets another
};

// Among the hints, Hz.
inline constexpr double hintLastFrequency = -1; // the one in force
inline constexpr double hintNone = 1;           // read the input undivided

/// The row of this unit's board.
[[nodiscard]] const AnalogBoard& analogBoard();
