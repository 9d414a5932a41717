// The firmware's own run on the bench, without links.
#include "device/device.h"
#include "device/device_fptrs.h"
#include "measure/config_accessors.h"
#include "measure/measurement_configuration.h"
#include "measure/pn_measure.h"
#include "scpi/error_codes.h"
#include "virtual/slot_adapter.h"

#include <cmath>
#include <gtest/gtest.h>
#include <memory>

using namespace vi;

namespace {

class AdapterTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        device = Device_create();
        ASSERT_EQ(initMeasurementConfiguration(device), 0);
    }

    void attach(const char* dutName, const char* serial = "220-336306910-0001") {
        DutFile file;
        std::string reason;
        ASSERT_TRUE(dutFile_open(&file, std::string(SHIPPED_DUTS) + "/" + dutName + ".toml", &reason)) << reason;
        attach(file.dut, serial);
    }
    void attach(const Dut& dut, const char* serial = "220-336306910-0001") {
        bench_ = std::make_unique<Bench>();
        dut_ = dut;
        bench_init(bench_.get(), unitBoards_of(serial), {"", dut, {}}, 1);
        virtual_adapter_install(*bench_);
        config_reset(device);
        configPN.smoothing = 0;
        configPN.spurOmission = 0;
    }

    /// Mean and greatest deviation of the trace from the DUT's table between two offsets, dB.
    struct Deviation {
        double mean, greatest;
    };
    Deviation deviation(double from_Hz, double to_Hz) const {
        const float *levels = nullptr, *offsets = nullptr;
        const int count = pn_measure_getSpectrumData(device, &levels) / int(sizeof(float));
        pn_measure_getSpectrumFreq(device, &offsets);
        double sum = 0, greatest = 0;
        int points = 0;
        for (int i = 0; i < count; ++i)
            if (double(offsets[i]) >= from_Hz && double(offsets[i]) <= to_Hz) {
                const double error = double(levels[i]) - noiseCurve_level_dBcHz(dut_.noise, double(offsets[i]));
                sum += error;
                greatest = std::max(greatest, std::abs(error));
                ++points;
            }
        EXPECT_GT(points, 20);
        return {sum / points, greatest};
    }

    static inline Device* device;
    std::unique_ptr<Bench> bench_;
    Dut dut_;
};

} // namespace

TEST_F(AdapterTest, ARunGivesTheNoiseOfAnOcxoFarBelowItsReferences) {
    attach("ocxo-10mhz");
    ASSERT_EQ(configPN_setReference(device, referenceLowNoise), 0);
    configPN_setOffsetMin(device, 1);
    configPN_setCorrelations(device, 2000);
    staging_handOver(device);
    EXPECT_EQ(pnMeasureFull(device), 0);
    EXPECT_EQ(configPN.frequency, 10e6);
    EXPECT_NEAR(configPN.power, 10.0, 0.1);
    EXPECT_EQ(meas_data.locked, 1u);
    EXPECT_EQ(bench_ifGain_dB(bench_.get()), 0) << "a run ends with the gain at 0 dB";
    for (double decade = 1; decade < 5e7; decade *= 10) {
        const Deviation found = deviation(decade, std::min(10 * decade, 5e7));
        EXPECT_NEAR(found.mean, 0, 0.2) << decade;
        EXPECT_LT(found.greatest, decade < 100 ? 2.0 : 0.8) << decade;
    }
}

TEST_F(AdapterTest, EveryShippedDutComesOutOnEitherGenerationOfBoards) {
    for (const char* serial : {"220-336306910-0001", "220-336305910-0001"})
        for (const char* name : {"vcxo-100mhz", "vco-150mhz", "vco-2g4", "pll-11g8"}) {
            attach(name, serial);
            configPN_setCorrelations(device, 1000);
            staging_handOver(device);
            EXPECT_EQ(pnMeasureFull(device), 0);
            EXPECT_EQ(meas_data.locked, 1u) << name;
            EXPECT_NEAR(deviation(1e3, 5e7).mean, 0, 0.2) << name;
            EXPECT_LT(deviation(1e3, 5e7).greatest, 2.0) << name;
        }
}

TEST_F(AdapterTest, OneChannelAloneGivesDutAndReference) {
    attach({100e6, 8, {{{1, -90}}}, {}, false});
    configPN.measurementMethod = methodSingle;
    configPN_setCorrelations(device, 1000);
    staging_handOver(device);
    EXPECT_EQ(Device_isFdChannelAOnly(device), 1);
    EXPECT_EQ(pnMeasureFull(device), 0);
    EXPECT_NEAR(deviation(1e5, 5e7).mean, 0, 0.3);
}

TEST_F(AdapterTest, WithoutASignalTheRunFindsNoCarrierAndNoLock) {
    attach({100e6, 8, {{{1, -90}}}, {}, true});
    meas_data.locked = 1;
    (void)Device_quicklyGetPower(device);
    EXPECT_LT(configPN.frequency, 0);
    EXPECT_EQ(meas_data.locked, 0u);
    EXPECT_EQ(*Device_getPower(device), -100.0f);
    EXPECT_EQ(*Device_getPowerRaw(device), 0.0f);
}

TEST_F(AdapterTest, WhatTheUserHasFixedStays) {
    attach({100e6, 8, {{{1, -120}}}, {}, false});
    EXPECT_NEAR(*Device_getPowerRaw(device), 3600, 40);
    configPN.autoFrequency = 0;
    configPN.frequency = 100.0001e6;
    configPN.autoLoopBW = 0;
    configPN.loopBandwidth = 111;
    ASSERT_EQ(configPN_setIFgain(device, 20), 0);
    (void)Device_quicklyGetPower(device);
    EXPECT_EQ(configPN.frequency, 100.0001e6);
    EXPECT_EQ(configPN.loopBandwidth, 111);
    EXPECT_NEAR(meas_data.loopWnA, 697.4, 0.1);
    EXPECT_EQ(configPN.ifGain, 20);
    EXPECT_EQ(Device_getLnaGain(device), 20);
    EXPECT_EQ(meas_data.locked, 1u);
    configPN.frequency = 101e6;
    (void)Device_quicklyGetPower(device);
    EXPECT_EQ(meas_data.locked, 0u) << "the sources stand where the user wants them, and the DUT is elsewhere";
}

TEST_F(AdapterTest, SlotsRefuseWhatTheBoardsDoNotHave) {
    attach("default");
    EXPECT_EQ(Device_setInternalReferenceSelection(device, 4), scpi::illegalParameterValue);
    EXPECT_EQ(Device_setInternalReferenceSelection(device, -1), scpi::illegalParameterValue);
    EXPECT_EQ(Device_setInternalReferenceSelection(device, 2), 0);
    EXPECT_EQ(Device_getInternalReferenceSelection(device), 2);
    EXPECT_EQ(Device_getFdSamplesCount(device, -1), 0u);
    EXPECT_EQ(Device_getFdCorrelations(device, 8), 0u);
    EXPECT_EQ(Device_getFdSamplingFreq(device, -1), 0.0);
    Device_setFdStages(device, 8);
    Device_setFdSamplesCount(device, 7, 256);
    Device_setFdCorrelations(device, 7, 5);
    EXPECT_EQ(Device_getFdCorrelations(device, 7), 5u);
    Device_capturePhaseNoiseFdSamples(device);
    const void* data = nullptr;
    EXPECT_EQ(Device_getPhaseNoiseFdBuffer(device, 99, &data), 256 * 8) << "reads the last stage";
    EXPECT_NE(data, nullptr);
    EXPECT_EQ(Device_getPhaseNoiseFdBufferSize(device, 99), 256);
    attach("default", "000-000000000-0000");
    EXPECT_EQ(Device_setInternalReferenceSelection(device, 1), scpi::undefinedHeader);
    EXPECT_EQ(Device_getInternalReferenceSelection(device), -1);
}
