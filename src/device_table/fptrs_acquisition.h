#pragma once
/// Slots of the acquisition board: spectra (FD), samples (TD), frequency versus time (FVST), trigger.

#include "device_table/fptrs_types.h"

// clang-format off

// Spectra, 8 bytes a point. A stage is one decimation step, 0 the fastest.
inline Slot<uint32_t(Device*)> Device_getFdStages{onBoards};                   // stages in use
inline Slot<int(Device*, uint32_t)> Device_setFdStages{onBoards};
inline Slot<uint32_t(Device*, int32_t)> Device_getFdSamplesCount{onBoards};    // stage: its points
inline Slot<int(Device*, int32_t, uint32_t)> Device_setFdSamplesCount{onBoards}; // stage, points
inline Slot<uint32_t(Device*, int32_t)> Device_getFdCorrelations{onBoards};    // stage: its correlations
inline Slot<int(Device*, int32_t, uint32_t)> Device_setFdCorrelations{onBoards}; // stage, correlations
inline Slot<double(Device*, int32_t)> Device_getFdSamplingFreq{onBoards};      // stage: its sample rate, Hz
inline Slot<int(Device*)> Device_isFdChannelAOnly{onBoards};
inline Slot<int(Device*)> Device_isFdChannelBOnly{onBoards};
inline Slot<int(Device*)> Device_isFdChannelCrosscorrelation{onBoards};
inline Slot<int(Device*)> Device_setFdChannelAOnly{onBoards};
inline Slot<int(Device*)> Device_setFdChannelBOnly{onBoards};
inline Slot<int(Device*)> Device_setFdChannelCrosscorrelation{onBoards};
inline Slot<int(Device*)> Device_capturePhaseNoiseFdSamples{onBoards};         // starts a capture and returns
inline Slot<int(Device*, uint32_t, const void**)> Device_getPhaseNoiseFdBuffer{onBoards}; // stage, data; waits; bytes
inline Slot<int(Device*, uint32_t)> Device_getPhaseNoiseFdBufferSize{onBoards}; // stage: points of the last capture

// Samples, unsigned 16 bits each. Channel 0 is A, 1 is B. A getter of a buffer returns its bytes.
inline Slot<double(Device*)> Device_getBaseSampleFrequency;                    // ADC clock, Hz
inline Slot<uint32_t(Device*)> Device_getPhaseNoiseSamples{onBoards};          // sample pairs of a capture
inline Slot<int(Device*, uint32_t)> Device_setPhaseNoiseSamples{onBoards};
inline Slot<uint32_t(Device*)> Device_getPhaseNoiseDivider{onBoards};          // decimation
inline Slot<int(Device*, uint32_t)> Device_setPhaseNoiseDivider{onBoards};
inline Slot<uint32_t(Device*)> Device_getPhaseNoiseChannels{onBoards};
inline Slot<int(Device*, uint32_t)> Device_setPhaseNoiseChannels{onBoards};    // 1: A only, else both
inline Slot<int(Device*, uint32_t)> Device_getFilteredSamples{onBoards};       // captures, blocks; stages: model L only
inline Slot<int(Device*, uint32_t, uint32_t, uint16_t**)> Device_getPhaseNoiseFbuffer{onBoards}; // channel, segment
inline Slot<int(Device*, uint32_t)> Device_getFNSize{onBoards};                // segment: its size
inline Slot<uint32_t(Device*)> Device_getPhaseNoiseValidSamplesCount{onBoards}; // valid bytes of the last stream
inline Slot<int(Device*)> Device_phaseNoiseSampling_startHMode{onBoards};      // capture as a stream to a block
inline Slot<int(Device*)> Device_phaseNoiseSampling_getHBytes;                 // bytes of the whole stream
inline Slot<int(Device*, int, uint32_t, char*)> Device_phaseNoiseSampling_handler; // as BdDataFunction
inline Slot<int(Device*)> Device_phaseNoiseSampling_endHMode;
inline Slot<int(Device*)> Device_phaseNoiseSampling_cancel;                    // from any thread: the handler fails at once
inline Slot<int(Device*, uint32_t)> Device_setFpgaBytes{onBoards, nullptr};    // bytes of the next stream
inline Slot<int(Device*, const char*)> Device_fpgaCommandsImmediate{onBoards, nullptr}; // commands, separated by commas

// Frequency versus time.
inline Slot<int(Device*)> Device_captureFvstSamples{onBoards};                 // configures and starts
inline Slot<uint32_t(Device*)> Device_getFvstADivider;
inline Slot<int(Device*, uint32_t)> Device_setFvstADivider;
inline Slot<uint32_t(Device*)> Device_getFvstASamplesCount;
inline Slot<int(Device*, uint32_t)> Device_setFvstASamplesCount;
inline Slot<int(Device*)> Device_fvstAGetHBytes{onBoards};                     // starts the transfer; its bytes
inline Slot<int(Device*, int, uint32_t, char*)> Device_fvstAHandler{onBoards}; // as BdDataFunction
inline Slot<uint32_t(Device*)> Device_getFvstBDivider;
inline Slot<int(Device*, uint32_t)> Device_setFvstBDivider;
inline Slot<uint32_t(Device*)> Device_getFvstBSamplesCount;
inline Slot<int(Device*, uint32_t)> Device_setFvstBSamplesCount;
inline Slot<int(Device*)> Device_fvstBGetHBytes{onBoards};
inline Slot<int(Device*, int, uint32_t, char*)> Device_fvstBHandler{onBoards};

// Trigger of that capture.
inline Slot<const tvfreq*(Device*)> Device_getTriggerLevel;
inline Slot<int(Device*, const tvfreq*)> Device_setTriggerLevel;
inline Slot<const tvfreq*(Device*)> Device_getTriggerLevelHigh;
inline Slot<int(Device*, const tvfreq*)> Device_setTriggerLevelHigh;
inline Slot<const tvfreq*(Device*)> Device_getTriggerLevelLow;
inline Slot<int(Device*, const tvfreq*)> Device_setTriggerLevelLow;
inline Slot<const tvfreq*(Device*)> Device_getTriggerHysteresis;
inline Slot<int(Device*, const tvfreq*)> Device_setTriggerHysteresis;
inline Slot<uint32_t(Device*)> Device_getTriggerOffsetA;             // samples
inline Slot<int(Device*, uint32_t)> Device_setTriggerOffsetA{onBoards};
inline Slot<uint32_t(Device*)> Device_getTriggerOffsetB;
inline Slot<int(Device*, uint32_t)> Device_setTriggerOffsetB{onBoards};
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
inline Slot<int(Device*)> Device_enableContinousCapture{onBoards};
inline Slot<int(Device*)> Device_disableContinousCapture{onBoards};

// clang-format on
