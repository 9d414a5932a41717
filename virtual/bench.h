#pragma once
/// The hardware of one unit with a device under test at its input, as far as spectra and levels go.
///
/// A bench is shared by the threads of the instrument; every function takes its lock. The DUT file is looked at
/// whenever a capture starts or a level is read.

#include "virtual/dut.h"
#include "virtual/signal_chain.h"
#include "virtual/unit_boards.h"

#include <array>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <span>
#include <vector>

namespace vi {

inline constexpr uint32_t stagesMax = 8;
inline constexpr uint32_t stagePointsMin = 64, stagePointsMax = 8192;
inline constexpr double noLevel_dBm = -100;      // reading of a power detector without a signal
inline constexpr double levelDetected_dBm = -25; // a carrier below it is not noticed

enum class FdChannel { aOnly, bOnly, cross };

/// The spectrum board's settings; at start those of the board after power-on.
struct FdSettings {
    uint32_t stages; // up to stagesMax
    FdChannel channel;
    std::array<uint32_t, stagesMax> points;
    std::array<uint32_t, stagesMax> correlations;
};

/// Where the sources stand and how fast the loops are to be.
struct LockRequest {
    double sources_Hz;   // in terms of the carrier, whatever the prescaler
    double bandwidth_Hz; // 0: the bench chooses
};

/// The loops as closed, and what a calibration of them would tell.
struct LockState {
    bool locked;
    Loop loop;                                  // channel A
    std::array<double, channels> detectorSlope; // V/rad
};

struct Bench {
    std::mutex mutex; // guards all below
    UnitBoards boards;
    DutFile dutFile;
    SignalChain chain;
    double sources_Hz; // in terms of the carrier; 0 before the loops were closed
    bool loopsHold;    // the phase error is small enough
    FdSettings fd;

    struct Stage {
        RandomStream noise;
        StageExpectation expectation;
        uint64_t expectationOf;            // settings version that the expectation belongs to; 0 for none
        std::vector<SpectrumPoint> buffer; // points of the last capture that came so far
        uint32_t pending;                  // records to draw when the stage is fetched; 0 for none
    };
    std::array<Stage, stagesMax> stages;
    RandomStream levelNoise;
    uint64_t settingsVersion; // grows with every change that an expectation depends on
    uint64_t captureEnd;      // on the clock, ns
    FdChannel captureChannel;
    bool captureRunning;
    std::condition_variable captureStopped;
};

/// Puts the bench together; `bench` is not yet shared.
void bench_init(Bench* bench, const UnitBoards& boards, DutFile dutFile, uint64_t seed);

/// Level at the DUT input as the power detector reads it, dBm; noLevel_dBm without a signal. Its reading is spread by
/// 0.02 dB.
[[nodiscard]] double bench_readLevel_dBm(Bench* bench);

/// Carrier that a frequency counter sees, Hz; 0 without a signal.
[[nodiscard]] double bench_countCarrier_Hz(Bench* bench);

/// Closes both loops. Without a wanted bandwidth they get the narrowest, from 30 Hz (10 Hz on the 10 MHz reference) up
/// by factors of two to 1 MHz, whose phase error stays below 0.1 rad. They lock when there is a signal within reach of
/// the sources' tuning and the phase error stays below 0.7 rad. Until then, and when a new DUT is out of reach,
/// captures hold only what comes from behind the mixer.
LockState bench_closeLoops(Bench* bench, const LockRequest& request);

void bench_setReference(Bench* bench, Reference reference);
[[nodiscard]] Reference bench_reference(Bench* bench);

/// Sets the analog boards' gain nearest to the request and returns it, in dB.
int bench_setIfGain(Bench* bench, int request_dB);
[[nodiscard]] int bench_ifGain_dB(Bench* bench);
[[nodiscard]] uint32_t bench_prescaler(Bench* bench);

[[nodiscard]] FdSettings bench_fdSettings(Bench* bench);
/// Numbers above stagesMax mean all stages.
void bench_setFdStages(Bench* bench, uint32_t stages);
void bench_setFdChannel(Bench* bench, FdChannel channel);
/// The four below do nothing, or return 0, for a stage that does not exist.
void bench_setFdCorrelations(Bench* bench, uint32_t stage, uint32_t correlations);
/// Limited to stagePointsMin..stagePointsMax and rounded to a power of two. The first generation of the board has all
/// stages but the last two fixed.
void bench_setFdPoints(Bench* bench, uint32_t stage, uint32_t points);
[[nodiscard]] double bench_fdSampleRate_Hz(Bench* bench, uint32_t stage);
/// Points in the buffer of a stage.
[[nodiscard]] uint32_t bench_fdBufferedPoints(Bench* bench, uint32_t stage);
[[nodiscard]] double bench_baseSampleRate_Hz(Bench* bench);

/// Starts a capture of all stages in use; in fast mode it has taken its time when the call returns.
void bench_startCapture(Bench* bench);
/// Waits for the end of the capture and gives the points of a stage, which stay valid until the next capture. After a
/// capture that was stopped, what the buffer held before.
[[nodiscard]] std::span<const SpectrumPoint> bench_fetchStage(Bench* bench, uint32_t stage);
/// Ends a running capture at once; its waiter returns. From any thread.
void bench_stopCapture(Bench* bench);

/// What the spectra of a moment are drawn from.
struct BenchSnapshot {
    uint64_t version = UINT64_MAX; // changes whenever the rest does
    SignalChain chain{};
    Dut dut{};
    bool carrier = false; // as chain_expect takes it
};
/// Brings the snapshot up to now.
void bench_takeSnapshot(Bench* bench, BenchSnapshot* snapshot);

/// What a capture takes with these settings, in seconds.
[[nodiscard]] double bench_captureTime_s(const UnitBoards& boards, const FdSettings& settings);

} // namespace vi
