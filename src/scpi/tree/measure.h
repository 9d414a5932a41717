#pragma once
/// MEASure: raw sampling.

#include "scpi/tree/leaves.h"

namespace scpi {

void measure_noise(Unit& unit);
void measure_captureSpectra(Unit& unit);

inline constexpr Row measureRows[] = {
    {"MEASure:FREQuency", QS, absentHere, "", nullptr}, // FREQuency is a node of [SOURce] as well
    {"MEASure:NOISe", Q, measure_noise, "",
     "Capture samples as CONFigure:NOISe says and stream them as a binary block of unsigned 16-bit numbers"},
    {"MEASure:NOISe:FD",
     S,
     {measure_captureSpectra, Kind::natural},
     "<number>",
     "Start a capture of spectra; the number is not used"},
    {"MEASure:NOISe:FILTered", S, unsignedAction<Device_getFilteredSamples>, "<stages>", "Capture samples"},
    {"MEASure:NOISe:VALid", Q, reading<Device_getPhaseNoiseValidSamplesCount>, "", "Valid bytes of the last stream"},
    {"MEASure:SUPPly<n>:CURRent", Q, node_index_double<Device_measureSupplyOutputCurrent>, "",
     "Current out of supply n, A"},
};

} // namespace scpi
