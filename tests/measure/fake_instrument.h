#pragma once
/// Slots of an instrument without physics: a carrier, mixer outputs, tune voltages and spectra that the test chooses,
/// and a log of what the measurement asks of the boards. As it comes, a run finds the carrier, measures the constants
/// and locks at once.

#include "identity/device_variants.h"
#include "measure/preparation/lock_check.h"
#include "measure/results/pn_output.h"
#include "measure/results/pn_results.h"
#include "measure/results/test_set.h"
#include "measure/run/measure.h"
#include "measure/run/pn_report.h"
#include "measure/run/pn_run.h"
#include "measure/run/pn_wait.h"
#include "measure/settings/config_accessors.h"
#include "measure/settings/config_hw.h"
#include "measure/settings/config_mode.h"

#include <complex>
#include <condition_variable>
#include <functional>
#include <gtest/gtest.h>
#include <mutex>
#include <string>
#include <vector>

inline Device* const device = nullptr;

using Spectrum = std::function<std::complex<float>(int capture, int stage, int index)>; // capture from 1

inline Spectrum flat(std::complex<float> point) {
    return [point](int, int, int) { return point; };
}

/// The fake is static, as slots take no context.
struct FakeInstrument {
    // Set before a run.
    Spectrum spectrum = flat(1e-9F);
    int spectrumPoints = 512;                                         // 0: the board has no buffer to give
    std::function<void()> onSearch;                                   // the counters are read
    double carrier_Hz = 100e6;                                        // -200: the counters find none
    std::function<double(double tune_V, double supply_V)> oscillator; // Hz, in the place of the carrier; 0: it stands
    std::function<void()> onTune;                                     // the DUT's tune voltage has been set
    double kphi[2] = {16384, 13107};                                  // amplitudes of the beats, counts
    double sensitivity[2] = {0, 0}; // Hz/V; without any, the filters stay and no loop bends the trace
    int selection = 1;              // of the internal reference
    int gainOffset = 0;             // of the IF gain in force from the one that was set, dB
    std::function<double(int channel)> tune = [](int) { return 7.2; };                            // V
    std::function<double(int channel, double seconds)> locked = [](int, double) { return 20.0; }; // mixer, counts
    float power_dBm = 7.5F;

    /// Captures up to this number go through; the next one waits inside.
    void allowCaptures(int count) {
        const std::lock_guard lock(mutex);
        allowed = count;
        changed.notify_all();
    }
    void open() { allowCaptures(1 << 30); }
    void capture() {
        std::unique_lock lock(mutex);
        ++begun;
        inCapture = true;
        changed.notify_all();
        changed.wait(lock, [&] { return begun <= allowed; });
        inCapture = false;
    }
    /// Lets captures up to `count` pass and waits until the next one has begun: those before it are accumulated and
    /// their saves announced.
    void passCaptures(int count) {
        allowCaptures(count);
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return begun > count; });
    }
    int capturesBegun() {
        const std::lock_guard lock(mutex);
        return begun;
    }

    void log(const std::string& line) {
        const std::lock_guard lock(mutex);
        lines += lines.empty() ? line : "; " + line;
    }
    /// Lines of the boards' operations since the last call, by "; ".
    std::string takeLog() {
        const std::lock_guard lock(mutex);
        return std::exchange(lines, {});
    }

    // What the boards were told.
    struct Board {
        int loopMode = 0;
        float helper = 0; // V
        double resistance[4] = {};
    } board[2];
    int channel = 0; // selected
    int rfEnabled = 0;
    double gate = 0.1;
    bool beat = false; // the sources stand beside the DUT
    int gain = 0;
    double dutTune_V = 0, supply_V = 12; // of the DUT
    int dutTuneOn = 0;
    uint32_t samples = 0, divider = 1, channels = 2;
    int records = 0; // of the time domain, captured
    std::vector<uint16_t> record[2];

    std::mutex mutex;
    std::condition_variable changed;
    int begun = 0;
    int allowed = 1 << 30;
    bool inCapture = false;
    int changesInCapture = 0; // hand-overs of settings to the FPGA that came while a run was on
    std::string lines;
    std::vector<std::complex<float>> buffer;
};
extern FakeInstrument* fake;

inline constexpr double beat_Hz = 100e3;

/// How often `part` stands in a log.
inline int countOf(const std::string& text, const std::string& part) {
    int count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++count;
    return count;
}

double samplingFreq(int stage); // of the first board generation, Hz

/// Fills the slots, starts the measurement thread once for the process, resets before each test, without smoothing,
/// spur omission and loop correction, and leaves no run on.
class MeasureTest : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override { config_reset(device); }

    /// Analog board by its code in the serial number: 1C '2', 2A '3', 2B '4', 2C '5', 2D '6'.
    static void useBoard(char analog) { device_config_sn[variant::analogBoard] = analog; }
    /// One whole run; returns its code.
    static int32_t runOnce() {
        measure_startMeasurement(device);
        return pn_measure_waitForMeasurement(device, 1, 0);
    }
    /// Starts a run that is held in the capture after `captures`.
    static void startHeld(int captures) {
        fake->allowCaptures(captures);
        measure_startMeasurement(device);
        fake->passCaptures(captures);
    }
    /// Averages and correlations that are published.
    static std::pair<int, int> progress() {
        return {pn_measure_getPreliminaryAverageCount(device), pn_measure_getPreliminaryCorrelationCount(device)};
    }
    static std::vector<float> read(int (*query)(Device*, const float**)) {
        const float* data = nullptr;
        const int bytes = query(device, &data);
        return {data, data + bytes / 4};
    }
    static std::vector<float> trace() { return read(pn_measure_getSpectrumData); }
    static std::vector<float> grid() { return read(pn_measure_getSpectrumFreq); }
    static std::string read(int (*query)(Device*, const char**)) {
        const char* text = nullptr;
        query(device, &text);
        return text;
    }
    static int32_t saves() {
        MutexLock lock(meas_data.resultMutex);
        return static_cast<int32_t>(meas_data.saves);
    }
};
