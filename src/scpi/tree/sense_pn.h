#pragma once
/// SENSe:PN: the phase noise measurement.

#include "scpi/tree/keywords.h"
#include "scpi/tree/leaves.h"

namespace scpi {

void sensePn_functionRange(Unit& unit);
void sensePn_testSet(Unit& unit);

inline constexpr Row sensePnRows[] = {
    {"SENSe:PN:FREQuency", QS, setting<configPN_frequency>, "<Hz>|MIN|MAX", "Carrier frequency"},
    {"SENSe:PN:FREQuency:AUTO", QS, setting<configPN_autoFrequency>, "ON|OFF", "Search the carrier automatically"},
    {"SENSe:PN:FREQuency:DETect", QS, settingWord<redoWords, configPN_redoFrequency>, wordsOf<redoWords>,
     "When the search repeats"},
    {"SENSe:PN:FREQuency:STARt", QS, setting<configPN_offsetMin>, "<Hz>|MIN|MAX", "Lowest offset"},
    {"SENSe:PN:FREQuency:STOP", QS, setting<configPN_offsetMax>, "<Hz>|MIN|MAX", "Highest offset"},
    {"SENSe:PN:FREQuency:SPOT", QS, setting<configPN_spotFrequency>, "<Hz>|MIN|MAX", "Spot offset"},
    {"SENSe:PN:AVERage", QS, setting<configPN_iterations>, "<count>|MIN|MAX", "Iterations of the whole measurement"},
    {"SENSe:PN:CORRelation", QS, setting<configPN_correlations>, "<count>|MIN|MAX",
     "Cross-correlations of the lowest stage"},
    {"SENSe:PN:PPD", QS, setting<configPN_pointsPerDecade>, "<count>|MIN|MAX", "Points per decade of offset"},
    {"SENSe:PN:METHod", S, settingWord<pnMethods, configPN_measurementMethod>, wordsOf<pnMethods>,
     "Single channel, DUT, or cross-correlation of both channels"},
    {"SENSe:PN:ATTenuation", QS, setting<configPN_attenuation>, "<dB>|MIN|MAX", "Input attenuation"},
    {"SENSe:PN:ATTenuation:AUTO", QS, setting<configPN_autoAttenuation>, "ON|OFF",
     "Attenuation from the level of the device"},
    {"SENSe:PN:ATTenuation:DETect", QS, settingWord<redoWords, configPN_redoAttenuation>, wordsOf<redoWords>,
     "When that repeats"},
    {"SENSe:PN:ASET", QS, setting<configPN_attenuation>, "<dB>|MIN|MAX", "As SENSe:PN:ATTenuation"},
    {"SENSe:PN:ASET:AUTO", QS, setting<configPN_autoAttenuation>, "ON|OFF", "As SENSe:PN:ATTenuation:AUTO"},
    {"SENSe:PN:ASET:DETect", QS, settingWord<redoWords, configPN_redoAttenuation>, wordsOf<redoWords>,
     "As SENSe:PN:ATTenuation:DETect"},
    {"SENSe:PN:IFGain", QS, setting<configPN_ifGain>, "<dB>|MIN|MAX", "IF gain"},
    {"SENSe:PN:IFGain:AUTO", QS, setting<configPN_autoIFgain>, "ON|OFF", "IF gain adjusted by the instrument"},
    {"SENSe:PN:IFGain:DETect", QS, settingWord<redoWords, configPN_redoIFgain>, wordsOf<redoWords>,
     "When that repeats"},
    {"SENSe:PN:KPHI", QS,
     node_double<Automeasure_config_getKphi_converted, Automeasure_configPN_setKphi, Automeasure_config_getMinKphi,
                 Automeasure_config_getMaxKphi>,
     "<value>|MIN|MAX", "Phase detector constant; the query answers in V"},
    {"SENSe:PN:KPHI:AUTO", QS, setting<configPN_autoKphi>, "ON|OFF",
     "Phase detector constant measured by the instrument"},
    {"SENSe:PN:KPHI:DETect", QS, settingWord<redoWords, configPN_redoKphi>, wordsOf<redoWords>, "When that repeats"},
    {"SENSe:PN:LOBandwidth", QS, setting<configPN_loopBandwidth>, "<Hz>|MIN|MAX", "Loop bandwidth"},
    {"SENSe:PN:LOBandwidth:AUTO", QS, setting<configPN_autoLoopBW>, "ON|OFF",
     "Loop bandwidth chosen by the instrument"},
    {"SENSe:PN:LOBW", QS, setting<configPN_loopBandwidth>, "<Hz>|MIN|MAX", "As SENSe:PN:LOBandwidth"},
    {"SENSe:PN:POWer:AUTO", QS, noteNotDone, "", nullptr},
    {"SENSe:PN:POWer:DETect", QS, noteNotDone, "", nullptr},
    {"SENSe:PN:PREAmplifier", QS,
     node_bool<Device_isPreamplifierEnabled, Device_enablePreamplifier, Device_disablePreamplifier>, "ON|OFF",
     "Preamplifier"},
    {"SENSe:PN:PULSe", QS, setting<configPN_pulseEnabled>, "ON|OFF", "The device under test is pulsed"},
    {"SENSe:PN:SMOothing:STATe", QS, setting<configPN_smoothing>, "ON|OFF", "Smooth the trace"},
    {"SENSe:PN:SMOothing:APERture", QS, setting<configPN_smoothingAperture>, "<percent>|MIN|MAX",
     "Aperture of the smoothing"},
    {"SENSe:PN:SPURious:OMISsion", QS, setting<configPN_spurOmission>, "ON|OFF", "Leave spurs out of the trace"},
    {"SENSe:PN:SPURious:THReshold", QS, setting<configPN_spurThreshold>, "<dB>|MIN|MAX", "Spur threshold"},
    {"SENSe:PN:FUNCtion:RANGe", QS, sensePn_functionRange, "<Hz>,<Hz>", "Offset range of the integrated functions"},
    {"SENSe:PN:REFerences<n>", QS, settingWord<referenceWords, configPN_reference>, wordsOf<referenceWords>,
     "Mode of the references: normal, low noise, high sensitivity, external; n is not used"},
    {"SENSe:PN:REFerences<n>:SENS", QS,
     node_index_double<Automeasure_configPN_getReferenceSens, Automeasure_configPN_setReferenceSens,
                       Automeasure_configPN_getMinReferenceSens, Automeasure_configPN_getMaxReferenceSens>,
     "<Hz/V>|MIN|MAX", "Tuning sensitivity of source n"},
    {"SENSe:PN:REFerences<n>:SENS:EXECute", S, action<Automeasure_execSensitivity>, "", "Measure that sensitivity now"},
    {"SENSe:PN:REFerences<n>:VOLTage", S, node_index_double<absent, Automeasure_configPN_setReferenceVoltage>, "<V>",
     "Tune voltage of external source n"},
    {"SENSe:PN:RESet", S, action<Automeasure_configPN_resetDetectFlags>, "", "Forget the detected values"},
    {"SENSe:PN:TEST", QS, sensePn_testSet, "<item>[,<item>...]",
     "Test set, at most 63 items: O<Hz> noise at an offset, F frequency, P power, J jitter, I integral, D, R and M "
     "residuals; without an item, none"},
};

} // namespace scpi
