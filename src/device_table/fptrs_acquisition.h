#pragma once
/// Slots of the acquisition board: spectra (FD), samples (TD), frequency versus time (FVST), trigger.

#include "device_table/fptrs_types.h"

// clang-format off

// Spectra, 8 bytes a point. A stage is one decimation step, 0 the fastest.
inline Slot<uint32_t(Device*)> Device_getFdStages;                             // stages in use
inline Slot<int(Device*, uint32_t)> Device_setFdStages;
inline Slot<uint32_t(Device*, int32_t)> Device_getFdSamplesCount;              // stage: its points
inline Slot<int(Device*, int32_t, uint32_t)> Device_setFdSamplesCount;         // stage, points
inline Slot<uint32_t(Device*, int32_t)> Device_getFdCorrelations;              // stage: its correlations
inline Slot<int(Device*, int32_t, uint32_t)> Device_setFdCorrelations;         // stage, correlations
inline Slot<double(Device*, int32_t)> Device_getFdSamplingFreq;                // stage: its sample rate, Hz
inline Slot<int(Device*)> Device_isFdChannelAOnly;
inline Slot<int(Device*)> Device_isFdChannelBOnly;
inline Slot<int(Device*)> Device_isFdChannelCrosscorrelation;
inline Slot<int(Device*)> Device_setFdChannelAOnly;
inline Slot<int(Device*)> Device_setFdChannelBOnly;
inline Slot<int(Device*)> Device_setFdChannelCrosscorrelation;
inline Slot<int(Device*)> Device_capturePhaseNoiseFdSamples;                   // starts a capture and returns
inline Slot<int(Device*, uint32_t, const void**)> Device_getPhaseNoiseFdBuffer; // stage, data; waits for its end; bytes
inline Slot<int(Device*, uint32_t)> Device_getPhaseNoiseFdBufferSize;          // stage: points of the last capture

// Samples, unsigned 16 bits each. Channel 0 is A, 1 is B. A getter of a buffer returns its bytes.
inline Slot<double(Device*)> Device_getBaseSampleFrequency;                    // ADC clock, Hz
inline Slot<uint32_t(Device*)> Device_getPhaseNoiseSamples;                    // sample pairs of a capture
inline Slot<int(Device*, uint32_t)> Device_setPhaseNoiseSamples;
inline Slot<uint32_t(Device*)> Device_getPhaseNoiseDivider;                    // decimation
inline Slot<int(Device*, uint32_t)> Device_setPhaseNoiseDivider;
inline Slot<uint32_t(Device*)> Device_getPhaseNoiseChannels;
inline Slot<int(Device*, uint32_t)> Device_setPhaseNoiseChannels;              // 1: A only, else both
inline Slot<int(Device*, uint32_t)> Device_getFilteredSamples;                 // captures, blocks; stages: model L only
inline Slot<int(Device*, uint32_t, uint32_t, uint16_t**)> Device_getPhaseNoiseFbuffer;      // channel, segment
inline Slot<int(Device*, uint32_t)> Device_getFNSize;                          // segment: its size
inline Slot<uint32_t(Device*)> Device_getPhaseNoiseValidSamplesCount;          // valid bytes of the last stream
inline Slot<int(Device*)> Device_phaseNoiseSampling_startHMode;                // capture as a stream to a block
inline Slot<int(Device*)> Device_phaseNoiseSampling_getHBytes;                 // bytes of the whole stream
inline Slot<int(Device*, int, uint32_t, char*)> Device_phaseNoiseSampling_handler; // as BdDataFunction
inline Slot<int(Device*)> Device_phaseNoiseSampling_endHMode;
inline Slot<int(Device*)> Device_phaseNoiseSampling_cancel;                    // from any thread: the handler fails at once
inline Slot<int(Device*, uint32_t)> Device_setFpgaBytes{nullptr};              // bytes of the next stream
inline Slot<int(Device*, const char*)> Device_fpgaCommandsImmediate{nullptr};  // commands, separated by commas

// Frequency versus time.
inline Slot<int(Device*)> Device_captureFvstSamples;                           // configures and starts
inline Slot<uint32_t(Device*)> Device_getFvstADivider;
inline Slot<int(Device*, uint32_t)> Device_setFvstADivider;
inline Slot<uint32_t(Device*)> Device_getFvstASamplesCount;
inline Slot<int(Device*, uint32_t)> Device_setFvstASamplesCount;
inline Slot<int(Device*)> Device_fvstAGetHBytes;                               // starts the transfer; its bytes
inline Slot<int(Device*, int, uint32_t, char*)> Device_fvstAHandler;           // as BdDataFunction
inline Slot<uint32_t(Device*)> Device_getFvstBDivider;
inline Slot<int(Device*, uint32_t)> Device_setFvstBDivider;
inline Slot<uint32_t(Device*)> Device_getFvstBSamplesCount;
inline Slot<int(Device*, uint32_t)> Device_setFvstBSamplesCount;
inline Slot<int(Device*)> Device_fvstBGetHBytes;
inline Slot<int(Device*, int, uint32_t, char*)> Device_fvstBHandler;

// Trigger of that capture.
inline Slot<const tvfreq*(Device*)> Device_getTriggerLevel;
inline Slot<int(Device*, const tvfreq*)> Device_setTriggerLevel;
inline Slot<const tvfreq*(Device*)> Device_getTriggerLevelHigh;
inline Slot<int(Device*, const tvfreq*)> Device_setTriggerLevelHigh;
inline Slot<const tvfreq*(Device*)> Device_getTriggerLevelLow;
inline Slot<int(Device*, const tvfreq*)> Device_setTriggerLevelLow;
inline Slot<const tvfreq*(Device*)> Device_getTriggerHysteresis;
inline Slot<int(Device*, const tvfreq*)> Device_setTriggerHysteresis;
inline Slot<uint32_t(Device*)> Device_getTriggerOffsetA;                       // samples
inline Slot<int(Device*, uint32_t)> Device_setTriggerOffsetA;
inline Slot<uint32_t(Device*)> Device_getTriggerOffsetB;
inline Slot<int(Device*, uint32_t)> Device_setTriggerOffsetB;
inline Slot<int(Device*)> Device_isTriggerModeNegative;
inline Slot<int(Device*)> Device_isTriggerModePositive;
inline Slot<int(Device*)> Device_isTriggerModeOut;
inline Slot<int(Device*)> Device_isTriggerModeIn;
inline Slot<int(Device*)> Device_setTriggerModeNegative;
inline Slot<int(Device*)> Device_setTriggerModePositive;
inline Slot<int(Device*)> Device_setTriggerModeOut;
inline Slot<int(Device*)> Device_setTriggerModeIn;
inline Slot<int(Device*)> Device_isTriggerSourceImmediate;
inline Slot<int(Device*)> Device_isTriggerSourceA;
inline Slot<int(Device*)> Device_isTriggerSourceB;
inline Slot<int(Device*)> Device_isTriggerSourceExternal;
inline Slot<int(Device*)> Device_setTriggerSourceImmediate;
inline Slot<int(Device*)> Device_setTriggerSourceA;
inline Slot<int(Device*)> Device_setTriggerSourceB;
inline Slot<int(Device*)> Device_setTriggerSourceExternal;
inline Slot<int(Device*)> Device_isContinousCaptureEnabled;
inline Slot<int(Device*)> Device_enableContinousCapture;
inline Slot<int(Device*)> Device_disableContinousCapture;

// clang-format on
