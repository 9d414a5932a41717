#pragma once
/// SENSe:VCO: the sweep of an oscillator over its tuning voltage. Every row addresses the configuration of mode 6.

#include "scpi/tree/keywords.h"
#include "scpi/tree/leaves.h"

namespace scpi {

void senseVco_type(Unit& unit);
void senseVco_offset(Unit& unit);

inline constexpr Command senseVco_kind{senseVco_type, Kind::word, false, repliesOf<vcoTypes>};

inline constexpr Row senseVcoRows[] = {
    {"SENSe:VCO:VOLTage:STARt", QS, inVco<setting<configVCO_voltageStart>>, "<V>|MIN|MAX",
     "Tuning voltage of the first point"},
    {"SENSe:VCO:VOLTage:STOP", QS, inVco<setting<configVCO_voltageStop>>, "<V>|MIN|MAX",
     "Tuning voltage of the last point"},
    {"SENSe:VCO:VOLTage:POINts", QS, inVco<setting<configVCO_voltagePoints>>, "<count>|MIN|MAX", "Points of the sweep"},
    {"SENSe:VCO:TYPE", QS, inVco<senseVco_kind>, wordsOf<vcoTypes>, "Kind of oscillator; the query also knows unknown"},
    {"SENSe:VCO:REFerences<n>", QS, inVco<keyword<referenceWords, Automeasure_configVCO_setReference>>,
     wordsOf<referenceWords>, "Mode of the references; n is not used"},
    {"SENSe:VCO:TEST:FREQuency", QS, inVco<setting<configVCO_frequencyEnabled>>, "ON|OFF", "Record the frequency"},
    {"SENSe:VCO:TEST:POWer", QS, inVco<setting<configVCO_powerEnabled>>, "ON|OFF", "Record the power"},
    {"SENSe:VCO:TEST:KVCO", QS, inVco<setting<configVCO_kvcoEnabled>>, "ON|OFF", "Record the tuning sensitivity"},
    {"SENSe:VCO:TEST:KPUSh", QS, inVco<setting<configVCO_kPushEnabled>>, "ON|OFF", "Record the pushing"},
    {"SENSe:VCO:TEST:ISUPply", QS, inVco<setting<configVCO_iSupplyEnabled>>, "ON|OFF", "Record the supply current"},
    {"SENSe:VCO:TEST:PNoise", QS, inVco<setting<configVCO_phaseNoiseEnabled>>, "ON|OFF",
     "Record the noise at the offsets"},
    {"SENSe:VCO:TEST:PNoise:COUNt", Q, inVco<reading<Automeasure_configVCO_getNumberOfUsedOffsets>>, "",
     "Number of offsets in use"},
    {"SENSe:VCO:TEST:PNoise:OFFSet<n>", QS, inVco<senseVco_offset>, "<Hz>,<Hz>,<Hz>,<Hz>",
     "All four offsets at once, 0 for none; the query answers offset n"},
};

} // namespace scpi
