#pragma once
/// INIT, ABORt, TRIGger: starting and stopping a run.

#include "scpi/tree/keywords.h"
#include "scpi/tree/leaves.h"

namespace scpi {

void run_initFrequency(Unit& unit);
void run_abort(Unit& unit);
void run_triggerMode(Unit& unit);

inline constexpr Row runRows[] = {
    {"ABORt", S, {run_abort, Kind::action}, "", "Stop the measurement and the transfer of the acquisition board"},
    {"INIT:FREQuency",
     S,
     {run_initFrequency, Kind::number},
     "<Hz>",
     "Set the carrier frequency and start the measurement, which waits for the sources first"},
    {"INIT[:IMMediate]", S, action<Device_initImmediate>, "",
     "Start the measurement of the mode; while one is running, its end is waited for"},
    {"TRIGger[:SEQuence]:SOURce", QS, choice<triggerSources>, wordsOf<triggerSources>,
     "Trigger of the frequency-versus-time capture; the query answers IMM or EXT"},
    {"TRIGger[:SEQuence]:MODE", QS, {run_triggerMode, Kind::absent}, "", nullptr},
};

} // namespace scpi
