#pragma once
/// The ways from the inputs of the analog board to its mixers, counter and detectors, as its switches stand.

#include "virtual/boards/analog_circuit.h"
#include "virtual/boards/analog_lines.h"

#include <array>

namespace vi {

/// What the revisions do not share.
struct AnalogParts {
    double amplifierMax_Hz; // of the one at the high input
    double ifOffset_dB, vga1_dB, vga2_dB, bandAmplifier_dB;
    std::array<IfFilter, 4> filters; // by address
    double counterFurther;
};

/// The lines of one board with what it is.
struct AnalogSetup {
    const AnalogLines& lines;
    const UnitBoards& boards;
    const AnalogParts& parts;

    [[nodiscard]] bool high(AnalogLine line) const { return lines.high(line); }
};

/// 1B, 1C: three paths between two switches, to the mixer.
[[nodiscard]] SignalPath analogPath_first(const AnalogSetup& board);
/// The same as far as the detector, which hangs on the direct path.
[[nodiscard]] SignalPath analogPath_firstDetector(const AnalogSetup& board);

/// 2A: a mux leads the input to one of three ways, each with a mixer at its end.
[[nodiscard]] DutPath analogPath_secondMux(const AnalogSetup& board);
[[nodiscard]] SignalPath analogPath_second(const AnalogSetup& board, DutPath way);
/// To the counter: `behindDivider` from the divider's way, else from the amplifier's. The direct way leads to both.
[[nodiscard]] SignalPath analogPath_secondCounter(const AnalogSetup& board, bool behindDivider);

/// Later: the low input, through its amplifier or past it, to a mixer of its own.
[[nodiscard]] SignalPath analogPath_low(const AnalogSetup& board);
/// The high input in front of its amplifier, and behind it.
[[nodiscard]] SignalPath analogPath_highInput(const AnalogSetup& board);
[[nodiscard]] SignalPath analogPath_highLine(const AnalogSetup& board);
/// From there, undivided or through the divider, to the mixer of the source, or to that of the external reference.
[[nodiscard]] SignalPath analogPath_high(const AnalogSetup& board, bool externalMixer);

} // namespace vi
