// Runs on all boards and references, and what ends them.
#include "adapter_fixture.h"

using namespace vi;

namespace {

Dut shipped(const std::string& name) {
    DutFile file;
    std::string reason;
    EXPECT_TRUE(dutFile_open(&file, SHIPPED_DUTS "/" + name + ".toml", &reason)) << reason;
    return file.dut;
}

} // namespace

TEST_F(AdapterTest, ARunFindsLocksAndMeasuresOnAllBoards) {
    const struct {
        const char* serial;
        double frequency_Hz, power_dBm;
        uint32_t prescaler;
        double mean_dB = 0.3;
    } cases[] = {
        {board1C, 10e6, 8, 1},           {board1C, 1e9, 8, 1},           {board1C, 11.8e9, 13, 8},
        {board2A, 10e6, -10, 1, 0.7}, // its fixed filter makes the loops of unlike channels unlike
        {board2A, 3.1e9, 0, 2, 0.7},     {board2A, 18e9, 8, 8, 0.7},     {board2B, 10e6, 13, 1},
        {board2B, 100.000123e6, -10, 1}, {board2B, 11.8e9, 0, 2},        {board2C, 1e9, 0, 1},
        {board2C, 18e9, -10, 4},         {board2D, 100.000123e6, 8, 1},  {board2D, 7e9, -10, 1},
        {board2D, 18e9, 13, 2},          {board2DFirstFpga, 18e9, 0, 2},
    };
    for (const auto& [serial, frequency_Hz, power_dBm, prescaler, mean_dB] : cases) {
        SCOPED_TRACE(testing::Message() << serial << ", " << frequency_Hz << " Hz, " << power_dBm << " dBm");
        attach(loud(frequency_Hz, power_dBm), serial);
        ASSERT_EQ(pn_measure_execfrequencySearch(device), 0);
        configPN_setOffsetMin(device, 1);
        EXPECT_EQ(run(500), 0);
        EXPECT_EQ(meas_data.locked, 1u);
        const double tick = 1 / (0.01 * Device_getBaseSampleFrequency(device)); // of the run's gate
        EXPECT_NEAR(configPN.frequency / frequency_Hz, 1, std::max(2 * tick, 40 / frequency_Hz));
        EXPECT_NEAR(configPN.power, power_dBm, 0.1);
        EXPECT_NEAR(constantRatio(channelA), 1, 0.02);
        EXPECT_NEAR(constantRatio(channelB), 1, 0.02);
        EXPECT_EQ(Device_getPrescaler(device), prescaler);
        EXPECT_EQ(Device_getLnaGain(device), 0) << "a run ends with the gain at 0 dB";
        for (double decade = 1; decade < 5e7; decade *= 10)
            expectTrace(decade, std::min(10 * decade, 5e7), mean_dB, decade < 100 ? 2.0 : 1.0);
    }
}

TEST_F(AdapterTest, EachReferenceLocksFromItsRestAndAgain) {
    const struct {
        int reference;
        double frequency_Hz;
        double mean_dB = 0.3;
    } cases[] = {
        // A beat of a few periods tells less of the detectors.
        {0, 100.000123e6, 1.5},
        {2, 100.000123e6, 1.5},
        {0, 1000.0021e6},
        {1, 100.0009e6},
        {1, 1000.0021e6},
        {2, 1000.0021e6},
        {2, 18e9},
        {3, 1000.0021e6},
        {3, 18e9},
    };
    for (const auto& [reference, frequency_Hz, mean_dB] : cases) {
        SCOPED_TRACE(testing::Message() << "reference " << reference << ", " << frequency_Hz << " Hz");
        attach(loud(frequency_Hz, 8), board2D, reference);
        ASSERT_EQ(pn_measure_execfrequencySearch(device), 0);
        if (reference == 0) // its loop of 10 Hz is still on its way when a short capture is over
            configPN_setOffsetMin(device, 1);
        for (int repeat = 0; repeat < 3; ++repeat) {
            EXPECT_EQ(run(), 0);
            expectTrace(1e4, 5e7, mean_dB, 3.0);
        }
    }
}

TEST_F(AdapterTest, AWildOscillatorNeedsAWideLoop) {
    const NoiseCurve curve{{{100, -5}, {1e3, -27}, {1e4, -57}, {1e5, -87}, {1e6, -117}, {1e7, -147}}};
    for (const bool wide : {false, true}) {
        attach({2.4e9, 8, curve, {}, {}});
        if (wide) {
            configPN.autoLoopBW = 0;
            configPN.loopBandwidth = 5500;
        }
        ASSERT_EQ(pn_measure_execfrequencySearch(device), 0);
        EXPECT_EQ(run(), wide ? 0 : scpi::lockFailed);
    }
    expectTrace(1e5, 5e6, 0.5, 3.0);
}

TEST_F(AdapterTest, TheShippedDutsAreMeasured) {
    for (const char* name : {"ocxo-10mhz", "vcxo-100mhz", "vco-150mhz", "vco-2g4", "pll-11g8"}) {
        SCOPED_TRACE(name);
        attach(shipped(name));
        if (name == std::string("vco-2g4")) { // free running
            configPN.autoLoopBW = 0;
            configPN.loopBandwidth = 5000;
        }
        ASSERT_EQ(pn_measure_execfrequencySearch(device), 0);
        EXPECT_EQ(run(2000), 0);
        expectTrace(1e4, 5e7, 0.5, 1.5);
    }
}

TEST_F(AdapterTest, OneChannelAloneAndASlowDriftAreMeasured) {
    attach(loud(100e6, 8));
    configPN.measurementMethod = methodSingle;
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(Device_isFdChannelAOnly(device), 1);
    expectTrace(1e4, 5e7, 0.3, 3.0);
    attach(loud(100e6, 8, {.drift_HzPerS = 20}));
    EXPECT_EQ(run(), 0);
    expectTrace(1e4, 5e7, 0.3, 3.0);
}

TEST_F(AdapterTest, AFaultEndsTheRunWithItsError) {
    const struct {
        Faults faults;
        int code;
    } cases[] = {
        {{.noSignal = true}, scpi::noSignalDetected},
        {{.channelBDead = true}, scpi::noSignalDetected},
        {{.counterDisagrees = true}, scpi::noSignalDetected},
        {{.unlikeDetectors = true}, scpi::noValidBeatDetected},
        {{.samplesMissing = true}, scpi::noValidBeatDetected},
        {{.unlockable = true}, scpi::lockFailed},
        {{.tuneRail = true}, scpi::lockFailed},
        {{.drift_HzPerS = 1e6}, scpi::lockFailed},
    };
    for (const auto& [faults, code] : cases) {
        SCOPED_TRACE(code);
        attach(loud(100.0003e6, 8, faults)); // off the grid of the sources
        EXPECT_EQ(run(), code);
    }
    attach(loud(100e6, 8));
    EXPECT_EQ(run(), 0);
    EXPECT_GE(configPN.ifGain, 20);
    attach(loud(100e6, 8, {.clip = true}));
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(configPN.ifGain, 0) << "what gets into the IF chain leaves no room for more";
}

TEST_F(AdapterTest, SlotsAnswerWithoutASignalAndRefuseWhatTheBoardsDoNotHave) {
    attach(loud(100e6, 8));
    EXPECT_NEAR(*Device_getPowerRaw(device), 3600, 40);
    attach(loud(100e6, 8, {.noSignal = true}));
    EXPECT_EQ(Device_getPhaseNoiseDUTFrequency(device, -1), -200);
    EXPECT_EQ(*Device_getPower(device), -100.0f);
    EXPECT_EQ(*Device_getPowerRaw(device), 0.0f);
    for (const int selection : {4, -1})
        EXPECT_EQ(Device_setInternalReferenceSelection(device, selection), scpi::illegalParameterValue);
    EXPECT_EQ(Device_setInternalReferenceSelection(device, 2), 0);
    EXPECT_EQ(Device_getInternalReferenceSelection(device), 2);
    for (const int mode : {0, 2, 6})
        EXPECT_EQ(Device_selectPnLoopMode(device, mode), scpi::illegalParameterValue);
    for (const int index : {0, 4})
        EXPECT_EQ(Device_setResistance(device, index, 1000), scpi::illegalParameterValue);
    EXPECT_EQ(Device_selectLoopC(device, 5), scpi::illegalParameterValue);
    EXPECT_EQ(Device_setTuneOutputVoltage(device, 12), 0);
    EXPECT_EQ(Device_getTuneOutputVoltage(device), 5) << "held down for the 1 GHz reference";
    const std::pair<uint32_t, uint32_t> samples[] = {{1, 2}, {1025, 1024}, {0x100001, 0x100000}, {0, 0}};
    for (const auto& [asked, kept] : samples) {
        EXPECT_EQ(Device_setPhaseNoiseSamples(device, asked), 0);
        EXPECT_EQ(Device_getPhaseNoiseSamples(device), kept);
    }
    EXPECT_EQ(Device_getFilteredSamples(device, 0), 0) << "nothing to take";
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
