#pragma once
/// The hardware of one unit with a device under test at its input.
///
/// A bench is shared by the threads of the instrument; every function takes its lock. It keeps its own time: whoever
/// looks at it or changes something first lets the loops run up to the clock's now. The DUT file is looked at whenever
/// something is measured.

#include "virtual/boards/unit_truth.h"
#include "virtual/bus/spi_chip.h"
#include "virtual/dut/dut.h"
#include "virtual/physics/channel_wiring.h"
#include "virtual/physics/noise_record.h"
#include "virtual/physics/phase_loop.h"
#include "virtual/physics/sample_source.h"
#include "virtual/physics/signal_chain.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <mutex>
#include <optional>
#include <span>
#include <string>

namespace vi {

inline constexpr double noLevel_dBm = -100;      // reading of a power detector without a signal
inline constexpr double levelDetected_dBm = -25; // a carrier below it is not noticed

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
    Dut dutNow; // that of the file; an oscillator that is tuned with its present carrier and level
    OscillatorState oscillator;
    uint64_t dutSince;                          // on the clock, ns: when the DUT came into force
    uint64_t dutVersion = 0;                    // grows with each DUT that comes into force
    std::atomic<DeliveryFaults> deliveryFaults; // of dutNow, for those who ask without the lock
    static_assert(std::atomic<DeliveryFaults>::is_always_lock_free);

    struct ChannelState {
        ChannelWiring wiring;
        PhaseLoop loop;
        uint64_t loopTime; // on the clock, ns: moment of the loop's state
        double noise_rad2;
        ChannelChain noiseOf; // what `noise_rad2` belongs to
        RandomStream tuneNoise, counterPhase, phases, adcNoise;
    };
    std::array<ChannelState, channels> channel;
    struct Individual {
        std::array<std::array<IfTruth, ifGroups>, channels> ifChain;
        double timeBase;
    };
    std::optional<Individual> individual;
    RandomStream levelNoise, phaseNoise;
    NoiseRecord noise; // of the last record
};

/// Puts the bench together; `bench` is not yet shared.
void bench_init(Bench* bench, const UnitBoards& boards, DutFile dutFile, uint64_t seed);

[[nodiscard]] ChannelWiring bench_wiring(Bench* bench, Channel channel);
/// How the boards of a channel are wired from now on; at first nothing is connected.
void bench_setWiring(Bench* bench, Channel channel, const ChannelWiring& wiring);

/// From now on the unit has errors of its own, those of UnitTruth: IF gain over offset and time base. At first it is
/// nominal.
void bench_setIndividual(Bench* bench);

/// What arrives at the end of a path of the channel, as a power detector there would see it, the mean power of a pulsed
/// carrier, spread by 0.02 dB; `level_dBm` is noLevel_dBm where nothing does.
struct DetectorInput {
    double carrier_Hz, level_dBm;
};
[[nodiscard]] DetectorInput bench_detectorInput(Bench* bench, Channel channel, const SignalPath& path);
/// Tune voltage of a channel's source, V.
[[nodiscard]] double bench_readTune_V(Bench* bench, Channel channel);
/// Counts the carrier behind a channel's prescaler and what its counter divides by between two moments, as its ADC sees
/// it or, with 1B and 1C, as it reaches the FPGA's own counter input, which is that of channel A. Nothing is connected
/// there on later boards. A pulsed carrier counts low by its duty cycle.
[[nodiscard]] EdgeCount bench_count(Bench* bench, const CountRequest& request);
[[nodiscard]] ChannelTruth bench_truth(Bench* bench, Channel channel);

/// Takes a record as it is asked for, as many samples of both ADCs: offset binary, 16 bits over 1.6 V, low-passed below
/// half of the reduced rate. The loops stand at its start then and go on with the clock.
void bench_takeRecord(Bench* bench, const RecordRequest& request, std::span<uint16_t> a, std::span<uint16_t> b);
/// Those of the DUT in force; does not look at the file, so it costs next to nothing.
[[nodiscard]] Faults bench_faults(Bench* bench);

/// What the unit's tune output A and supply output 1 give from now on. Only an oscillator cares.
void bench_feedDut(Bench* bench, double tune_V, double supply_V);
/// Current out of a supply output, 0 or 1, at so many volts.
[[nodiscard]] double bench_supplyLoad_A(Bench* bench, size_t output, double volts);
/// How an oscillator takes its supply, as a text; empty for another DUT.
[[nodiscard]] std::string bench_oscillatorRecord(Bench* bench);

/// What the DUT file says of a chip, a source board's VCO. They look at the file, the first one only
/// while there is a chip at fault.
[[nodiscard]] ChipFault bench_chipFault(Bench* bench, const std::string& name);
[[nodiscard]] bool bench_vcoBroken(Bench* bench, Channel channel);

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
