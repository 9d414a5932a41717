/// Running a measurement and reading what came of it.

#include "fake_instrument.h"
#include "tests/slots.h"

#include <cstring>

namespace tree {
namespace {

using Results = Tree;

/// Gives every trace slot these floats; returns their bytes.
std::string measured(std::vector<float> values) {
    traceData = std::move(values);
    traceBytes = static_cast<int>(traceData.size() * sizeof(float));
    return std::string(reinterpret_cast<const char*>(traceData.data()), static_cast<size_t>(traceBytes));
}

/// 32-bit words as the binary framing has them.
std::string words(std::initializer_list<uint32_t> values) {
    std::string bytes;
    for (const uint32_t value : values)
        for (int i = 0; i < 4; ++i)
            bytes += static_cast<char>(value >> (8 * i));
    return bytes;
}

TEST_F(Results, TracesAreDefiniteBlocksWithoutTerminator) {
    constexpr char traces[] =
        "PN:TRAC:FREQ?=PnSpectrumFreq PN:TRAC:NOIS=PnSpectrumData PN:TRAC:POW?=PnSpectrumPowerData "
        "PN:TRAC:SPUR:FREQ?=SpurFreq PN:TRAC:SPUR:POW?=SpurData PN:TRAC:FUNC:AVAR:SIGM?=FunctionAVarianceSigma "
        "PN:TRAC:FUNC:AVAR:TAU?=FunctionAVarianceTau VCO:TRAC:FREQ?=VCOFrequency VCO:TRAC:POW?=VCOPower "
        "VCO:TRAC:VOLT?=Voltage VCO:TRAC:KVCO?=KVCO VCO:TRAC:KPUS?=KPush VCO:TRAC:ISUP?=ISupply";
    const std::string block = "#212" + measured({1.5F, -2.0F, 1e9F});
    for (const auto& [header, slot, _] : itemsOf(traces)) {
        converse({{"CALC:" + header, block}});
        EXPECT_EQ(reads, Notes{"Automeasure_get" + slot + "()"});
    }
    converse({{"*OPC?;CALC:VCO:TRAC:PN? 2", "1\n" + block}});
    EXPECT_EQ(reads, Notes{"Automeasure_getVcoPnOffset(2)"});
    measured({});
    converse({{"CALC:PN:TRAC:NOIS?", "#10"}});
    measured(std::vector<float>(1000, 0.25F)); // longer than the answer buffer
    EXPECT_EQ(tell("CALC:PN:TRAC:NOIS?").size(), 4000u + 6u);
    refuses({{"CALC:VCO:TRAC:PN? x", -224}, {"CALC:VCO:TRAC:PN?", -109}});
    traceBytes = -200;
    converse({{"CALC:PN:TRAC:NOIS?", "", {-200}}, {"CALC:VCO:TRAC:PN? 1", "", {-224}}});
    traceBytes = 0;
    converse({{"CALC:VCO:TRAC:PN? 1", "", {-224}}, {"*OPC?", "1\n"}}); // nothing is being sent
}

TEST_F(Results, CapturedDataGoesOutInBinaryFraming) {
    const std::string bytes = measured({1.0F, 2.0F});
    const std::string pieces = words({28, 1, 4, 2, 0, 0, 0, 0, 6});
    converse({{"MEM:RAM:FNA0:READ?", words({0, 4}) + "AaBb"},
              {"MEM:RAM:FNB1:READ?", words({0, 2}) + "Cc"},
              {"MEM:RAM:FNA5:READ?", words({0, 0})},
              {"MEM:RAM:FNA:READ?", pieces + "AaBbAa"},
              {"MEM:RAM:FNB:READ?", pieces + "CcDdCc"},
              {"MEM:RAM:FNA1:READ?", words({0, 2}) + "Aa"}, // the pieces are forgotten
              {"MEM:RAM:FD3:READ?", words({0, 8}) + bytes}});
    EXPECT_EQ(reads, Notes{"Device_getPhaseNoiseFdBuffer(3)"});

    const std::string pattern = tell("MEM:RAM:TEST:DATA?");
    ASSERT_TRUE(pattern.starts_with("#3220") && pattern.size() == 5 + 220) << pattern;
    converse({{"MEM:RAM:TEST:READ?", words({0, 220}) + pattern.substr(5)}});
    for (size_t i = 0; i < 55; ++i) {
        float value = 0;
        memcpy(&value, pattern.data() + 5 + i * sizeof value, sizeof value);
        EXPECT_FLOAT_EQ(value, static_cast<float>(i % 11 + 1) + 0.1F * static_cast<float>(i / 11)) << i;
    }
}

TEST_F(Results, SamplesAreStreamedFromTheCaptureToItsEnd) {
    results["Device_phaseNoiseSampling_getHBytes"] = 3000;
    std::string block = words({0, 3000});
    for (int i = 0; i < 3000; ++i)
        block += static_cast<char>('a' + i % 26);
    converse({{"MEAS:NOIS?", block}});
    EXPECT_EQ(notes, (Notes{"Device_phaseNoiseSampling_startHMode()", "Device_phaseNoiseSampling_endHMode()"}));
    results["Device_phaseNoiseSampling_startHMode"] = -241;
    converse({{"MEAS:NOIS?;NOIS:FD 1;FILT 4", "", {-241}}});
    EXPECT_EQ(notes, (Notes{"Device_phaseNoiseSampling_startHMode()", "Device_capturePhaseNoiseFdSamples()",
                            "Device_getFilteredSamples(4)"}));
    refuses({{"MEAS:NOIS:FD", -109}, {"MEAS:NOIS:FILT", -109}, {"MEAS:NOIS", -113}});
}

TEST_F(Results, TheSpotIsReadWhereItStandsOrWhereItIsPut) {
    results["Automeasure_getPnSpotSpectrumData"] = -120.5;
    converse({{"CALC:PN:TRAC:SPOT?;SPOT? 1E4", "-120.500000000;-120.500000000\n"}});
    EXPECT_EQ(notes, Notes{"Automeasure_configPN_setSpotFrequency(10000)"});
    refuses({{"CALC:PN:TRAC:SPOT? x", -224}, {"CALC:PN:TRAC:SPOT? 1,2", -108}});
    results["Automeasure_configPN_setSpotFrequency"] = -224;
    converse({{"CALC:PN:TRAC:SPOT? 1E4", "", {-224}}});
}

TEST_F(Results, WaitsReadWhatToWaitForAndHowLong) {
    const std::tuple<const char*, const char*, const char*> waits[] = {
        {"", "waitForMeasurement(0,0)", "waitForVCOMeasurement(0)"},
        {" ALL", "waitForMeasurement(1,0)", "waitForVCOMeasurement(1)"},
        {" 7", "waitForMeasurement(0,7)", "waitForVCOMeasurement(0)"},
        {" NEXT , 5000", "timedWaitForMeasurement(0,0,5000)", "timedWaitForVCOMeasurement(0,5000)"},
        {" 3,1", "timedWaitForMeasurement(0,3,1)", "timedWaitForVCOMeasurement(0,1)"},
        {" ALL,0", "waitForMeasurement(1,0)", "waitForVCOMeasurement(1)"},
        {" ALL,-5", "waitForMeasurement(1,0)", "waitForVCOMeasurement(1)"}};
    for (const auto& [parameters, average, vco] : waits) {
        converse({{std::string("CALC:WAIT:AVER") + parameters + ";:CALC:VCO:WAIT?" + parameters, ""}});
        EXPECT_EQ(notes, (Notes{std::string("Automeasure_") + average, std::string("Automeasure_") + vco}));
    }
    for (const char* header : {"CALC:WAIT:AVER", "CALC:VCO:WAIT"})
        refuses({{" ALL,", -109}, {" ,5", -109}, {" ALL,30,1", -108}, {" SOME", -224}, {" ALL,soon", -224}}, header);
    results["Automeasure_waitForMeasurement"] = -262344;
    converse({{"CALC:WAIT:AVER ALL;:SYST:ERR?", "-262344,\"Execution error;Lock failed\"\n"}});
    fill.clear(Automeasure_timedWaitForMeasurement);
    refuses({{"CALC:WAIT:AVER ALL,30", -113}});
}

TEST_F(Results, ARunIsStartedAndStopped) {
    converse({{"INIT;INIT:FREQ 1e9;:ABOR", ""}});
    EXPECT_EQ(notes, (Notes{"Device_initImmediate()", "Automeasure_configPN_setFrequency(1e+09)",
                            "Automeasure_configPN_enableFreqInit()", "Device_initImmediate()", "Device_abort()",
                            "Device_abort_local()"}));
    refuses({{"CALC:BB:TRAC:FREQ", -190}, {"CALC:BB:TRAC:NOIS?", -190}});
    refuses({{"INIT 1", -108}, {"INIT?", -113}, {"INIT:FREQ", -109}, {"INIT:FREQ x", -224}, {"ABOR NOW", -108}});
    results["Device_abort"] = -200;
    results["Automeasure_configPN_setFrequency"] = -224;
    converse({{"ABOR;:INIT:FREQ 1e9", "", {-200, -224}}});
    EXPECT_EQ(notes, (Notes{"Device_abort()", "Automeasure_configPN_setFrequency(1e+09)"}));
}

TEST_F(Results, ActionsEndInTheirSlotsResult) {
    constexpr char actions[] =
        "SENS:FREQ:EXEC=Automeasure_config_searchForDUT SENS:POW:EXEC?=Automeasure_config_searchForDUT "
        "SENS:RES=Automeasure_config_resetDetectFlags SENS:PN:RES=Automeasure_configPN_resetDetectFlags "
        "SENS:PN:REF1:SENS:EXEC=Automeasure_execSensitivity CALC:PN:TRAC:FUNC:AVAR=Automeasure_calculateAVariance "
        "FREQ:MEAS=Device_measureFrequency *RST=Automeasure_config_reset";
    for (const auto& [header, slot, _] : itemsOf(actions)) {
        results[slot] = -131272;
        converse({{header, "", {-131272}}});
        EXPECT_EQ(notes, inModeOf(header, {slot + "()"}));
        refuses({{" 1", -108}}, header);
    }
}

TEST_F(Results, ATestSetIsDefinedAndRead) {
    converse({{"SENS:PN:TEST O1000,f,P,J,i,D,R,M,x,d;TEST", ""}});
    EXPECT_EQ(notes, (Notes{"Automeasure_setTestSetDefinition(0:1000 1:-1 2:-1 3:-1 4:-1 5:-1 6:-1 7:-1 )",
                            "Automeasure_setTestSetDefinition()"}));
    refuses({{"SENS:PN:TEST O1000,Ox", -224}});
    text = "O1000,F,P";
    converse({{"SENS:PN:TEST?;:CALC:PN:TEST?", "O1000,F,P;O1000,F,P\n"}});
    EXPECT_EQ(reads, (Notes{"Automeasure_getTestSetDefinition()", "Automeasure_getTestSet()"}));
    text = "";
    converse({{"CALC:PN:TEST?", "\n"}});
    refuses({{"SENS:PN:TEST O1,#12ab", -224}});
    fill.clear(Automeasure_setTestSetDefinition);
    refuses({{"SENS:PN:TEST F", -113}});
}

/// More than one buffer of text, and more than two.
TEST_F(Results, ATestSetIsTakenWholeHoweverItArrives) {
    for (const size_t digits : {12u, 40u}) {
        std::string list, expected;
        for (int entry = 1; entry < testSetSize; ++entry) {
            const std::string offset = std::to_string(entry * 1000);
            list += (entry == 1       ? " O"
                     : entry % 2 != 0 ? ",O"
                                      : " , o") +
                    std::string(digits - offset.size(), '0') + offset;
            expected += "0:" + offset + ' ';
        }
        for (const size_t piece : {1u, 7u, 100u, 1000u, 1024u}) {
            EXPECT_EQ(tell(&link_, "SENS:PN:AVER 500;TEST" + list + ";CORR 600;*OPC?;:*OPC?", piece), "1\n");
            EXPECT_EQ(errors(), Codes{-113}) << "a common command behind a path";
            EXPECT_EQ(notes, (Notes{"Automeasure_configPN_setIterations(500)",
                                    "Automeasure_setTestSetDefinition(" + expected + ')',
                                    "Automeasure_configPN_setCorrelations(600)"}))
                << piece;
        }
        converse({{"SENS:PN:TEST" + list + ",F;:*OPC?", "1\n", {-224}}});
        EXPECT_EQ(notes, Notes{});
    }
    const std::string blanks(2 * size, ' ');
    converse({{"SENS:PN:TEST O5" + blanks + ",F" + blanks, ""}});
    EXPECT_EQ(notes, Notes{"Automeasure_setTestSetDefinition(0:5 1:-1 )"});
    converse({{"SENS:PN:TEST O" + std::string(2 * size, '0') + "5,F", "", {-223}}});
    EXPECT_EQ(notes, Notes{});
}

} // namespace
} // namespace tree
