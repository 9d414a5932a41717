#pragma once
/// MEMory: the user's files and the captured data.

#include "scpi/tree/leaves.h"

namespace scpi {

void memory_deleteAll(Unit& unit);
void memory_free(Unit& unit);
void memory_readSpectrum(Unit& unit);
void memory_testPattern(Unit& unit);
void memory_testPatternAscii(Unit& unit);

/// Samples of one channel, 0 for A and 1 for B: the segment that the suffix names, or without one all of them.
void memory_readSamples(Unit& unit, uint32_t channel);
template <uint32_t channel> void memoryReadSamples(Unit& unit) {
    memory_readSamples(unit, channel);
}

inline constexpr Row memoryRows[] = {
    {"MEMory:FILE:DELete:ALL", S, {memory_deleteAll, Kind::action}, "", "Delete the user's files"},
    {"MEMory:FILE:FREE[:ALL]", Q, memory_free, "", "Free bytes and bytes in use of the user's part of the disk"},
    {"MEMory:RAM:FD<n>:READ", Q, memory_readSpectrum, "",
     "Binary block: spectrum of stage n, pairs of 32-bit floats (real, imaginary)"},
    {"MEMory:RAM:FD<n>:SIZE", Q, indexReading<Device_getPhaseNoiseFdBufferSize>, "", "Points of that spectrum"},
    {"MEMory:RAM:FNA<n>:READ", Q, memoryReadSamples<0>, "",
     "Binary block: segment n of the samples of channel A, unsigned 16 bits; without n the segments 0 to 5"},
    {"MEMory:RAM:FNA<n>:SIZE", Q, indexReading<Device_getFNSize>, "", "Samples of that segment"},
    {"MEMory:RAM:FNB<n>:READ", Q, memoryReadSamples<1>, "", "The same for channel B"},
    {"MEMory:RAM:FNB<n>:SIZE", Q, indexReading<Device_getFNSize>, "", "Samples of that segment"},
    {"MEMory:RAM:TEST:DATA", Q, memory_testPatternAscii, "", "Block of 55 floats, a known pattern"},
    {"MEMory:RAM:TEST:READ", Q, memory_testPattern, "", "The same as a binary block"},
};

} // namespace scpi
