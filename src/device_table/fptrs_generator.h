#pragma once
/// Slots of features that other instruments of the line have and the analyzer has not. Upper layers test them and leave
/// the feature out. The ones without a stand-by start as null: they are only ever called behind that test.

#include "device_table/fptrs_types.h"

// clang-format off

// Level control and power.
inline Slot<int(Device*)> Device_enableAlc;
inline Slot<int(Device*, double)> Device_setAlcSetpoint;
inline Slot<int(Device*)> Device_isAlcControllerInternal{nullptr};
inline Slot<int(Device*)> Device_isAlcControllerExternal{nullptr};
inline Slot<int(Device*)> Device_setAlcControllerInternal{nullptr};
inline Slot<int(Device*)> Device_setAlcControllerExternal{nullptr};
inline Slot<int(Device*)> Device_isAlcLownoiseEnabled{nullptr};
inline Slot<int(Device*)> Device_enableAlcLownoise{nullptr};
inline Slot<int(Device*)> Device_disableAlcLownoise{nullptr};
inline Slot<uint32_t(Device*)> Device_getAlcControlValue{nullptr};     // DAC word
inline Slot<int(Device*, uint32_t)> Device_setAlcControlValue{nullptr};
inline Slot<int(Device*, uint32_t)> Device_setAlcControlValue16{nullptr};
inline Slot<double(Device*)> Device_getAlcMargin{nullptr};             // dB
inline Slot<int(Device*, double)> Device_setAlcMargin{nullptr};        // dB
inline Slot<double(Device*)> Device_getAlcSlope{nullptr};              // dB/GHz
inline Slot<int(Device*, double)> Device_setAlcHoldDelay{nullptr};     // s
inline Slot<int(Device*)> Device_variateHoldPower{nullptr};
inline Slot<int(Device*, int)> Device_setDetectorCoupler{nullptr};
inline Slot<double(Device*)> Device_getVvaSensitivity{nullptr};
inline Slot<int(Device*, double)> Device_setVvaSensitivity{nullptr};
inline Slot<int(Device*)> Device_isVvaSensitivyLow{nullptr};
inline Slot<int(Device*)> Device_measureDutFrequency{nullptr};
inline Slot<int(Device*, const tvpow*)> Device_setPower;               // dBm
inline Slot<double(Device*)> Device_getAttenuation;                    // dB
inline Slot<int(Device*, uint32_t)> Device_setEattStage;

// Modulation.
inline Slot<int(Device*)> Device_enableAm;
inline Slot<int(Device*)> Device_enableFm;
inline Slot<int(Device*)> Device_enablePm;
inline Slot<int(Device*)> Device_enablePulm;
inline Slot<int(Device*, const char*)> Device_setPulmBitstream;
inline Slot<int(Device*, const tv_angle*)> Device_setVorBearing;       // rad
inline Slot<int(Device*, double)> Device_setIlsLocAm0;

// Sweep, list, chirp, trigger.
inline Slot<int(Device*, uint32_t)> Device_setSweepPoints;
inline Slot<int(Device*)> Device_loadList;
inline Slot<int(Device*, const tv_time*)> Device_setChirpTime;         // s
inline Slot<int(Device*)> Device_triggerImmediate;
inline Slot<int(Device*)> Device_setTriggerTypeGate;

// Flatness, noise, carrier generator, coupled sources, synthesizer service.
inline Slot<int(Device*)> Device_enableFlatness;
inline Slot<const char*(Device*)> Device_getFlatnessAbsolutePath{nullptr};
inline Slot<int(Device*)> Device_enableNoise;
inline Slot<int(Device*, const char*)> Device_setCarrierDat;
inline Slot<int(Device*, int)> Device_setSourceIndex;
inline Slot<int(Device*)> Device_enableSourceCoupling;
inline Slot<void*(Device*)> Device_getSynCore;
inline Slot<int(Device*)> Device_createVcoCalibration;

// Phase noise as the model L measures it.
inline Slot<int(Device*)> Device_startPhaseNoiseSampling;
inline Slot<double(Device*)> Device_getPhaseNoiseSamplingFrequency;    // Hz
inline Slot<int(Device*)> Device_getPhaseNoiseSampleMin;               // ADC counts
inline Slot<int(Device*)> Device_getPhaseNoiseSampleMax;               // ADC counts
inline Slot<int(Device*, const tvfreq*)> Device_setSpotFreq;           // spot offset
inline Slot<int(Device*, double)> Device_setLoopBandwidth;             // Hz
inline Slot<int(Device*, char*)> Device_getPnMeasInfo;                 // into reportTextSize bytes
inline Slot<void*(Device*)> Device_getPnMeasurePtr;
inline Slot<int(Device*)> Device_getPreparePnMeasStatus;               // 0 ready, negative not
inline Slot<int(Device*)> Device_getStatus;
inline Slot<int(Device*, int)> Device_setAm;
inline Slot<int(Device*, int)> Device_setBb;
inline Slot<int(Device*, int)> Device_setPn;
inline Slot<int(Device*, int)> Device_setChargePumpPolarity;           // 1: the frequency rises with the tune voltage

// clang-format on
