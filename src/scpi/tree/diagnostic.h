#pragma once
/// DIAGnostic: service access.

#include "scpi/tree/leaves.h"

namespace scpi {

/// A report that a device function writes; its result other than 0 is the error.
template <auto& write> void runReport(Unit& unit) {
    if (!write || !noParameters(unit))
        return;
    std::array<char, reportTextSize> text{};
    unit.errorCode = write(unit.device, text.data());
    if (unit.errorCode == 0)
        answerText(unit, {text.data()});
}
template <auto& write> inline constexpr Command report{runReport<write>, Kind::report};

void diagnostic_tuneDelay(Unit& unit);
inline constexpr Command diagnostic_tuneDelayKind{diagnostic_tuneDelay, Kind::seconds};

void diagnostic_panelLine(Unit& unit);

inline constexpr Row diagnosticRows[] = {
    {"DIAGnostic:HC", QS, diagnostic_panelLine, "<text>", "Send a line to the front panel, as it is"},
    {"DIAGnostic:PN:MEAS:FTIM", Q, report<Automeasure_printTimes>, "",
     "Phases of the last measurement, ms: frequency search, detector constants, lock, gain, captures"},
    {"DIAGnostic:PN:MEAS:INFO", Q, report<Automeasure_printPnMeasInfo>, "",
     "Report of several lines: carrier, offsets, gain, detector constants, lock, loop filters, times"},
    {"DIAGnostic:PN:MEAS:LTIM", Q, reading<Automeasure_getLockTimeMs>, "", "Time of the last lock, ms"},
    {"DIAGnostic:PN:MEAS:TIME", Q, reading<Automeasure_getLastMeasurementTimeMs>, "",
     "Time of the last whole measurement, ms"},
    {"DIAGnostic:VCO:TUNE:DELay", QS, diagnostic_tuneDelayKind, "<us>",
     "Wait after each tune step of a sweep, microseconds; 0: as the analog board needs it"},
};

} // namespace scpi
