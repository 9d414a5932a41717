#pragma once
/// The one record in which a run keeps its state and its results.
///
/// Two threads meet here: the measurement thread, which writes, and the main thread, which starts, stops, waits and
/// reads. Lock order: stateMutex, resultMutex, testSetMutex. A wait holds the first two one after the other, never
/// both; a save takes stateMutex only after it has released resultMutex.

#include "base/shared.h"
#include "base/sync.h"
#include "measure/preparation/prepared.h"
#include "measure/results/spur_detector.h"
#include "measure/results/trace.h"
#include "measure/run/vco_trace.h"
#include "measure/settings/staging.h"

#include <cstdint>

struct MeasData : Prepared {
    // Arrays over the trace have tracePointsMax entries.

    double* accumRe; // sum over the captures of an iteration, per point; the measurement thread's own
    double* accumIm;

    Mutex stateMutex;
    Mutex resultMutex;
    Mutex testSetMutex;  // guards the test set of configPN
    Condition startCond; // a run was requested; ends and saves are announced (base/waiting.h)

    uint32_t idle GUARDED_BY(stateMutex) = 1;         // 0 while a run is on
    uint32_t sidesWaiting GUARDED_BY(stateMutex) = 0; // HardwareSide: to be moved at the end of the run
    uint64_t runsStarted GUARDED_BY(stateMutex) = 0;
    uint64_t runsFinished GUARDED_BY(stateMutex) = 0;
    uint64_t savesAnnounced GUARDED_BY(stateMutex) = 0;     // saves since the start of the process
    int32_t iterationAnnounced GUARDED_BY(stateMutex) = 0;  // iteration of the last of them, from 1
    uint64_t vcoServedAnnounced GUARDED_BY(stateMutex) = 0; // of vcoServed

    int32_t pointCount GUARDED_BY(resultMutex) = 0;   // points of the trace; 0 until the run has its grid
    double carrier GUARDED_BY(resultMutex) = -1;      // of the trace, Hz
    float* pnAverage GUARDED_BY(resultMutex);         // running average of the raw level, dB
    float* spectrumData GUARDED_BY(resultMutex);      // published trace, dBc/Hz
    float* spectrumPowerData GUARDED_BY(resultMutex); // the same before spur removal and smoothing
    float* spectrumFreq GUARDED_BY(resultMutex);      // offset of each point, Hz, ascending
    int32_t spurCount GUARDED_BY(resultMutex) = 0;
    float* spurData GUARDED_BY(resultMutex); // dBc
    float* spurFreq GUARDED_BY(resultMutex); // Hz
    SpurScratch spurScratch GUARDED_BY(resultMutex);
    int32_t aVarianceCount GUARDED_BY(resultMutex) = 0;
    float* aVarianceSigma GUARDED_BY(resultMutex);                   // Allan deviation
    float* aVarianceTau GUARDED_BY(resultMutex);                     // averaging time, s
    uint64_t saves GUARDED_BY(resultMutex) = 0;                      // saves since the start of the process
    uint32_t previewTrigger GUARDED_BY(resultMutex) = 0;             // 1: a client asked for a preliminary result
    int32_t previewTarget GUARDED_BY(resultMutex) = 0;               // iteration, from 1, that it waits for
    int32_t preliminaryAverageCount GUARDED_BY(resultMutex) = 0;     // iterations finished and published
    int32_t preliminaryCorrelationCount GUARDED_BY(resultMutex) = 0; // correlations of the iteration so far
    VcoTrace* vco GUARDED_BY(resultMutex);                           // of the last sweep
    int32_t vcoIteration GUARDED_BY(resultMutex) = 1;                // its points that clients are shown, from 1
    uint32_t vcoPreliminaryTrigger GUARDED_BY(resultMutex) = 0;      // 1: a client waits for its next point
    uint64_t vcoServed GUARDED_BY(resultMutex) = 0;                  // points that clients waited for, ever
    int32_t lastError GUARDED_BY(resultMutex) = 0;                   // result of the last run, taken by the next wait

    Shared<double> lastTimeSec;                          // whole run, s
    Shared<double> lockTimeSec;                          // its lock step, s
    Shared<double> tFsearch, tKphi, tLock, tGain, tMeas; // phases of the last run, s

    StagingPlan plan; // written only while no run is on, or by the run itself
};

inline constinit MeasData meas_data{};
