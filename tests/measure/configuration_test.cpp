#include "base/error_codes.h"
#include "fake_instrument.h"
#include "identity/device_config_sn.h"
#include "tests/slots.h"

#include <cmath>
#include <cstring>

namespace {

using ConfigurationTest = MeasureTest;
constexpr int refused = scpi::illegalParameterValue;

/// What `set` answers while an operation of the boards fails.
template <class... Arguments> int whileFailing(Slot<int(Arguments...)>& slot, int (*set)()) {
    const auto works = slot.function();
    fill(slot, [](Arguments...) -> int { return scpi::executionError; });
    const int answer = set();
    fill(slot, works);
    return answer;
}

} // namespace

TEST_F(ConfigurationTest, RedoCodesTellWhatThreeRunsInARowRepeat) {
    for (const auto& [setRedo, doStep] : {std::pair{&configPN_setRedoFrequency, &config_doFrequency},
                                          {&configPN_setRedoAttenuation, &config_doAttenuation},
                                          {&configPN_setRedoKphi, &config_doKphi},
                                          {&configPN_setRedoIFgain, &config_doIFgain}})
        for (const auto& [redo, answers] : {std::pair{redoAlways, "111"}, {redoOnce, "100"}, {redoNever, "000"}}) {
            setRedo(device, redo);
            configPN_resetDetectFlags(device);
            std::string given;
            for (int run = 0; run < 3; ++run)
                given += doStep(&configPN) ? '1' : '0';
            EXPECT_EQ(given, answers) << "redo " << redo;
        }
    configPN.doKphi = 1; // a failed step asks for a repetition
    configPN_setRedoKphi(device, redoNever);
    EXPECT_TRUE(config_doKphi(&configPN));
    EXPECT_FALSE(config_doKphi(&configPN));
    for (const auto set : {configPN_setRedoFrequency, config_setRedoFrequency}) {
        configPN_setRedoKphi(device, redoNever);
        set(device, redoOnce);
        EXPECT_EQ(configPN.redoKphi, uint32_t{redoNever});
        set(device, redoAlways); // a frequency searched always takes Kphi along
        EXPECT_EQ(configPN.redoKphi, uint32_t{redoAlways});
    }
}

TEST_F(ConfigurationTest, GainRequestsGoToTheGainsOfTheBoard) {
    const struct {
        const char* boards;
        double request;
        int gain; // -1: refused
    } rows[] = {
        {"6", 9.9, 0}, {"6", 10, 12},  {"3456", 60, 56}, {"3456", 60.1, -1},
        {"6", -1, -1}, {"6", NAN, -1}, {"2", 50, 46},    {"2", 50.1, -1},
    };
    for (const auto& [boards, request, gain] : rows)
        for (const char board : std::string_view(boards)) {
            SCOPED_TRACE(testing::Message() << board << " " << request);
            useBoard(board);
            configPN_enableAutoIFgain(device);
            configPN.ifGain = -1;
            EXPECT_EQ(configPN_setIFgain(device, request), gain < 0 ? refused : 0);
            EXPECT_EQ(configPN_getIFgain(device), gain);
            EXPECT_EQ(configPN_isAutoIFgain(device), gain < 0);
            EXPECT_EQ(fake->takeLog(), gain < 0 ? "" : "gain " + std::to_string(gain));
        }
    config_setMeasurementMode(device, measurementModeVCO);
    EXPECT_EQ(configPN_setIFgain(device, 0), refused);
}

TEST_F(ConfigurationTest, ModesMoveTheHardwareInOrder) {
    configPN_setAttenuation(device, 3.9);
    configPN_setSpotFrequency(device, 12345);
    configPN_disableAutoFrequency(device);
    configPN_setReference(device, referenceExternal);
    configPN_setReferenceVoltage(device, 1, 12);
    configPN_setReferenceVoltage(device, 2, 20);
    const std::string internal = "rf on; B; internal; A; internal; selection 1; ";
    const std::string external = "rf off; B; supply 12; external; A; supply 20; external; ";
    const std::string voltages = "B; supply 12; A; supply 20";
    const std::string straight = "B; attenuation 0; A; attenuation 0; ";
    const struct {
        int mode;
        MeasConfig* inForce;
        std::string log;
    } rows[] = {
        {measurementModeAPN, &configAPN, "path 3; gain 0; " + external + straight + voltages},
        {measurementModeBB, &configAPN, "rf off"},
        {measurementModeVCO, &configVCO.config, "path 3; " + internal + straight + "gate 0.05"},
        {measurementModePN, &configPN,
         "path 3; gain 0; " + external + "B; attenuation 7; A; attenuation 7; spot 12345; rf on; sources 1e+08; " +
             voltages},
        {3, &configPN, ""},
        {measurementModeTransient, &configPN, "path 5; " + internal + "rf off 1; rf on 2; B; tune 7; loop 1; A"},
    };
    for (const auto& [mode, inForce, log] : rows) {
        fake->takeLog();
        EXPECT_EQ(config_setMeasurementMode(device, mode), 0);
        EXPECT_EQ(configPNPtr, inForce) << mode;
        EXPECT_EQ(measureFullPnWithEverything, mode == measurementModePN || mode == 3) << mode;
        EXPECT_EQ(fake->takeLog(), log) << mode;
    }
    EXPECT_EQ(config_setFrequency(device, 123456789), 0);
    EXPECT_EQ(fake->takeLog(), "one 1.23457e+08"); // transient mode moves one channel
}

TEST_F(ConfigurationTest, ResetRestoresEverySettingAndParksTheLoops) {
    configPN_setReference(device, referenceExternal);
    configPN_setIterations(device, 99);
    configPN.power = 3;
    config_selectConfiguration(device, measurementModeVCO);
    configVCO_setVoltagePoints(device, 77);
    config_setMeasurementMode(device, measurementModeVCO);
    configVCO_setOffsetMin(device, 10);
    meas_data.beatSamples = meas_data.beatDivider = meas_data.beatChannels = 2;
    EXPECT_EQ(meas_data.plan.stageCount, 6);

    EXPECT_EQ(Automeasure_config_reset(device), 0);
    const std::string log = fake->takeLog();
    EXPECT_TRUE(log.ends_with("B; loop 1; tune 7; A; loop 1; tune 7; gate 0.1; gain 0; "
                              "B; attenuation 0; A; attenuation 0"))
        << log;
    EXPECT_EQ(configPNPtr, &configPN);
    EXPECT_EQ(measurement_mode + selected_config, 0U);
    EXPECT_EQ(configPN.iterations, 1);
    EXPECT_EQ(configPN.autoIFgain, 1U); // although the reset itself set a gain
    EXPECT_EQ(configPN.power, 3);       // measured, no setting
    EXPECT_EQ(configVCO.voltagePoints, 10);
    EXPECT_EQ(meas_data.plan.stageCount, 4);
    EXPECT_EQ(meas_data.loopWnA, -1);
    EXPECT_EQ(meas_data.beatSamples + meas_data.beatDivider + meas_data.beatChannels, 0U);
}

TEST_F(ConfigurationTest, OneChannelNeedsABetterReference) {
    for (const int reference : {int{referenceNormal}, int{referenceExternal}})
        for (const uint32_t method : {methodCrossCorrelation, methodDut, methodSingle}) {
            configPN_setReference(device, reference);
            const bool good = reference != 0 || method == methodCrossCorrelation;
            EXPECT_EQ(configPN_setMeasurementMethod(device, method), good ? 0 : refused) << reference << method;
            EXPECT_EQ(configPN.measurementMethod, good ? method : uint32_t{methodCrossCorrelation});
        }
    EXPECT_EQ(configBB_setMeasurementMethod(device, methodDut), refused);
    fake->takeLog();
    measure_startMeasurement(device); // one channel reaches the FPGA with the run
    EXPECT_EQ(fake->takeLog().substr(0, 4), "fd A");
}

TEST_F(ConfigurationTest, OffsetsStayInOrderWhicheverIsSetFirst) {
    constexpr double start = 0, stop = 1; // which of the two
    const struct {
        double which, value, min, max; // set one after the other, from 1 kHz to 50 MHz on
    } rows[] = {
        {start, 1e6, 1e6, 50e6},  {stop, 2e6, 1e6, 2e6},  {stop, 1e3, 100, 1e3},  {start, 10, 10, 1e3},
        {start, 1e3, 1e3, 1e4},   {stop, 1e3, 100, 1e3},  {start, 1e7, 1e7, 5e7}, {start, 1e9, 50e6, 50e6},
        {stop, 0, 0.01, 0.1},     {start, -1, 0.01, 0.1}, {start, 0.1, 0.1, 1},   {stop, 1e99, 0.1, 50e6},
        {start, NAN, 0.01, 50e6},
    };
    for (const bool vco : {false, true}) {
        MeasConfig& config = vco ? configVCO.config : configPN;
        for (const auto& [which, value, min, max] : rows) {
            SCOPED_TRACE(testing::Message() << vco << ": " << (which == start ? "start " : "stop ") << value);
            if (vco)
                EXPECT_EQ((which == start ? configVCO_setOffsetMin : configVCO_setOffsetMax)(device, value), 0);
            else
                EXPECT_EQ((which == start ? configPN_setOffsetMin : configPN_setOffsetMax)(device, value), 0);
            EXPECT_EQ(std::pair(config.offsetMin.get(), config.offsetMax.get()), std::pair(min, max));
        }
    }
}

TEST_F(ConfigurationTest, WhoMovesTheHardwareHearsOfEachFailure) {
    const auto internal = [] { return configPN_setReference(device, referenceLowNoise); };
    const auto external = [] { return configPN_setReference(device, referenceExternal); };
    const auto pulse = [] { return config_enablePulse(device); };
    const int answers[] = {
        whileFailing(Device_enableRf, internal),
        whileFailing(Device_setReferenceSourceInternal, internal),
        whileFailing(Device_setInternalReferenceSelection, internal),
        whileFailing(Device_disableRf, external),
        whileFailing(Device_setVoutPosVoltage, external),
        whileFailing(Device_setReferenceSourceExternal, external),
        whileFailing(Device_setTotalStepAttenuation, [] { return configPN_setAttenuation(device, 3); }),
        whileFailing(Device_setSpotFreq, [] { return configPN_setSpotFrequency(device, 1e6); }),
        whileFailing(Device_setLnaGain, [] { return configPN_setIFgain(device, 20); }),
        whileFailing(Device_configPulse, pulse),
        whileFailing(Device_enablePreamplifier, pulse),
    };
    for (size_t i = 0; i < std::size(answers); ++i)
        EXPECT_EQ(answers[i], scpi::executionError) << i;
}

TEST_F(ConfigurationTest, AReferenceThatCannotBeSetIsNotStored) {
    fill(Device_setInternalReferenceSelection, [](Device*, int) -> int { return scpi::undefinedHeader; });
    EXPECT_EQ(configPN_setReference(device, referenceLowNoise), scpi::undefinedHeader);
    EXPECT_EQ(configVCO_setReference(device, referenceLowNoise), 0); // not its mode: only stored
    fill(Device_setInternalReferenceSelection, [](Device*, int) { return 0; });
    EXPECT_EQ(configPN_setReference(device, 4), refused);
    EXPECT_EQ(configPN.reference, 0U);
    EXPECT_EQ(configVCO.config.reference, 1U);
}

TEST_F(ConfigurationTest, ExternalReferencesHaveLimitsAndTwoChannels) {
    for (const auto& [volts, result] : {std::pair{20.0, 0}, {20.1, refused}, {double{NAN}, refused}})
        EXPECT_EQ(configPN_setReferenceVoltage(device, 1, volts), result) << volts;
    for (const int channel : {0, 1, 2, 3}) {
        const int result = channel == 1 || channel == 2 ? 0 : refused;
        EXPECT_EQ(configPN_setReferenceVoltage(device, channel, 5), result) << channel;
        EXPECT_EQ(configPN_setReferenceSens(device, channel, 1 + 100 * channel), result) << channel;
    }
    for (const double end : {0.0, 100'000.0}) // exclusive
        EXPECT_EQ(configPN_setReferenceSens(device, 1, end), refused) << end;
    EXPECT_EQ(configPN_getReferenceSens(device, 2), 201);
    EXPECT_EQ(configPN_getReferenceSens(device, 3), -1);
}

TEST_F(ConfigurationTest, TestSetHoldsItsEntriesAndItsText) {
    const TestSetDefinition list[] = {
        {testSetOffsetNoise, 1e4}, {testSetJitter, -1}, {testSetFrequency, -1}, {testSetPower, -1}, {testSetEnd, -1}};
    EXPECT_EQ(configPN_setTestSetDefinition(device, list), 0);
    EXPECT_EQ(read(configPN_getTestSetDefinition), "O10000,F,P");
    {
        MutexLock lock(meas_data.testSetMutex);
        configPN.testSetResults[1] = -123.45678;
        configPN.testSetResults[3] = -INFINITY;
    }
    EXPECT_EQ(read(configPN_getTestSet), "0.0000,-123.4568,0.0000,-inf");

    std::array<TestSetDefinition, 65> longest;
    longest.fill({testSetOffsetNoise, -1.7e308});
    EXPECT_EQ(configPN_setTestSetDefinition(device, longest.data()), refused);
    EXPECT_EQ(read(configPN_getTestSetDefinition), "O10000,F,P"); // the old one stays
    longest[63] = {testSetEnd, -1};
    EXPECT_EQ(configPN_setTestSetDefinition(device, longest.data()), 0);
    EXPECT_EQ(read(configPN_getTestSetDefinition).size(), 63 * (2 + 309) + 62);
    EXPECT_EQ(read(configPN_getTestSet).substr(0, 13), "0.0000,0.0000"); // those of the old set are gone
}
