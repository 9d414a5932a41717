#pragma once
/// [SOURce]: reference sources, levels, tune and supply outputs, function output.

#include "scpi/tree/keywords.h"
#include "scpi/tree/leaves.h"

namespace scpi {

void source_referenceInput(Unit& unit);

inline constexpr Command source_frequency =
    mirrored<hcupdate_frequencyFixed, node_freq<Device_getFrequencyFixed, Device_setFrequencyFixed,
                                                Device_getFrequencyMin, Device_getFrequencyMax>>;

inline constexpr Command source_referenceInputWord{source_referenceInput, Kind::word, false,
                                                   repliesOf<referenceInputs>};

inline constexpr Row sourceRows[] = {
    {"[SOURce<n>]:FREQuency:FIXed", QS, source_frequency, "<Hz>|MIN|MAX", "Frequency of the sources"},
    {"[SOURce<n>]:FREQuency:ROUNding", QS,
     node_bool<Device_isFrequencyRoundingEnabled, Device_enableFrequencyRounding, Device_disableFrequencyRounding>,
     "ON|OFF", "Round the frequency to what the sources reach without error"},
    {"[SOURce<n>]:FREQuency:PREscaler", QS, node_uint32<Device_getPrescaler, Device_setPrescaler>, "<ratio>",
     "Prescaler of the analog board"},
    {"[SOURce<n>]:FREQuency:PREscaler:AUTO", QS,
     node_bool<Device_isAutoPrescaler, Device_enableAutoPrescaler, Device_disableAutoPrescaler>, "ON|OFF",
     "Prescaler chosen by the instrument"},
    {"[SOURce<n>]:FREQuency:MEAS", S, action<Device_measureFrequency>, "", "Count the frequency now"},
    {"[SOURce<n>]:FREQuency:MEAS:CMINimum", QS, node_uint32<Device_getCounterMinimum, Device_setCounterMinimum>,
     "<count>", "Lower of the last raw counts"},
    {"[SOURce<n>]:FREQuency[:CW]", QS, source_frequency, "<Hz>|MIN|MAX", "Frequency of the sources"},
    {"[SOURce<n>]:POWer:RAW", Q, node_pow<Device_getPowerRaw>, "", "Level reading before calibration"},
    {"[SOURce<n>]:POWer:REF", Q, node_pow<Device_getREFPower>, "",
     "Level at the reference input, in the unit of powers"},
    {"[SOURce<n>]:POWer[:LEVel][:IMMediate][:AMPLitude]", Q, node_pow<Device_getPowerFixed>, "",
     "Measured power of the device under test, in the unit of powers"},
    {"[SOURce<n>]:TUNE:VOLTage", QS, node_double<Device_getTuneOutputVoltage, Device_setTuneOutputVoltage>, "<V>",
     "Tune voltage of the calibration source"},
    {"[SOURce<n>]:TUNE:DUT:VOLTage", QS, node_double<Device_getDutTuneOutputVoltage, Device_setDutTuneOutputVoltage>,
     "<V>", "Tune voltage of the device under test"},
    {"[SOURce<n>]:TUNE:DUT:STATus", QS,
     node_bool<Device_isDutTuneOutputVoltageEnabled, Device_enableDutTuneOutputVoltage,
               Device_disableDutTuneOutputVoltage>,
     "ON|OFF", "Tune output of the device under test"},
    {"[SOURce<n>]:TUNE:EXTernal:VOLTage", QS,
     node_double<Device_getExternalTuneOutputVoltage, Device_setExternalTuneOutputVoltage>, "<V>",
     "Tune voltage of the external reference"},
    {"[SOURce<n>]:SUPPly<n>:VOLTage", QS,
     node_index_double<Device_getSupplyOutputVoltage, Device_setSupplyOutputVoltage, Device_getSupplyOutputVoltageMin,
                       Device_getSupplyOutputVoltageMax>,
     "<V>|MIN|MAX", "Voltage of supply n"},
    {"[SOURce<n>]:SUPPly<n>:CURRent", QS,
     node_index_double<Device_getSupplyOutputCurrent, Device_setSupplyOutputCurrent, Device_getSupplyOutputCurrentMin,
                       Device_getSupplyOutputCurrentMax>,
     "<A>|MIN|MAX", "Current limit of supply n"},
    {"[SOURce<n>]:SUPPly<n>:STATe", QS,
     node_index_bool<Device_isSupplyOutputEnabled, Device_enableSupplyOutput, Device_disableSupplyOutput>, "ON|OFF",
     "Supply n"},
    {"[SOURce<n>]:ROSCillator:SOURce", QS, mirrored<hcupdate_roscSour, source_referenceInputWord>,
     wordsOf<referenceInputs>, "Reference of the loops; the query answers INT, EXT or EXTA"},
    {"[SOURce<n>]:ROSCillator:INTernal:MODE", QS,
     keyword<internalReferenceWords, Device_setInternalReferenceSelection, Device_getInternalReferenceSelection>,
     wordsOf<internalReferenceWords>,
     "Internal reference: normal, low noise, low noise through a PLL, high sensitivity"},
    {"[SOURce<n>]:ROSCillator:INTernal:MODE:READY", Q, reading<Device_isInternalReferenceReady>, "",
     "1 when it has settled"},
    {"[SOURce<n>]:ROSCillator:INTernal:STATe", S, node_bool<absent, Device_enableOCXO, Device_disableOCXO>, "ON|OFF",
     "Internal oscillator"},
    {"[SOURce<n>]:LFOutput:FREQuency", QS,
     mirrored<hcupdate_lfoFrequency, node_freq<Device_getLfgFrequency, Device_setLfgFrequency,
                                               Device_getLfgFrequencyMin, Device_getLfgFrequencyMax>>,
     "<Hz>|MIN|MAX", "Frequency of the low-frequency generator"},
    {"[SOURce<n>]:LFOutput:AMPLitude", QS,
     mirrored<hcupdate_lfoAmplitude, node_double<Device_getLfgAmplitude, Device_setLfgAmplitude>>, "<V>",
     "Its amplitude"},
    {"[SOURce<n>]:LFOutput:DAC", S, node_uint32<absent, Device_setFuncoutDac>, "<word>",
     "DAC behind the function output"},
    {"[SOURce<n>]:LFOutput:SHAPe", QS, mirrored<hcupdate_lfoShape, choice<lfgShapes>>, wordsOf<lfgShapes>,
     "Shape of the low-frequency generator"},
    {"[SOURce<n>]:LFOutput:SOURce", QS, mirrored<hcupdate_lfoSource, choice<functionOutputSources>>,
     wordsOf<functionOutputSources>, "Source of the function output"},
    {"[SOURce<n>]:LFOutput:STATe", QS,
     mirrored<hcupdate_lfoState, node_bool<Device_isFuncoutEnabled, Device_enableFuncout, Device_disableFuncout>>,
     "ON|OFF", "Function output"},
    {"[SOURce<n>]:SELect", Q,
     node_int32<Device_getDefaultSourceIndex, absent, Device_getSourceIndexMin, Device_getSourceIndexMax>, "[MIN|MAX]",
     "Number of the source"},
};

} // namespace scpi
