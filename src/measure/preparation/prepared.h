#pragma once
/// What the steps before the captures find and hand on: to each other, to the captures and to the report. The set-up
/// that a step is given says where that stands (MeasConfig::prepared).

#include "base/shared.h"

#include <cstdint>

struct Prepared {
    // Loop filter of each channel and what it gives; -1 before a design.
    Shared<double> loopR1A, loopR1B;     // ohm
    Shared<double> loopR2A, loopR2B;     // ohm
    Shared<uint32_t> loopCapA, loopCapB; // number of the capacitor, 1 to 4
    Shared<double> loopWnA, loopWnB;     // natural frequency, rad/s
    Shared<double> loopZetaA, loopZetaB; // damping
    Shared<uint32_t> locked;             // 1: the last lock attempt ended locked

    Shared<uint32_t> beatSamples, beatDivider, beatChannels; // capture of the beat: pairs, decimation, 1 or 2
    Shared<uint32_t> peakA, peakB;                           // peak to peak of the beat, ADC counts
    Shared<double> inputAttenuation = -1;                    // dB; 2A to 2D: 32 preamplifier on, 0 off; -1 unknown

    Shared<uint32_t> stopRequested; // of the run; set under resultMutex, cleared at the end of every run
};
