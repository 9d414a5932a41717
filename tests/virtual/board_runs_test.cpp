// Runs on all boards with all references and methods.
#include "run_fixture.h"

using namespace vi;

namespace {

constexpr const char* board1CDouble =
    "220-332305510-0001"; // one board for both sources, without a choice of references
constexpr const char* board2AFirstFpga = "220-333305710-0001";
constexpr const char* board2AOldFpga = "220-333304810-0001";
constexpr const char* board2BFirstPair = "220-334306710-0001";
constexpr const char* board2CFirstFpga = "220-335305910-0001";

/// As a user chooses it; the 10 MHz reference has no mode of its own.
int choose(Device* device, int selection) {
    switch (selection) {
    case 1: return configPN_setReference(device, referenceNormal);
    case 2: return configPN_setReference(device, referenceHighSensitivity);
    case 3: return configPN_setReference(device, referenceLowNoise);
    default: return Device_setInternalReferenceSelection(device, selection);
    }
}

} // namespace

TEST_F(RunTest, EveryBoardRunsWithEachOfItsReferencesAndMethods) {
    const struct {
        const char* serial;
        std::initializer_list<int> selections;
        double frequency_Hz = 1000.0021e6;
    } boards[] = {
        {board1CDouble, {-1}}, // as it starts
        // The last of 2A that counts well enough to do without the beat, which depends on how the sources are tuned.
        {board2AFirstFpga, {1}},
        {board2AOldFpga, {1}},
        {board2BFirstPair, {1}},
        {board2B, {0, 1, 2, 3}},
        {board2CFirstFpga, {0, 1, 2, 3}},
        {board2C, {0, 1, 2, 3}},
        {board2D, {0, 1, 2, 3}},
    };
    for (const auto& [serial, selections, frequency_Hz] : boards)
        for (const int selection : selections) {
            SCOPED_TRACE(testing::Message() << serial << ", reference " << selection);
            attach(loud(frequency_Hz, 8), serial);
            ASSERT_EQ(selection < 0 ? 0 : choose(device, selection), 0);
            ASSERT_EQ(pn_measure_execfrequencySearch(device), 0);
            configPN_setOffsetMin(device, 1); // long captures, for loops that take their time
            EXPECT_EQ(Device_getInternalReferenceSelection(device), selection);
            for (const uint32_t method : {methodCrossCorrelation, methodSingle, methodDut}) {
                if (method != methodCrossCorrelation && selection != 3) // one reference will do
                    continue;
                configPN.measurementMethod = method;
                EXPECT_EQ(run(), 0) << "method " << method;
                EXPECT_EQ(Device_isFdChannelAOnly(device), method != methodCrossCorrelation);
                // The factory states the gains of both channels together.
                expectTrace(1e4, 5e7, method == methodCrossCorrelation ? 0.7 : 1.2, 3.0);
            }
        }
}

TEST_F(RunTest, WhatTheUserKnowsIsNotMeasuredAgain) {
    for (const char* serial : {board1C, board2AFirstFpga, board2B, board2C, board2D}) {
        SCOPED_TRACE(serial);
        attach(loud(100.0009e6, 8), serial);
        ASSERT_EQ(pn_measure_execfrequencySearch(device), 0);
        EXPECT_EQ(run(), 0);
        configPN.autoFrequency = 0;
        configPN_setFrequency(device, 100.0009e6);
        for (Shared<uint32_t>* redo : {&configPN.redoKphi, &configPN.redoIFgain})
            *redo = redoNever;
        configPN_resetDetectFlags(device);
        const double kphi = configPN.kphiA;
        configPN_setOffsetMin(device, 10);
        setUserBandwidth(150);
        EXPECT_EQ(run(), 0);
        EXPECT_EQ(configPN.frequency, 100.0009e6);
        EXPECT_EQ(configPN.kphiA, kphi);
        EXPECT_NEAR(bench_truth(bench_, channelA).wn_rad_s / (2 * M_PI * configPN.loopBandwidth), 1,
                    0.05); // steps of R1
        expectTrace(1e4, 5e7, 0.3, 3.0);
    }
}

TEST_F(RunTest, SlotsKeepToWhatTheBoardsHave) {
    attach(loud(100e6, 8));
    const DetectorTruth detector = unitTruth_detector(bench_->boards, Detector::low);
    EXPECT_NEAR(*Device_getPowerRaw(device), detector_count(detector, 100e6, 8 + 15), 5); // behind the preamplifier
    EXPECT_EQ(Device_selectPnLoopMode(device, 2), scpi::illegalParameterValue);
    EXPECT_EQ(Device_setResistance(device, 4, 1000), scpi::illegalParameterValue);
    EXPECT_EQ(Device_selectLoopC(device, 5), scpi::illegalParameterValue);
    EXPECT_EQ(Device_setInternalReferenceSelection(device, 4), scpi::illegalParameterValue);
    attach(loud(100e6, 8, {.noSignal = true}), "000-000000000-0000");
    EXPECT_EQ(Device_getPhaseNoiseDUTFrequency(device, -1), -1);
    EXPECT_EQ(Device_setInternalReferenceSelection(device, 1), scpi::undefinedHeader);
}
