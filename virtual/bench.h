#pragma once
/// The hardware of one unit with a device under test at its input.
///
/// A bench is shared by the threads of the instrument; every function takes its lock. It keeps its own time: whoever
/// looks at it or changes something first lets the loops run up to the clock's now. The DUT file is looked at whenever
/// something is measured.

#include "virtual/dut.h"
#include "virtual/phase_loop.h"
#include "virtual/sample_source.h"
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
inline constexpr uint32_t samplePairsMax = 1 << 20;
inline constexpr double noLevel_dBm = -100;      // reading of a power detector without a signal
inline constexpr double levelDetected_dBm = -25; // a carrier below it is not noticed

enum class TuneSource { none, calibration, loop }; // what drives the source's tune port; none: its own bias

/// What the chips of a channel's analog and source board are set to; at start what they are after power-on.
struct ChannelSettings {
    // Input.
    bool highInput = false; // the relay; boards without one ignore it
    DutPath path = DutPath::direct;
    uint32_t prescaler = 1; // acts in the divider path
    bool preamplifier = false;
    double attenuation_dB = 0;
    // Source.
    bool rfOn = false;
    double source_Hz = 100e6;
    Reference reference = Reference::crystal100MHz; // external: none of the source board counts
    // IF chain.
    int ifGain_dB = 0;
    // Loop.
    bool open = false;
    TuneSource tuneSource = TuneSource::none;
    double calibration_V = 0;
    double loopSupply_V = 15;
    double r1_ohm = 10e3, r2_ohm = 10e3, r3_ohm = 10e3;
    uint32_t capacitor = 4; // 1 to 4; 0: all switches closed, the filter is shorted and its charge stays
    bool aidOn = false;
    double aid_V = 2.5;
    // Counters on: what divides the carrier behind the prescaler on its way to the ADC; 0: they are off.
    uint32_t counterRatio = 0;

    friend bool operator==(const ChannelSettings&, const ChannelSettings&) = default;
};

enum class FdChannel { aOnly, bOnly, cross };

/// The spectrum board's settings; at start those of the board after power-on.
struct FdSettings {
    uint32_t stages; // up to stagesMax
    FdChannel channel;
    std::array<uint32_t, stagesMax> points;
    std::array<uint32_t, stagesMax> correlations;
};

/// What a calibration of a channel's detector and a look at its loop would tell.
struct ChannelTruth {
    double detectorSlope_V; // at the ADC in the pulses, per rad, at 0 dB IF gain; 0 without carrier or source
    double sensitivity_HzPerV;
    double beat_Hz;
    double phase_rad; // at the mixer, 0 in quadrature
    double tune_V;
    double wn_rad_s, damping; // in force
    double noise_rad2;        // phase noise inside the closed loop
    bool locked;
};

struct Bench {
    std::mutex mutex; // guards all below
    UnitBoards boards;
    DutFile dutFile;
    uint64_t dutSince; // on the clock, ns: when the DUT came into force

    struct ChannelState {
        ChannelSettings settings;
        PhaseLoop loop;
        uint64_t loopTime; // on the clock, ns: moment of the loop's state
        double noise_rad2;
        ChannelChain noiseOf; // what `noise_rad2` belongs to
        RandomStream tuneNoise, counterPhase, phases, adcNoise;
    };
    std::array<ChannelState, channels> channel;
    RandomStream levelNoise, phaseNoise;

    std::array<std::vector<uint16_t>, channels> samples; // of the last record

    FdSettings fd;
    struct Stage {
        RandomStream noise;
        StageExpectation expectation;
        uint64_t expectationOf;            // version of what was captured that it belongs to; 0 for none
        std::vector<SpectrumPoint> buffer; // points of the last capture that came so far
        uint32_t pending;                  // records to draw when the stage is fetched; 0 for none
    };
    std::array<Stage, stagesMax> stages;
    SignalChain captured; // the channels as they stood when the capture began
    Dut capturedDut;
    uint64_t capturedVersion = 0; // grows with every change of the two
    bool dutChanged;              // since the last capture
    uint64_t captureEnd;          // on the clock, ns
    FdChannel captureChannel;
    bool captureRunning;
    std::condition_variable captureStopped;
};

/// Puts the bench together; `bench` is not yet shared.
void bench_init(Bench* bench, const UnitBoards& boards, DutFile dutFile, uint64_t seed);

[[nodiscard]] ChannelSettings bench_settings(Bench* bench, Channel channel);
/// Puts the settings in force from now on. Values beyond what the parts can do are limited to it.
void bench_set(Bench* bench, Channel channel, const ChannelSettings& settings);

/// Level at the DUT input as the power detector reads it, dBm, the mean power of a pulsed carrier; noLevel_dBm without
/// a signal. Its reading is spread by 0.02 dB.
[[nodiscard]] double bench_readLevel_dBm(Bench* bench);
/// Tune voltage of a channel's source, V.
[[nodiscard]] double bench_readTune_V(Bench* bench, Channel channel);
/// Counts what the channel's counter leads to its ADC between two moments. Nothing is connected to the counter input.
[[nodiscard]] EdgeCount bench_count(Bench* bench, const CountRequest& request);
/// Counts the carrier behind the channels' prescalers and a further division by `ratio`, in ticks of the base clock,
/// both channels at once, until the gate is over. A pulsed carrier gives periods in its pulses only, so that it counts
/// low by the duty cycle.
[[nodiscard]] std::array<EdgeCount, channels> bench_countGate(Bench* bench, uint32_t ratio, double gate_s);
[[nodiscard]] ChannelTruth bench_truth(Bench* bench, Channel channel);

/// Takes a record as it is asked for, as many samples of both ADCs: offset binary, 16 bits over 1.6 V, low-passed below
/// half of the reduced rate. The loops stand at its end then.
void bench_takeRecord(Bench* bench, const RecordRequest& request, std::span<uint16_t> a, std::span<uint16_t> b);
/// The DUT lets samples come.
[[nodiscard]] bool bench_delivers(Bench* bench);
/// Records `pairs` samples of both ADCs (2 to samplePairsMax) at the base rate over `divider` from now on.
/// bench_samples gives them until the next record. False if none came, which takes a while too.
[[nodiscard]] bool bench_record(Bench* bench, uint32_t pairs, uint32_t divider);
[[nodiscard]] std::span<uint16_t> bench_samples(Bench* bench, Channel channel);
[[nodiscard]] double bench_baseSampleRate_Hz(Bench* bench);

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

/// Starts a capture of all stages in use; in fast mode it has taken its time when the call returns. A channel whose
/// loop does not hold when a tenth of that time is over shows only what comes from behind its mixer.
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
};
/// Brings the snapshot up to now. A loop that will hold `settling_ns` later holds in it.
void bench_takeSnapshot(Bench* bench, BenchSnapshot* snapshot, uint64_t settling_ns);

/// What a capture takes with these settings, in seconds.
[[nodiscard]] double bench_captureTime_s(const UnitBoards& boards, const FdSettings& settings);

} // namespace vi
