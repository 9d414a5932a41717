#pragma once
/// CALCulate: results, and the waits for them. Traces are blocks of 32-bit floats, little-endian.

#include "scpi/tree/leaves.h"

namespace scpi {

void calculate_waitForAverage(Unit& unit);
void calculate_waitForVco(Unit& unit);
void calculate_testSetResults(Unit& unit);
void calculate_spot(Unit& unit);
void calculate_vcoNoise(Unit& unit);
void calculate_baseband(Unit& unit);

inline constexpr Row calculateRows[] = {
    {"CALCulate:FREQuency", Q, inPn<node_double<Automeasure_config_getFrequency>>, "", "Carrier frequency, Hz"},
    {"CALCulate:FREQuency:RAW", Q, inPn<node_double<Automeasure_config_getFrequencyRaw>>, "",
     "Carrier frequency as counted, Hz"},
    {"CALCulate:POWer", Q, inPn<node_double<Automeasure_config_getPower>>, "", "Carrier power, dBm"},
    {"CALCulate:POWer:RAW", Q, inPn<node_double<Automeasure_config_getPowerRaw>>, "",
     "Carrier power before calibration: reading of the detector, ADC counts"},
    {"CALCulate:WAIT:AVERage", QS, calculate_waitForAverage, "[ALL|NEXT|<count>[,<ms>]]",
     "Wait for the end of the measurement (ALL), the next result or that of an average; no answer, but an error if the "
     "run failed"},
    {"CALCulate:PN:PRELiminary:AVERage", Q, reading<Automeasure_getPreliminaryAverageCount>, "",
     "Average of the last result"},
    {"CALCulate:PN:PRELiminary:CORRelation", Q, reading<Automeasure_getPreliminaryCorrelationCount>, "",
     "Correlation of the last result"},
    {"CALCulate:PN:TEST", Q, {calculate_testSetResults, Kind::report}, "", "Results of the test set, comma between"},
    {"CALCulate:PN:TRACe:FREQuency", QS, trace<Automeasure_getPnSpectrumFreq>, "", "Block: offsets, Hz"},
    {"CALCulate:PN:TRACe:NOISe", QS, trace<Automeasure_getPnSpectrumData>, "", "Block: noise, dBc/Hz"},
    {"CALCulate:PN:TRACe:POWer", QS, trace<Automeasure_getPnSpectrumPowerData>, "",
     "Block: noise before smoothing and spur handling, dBc/Hz"},
    {"CALCulate:PN:TRACe:SPUR:FREQuency", QS, trace<Automeasure_getSpurFreq>, "", "Block: offsets of the spurs, Hz"},
    {"CALCulate:PN:TRACe:SPUR:POWer", QS, trace<Automeasure_getSpurData>, "", "Block: levels of the spurs, dBc"},
    {"CALCulate:PN:TRACe:SPOT", Q, calculate_spot, "[<Hz>]",
     "Noise at the spot offset, dBc/Hz; with a parameter, which becomes the spot offset"},
    {"CALCulate:PN:TRACe:FUNCtion:INTegral", Q, node_double<Automeasure_getFunctionIntegral>, "",
     "Noise integrated over the function range"},
    {"CALCulate:PN:TRACe:FUNCtion:JITTer", Q, node_seconds<Automeasure_getFunctionJitter>, "", "RMS jitter, s"},
    {"CALCulate:PN:TRACe:FUNCtion:AVARiance", S, action<Automeasure_calculateAVariance>, "",
     "Compute the Allan deviation"},
    {"CALCulate:PN:TRACe:FUNCtion:AVARiance:SIGMa", Q, trace<Automeasure_getFunctionAVarianceSigma>, "",
     "Block: Allan deviation"},
    {"CALCulate:PN:TRACe:FUNCtion:AVARiance:TAU", Q, trace<Automeasure_getFunctionAVarianceTau>, "",
     "Block: averaging times, s"},
    {"CALCulate:BB:TRACe:FREQuency", QS, calculate_baseband, "", "Not yet: error -190"},
    {"CALCulate:BB:TRACe:NOISe", QS, calculate_baseband, "", "Not yet: error -190"},
    {"CALCulate:BB:PRELiminary:AVERage", Q, calculate_baseband, "", "Not yet: error -190"},
    {"CALCulate:VCO:WAIT", QS, calculate_waitForVco, "[ALL|NEXT|<count>[,<ms>]]",
     "The same wait for the sweep or its next point"},
    {"CALCulate:VCO:ITERation", Q, reading<Automeasure_getVCOIteration>, "", "Points of the sweep that have results"},
    {"CALCulate:VCO:TRACe:FREQuency", Q, trace<Automeasure_getVCOFrequency>, "", "Block: frequency, Hz"},
    {"CALCulate:VCO:TRACe:POWer", Q, trace<Automeasure_getVCOPower>, "", "Block: power, dBm"},
    {"CALCulate:VCO:TRACe:VOLTage", Q, trace<Automeasure_getVoltage>, "", "Block: tuning voltage, V"},
    {"CALCulate:VCO:TRACe:KVCO", Q, trace<Automeasure_getKVCO>, "", "Block: tuning sensitivity, Hz/V"},
    {"CALCulate:VCO:TRACe:KPUSh", Q, trace<Automeasure_getKPush>, "", "Block: pushing, Hz/V"},
    {"CALCulate:VCO:TRACe:ISUPply", Q, trace<Automeasure_getISupply>, "", "Block: supply current, A"},
    {"CALCulate:VCO:TRACe:PNoise", Q, calculate_vcoNoise, "<1 to 4>", "Block: noise at that offset, dBc/Hz"},
};

} // namespace scpi
