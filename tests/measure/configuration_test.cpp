#include "device/device_config_sn.h"
#include "fake_instrument.h"
#include "scpi/error_codes.h"

#include <cmath>
#include <cstring>

namespace {

class ConfigurationTest : public MeasureTest {
protected:
    static void useBoard1C() { strcpy(device_config_sn, "220-332306910-0001"); }

    static std::string testSetText() {
        const char* text = nullptr;
        configPN_getTestSetDefinition(device, &text);
        return text;
    }
    static std::string resultText() {
        const char* text = nullptr;
        configPN_getTestSet(device, &text);
        return text;
    }
};

} // namespace

TEST_F(ConfigurationTest, DetectFlagsFollowTheRedoCodes) {
    const struct {
        int (*setRedo)(Device*, int);
        bool (*doStep)(Device*);
    } steps[] = {
        {configPN_setRedoFrequency, config_doFrequency},
        {configPN_setRedoAttenuation, config_doAttenuation},
        {configPN_setRedoKphi, config_doKphi},
        {configPN_setRedoIFgain, config_doIFgain},
    };
    const struct {
        int redo;
        bool answers[3]; // to three runs in a row
    } codes[] = {
        {redoAlways, {true, true, true}}, {redoOnce, {true, false, false}}, {redoNever, {false, false, false}}};
    for (size_t i = 0; i < std::size(steps); ++i)
        for (const auto& [redo, answers] : codes) {
            SCOPED_TRACE(testing::Message() << "step " << i << " redo " << redo);
            steps[i].setRedo(device, redo);
            configPN_resetDetectFlags(device);
            for (const bool expected : answers)
                EXPECT_EQ(steps[i].doStep(device), expected);
        }
    configPN.doKphi = 1; // a failed step asks for a repetition
    configPN_setRedoKphi(device, redoNever);
    EXPECT_TRUE(config_doKphi(device));
    EXPECT_FALSE(config_doKphi(device));
}

TEST_F(ConfigurationTest, AFrequencySearchedAlwaysTakesKphiAlong) {
    for (const auto set : {configPN_setRedoFrequency, config_setRedoFrequency}) {
        configPN_setRedoKphi(device, redoNever);
        set(device, redoOnce);
        EXPECT_EQ(configPN_getRedoKphi(device), redoNever);
        set(device, redoAlways);
        EXPECT_EQ(configPN_getRedoKphi(device), redoAlways);
    }
}

TEST_F(ConfigurationTest, GainRequestsGoToTheGainsOfTheBoard) {
    const struct {
        bool is1C;
        double request;
        double gain; // -1: refused
    } rows[] = {
        {false, 0, 0},     {false, 9.9, 0},   {false, 10, 12},   {false, 15, 20},  {false, 22, 26},
        {false, 34.9, 32}, {false, 35, 44},   {false, 49.9, 44}, {false, 50, 56},  {false, 60, 56},
        {false, 60.1, -1}, {false, -0.1, -1}, {false, NAN, -1},  {true, 9.9, 0},   {true, 10, 26},
        {true, 34.9, 26},  {true, 35, 46},    {true, 50, 46},    {true, 50.1, -1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.is1C << " " << row.request);
        if (row.is1C)
            useBoard1C();
        configPN_enableAutoIFgain(device);
        configPN.ifGain = 77;
        fake->takeLog();
        if (row.gain < 0) {
            EXPECT_EQ(configPN_setIFgain(device, row.request), scpi::illegalParameterValue);
            EXPECT_EQ(configPN_getIFgain(device), 77);
            EXPECT_EQ(configPN_isAutoIFgain(device), 1);
            EXPECT_EQ(fake->takeLog(), "");
        } else {
            EXPECT_EQ(configPN_setIFgain(device, row.request), 0);
            EXPECT_EQ(configPN_getIFgain(device), row.gain);
            EXPECT_EQ(configPN_isAutoIFgain(device), 0);
            EXPECT_EQ(fake->takeLog(), "gain " + std::to_string(static_cast<int>(row.gain)));
        }
    }
    EXPECT_EQ(Automeasure_config_getMaxIFgain(device), 46);
    config_setMeasurementMode(device, measurementModeVCO);
    EXPECT_EQ(configPN_setIFgain(device, 0), scpi::illegalParameterValue);
}

TEST_F(ConfigurationTest, ModesMoveTheHardwareInOrder) {
    configPN_setAttenuation(device, 3.9);
    configPN_setSpotFrequency(device, 12345);
    configPN_disableAutoFrequency(device);
    configPN_setReference(device, referenceExternal);
    configPN_setReferenceVoltage(device, 1, 12);
    configPN_setReferenceVoltage(device, 2, 20);
    const std::string external = "rf off; B; supply 12; external; A; supply 20; external; ";
    const std::string voltages = "B; supply 12; A; supply 20";
    const struct {
        int mode;
        MeasConfig* inForce;
        std::string log;
    } rows[] = {
        {measurementModeAPN, &configAPN,
         "path 3; gain 0; " + external + "B; attenuation 0; A; attenuation 0; " + voltages},
        {measurementModeBB, &configAPN, "rf off"},
        {measurementModeTransient, &configAPN,
         "path 5; rf on; B; internal; A; internal; selection 1; rf off 1; rf on 2; B; tune 7; loop 1; A"},
        {measurementModeVCO, &configVCO.config,
         "path 3; rf on; B; internal; A; internal; selection 1; B; attenuation 0; A; attenuation 0; gate 0.05"},
        {3, &configVCO.config, ""},
        {measurementModePN, &configPN,
         "path 3; gain 0; " + external + "B; attenuation 7; A; attenuation 7; spot 12345; rf on; " + voltages},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.mode);
        fake->takeLog();
        EXPECT_EQ(config_setMeasurementMode(device, row.mode), 0);
        EXPECT_EQ(config_getMeasurementMode(device), row.mode);
        EXPECT_EQ(configPNPtr, row.inForce);
        EXPECT_EQ(measureFullPnWithEverything, row.mode == measurementModePN ? 1U : 0U);
        EXPECT_EQ(fake->takeLog(), row.log);
    }
}

TEST_F(ConfigurationTest, ResetRestoresEverySettingAndParksTheLoops) {
    configPN_setReference(device, referenceExternal);
    configPN_setReferenceSens(device, 2, 500);
    configPN_setIterations(device, 99);
    configPN_setOffsetMin(device, 10);
    configPN_setRedoKphi(device, redoNever);
    config_enablePulse(device);
    configPN.kphiA = 1000;
    configPN.doKphi = 0;
    configPN.power = 3;
    config_selectConfiguration(device, measurementModeVCO);
    configVCO_setVoltagePoints(device, 77);
    configVCO_setPnOffsets(device, 0, 0, 0, 0);
    config_setMeasurementMode(device, measurementModeVCO);
    configVCO_setOffsetMin(device, 10);
    EXPECT_EQ(meas_data.plan.stageCount, 6);
    fake->takeLog();

    EXPECT_EQ(Automeasure_config_reset(device), 0);
    const std::string log = fake->takeLog();
    const std::string parked =
        "B; loop 1; tune 7; A; loop 1; tune 7; gate 0.1; gain 0; B; attenuation 0; A; attenuation 0";
    EXPECT_TRUE(log.ends_with(parked)) << log;
    EXPECT_EQ(configPNPtr, &configPN);
    EXPECT_EQ(measurement_mode, 0U);
    EXPECT_EQ(selected_config, 0U);
    EXPECT_EQ(configPN.reference, 0U);
    EXPECT_EQ(configPN.refSensB, 1);
    EXPECT_EQ(configPN.iterations, 1);
    EXPECT_EQ(configPN.offsetMin, 1000);
    EXPECT_EQ(configPN.redoKphi, 0U);
    EXPECT_EQ(configPN.doKphi, 1U);
    EXPECT_EQ(configPN.autoIFgain, 1U); // although the reset itself set a gain
    EXPECT_EQ(configPN.pulseEnabled, 0U);
    EXPECT_EQ(configPN.kphiA, -1);
    EXPECT_EQ(configPN.power, 3); // measured, no setting
    EXPECT_EQ(configPN.gridChanged, 1U);
    EXPECT_EQ(configVCO.voltagePoints, 10);
    EXPECT_EQ(configVCO.config.offsetMin, 1000);
    EXPECT_EQ(configVCO_getNumberOfUsedOffsets(device), 4);
    EXPECT_EQ(meas_data.plan.stageCount, 4);
    EXPECT_EQ(meas_data.loopWnA, -1);
}

TEST_F(ConfigurationTest, OneChannelNeedsABetterReference) {
    EXPECT_EQ(configPN_setMeasurementMethod(device, methodDut), scpi::illegalParameterValue);
    EXPECT_EQ(configPN_setMeasurementMethod(device, methodSingle), scpi::illegalParameterValue);
    EXPECT_EQ(configPN.measurementMethod, 2U);
    configPN_setReference(device, referenceExternal);
    EXPECT_EQ(configPN_setMeasurementMethod(device, methodDut), 0);
    EXPECT_EQ(configPN.measurementMethod, 1U);
    EXPECT_EQ(configBB_setMeasurementMethod(device, methodDut), scpi::illegalParameterValue);
    EXPECT_EQ(configBB_setMeasurementMethod(device, methodSingle), 0);
    fake->takeLog();
    measure_startMeasurement(device); // one channel reaches the FPGA with the run
    EXPECT_EQ(fake->takeLog().substr(0, 4), "fd A");
}

TEST_F(ConfigurationTest, AReferenceThatCannotBeSetIsNotStored) {
    Device_setInternalReferenceSelection = [](Device*, int) -> int { return scpi::undefinedHeader; };
    EXPECT_EQ(configPN_setReference(device, referenceLowNoise), scpi::undefinedHeader);
    EXPECT_EQ(configPN.reference, 0U);
    EXPECT_EQ(configVCO_setReference(device, referenceLowNoise), 0); // not its mode: only stored
    EXPECT_EQ(configVCO.config.reference, 1U);
    EXPECT_EQ(configPN_setReference(device, 4), scpi::illegalParameterValue);
    EXPECT_EQ(configPN_setReference(device, -1), scpi::illegalParameterValue);
    Device_setInternalReferenceSelection = [](Device*, int) { return 0; };
}

TEST_F(ConfigurationTest, ExternalReferences) {
    const struct {
        int32_t channel;
        double value;
        int voltageResult, sensResult;
    } rows[] = {
        {1, 20, 0, 0},      {2, 3, 0, 0},       {1, 2.9, -224, 0},       {1, 20.1, -224, 0},   {3, 5, -224, -224},
        {0, 5, -224, -224}, {1, 0, -224, -224}, {1, 100000, -224, -224}, {1, NAN, -224, -224},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.channel << ": " << row.value);
        EXPECT_EQ(configPN_setReferenceVoltage(device, row.channel, row.value), row.voltageResult);
        EXPECT_EQ(configPN_setReferenceSens(device, row.channel, row.value), row.sensResult);
    }
    configPN_setReferenceSens(device, 1, 111);
    configPN_setReferenceSens(device, 2, 222);
    EXPECT_EQ(configPN_getReferenceSens(device, 1), 111);
    EXPECT_EQ(configPN_getReferenceSens(device, 2), 222);
    EXPECT_EQ(configPN_getReferenceSens(device, 3), -1);
    config_setMeasurementMode(device, measurementModeBB);
    configPN_setReferenceSens(device, 1, 333);
    EXPECT_EQ(configPN_getReferenceSens(device, 3), 333);
    EXPECT_EQ(configPN.refSensA, 111);
}

TEST_F(ConfigurationTest, SweepSettingsNeedTheirConfigurationSelected) {
    EXPECT_EQ(configVCO_setVoltageStart(device, 1), scpi::illegalParameterValue);
    EXPECT_EQ(configVCO_setVoltagePoints(device, 5), scpi::illegalParameterValue);
    EXPECT_EQ(configVCO_disablePower(device), 3);
    EXPECT_EQ(configVCO_getVoltagePoints(device), 3);
    EXPECT_EQ(configVCO_getVoltageStop(device), 3.0);
    EXPECT_EQ(configVCO_isPowerEnabled(device), 0);
    config_selectConfiguration(device, measurementModeVCO);
    EXPECT_EQ(configVCO_getVoltagePoints(device), 10);
    EXPECT_EQ(configVCO_getVoltageStop(device), 5);
    EXPECT_EQ(configVCO_isPowerEnabled(device), 1);
    EXPECT_EQ(configVCO_disablePower(device), 0);
    EXPECT_EQ(configVCO_isPowerEnabled(device), 0);

    configVCO_setPnOffsets(device, 0, 5, 1e9, -3);
    const double offsets[] = {-1, 0, 10, 50e6, 10, -1};
    for (int number = 0; number < 6; ++number)
        EXPECT_EQ(configVCO_getPnOffset(device, number), offsets[number]) << number;
    EXPECT_EQ(configVCO_getNumberOfUsedOffsets(device), 3);

    for (const auto& [delay, result] : {std::pair{1e7, 0}, {1e7 + 1, 3}, {-1.0, 3}, {double{NAN}, 3}})
        EXPECT_EQ(configVCO_setTuneDelay(device, &delay), result) << delay;
    EXPECT_EQ(*configVCO_getTuneDelay(device), 1e7);
}

TEST_F(ConfigurationTest, TransientModeMovesOneChannel) {
    config_setMeasurementMode(device, measurementModeTransient);
    fake->takeLog();
    EXPECT_EQ(config_setFrequency(device, 123456789), 0);
    EXPECT_EQ(fake->takeLog(), "one 1.23457e+08");
    EXPECT_EQ(config_getFrequency(device), 123456789);
}

TEST_F(ConfigurationTest, KphiIsShownInWholeCounts) {
    configPN.kphiA = 16384.9;
    EXPECT_DOUBLE_EQ(config_getKphi(device), 16384.9);
    EXPECT_NEAR(config_getKphi_converted(device), 0.4, 1e-12);
}

TEST_F(ConfigurationTest, TestSetHoldsItsEntriesAndItsText) {
    const TestSetDefinition list[] = {{testSetOffsetNoise, 1e4},   {testSetJitter, -1}, {testSetFrequency, -1},
                                      {testSetOffsetNoise, 1e300}, {testSetPower, -1},  {testSetEnd, -1}};
    EXPECT_EQ(configPN_setTestSetDefinition(device, list), 0);
    char expected[400];
    snprintf(expected, sizeof expected, "O10000,F,O%.0f,P", 1e300);
    EXPECT_EQ(testSetText(), expected);
    EXPECT_EQ(resultText(), "0.0000,0.0000,0.0000,0.0000,0.0000");
    {
        MutexLock lock(meas_data.testSetMutex);
        configPN.testSetResults[1] = -123.45678;
        configPN.testSetResults[3] = -INFINITY;
    }
    EXPECT_EQ(resultText(), "0.0000,-123.4568,0.0000,-inf,0.0000");

    std::array<TestSetDefinition, 65> longest;
    longest.fill({testSetOffsetNoise, -1.7e308});
    EXPECT_EQ(configPN_setTestSetDefinition(device, longest.data()), scpi::illegalParameterValue);
    EXPECT_EQ(testSetText(), expected); // the old one stays
    longest[63] = {testSetEnd, -1};
    EXPECT_EQ(configPN_setTestSetDefinition(device, longest.data()), 0);
    EXPECT_EQ(testSetText().size(), 63 * (2 + 309) + 62);
    {
        MutexLock lock(meas_data.testSetMutex);
        std::fill_n(configPN.testSetResults, 63, -1.7e308);
    }
    EXPECT_EQ(resultText().size(), 63 * (1 + 309 + 5) + 62);
    EXPECT_EQ(configPN_setTestSetDefinition(device, nullptr), 0);
    EXPECT_EQ(testSetText(), "");
    EXPECT_EQ(resultText(), "");
}
