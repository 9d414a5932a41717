#pragma once
/// SENSe:PN: the phase noise measurement.

#include "scpi/tree/keywords.h"
#include "scpi/tree/leaves.h"

namespace scpi {

void sensePn_functionRange(Unit& unit);
void sensePn_testSet(Unit& unit);

inline constexpr Command sensePn_attenuation =
    node_double<Automeasure_configPN_getAttenuation, Automeasure_configPN_setAttenuation,
                Automeasure_config_getMinAttenuation, Automeasure_config_getMaxAttenuation>;
inline constexpr Command sensePn_autoAttenuation =
    node_bool<Automeasure_configPN_isAutoAttenuation, Automeasure_configPN_enableAutoAttenuation,
              Automeasure_configPN_disableAutoAttenuation>;
inline constexpr Command sensePn_redoAttenuation =
    keyword<redoWords, Automeasure_configPN_setRedoAttenuation, Automeasure_configPN_getRedoAttenuation>;
inline constexpr Command sensePn_loopBandwidth =
    node_double<Automeasure_configPN_getLoopBandwidth, Automeasure_configPN_setLoopBandwidth,
                Automeasure_config_getMinLoopBandwidth, Automeasure_config_getMaxLoopBandwidth>;
inline constexpr Command sensePn_iterations =
    node_int32<Automeasure_configPN_getIterations, Automeasure_configPN_setIterations,
               Automeasure_config_getMinIterations, Automeasure_config_getMaxIterations>;
inline constexpr Command sensePn_pointsPerDecade =
    node_int32<Automeasure_configPN_getPointsPerDecade, Automeasure_configPN_setPointsPerDecade,
               Automeasure_config_getMinPointsPerDecade, Automeasure_config_getMaxPointsPerDecade>;

inline constexpr Row sensePnRows[] = {
    {"SENSe:PN:FREQuency", QS,
     node_double<Automeasure_configPN_getFrequency, Automeasure_configPN_setFrequency,
                 Automeasure_config_getMinFrequency, Automeasure_config_getMaxFrequency>,
     "<Hz>|MIN|MAX", "Carrier frequency"},
    {"SENSe:PN:FREQuency:AUTO", QS,
     node_bool<Automeasure_configPN_isAutoFrequency, Automeasure_configPN_enableAutoFrequency,
               Automeasure_configPN_disableAutoFrequency>,
     "ON|OFF", "Search the carrier automatically"},
    {"SENSe:PN:FREQuency:DETect", QS,
     keyword<redoWords, Automeasure_configPN_setRedoFrequency, Automeasure_configPN_getRedoFrequency>,
     wordsOf<redoWords>, "When the search repeats"},
    {"SENSe:PN:FREQuency:STARt", QS,
     node_double<Automeasure_configPN_getOffsetMin, Automeasure_configPN_setOffsetMin,
                 Automeasure_config_getMinOffsetMin, Automeasure_config_getMaxOffsetMin>,
     "<Hz>|MIN|MAX", "Lowest offset"},
    {"SENSe:PN:FREQuency:STOP", QS,
     node_double<Automeasure_configPN_getOffsetMax, Automeasure_configPN_setOffsetMax,
                 Automeasure_config_getMinOffsetMax, Automeasure_config_getMaxOffsetMax>,
     "<Hz>|MIN|MAX", "Highest offset"},
    {"SENSe:PN:FREQuency:SPOT", QS,
     node_double<Automeasure_configPN_getSpotFrequency, Automeasure_configPN_setSpotFrequency,
                 Automeasure_config_getMinSpotFrequency, Automeasure_config_getMaxSpotFrequency>,
     "<Hz>|MIN|MAX", "Spot offset"},
    {"SENSe:PN:AVERage", QS, sensePn_iterations, "<count>|MIN|MAX", "Iterations of the whole measurement"},
    {"SENSe:PN:CORRelation", QS,
     node_int32<Automeasure_configPN_getCorrelations, Automeasure_configPN_setCorrelations,
                Automeasure_config_getMinCorrelations, Automeasure_config_getMaxCorrelations>,
     "<count>|MIN|MAX", "Cross-correlations of the lowest stage"},
    {"SENSe:PN:PPD", QS, sensePn_pointsPerDecade, "<count>|MIN|MAX", "Points per decade of offset"},
    {"SENSe:PN:METHod", S, keyword<pnMethods, Automeasure_configPN_setMeasurementMethod>, wordsOf<pnMethods>,
     "Single channel, DUT, or cross-correlation of both channels"},
    {"SENSe:PN:ATTenuation", QS, sensePn_attenuation, "<dB>|MIN|MAX", "Input attenuation"},
    {"SENSe:PN:ATTenuation:AUTO", QS, sensePn_autoAttenuation, "ON|OFF", "Attenuation from the level of the device"},
    {"SENSe:PN:ATTenuation:DETect", QS, sensePn_redoAttenuation, wordsOf<redoWords>, "When that repeats"},
    {"SENSe:PN:ASET", QS, sensePn_attenuation, "<dB>|MIN|MAX", "As SENSe:PN:ATTenuation"},
    {"SENSe:PN:ASET:AUTO", QS, sensePn_autoAttenuation, "ON|OFF", "As SENSe:PN:ATTenuation:AUTO"},
    {"SENSe:PN:ASET:DETect", QS, sensePn_redoAttenuation, wordsOf<redoWords>, "As SENSe:PN:ATTenuation:DETect"},
    {"SENSe:PN:IFGain", QS,
     node_double<Automeasure_configPN_getIFgain, Automeasure_configPN_setIFgain, Automeasure_config_getMinIFgain,
                 Automeasure_config_getMaxIFgain>,
     "<dB>|MIN|MAX", "IF gain"},
    {"SENSe:PN:IFGain:AUTO", QS,
     node_bool<Automeasure_configPN_isAutoIFgain, Automeasure_configPN_enableAutoIFgain,
               Automeasure_configPN_disableAutoIFgain>,
     "ON|OFF", "IF gain adjusted by the instrument"},
    {"SENSe:PN:IFGain:DETect", QS,
     keyword<redoWords, Automeasure_configPN_setRedoIFgain, Automeasure_configPN_getRedoIFgain>, wordsOf<redoWords>,
     "When that repeats"},
    {"SENSe:PN:KPHI", QS,
     node_double<Automeasure_config_getKphi_converted, Automeasure_configPN_setKphi, Automeasure_config_getMinKphi,
                 Automeasure_config_getMaxKphi>,
     "<value>|MIN|MAX", "Phase detector constant; the query answers in V"},
    {"SENSe:PN:KPHI:AUTO", QS,
     node_bool<Automeasure_configPN_isAutoKphi, Automeasure_configPN_enableAutoKphi,
               Automeasure_configPN_disableAutoKphi>,
     "ON|OFF", "Phase detector constant measured by the instrument"},
    {"SENSe:PN:KPHI:DETect", QS, keyword<redoWords, Automeasure_configPN_setRedoKphi, Automeasure_configPN_getRedoKphi>,
     wordsOf<redoWords>, "When that repeats"},
    {"SENSe:PN:LOBandwidth", QS, sensePn_loopBandwidth, "<Hz>|MIN|MAX", "Loop bandwidth"},
    {"SENSe:PN:LOBandwidth:AUTO", QS,
     node_bool<Automeasure_configPN_isAutoLoopBW, Automeasure_configPN_enableAutoLoopBW,
               Automeasure_configPN_disableAutoLoopBW>,
     "ON|OFF", "Loop bandwidth chosen by the instrument"},
    {"SENSe:PN:LOBW", QS, sensePn_loopBandwidth, "<Hz>|MIN|MAX", "As SENSe:PN:LOBandwidth"},
    {"SENSe:PN:POWer:AUTO", QS, noteNotDone, "", nullptr},
    {"SENSe:PN:POWer:DETect", QS, noteNotDone, "", nullptr},
    {"SENSe:PN:PREAmplifier", QS,
     node_bool<Device_isPreamplifierEnabled, Device_enablePreamplifier, Device_disablePreamplifier>, "ON|OFF",
     "Preamplifier"},
    {"SENSe:PN:PULSe", QS,
     node_bool<Automeasure_config_getPulseStatus, Automeasure_config_enablePulse, Automeasure_config_disablePulse>,
     "ON|OFF", "The device under test is pulsed"},
    {"SENSe:PN:SMOothing:STATe", QS,
     node_bool<Automeasure_configPN_isSmoothingEnabled, Automeasure_configPN_enableSmoothing,
               Automeasure_configPN_disableSmoothing>,
     "ON|OFF", "Smooth the trace"},
    {"SENSe:PN:SMOothing:APERture", QS,
     node_double<Automeasure_configPN_getSmoothingAperture, Automeasure_configPN_setSmoothingAperture,
                 Automeasure_getMinSmoothingAperture, Automeasure_getMaxSmoothingAperture>,
     "<percent>|MIN|MAX", "Aperture of the smoothing"},
    {"SENSe:PN:SPURious:OMISsion", QS,
     node_bool<Automeasure_configPN_isSpurOmissionEnabled, Automeasure_configPN_enableSpurOmission,
               Automeasure_configPN_disableSpurOmission>,
     "ON|OFF", "Leave spurs out of the trace"},
    {"SENSe:PN:SPURious:THReshold", QS,
     node_double<Automeasure_configPN_getSpurThreshold, Automeasure_configPN_setSpurThreshold,
                 Automeasure_getMinSpurThreshold, Automeasure_getMaxSpurThreshold>,
     "<dB>|MIN|MAX", "Spur threshold"},
    {"SENSe:PN:FUNCtion:RANGe", QS, sensePn_functionRange, "<Hz>,<Hz>", "Offset range of the integrated functions"},
    {"SENSe:PN:REFerences<n>", QS, keyword<referenceWords, Automeasure_configPN_setReference>, wordsOf<referenceWords>,
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
