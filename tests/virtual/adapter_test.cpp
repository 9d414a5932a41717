// The firmware's own run on the bench, without links.
#include "device/device.h"
#include "device/device_config_sn.h"
#include "device/device_fptrs.h"
#include "measure/config_accessors.h"
#include "measure/measurement_configuration.h"
#include "measure/pn_measure.h"
#include "scpi/error_codes.h"
#include "virtual/slot_adapter.h"

#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>

using namespace vi;

namespace {

constexpr const char* secondGeneration = "220-336306910-0001";
constexpr const char* firstGeneration = "220-336305910-0001";
constexpr const char* olderAnalogBoard = "220-333306910-0001"; // prescalers up to 8

Dut shipped(const std::string& name) {
    DutFile file;
    std::string reason;
    EXPECT_TRUE(dutFile_open(&file, SHIPPED_DUTS "/" + name + ".toml", &reason)) << reason;
    return file.dut;
}

class AdapterTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        device = Device_create();
        ASSERT_EQ(initMeasurementConfiguration(device), 0);
    }

    void attach(const Dut& dut, const char* serial = secondGeneration, int reference = 1) {
        bench_ = std::make_unique<Bench>();
        dut_ = dut;
        bench_init(bench_.get(), unitBoards_of(serial), {"", dut, {}}, 1);
        virtual_adapter_install(*bench_);
        strcpy(device_config_sn, serial);
        config_reset(device);
        configPN.smoothing = 0;
        configPN.spurOmission = 0;
        if (reference != 1) {
            ASSERT_EQ(Device_setInternalReferenceSelection(device, reference), 0);
        }
    }
    static void run(uint32_t correlations) {
        configPN_setCorrelations(device, correlations);
        staging_handOver(device);
        EXPECT_EQ(pnMeasureFull(device), 0);
        EXPECT_EQ(meas_data.locked, 1u);
    }
    /// The trace against the DUT's table between two offsets: its mean, and every point.
    void expectTrace(double from_Hz, double to_Hz, double mean_dB, double each_dB) const {
        const float *levels = nullptr, *offsets = nullptr;
        const int count = pn_measure_getSpectrumData(device, &levels) / int(sizeof(float));
        pn_measure_getSpectrumFreq(device, &offsets);
        double sum = 0;
        int points = 0;
        for (int i = 0; i < count; ++i)
            if (double(offsets[i]) >= from_Hz && double(offsets[i]) <= to_Hz) {
                const double error = double(levels[i]) - noiseCurve_level_dBcHz(dut_.noise, double(offsets[i]));
                EXPECT_LT(std::abs(error), each_dB) << offsets[i] << " Hz";
                sum += error;
                ++points;
            }
        EXPECT_GT(points, 20);
        EXPECT_NEAR(sum / points, 0, mean_dB) << from_Hz << " to " << to_Hz << " Hz";
    }

    static inline Device* device;
    std::unique_ptr<Bench> bench_;
    Dut dut_;
};

} // namespace

TEST_F(AdapterTest, ARunGivesTheNoiseOfTheDutOnAllBoardsAndReferences) {
    const Dut crystal = shipped("vcxo-100mhz"), oven = shipped("ocxo-10mhz"), freeRunning = shipped("vco-2g4");
    Dut fast = shipped("pll-11g8"), faster = fast;
    fast.frequency_Hz = 24e9;
    faster.frequency_Hz = 29e9;
    const struct {
        const char* serial;
        const Dut& dut;
        Reference reference;
        uint32_t prescaler;
        double from_Hz = 1;
    } cases[] = {
        {secondGeneration, crystal, Reference::crystal100MHz, 1},
        {firstGeneration, crystal, Reference::crystal100MHz, 1},
        {secondGeneration, crystal, Reference::resonator1GHz, 1},
        {secondGeneration, oven, Reference::lowNoisePll, 1},
        {secondGeneration, oven, Reference::ocxo10MHzTimes100, 1, 100}, // below, its loop peaks
        {secondGeneration, fast, Reference::lowNoisePll, 2},
        {secondGeneration, faster, Reference::lowNoisePll, 4},
        {olderAnalogBoard, freeRunning, Reference::crystal100MHz, 1},
        {olderAnalogBoard, fast, Reference::lowNoisePll, 8},
    };
    for (const auto& [serial, dut, reference, prescaler, from_Hz] : cases) {
        attach(dut, serial, int(reference));
        configPN_setOffsetMin(device, 1);
        run(2000);
        EXPECT_EQ(configPN.frequency, dut.frequency_Hz);
        EXPECT_NEAR(configPN.power, dut.power_dBm, 0.1);
        EXPECT_EQ(Device_getPrescaler(device), prescaler);
        EXPECT_EQ(Device_getLnaGain(device), 0) << "a run ends with the gain at 0 dB";
        for (double decade = from_Hz; decade < 5e7; decade *= 10)
            expectTrace(decade, std::min(10 * decade, 5e7), 0.2, decade < 100 ? 2.0 : 0.8);
    }
    attach({100e6, 8, {{{1, -90}}}, {}, {}});
    configPN.measurementMethod = methodSingle;
    run(1000);
    EXPECT_EQ(Device_isFdChannelAOnly(device), 1);
    expectTrace(1e5, 5e7, 0.2, 0.8);
}

TEST_F(AdapterTest, WhatTheUserHasFixedStays) {
    attach({100e6, 8, {{{1, -120}}}, {}, {}});
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
    EXPECT_EQ(meas_data.locked, 1u);
    configPN.frequency = 101e6;
    (void)Device_quicklyGetPower(device);
    EXPECT_EQ(meas_data.locked, 0u) << "the sources stand where the user wants them, and the DUT is elsewhere";
}

TEST_F(AdapterTest, SlotsAnswerWithoutASignalAndRefuseWhatTheBoardsDoNotHave) {
    attach({100e6, 8, {{{1, -90}}}, {}, {.noSignal = true}});
    (void)Device_quicklyGetPower(device);
    EXPECT_LT(configPN.frequency, 0);
    EXPECT_EQ(*Device_getPower(device), -100.0f);
    EXPECT_EQ(*Device_getPowerRaw(device), 0.0f);
    for (const int selection : {4, -1})
        EXPECT_EQ(Device_setInternalReferenceSelection(device, selection), scpi::illegalParameterValue);
    EXPECT_EQ(Device_setInternalReferenceSelection(device, 2), 0);
    EXPECT_EQ(Device_getInternalReferenceSelection(device), 2);
    EXPECT_EQ(Device_getFdSamplesCount(device, -1), 0u);
    EXPECT_EQ(Device_getFdSamplingFreq(device, -1), 0.0);
    Device_setFdStages(device, 8);
    Device_setFdSamplesCount(device, 7, 256);
    Device_capturePhaseNoiseFdSamples(device);
    const void* data = nullptr;
    EXPECT_EQ(Device_getPhaseNoiseFdBuffer(device, 99, &data), 256 * 8) << "reads the last stage";
    EXPECT_EQ(Device_getPhaseNoiseFdBufferSize(device, 99), 256);
    attach(dut_, "000-000000000-0000");
    EXPECT_EQ(Device_setInternalReferenceSelection(device, 1), scpi::undefinedHeader);
    EXPECT_EQ(Device_getInternalReferenceSelection(device), -1);
}
