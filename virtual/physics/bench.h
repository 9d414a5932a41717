#pragma once
/// The hardware of one unit with a device under test at its input.
///
/// A bench is shared by the threads of the instrument; every function takes its lock. It keeps its own time: whoever
/// looks at it or changes something first lets the loops run up to the clock's now. The DUT file is looked at whenever
/// something is measured.

#include "virtual/boards/unit_boards.h"
#include "virtual/dut/dut.h"
#include "virtual/physics/noise_record.h"
#include "virtual/physics/phase_loop.h"
#include "virtual/physics/sample_source.h"
#include "virtual/physics/signal_chain.h"

#include <array>
#include <cstdint>
#include <mutex>
#include <span>

namespace vi {

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
    uint64_t dutSince;       // on the clock, ns: when the DUT came into force
    uint64_t dutVersion = 0; // grows with each DUT that comes into force

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
    NoiseRecord noise; // of the last record
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
/// Counts the carrier behind a channel's prescaler and what its counter divides by, as its ADC sees it between two
/// moments; a pulsed carrier counts low by its duty cycle. Nothing is connected to the counter input.
[[nodiscard]] EdgeCount bench_count(Bench* bench, const CountRequest& request);
[[nodiscard]] ChannelTruth bench_truth(Bench* bench, Channel channel);

/// Takes a record as it is asked for, as many samples of both ADCs: offset binary, 16 bits over 1.6 V, low-passed below
/// half of the reduced rate. The loops stand at its start then and go on with the clock.
void bench_takeRecord(Bench* bench, const RecordRequest& request, std::span<uint16_t> a, std::span<uint16_t> b);
/// Those of the DUT in force; does not look at the file, so it costs next to nothing.
[[nodiscard]] Faults bench_faults(Bench* bench);

/// A chip of this name does not answer. Looks at the file while there is one that does not.
[[nodiscard]] bool bench_chipBroken(Bench* bench, const std::string& name);

/// What the spectra of a moment are drawn from.
struct BenchSnapshot {
    SignalChain chain{};
    Dut dut{};
    uint64_t dutVersion = 0;
};
/// Brings the snapshot up to now. A loop that will hold `settling_ns` later holds in it; the loops themselves stay in
/// the present. Returns whether anything in it has changed.
[[nodiscard]] bool bench_takeSnapshot(Bench* bench, BenchSnapshot* snapshot, uint64_t settling_ns);

} // namespace vi
