#pragma once
/// SENSe: what to measure, and how. The phase noise and oscillator rows have files of their own.

#include "scpi/tree/keywords.h"
#include "scpi/tree/leaves.h"

namespace scpi {

void sense_internalReference(Unit& unit);

inline constexpr Row senseRows[] = {
    {"SENSe:MODE", QS,
     keyword<measurementModes, Automeasure_config_setMeasurementMode, Automeasure_config_getMeasurementMode>,
     wordsOf<measurementModes>, "Measurement mode; the query answers PN, APN, BB, VCO or TRANS"},
    {"SENSe:FREQuency", QS, inPn<settingInForce<configPN_frequency>>, "<Hz>|MIN|MAX",
     "Carrier frequency of the device under test"},
    {"SENSe:FREQuency:AUTO", QS, inPn<settingInForce<configPN_autoFrequency>>, "ON|OFF",
     "Search the carrier automatically"},
    {"SENSe:FREQuency:DETect", QS, inPn<settingWordInForce<redoWords, configPN_redoFrequency>>, wordsOf<redoWords>,
     "When the search repeats; the query answers ALW, ONCE or NEV"},
    {"SENSe:FREQuency:EXECute", QS, inPn<action<Automeasure_config_searchForDUT>>, "",
     "Search for the device under test now"},
    {"SENSe:POWer:EXECute", QS, inPn<action<Automeasure_config_searchForDUT>>, "",
     "Search for the device under test now"},
    {"SENSe:RESet", S, action<Automeasure_config_resetDetectFlags>, "",
     "Forget the detected values of the selected configuration"},
    {"SENSe:PATH", S, keyword<pathWords, Device_setPath>, wordsOf<pathWords>, "Analog path"},
    {"SENSe:BB:METHod", S, inBaseband<settingWord<basebandMethods, configBB_measurementMethod>>,
     wordsOf<basebandMethods>, "Baseband method"},
    {"SENSe:ADC:ROSCillator:SOUR", QS, mirrored<hcupdate_roscLock, choice<sampleClockReferences>>,
     wordsOf<sampleClockReferences>, "10 MHz reference of the sampling clock; the query answers INT or EXT"},
    {"SENSe:ADC:ROSCillator:LOCKed", Q, reading<Device_isReferenceSource10MLocked>, "",
     "1 while the sampling clock is locked to its reference"},
    {"SENSe:ROSCillator:INTernal",
     QS,
     {sense_internalReference, Kind::natural},
     "<0 to 3>",
     "Internal reference: 10 MHz x 100, 100 MHz x 10, 1 GHz, 100 MHz PLL x 10"},
    {"SENSe:ROSCillator:INTernal:LOWNoise", QS,
     node_bool<Device_isReferenceLownoiseEnabled, Device_enableReferenceLownoise, Device_disableReferenceLownoise>,
     "ON|OFF", "Low-noise mode of the internal reference"},
    {"SENSe:TRANsient", QS, noteNotDone, "", nullptr},
};

} // namespace scpi
