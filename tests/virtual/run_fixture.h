#pragma once
/// The firmware's own run on a unit, without links.

#include "base/error_codes.h"
#include "device/device.h"
#include "device_table/device_fptrs.h"
#include "measure/preparation/adc_scale.h"
#include "measure/preparation/frequency_search.h"
#include "measure/results/pn_results.h"
#include "measure/run/pn_report.h"
#include "measure/run/pn_run.h"
#include "measure/settings/config_accessors.h"
#include "measure/settings/config_hw.h"
#include "measure/settings/config_mode.h"
#include "measure/settings/staging.h"
#include "tests/virtual/started_unit.h"

#include <cmath>
#include <gtest/gtest.h>

namespace vi {

inline constexpr const char* board1B = "220-331306710-0001";
inline constexpr const char* board1C = "220-332306710-0001";       // with the source boards of its time
inline constexpr const char* board1CMarked = "220-332306711-0001"; // with a mark that speaks of later boards
inline constexpr const char* board2A = "220-333306710-0001";
inline constexpr const char* board2B = "220-334306910-0001";
inline constexpr const char* board2C = "220-335306910-0001";
inline constexpr const char* board2D = "220-336306910-0001";
inline constexpr const char* board2DFirstFpga = "220-336305910-0001";

/// Loud enough to stand out of the references up to 18 GHz.
inline Dut loud(double frequency_Hz, double power_dBm, const Faults& faults = {}) {
    const NoiseCurve curve{
        {{1, -20}, {10, -50}, {100, -75}, {1e3, -95}, {1e4, -105}, {1e5, -110}, {1e6, -120}, {1e7, -130}}};
    return {frequency_Hz, power_dBm, curve, {}, faults};
}

class RunTest : public testing::Test {
protected:
    void TearDown() override {
        if (unit_ != nullptr) {
            EXPECT_EQ(unit_->bus.faults() + unit_->acquisition.refusals(), 0U)
                << unit_->bus.faultTexts() << unit_->acquisition.refusalTexts();
        }
    }

    void attach(const Dut& dut, const char* serial = board2D, int reference = 1, uint64_t seed = 1) {
        dut_ = dut;
        unit_ = &startUnit(&device, serial, dut, seed);
        bench_ = &unit_->bench;
        configPN.smoothing = 0;
        configPN.spurOmission = 0;
        if (reference != 1) {
            ASSERT_EQ(Device_setInternalReferenceSelection(device, reference), 0);
        }
    }
    [[nodiscard]] bool held() const {
        return bench_truth(bench_, channelA).locked && bench_truth(bench_, channelB).locked;
    }
    static int run(uint32_t correlations = 100) {
        configPN_setCorrelations(device, correlations);
        staging_handOver(device, configPN);
        pn_measure_forgetTrace(); // as INIT does
        return pnMeasureFull(device, &configPN);
    }
    /// 0: as the instrument chooses.
    static void setUserBandwidth(double bandwidth_Hz) {
        configPN.autoLoopBW = bandwidth_Hz > 0 ? 0 : 1;
        if (bandwidth_Hz > 0)
            configPN.loopBandwidth = bandwidth_Hz;
    }
    /// The constants as the run has measured them, in V/rad, over the bench's own.
    [[nodiscard]] double constantRatio(Channel channel) {
        const double counts = channel == channelA ? configPN.kphiA : configPN.kphiB;
        return counts * adcVoltsPerCount / bench_truth(bench_, channel).detectorSlope_V;
    }
    struct TraceError {
        double offset_Hz, error_dB;
    };
    /// The trace less the DUT's table.
    [[nodiscard]] std::vector<TraceError> traceErrors() const {
        const float *levels = nullptr, *offsets = nullptr;
        std::vector<TraceError> errors(size_t(pn_measure_getSpectrumData(device, &levels)) / sizeof(float));
        pn_measure_getSpectrumFreq(device, &offsets);
        for (TraceError& error : errors) {
            error.offset_Hz = double(*offsets++);
            error.error_dB = double(*levels++) - noiseCurve_level_dBcHz(dut_.noise, error.offset_Hz);
        }
        return errors;
    }
    [[nodiscard]] double ifBandwidth_Hz() const { return bench_wiring(bench_, channelA).ifChain.bandwidth_Hz; }
    /// The trace against the DUT's table between two offsets, or up to where the IF filter ends it: its mean, and the
    /// worst point.
    void expectTrace(double from_Hz, double to_Hz, double mean_dB, double each_dB) const {
        to_Hz = std::min(to_Hz, ifBandwidth_Hz());
        double sum = 0, worst = 0;
        int points = 0;
        for (const auto& [offset_Hz, error_dB] : traceErrors())
            if (offset_Hz >= from_Hz && offset_Hz <= to_Hz) {
                worst = std::max(worst, std::abs(error_dB));
                sum += error_dB;
                ++points;
            }
        EXPECT_GT(points, 20);
        EXPECT_NEAR(sum / points, 0, mean_dB) << from_Hz << " to " << to_Hz << " Hz";
        EXPECT_LT(worst, each_dB) << from_Hz << " to " << to_Hz << " Hz";
    }

    static inline Device* device;
    Hardware* unit_ = nullptr;
    Bench* bench_ = nullptr; // the unit's
    Dut dut_;
};

} // namespace vi
