#pragma once
/// CONFigure: an older spelling of the set side of SENSe, and the raw sampling settings.

#include "scpi/tree/keywords.h"
#include "scpi/tree/leaves.h"
#include "scpi/tree/sense_pn.h"

namespace scpi {

void configure_sampleFrequency(Unit& unit);
void configure_gain(Unit& unit);
void configure_gainList(Unit& unit);

inline constexpr Row configureRows[] = {
    {"CONFigure:ATTenuation", S, node_double<absent, Automeasure_configPN_setAttenuation>, "<dB>", "Input attenuation"},
    {"CONFigure:ATTenuation:AUTO", S,
     node_bool<absent, Automeasure_configPN_enableAutoAttenuation, Automeasure_configPN_disableAutoAttenuation>,
     "ON|OFF", "Attenuation from the level of the device"},
    {"CONFigure:FREQuency", S, node_double<absent, Automeasure_config_setFrequency>, "<Hz>", "Carrier frequency"},
    {"CONFigure:FREQuency:AUTO", S,
     node_bool<absent, Automeasure_config_enableAutoFrequency, Automeasure_config_disableAutoFrequency>, "ON|OFF",
     "Search the carrier automatically"},
    {"CONFigure:FREQuency:SPOT", S, node_double<absent, Automeasure_configPN_setSpotFrequency>, "<Hz>", "Spot offset"},
    {"CONFigure:FREQuency:STARt", S, node_double<absent, Automeasure_configPN_setOffsetMin>, "<Hz>", "Lowest offset"},
    {"CONFigure:FREQuency:STOP", S, node_double<absent, Automeasure_configPN_setOffsetMax>, "<Hz>", "Highest offset"},
    {"CONFigure:MEASurement:ITERations", QS, setting<configPN_iterations>, "<count>|MIN|MAX",
     "Iterations of the whole measurement"},
    {"CONFigure:MEASurement:PPD", QS, setting<configPN_pointsPerDecade>, "<count>|MIN|MAX",
     "Points per decade of offset"},
    {"CONFigure:MODE", S, keyword<olderMeasurementModes, Automeasure_config_setMeasurementMode>,
     wordsOf<olderMeasurementModes>, "Measurement mode"},
    {"CONFigure:PN:LOOP", S, node_double<absent, Automeasure_configPN_setLoopBandwidth>, "<Hz>", "Loop bandwidth"},
    {"CONFigure:PN:LOOP:AUTO", QS, setting<configPN_autoLoopBW>, "ON|OFF", "Loop bandwidth chosen by the instrument"},
    {"CONFigure:PN:METHod", S, settingWord<pnMethods, configPN_measurementMethod>, wordsOf<pnMethods>,
     "As SENSe:PN:METHod"},
    {"CONFigure:NOISe:BOARd", QS, choice<samplingBoards>, wordsOf<samplingBoards>, "Analog board that commands act on"},
    {"CONFigure:NOISe:CHANnel", QS, count<Device_getPhaseNoiseChannels, Device_setPhaseNoiseChannels>, "<count>",
     "Channels of a capture of samples"},
    {"CONFigure:NOISe:DIVider", QS, count<Device_getPhaseNoiseDivider, Device_setPhaseNoiseDivider>, "<divider>",
     "Decimation of a capture of samples"},
    {"CONFigure:NOISe:FSample", Q, {configure_sampleFrequency, Kind::reading}, "", "Sample rate before decimation, Hz"},
    {"CONFigure:NOISe:GAIN", QS, {configure_gain, Kind::integer}, "<dB>", "IF gain"},
    {"CONFigure:NOISe:GAIN:LIST", Q, {configure_gainList, Kind::report}, "", "The IF gains that the boards have, dB"},
    {"CONFigure:NOISe:SAMPles", QS, count<Device_getPhaseNoiseSamples, Device_setPhaseNoiseSamples>, "<count>",
     "Samples of a capture"},
};

} // namespace scpi
