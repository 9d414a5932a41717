#pragma once
/// Measurement path of the model L, whose FPGA makes no spectra: it delivers long records of samples, one per
/// decimation stage and channel, and the processor does everything with FFTW. Nothing of the analyzer calls it; whoever
/// does writes meas_tvpnl_config and the givens of meas_tvpnl_data first. docs/model-l.md tells the sequence.
///
/// The path runs on its caller's thread and takes no lock but that of FFTW's planner. Failures are printed on standard
/// output and the path goes on; the numbers that are returned tell them once more.

#include "device_table/slot.h"

#include <array>
#include <cstdint>

struct MeasTvpnlConfig {
    int32_t iterations = 1;       // segments that are averaged in each stage, at most
    int32_t pointsPerDecade = 10; // of the trace
    double offsetMin = 1;         // Hz, of trace and stages
    double offsetMax = 1e6;
    double spotFrequency = 1e5; // Hz
    double frequency = 0;       // carrier, Hz
    double loopBandwidth = 0.1; // Hz, where autoLoopBW is off
    bool autoLoopBW = true;
};

/// Loop filter of a channel; negative: not computed yet.
struct TvpnlLoop {
    double r1 = -1, r2 = -1, r3 = -1; // ohm
    int32_t capacitor = -1;           // number, 1 to 4
    double wn = -1;                   // natural frequency, rad/s
};

struct MeasTvpnlData {
    // Results. Each run allocates the trace anew; null where there was no memory.
    float* trace = nullptr;     // dBc/Hz; NaN where no stage serves the offset, or the stage failed
    float* traceFreq = nullptr; // Hz
    int32_t tracePoints = 0;
    float* spotLevel = nullptr; // dBc/Hz, an entry a stage; NaN where the stage failed
    int32_t spotStages = 0;
    bool quadLocked = false;

    // Givens of the level and of the lock.
    double gainDb = 0;                                              // see pn_measure_tvpnl_gainDb
    double kphiA = 0.5, kphiB = 0.5;                                // V/rad at the ADC, at 0 dB of IF gain
    uint32_t beatSamples = 4096, beatDivider = 2, beatChannels = 2; // capture of pn_measure_tvpnl_measureP2PValue

    std::array<TvpnlLoop, 2> pll, quad; // of A and B, while the phase-locked loop catches and afterwards

    // Tables of the spot level, of one length; see pn_measure_tvpnl_preCalcSinCosHann.
    float *sinTable = nullptr, *cosTable = nullptr, *windowTable = nullptr;
    int32_t tableLength = 0;
};

extern MeasTvpnlConfig meas_tvpnl_config;
extern MeasTvpnlData meas_tvpnl_data;

/// Frees what an earlier use left and puts the data's defaults back; the configuration stays. Returns 0, or -113 if the
/// device is none of a model L: Device_getPnMeasurePtr is unregistered or gives nothing.
[[nodiscard]] int pn_measure_tvpnl_init(Device* device, void* unused);

/// Measures a trace into meas_tvpnl_data, the sources locked. A line a stage goes to standard output.
/// Returns 0, -200 if a stage failed, -321 without memory for the trace.
int pn_measure_tvpnl_measurePhaseNoise(Device* device);

/// Measures the level at `spotFrequency` with two sums a segment instead of a transform, stage after stage. The tables
/// turn by the angle of stage 0, so entry s of `spotLevel` is the level at `spotFrequency` / 8^s. Returns as above.
int pn_measure_tvpnl_SDmeasureSpotPhaseNoise(Device* device);

/// `gainDb` with which the levels are right, for an IF gain in dB and the detector constants in meas_tvpnl_data. A
/// segment's point is the density times a bin of fs/256 and both channels' constants; the level's formula takes off
/// half a bin, 6 dB, and the constant of A twice.
[[nodiscard]] double pn_measure_tvpnl_gainDb(double ifGainDb);

/// Brings both loops into lock and holds them there: computes the loop filters if they are negative, locks with the
/// phase-locked loops and then in quadrature, tells both on standard output and the latter in `quadLocked`.
void pn_measure_tvpnl_lock(Device* device);

/// Three estimates of a detector's constant from a beat, V/rad. 0: the record has none.
struct TvpnlKphi {
    double amplitude = 0, peakToPeak = 0, slope = 0;
};

/// Finds the carrier, sets the step attenuation and measures both detectors on the beat; frequency in Hz, `kphi` of A
/// and B. Returns 0 or the first failure, behind which all steps are done nevertheless.
int pn_measure_tvpnl_measureDutFrequency(Device* device, double* frequency, std::array<TvpnlKphi, 2>* kphi);

/// 0 if analog board A is selected, else 1: the board's channel of the ADC pair.
[[nodiscard]] uint32_t pn_measure_tvpnl_getAdcChannel(Device* device);
/// Samples of a segment.
[[nodiscard]] int32_t pn_measure_tvpnl_getFFTSize();

/// Samples to volts and back, as measure/preparation/adc_scale.h tells of the functions without the prefix.
[[nodiscard]] double pn_measure_tvpnl_adc2volt(uint32_t count);
[[nodiscard]] double pn_measure_tvpnl_adc2absvolt(uint32_t count);
[[nodiscard]] uint32_t pn_measure_tvpnl_volt2adc(double volts);
void pn_measure_tvpnl_adc2volt_array(double* out, const uint16_t* samples, int32_t count, const float* window);
void pn_measure_tvpnl_volt2adc_array(uint16_t* out, const double* volts, int32_t count);
