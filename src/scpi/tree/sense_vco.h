#pragma once
/// SENSe:VCO: the sweep of an oscillator over its tuning voltage. Every row addresses the configuration of mode 6.

#include "scpi/tree/keywords.h"
#include "scpi/tree/leaves.h"

namespace scpi {

void senseVco_type(Unit& unit);
void senseVco_offset(Unit& unit);

inline constexpr Command senseVco_kind{senseVco_type, Kind::word, false, repliesOf<vcoTypes>};

inline constexpr Row senseVcoRows[] = {
    {"SENSe:VCO:VOLTage:STARt", QS,
     inVco<node_double<Automeasure_configVCO_getVoltageStart, Automeasure_configVCO_setVoltageStart,
                       Automeasure_configVCO_getMinVoltageStart, Automeasure_configVCO_getMaxVoltageStart>>,
     "<V>|MIN|MAX", "Tuning voltage of the first point"},
    {"SENSe:VCO:VOLTage:STOP", QS,
     inVco<node_double<Automeasure_configVCO_getVoltageStop, Automeasure_configVCO_setVoltageStop,
                       Automeasure_configVCO_getMinVoltageStop, Automeasure_configVCO_getMaxVoltageStop>>,
     "<V>|MIN|MAX", "Tuning voltage of the last point"},
    {"SENSe:VCO:VOLTage:POINts", QS,
     inVco<node_int32<Automeasure_configVCO_getVoltagePoints, Automeasure_configVCO_setVoltagePoints,
                      Automeasure_configVCO_getMinVoltagePoints, Automeasure_configVCO_getMaxVoltagePoints>>,
     "<count>|MIN|MAX", "Points of the sweep"},
    {"SENSe:VCO:TYPE", QS, inVco<senseVco_kind>, wordsOf<vcoTypes>, "Kind of oscillator; the query also knows unknown"},
    {"SENSe:VCO:REFerences<n>", QS, inVco<keyword<referenceWords, Automeasure_configVCO_setReference>>,
     wordsOf<referenceWords>, "Mode of the references; n is not used"},
    {"SENSe:VCO:TEST:FREQuency", QS,
     inVco<node_bool<Automeasure_configVCO_isFrequencyEnabled, Automeasure_configVCO_enableFrequency,
                     Automeasure_configVCO_disableFrequency>>,
     "ON|OFF", "Record the frequency"},
    {"SENSe:VCO:TEST:POWer", QS,
     inVco<node_bool<Automeasure_configVCO_isPowerEnabled, Automeasure_configVCO_enablePower,
                     Automeasure_configVCO_disablePower>>,
     "ON|OFF", "Record the power"},
    {"SENSe:VCO:TEST:KVCO", QS,
     inVco<node_bool<Automeasure_configVCO_isKVCOEnabled, Automeasure_configVCO_enableKVCO,
                     Automeasure_configVCO_disableKVCO>>,
     "ON|OFF", "Record the tuning sensitivity"},
    {"SENSe:VCO:TEST:KPUSh", QS,
     inVco<node_bool<Automeasure_configVCO_isKPushEnabled, Automeasure_configVCO_enableKPush,
                     Automeasure_configVCO_disableKPush>>,
     "ON|OFF", "Record the pushing"},
    {"SENSe:VCO:TEST:ISUPply", QS,
     inVco<node_bool<Automeasure_configVCO_isISupplyEnabled, Automeasure_configVCO_enableISupply,
                     Automeasure_configVCO_disableISupply>>,
     "ON|OFF", "Record the supply current"},
    {"SENSe:VCO:TEST:PNoise", QS,
     inVco<node_bool<Automeasure_configVCO_isPhaseNoiseEnabled, Automeasure_configVCO_enablePhaseNoise,
                     Automeasure_configVCO_disablePhaseNoise>>,
     "ON|OFF", "Record the noise at the offsets"},
    {"SENSe:VCO:TEST:PNoise:COUNt", Q, inVco<reading<Automeasure_configVCO_getNumberOfUsedOffsets>>, "",
     "Number of offsets in use"},
    {"SENSe:VCO:TEST:PNoise:OFFSet<n>", QS, inVco<senseVco_offset>, "<Hz>,<Hz>,<Hz>,<Hz>",
     "All four offsets at once, 0 for none; the query answers offset n"},
};

} // namespace scpi
