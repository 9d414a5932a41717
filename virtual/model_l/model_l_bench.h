#pragma once
/// A model L on the bench: two sources, two detectors, and an FPGA that keeps a record per decimation stage and
/// channel. The default instrument is none and never gets these slots. docs/model-l.md has the figures.
///
/// Channel c in volts at its ADC: k_c G sin(phase). The detector's slope k is 1 V/rad for A at 8 dBm and no
/// attenuation, 6 % less for B, in proportion to the DUT's voltage. The phase turns with the beat while the loop does
/// not hold, and is the DUT's noise less the source's behind the loop's error when it does. Each stage's record is
/// drawn from the curves on its own, filtered without loss up to half of its rate.

#include "device_table/slot.h"
#include "virtual/draw/random.h"
#include "virtual/dut/dut.h"

#include <array>
#include <complex>
#include <cstdint>
#include <vector>

namespace vi {

inline constexpr double modelLBaseRate_Hz = 25e6 / 6; // of the ADCs; stage 0 has half of it at divider 2
inline constexpr uint32_t modelLStages = 6, modelLStepLog2 = 3;
inline constexpr uint32_t modelLRecordMax = 1
                                            << 18; // samples that the FPGA keeps of a stage and channel, the first ones
inline constexpr double modelLFrequencyMin_Hz = 5e6, modelLFrequencyMax_Hz = 7e9;

enum class ModelLHold { none, phaseLocked, quadrature };

struct ModelLChannel {
    int loopMode = 1; // 1 open, 2 phase-locked, 3 in quadrature
    std::array<double, 3> resistance_ohm{};
    uint32_t capacitor = 0;
    double tune_V = 0;
    bool risesWithTune = false; // charge pump polarity
    ModelLHold hold = ModelLHold::none;
};

struct ModelLBench {
    Dut dut;
    RandomStream stream;
    std::array<ModelLChannel, 2> channels = {};
    size_t selected = 0;
    bool rfOn = false;
    int ifGain_dB = 0;
    uint32_t attenuation = 0; // steps of 0.5 dB
    double frequency_Hz = modelLFrequencyMin_Hz;

    uint32_t samples = 4096, divider = 2, channelsAsked = 2;
    // The last capture.
    uint32_t stages = 0, valid = 0;
    double rate_Hz = 0;                                                          // of stage 0
    std::array<std::array<std::vector<uint16_t>, 2>, modelLStages> records = {}; // drawn when they are fetched
    uint64_t clipped = 0;                                                        // samples of its records
    std::array<double, 2> beatPhase_turns = {};
};

/// A bench with a DUT and a seed for all its noise.
[[nodiscard]] ModelLBench modelL_bench(const Dut& dut, uint64_t seed);

/// Fills the slots of the model L's path. `modelL_device` is the instrument that is to be passed to them.
void modelL_registerSlots();
[[nodiscard]] Device* modelL_device(ModelLBench* bench);

// ---- what the slots do ----------------------------------------------------------------------------------------------

/// Slope of a detector, V/rad at the ADC at 0 dB of IF gain; 0 without a signal.
[[nodiscard]] double modelL_slope(const ModelLBench& bench, size_t channel);
/// Tuning sensitivity of the port that the loop in quadrature drives, Hz/V.
[[nodiscard]] double modelL_fineSensitivity(size_t channel);
/// DUT less source as they run, Hz.
[[nodiscard]] double modelL_beat_Hz(const ModelLBench& bench, size_t channel);
/// The DUT lies below the source of A.
[[nodiscard]] bool modelL_dutIsBelow(const ModelLBench& bench);
/// Puts a loop mode in force: 2 catches within the tuning's reach, 3 keeps what 2 has caught, 1 lets go.
void modelL_setLoopMode(ModelLBench* bench, size_t channel, int mode);
/// What the loop lets through to the detector at an offset.
[[nodiscard]] std::complex<double> modelL_error(const ModelLBench& bench, size_t channel, double offset_Hz);

/// Captures with the settings in force. The clock goes on by what it takes. Returns 0, or -365 where no samples come.
int modelL_capture(ModelLBench* bench, uint32_t stages);
/// A stage's record of a channel; empty where the capture has none.
[[nodiscard]] std::vector<uint16_t>& modelL_record(ModelLBench* bench, size_t channel, uint32_t stage);
/// Noise of a source alone, dBc/Hz.
[[nodiscard]] double modelL_sourceNoise_dBcHz(size_t channel, double offset_Hz);

} // namespace vi
