#pragma once
/// Slots of an instrument without physics: captures whose spectra and moments the test chooses, and a log of what the
/// measurement asks of the boards.

#include "measure/config_accessors.h"
#include "measure/measure.h"
#include "measure/pn_measure.h"
#include "measure/pn_output.h"
#include "measure/test_set.h"

#include <complex>
#include <condition_variable>
#include <functional>
#include <gtest/gtest.h>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

inline Device* const device = nullptr;

using Spectrum = std::function<std::complex<float>(int capture, int stage, int index)>; // capture from 1

/// The fake is static, as slots take no context.
struct FakeInstrument {
    // Set before a run.
    Spectrum spectrum;
    int spectrumPoints = 512;
    bool spectrumMissing = false; // the board has no buffer to give
    std::function<void()> onPower;
    double kphiA = 16384, kphiB = 13107; // counts; arrive with the power reading, as if they were measured
    uint32_t locked = 1;
    uint32_t prescaler = 2;
    float power_dBm = 7.5F;

    /// Captures up to this number go through; the next one waits inside.
    void allowCaptures(int count);
    /// Waits until capture `number` has begun: all before it are accumulated and their saves announced.
    void waitForCapture(int number);
    int capturesBegun();

    /// Lines of the boards' operations since the last call, by "; ".
    std::string takeLog();
    void log(const std::string& line);
    /// Hand-overs of settings to the FPGA that came while a run was on.
    int changesDuringCapture();

    void capture();
    void open() { allowCaptures(1 << 30); }

    std::mutex mutex;
    std::condition_variable changed;
    int begun = 0;
    int allowed = 1 << 30;
    bool inCapture = false;
    int changes = 0;
    std::string lines;
    std::vector<float> buffer;
};
extern FakeInstrument* fake;

double samplingFreq(int stage); // of the first board generation, Hz

/// Fills the slots, starts the measurement thread once for the process, resets before each test and leaves no run on.
class MeasureTest : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    /// One whole run; returns its code.
    static int32_t runOnce();
    static std::vector<float> trace();
    static std::vector<float> grid();
    static void plainTrace(); // no smoothing, no loop correction
};
