#pragma once
/// Operations on single parameters: configPN_ on the phase noise record, config_ on the record in force, configVCO_ on
/// the sweep, configBB_ on the baseband record. Units and limits stand with the records. Setters return 0 or a negative
/// error number and store nothing then. Beyond the rules told here they are plain stores: the command tree clamps to
/// the limits. Writing a parameter while its mode is active also moves the hardware.

#include "measure/settings/measurement_configuration.h"

// clang-format off

// Phase noise.
double  configPN_getFrequency(Device* device);
int     configPN_setFrequency(Device* device, double frequency);
int     configPN_isAutoFrequency(Device* device);
int     configPN_enableAutoFrequency(Device* device);
int     configPN_disableAutoFrequency(Device* device);
int     configPN_getRedoFrequency(Device* device);
int     configPN_setRedoFrequency(Device* device, int redo); // "always" makes redoKphi "always" too
int     configPN_enableFreqInit(Device* device);
int     configPN_disableFreqInit(Device* device);
// The offsets of a trace are held to their limits and keep below each other: config_storeOffsetMin.
double  configPN_getOffsetMin(Device* device);
int     configPN_setOffsetMin(Device* device, double offset);
double  configPN_getOffsetMax(Device* device);
int     configPN_setOffsetMax(Device* device, double offset);
double  configPN_getSpotFrequency(Device* device);
int     configPN_setSpotFrequency(Device* device, double offset);
int32_t configPN_getIterations(Device* device);
int     configPN_setIterations(Device* device, int32_t iterations);
int32_t configPN_getCorrelations(Device* device);
int     configPN_setCorrelations(Device* device, int32_t correlations);
int32_t configPN_getPointsPerDecade(Device* device);
int     configPN_setPointsPerDecade(Device* device, int32_t points);
int     configPN_setMeasurementMethod(Device* device, int method); // -224 for 0 and 1 with the normal reference
double  configPN_getAttenuation(Device* device);
int     configPN_setAttenuation(Device* device, double attenuation); // held to its limits
int     configPN_isAutoAttenuation(Device* device);
int     configPN_enableAutoAttenuation(Device* device);
int     configPN_disableAutoAttenuation(Device* device);
int     configPN_getRedoAttenuation(Device* device);
int     configPN_setRedoAttenuation(Device* device, int redo);
double  configPN_getIFgain(Device* device);
int     configPN_setIFgain(Device* device, double gain); // -224 outside mode 0; success ends the automatic gain
int     configPN_isAutoIFgain(Device* device);
int     configPN_enableAutoIFgain(Device* device);
int     configPN_disableAutoIFgain(Device* device);
int     configPN_getRedoIFgain(Device* device);
int     configPN_setRedoIFgain(Device* device, int redo);
int     configPN_setKphi(Device* device, double kphi); // of the selected board
int     configPN_isAutoKphi(Device* device);
int     configPN_enableAutoKphi(Device* device);
int     configPN_disableAutoKphi(Device* device);
int     configPN_getRedoKphi(Device* device);
int     configPN_setRedoKphi(Device* device, int redo);
double  configPN_getLoopBandwidth(Device* device);
int     configPN_setLoopBandwidth(Device* device, double bandwidth); // at least 1 Hz
int     configPN_isAutoLoopBW(Device* device);
int     configPN_enableAutoLoopBW(Device* device);
int     configPN_disableAutoLoopBW(Device* device);
int     configPN_isSmoothingEnabled(Device* device);
int     configPN_enableSmoothing(Device* device);
int     configPN_disableSmoothing(Device* device);
double  configPN_getSmoothingAperture(Device* device);
int     configPN_setSmoothingAperture(Device* device, double percent);
int     configPN_isSpurOmissionEnabled(Device* device);
int     configPN_enableSpurOmission(Device* device);
int     configPN_disableSpurOmission(Device* device);
double  configPN_getSpurThreshold(Device* device);
int     configPN_setSpurThreshold(Device* device, double threshold);
int     configPN_setFunctionRange(Device* device, float start, float stop);
int     configPN_setReference(Device* device, int reference); // -224 for an unknown code
double  configPN_getReferenceSens(Device* device, int32_t channel); // -1 for another channel than 1 and 2
int     configPN_setReferenceSens(Device* device, int32_t channel, double sensitivity); // -224 unless 0 < it < 100000
int     configPN_setReferenceVoltage(Device* device, int32_t channel, double voltage);  // -224 unless 3 <= it <= 20

int     configBB_setMeasurementMethod(Device* device, int method); // -224 for 1

// Record in force.
double  config_getFrequency(Device* device);
int     config_setFrequency(Device* device, double frequency);
double  config_getFrequencyRaw(Device* device);
int     config_isAutoFrequency(Device* device);
int     config_enableAutoFrequency(Device* device);
int     config_disableAutoFrequency(Device* device);
int     config_getRedoFrequency(Device* device);
int     config_setRedoFrequency(Device* device, int redo); // "always" makes redoKphi "always" too
int     config_setPoints(Device* device, int32_t points);
double  config_getPower(Device* device);
int     config_setPower(Device* device, double power);
double  config_getPowerRaw(Device* device);
double  config_getKphi(Device* device);           // of channel A, ADC counts
double  config_getKphi_converted(Device* device); // of channel A, V, from whole counts
int     config_getPulseStatus(Device* device);    // of the phase noise record
int     config_enablePulse(Device* device);
int     config_disablePulse(Device* device);
int     config_getVCODUTType(Device* device);
int     config_setVCODUTType(Device* device, int type);

// Sweep of an oscillator. Outside configuration 6 the voltage setters return -224, the switches 3; the getters answer
// 3 points, 3.0 V and switched off.
double  configVCO_getVoltageStart(Device* device);
int     configVCO_setVoltageStart(Device* device, double voltage);
double  configVCO_getVoltageStop(Device* device);
int     configVCO_setVoltageStop(Device* device, double voltage);
int32_t configVCO_getVoltagePoints(Device* device);
int     configVCO_setVoltagePoints(Device* device, int32_t points);
const tv_time* configVCO_getTuneDelay(Device* device);           // of the moment of the call
int     configVCO_setTuneDelay(Device* device, const tv_time* delay); // 3 outside 0 to 10000000
int     configVCO_setReference(Device* device, int reference);
int     configVCO_setOffsetMin(Device* device, double offset);
int     configVCO_setOffsetMax(Device* device, double offset);
int     configVCO_setCorrelations(Device* device, int32_t correlations);
int     configVCO_setSpotFrequency(Device* device, double offset);
double  configVCO_getPnOffset(Device* device, int32_t number); // 1 to 4, else -1
int     configVCO_setPnOffsets(Device* device, double offset1, double offset2, double offset3, double offset4);
int     configVCO_getNumberOfUsedOffsets(Device* device);
int     configVCO_isFrequencyEnabled(Device* device);
int     configVCO_enableFrequency(Device* device);
int     configVCO_disableFrequency(Device* device);
int     configVCO_isPowerEnabled(Device* device);
int     configVCO_enablePower(Device* device);
int     configVCO_disablePower(Device* device);
int     configVCO_isKVCOEnabled(Device* device);
int     configVCO_enableKVCO(Device* device);
int     configVCO_disableKVCO(Device* device);
int     configVCO_isKPushEnabled(Device* device);
int     configVCO_enableKPush(Device* device);
int     configVCO_disableKPush(Device* device);
int     configVCO_isISupplyEnabled(Device* device);
int     configVCO_enableISupply(Device* device);
int     configVCO_disableISupply(Device* device);
int     configVCO_isPhaseNoiseEnabled(Device* device);
int     configVCO_enablePhaseNoise(Device* device);
int     configVCO_disablePhaseNoise(Device* device);

// clang-format on
