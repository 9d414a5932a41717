/// Running a measurement and reading what came of it.

#include "fake_instrument.h"

#include <cstring>

namespace tree {
namespace {

class Results : public Tree {
protected:
    /// Gives every trace slot these floats; returns their bytes.
    static std::string measured(std::vector<float> values) {
        traceData = std::move(values);
        traceBytes = static_cast<int>(traceData.size() * sizeof(float));
        return std::string(reinterpret_cast<const char*>(traceData.data()), static_cast<size_t>(traceBytes));
    }
};

/// A 32-bit word as the binary framing has it.
std::string word(uint32_t value) {
    std::string bytes;
    for (int i = 0; i < 4; ++i)
        bytes += static_cast<char>(value >> (8 * i));
    return bytes;
}

TEST_F(Results, TracesAreDefiniteBlocksWithoutTerminator) {
    const std::string bytes = measured({1.5F, -2.0F, 1e9F});
    const char* headers[] = {
        "CALC:PN:TRAC:FREQ?",      "CALC:PN:TRAC:NOIS?",          "CALC:PN:TRAC:POW?",
        "CALC:PN:TRAC:SPUR:FREQ?", "CALC:PN:TRAC:SPUR:POW?",      "CALC:PN:TRAC:FUNC:AVAR:SIGM?",
        "CALC:VCO:TRAC:FREQ?",     "CALC:PN:TRAC:FUNC:AVAR:TAU?", "CALC:VCO:TRAC:POW?",
        "CALC:VCO:TRAC:VOLT?",     "CALC:VCO:TRAC:KVCO?",         "CALC:VCO:TRAC:KPUS?",
        "CALC:VCO:TRAC:ISUP?",     "CALC:PN:TRAC:NOIS",           "CALC:VCO:TRAC:PN? 2",
    };
    for (const char* header : headers)
        EXPECT_EQ(tell(header), "#212" + bytes) << header;
    EXPECT_EQ(errors(), Codes{});
    EXPECT_EQ(done(), Notes{"offset 2"});
    EXPECT_EQ(tell("*OPC?;CALC:PN:TRAC:NOIS?"), "1\n#212" + bytes);

    measured({});
    EXPECT_EQ(tell("CALC:PN:TRAC:NOIS?"), "#10");
    measured(std::vector<float>(1000, 0.25F)); // longer than the answer buffer
    EXPECT_EQ(tell("CALC:PN:TRAC:NOIS?").size(), 4000u + 6u);
    EXPECT_EQ(errors(), Codes{});
    traceBytes = -200;
    EXPECT_EQ(tell("CALC:PN:TRAC:NOIS?"), "");
    EXPECT_EQ(tell("*OPC?"), "1\n") << "nothing is being sent";
    EXPECT_EQ(errors(), Codes{-200});
}

TEST_F(Results, EachTraceComesFromItsOwnSlot) {
    measured({1.0F});
    Automeasure_getPnSpectrumFreq.unregister();
    EXPECT_EQ(tell("CALC:PN:TRAC:FREQ?"), "");
    EXPECT_NE(tell("CALC:PN:TRAC:NOIS?"), "");
    Automeasure_getVCOPower.unregister();
    EXPECT_EQ(tell("CALC:VCO:TRAC:POW?"), "");
    Automeasure_getSpurData.unregister();
    EXPECT_EQ(tell("CALC:PN:TRAC:SPUR:POW?"), "");
    Automeasure_getFunctionAVarianceTau.unregister();
    EXPECT_EQ(tell("CALC:PN:TRAC:FUNC:AVAR:TAU?"), "");
    Automeasure_getISupply.unregister();
    EXPECT_EQ(tell("CALC:VCO:TRAC:ISUP?"), "");
    EXPECT_EQ(errors(), Codes(5, -113));
}

TEST_F(Results, NoiseAtAnOffsetOfTheSweepNeedsAnIndex) {
    measured({1.0F});
    for (const auto& [line, code] : {Refusal{"CALC:VCO:TRAC:PN? x", -224}, {"CALC:VCO:TRAC:PN?", -109}}) {
        EXPECT_EQ(tell(line), "");
        EXPECT_EQ(errors(), Codes{code}) << line;
        EXPECT_EQ(done(), Notes{}) << line;
    }
    for (const int bytes : {0, -1}) {
        traceBytes = bytes;
        EXPECT_EQ(tell("CALC:VCO:TRAC:PN? 1"), "");
        EXPECT_EQ(errors(), Codes{-224});
    }
}

TEST_F(Results, CapturedDataGoesOutInBinaryFraming) {
    const std::string bytes = measured({1.0F, 2.0F});
    const std::string plain = word(0);
    EXPECT_EQ(tell("MEM:RAM:FD3:READ?"), plain + word(8) + bytes);
    EXPECT_EQ(done(), Notes{"stage 3"});
    EXPECT_EQ(tell("MEM:RAM:FNA0:READ?"), plain + word(4) + "AaBb");
    EXPECT_EQ(tell("MEM:RAM:FNB1:READ?"), plain + word(2) + "Cc");
    EXPECT_EQ(tell("MEM:RAM:FNA5:READ?"), plain + word(0));
    const std::string sixSizes = word(28) + word(1) + word(4) + word(2) + word(0) + word(0) + word(0) + word(0);
    EXPECT_EQ(tell("MEM:RAM:FNA:READ?"), sixSizes + word(6) + "AaBbAa");
    EXPECT_EQ(tell("MEM:RAM:FNB:READ?"), sixSizes + word(6) + "CcDdCc");
    EXPECT_EQ(tell("MEM:RAM:FNA1:READ?"), plain + word(2) + "Aa") << "the pieces are forgotten";
    EXPECT_EQ(tell("MEM:RAM:FD2:SIZE?"),
              std::to_string(static_cast<int>(resultOf("Device_getPhaseNoiseFdBufferSize"))) + "\n");
    EXPECT_EQ(tell("MEM:RAM:FNB0:SIZE?"), std::to_string(static_cast<int>(resultOf("Device_getFNSize"))) + "\n");
    EXPECT_EQ(errors(), Codes{});
}

TEST_F(Results, TheTestPatternIsKnownInBothFramings) {
    const std::string ascii = tell("MEM:RAM:TEST:DATA?");
    ASSERT_EQ(ascii.size(), 5u + 220u);
    EXPECT_EQ(ascii.substr(0, 5), "#3220");
    EXPECT_EQ(tell("MEM:RAM:TEST:READ?"), word(0) + word(220) + ascii.substr(5));
    for (size_t i = 0; i < 55; ++i) {
        float value = 0;
        memcpy(&value, ascii.data() + 5 + i * sizeof value, sizeof value);
        EXPECT_FLOAT_EQ(value, static_cast<float>(i % 11 + 1) + 0.1F * static_cast<float>(i / 11)) << i;
    }
}

TEST_F(Results, SamplesAreStreamedFromTheCaptureToItsEnd) {
    results["Device_phaseNoiseSampling_getHBytes"] = 3000;
    const std::string block = tell("MEAS:NOIS?");
    ASSERT_EQ(block.size(), 8u + 3000u);
    EXPECT_EQ(block.substr(0, 10), word(0) + word(3000) + "ab");
    EXPECT_EQ(block.back(), 'a' + 2999 % 26);
    EXPECT_EQ(done(), (Notes{"Device_phaseNoiseSampling_startHMode()", "Device_phaseNoiseSampling_endHMode()"}));
    results["Device_phaseNoiseSampling_startHMode"] = -241;
    EXPECT_EQ(tell("MEAS:NOIS?"), "");
    EXPECT_EQ(errors(), Codes{-241});
    EXPECT_EQ(done(), Notes{"Device_phaseNoiseSampling_startHMode()"});
    tell("MEAS:NOIS");
    EXPECT_EQ(errors(), Codes{-113});
}

TEST_F(Results, CapturesTakeOneNumber) {
    tell("MEAS:NOIS:FD 1;FILT 4");
    EXPECT_EQ(done(), (Notes{"Device_capturePhaseNoiseFdSamples()", "Device_getFilteredSamples(4)"}));
    tell("MEAS:NOIS:FD;FILT");
    EXPECT_EQ(errors(), (Codes{-109, -109}));
    EXPECT_EQ(done(), Notes{});
}

TEST_F(Results, TheSpotIsReadWhereItStandsOrWhereItIsPut) {
    results["Automeasure_getPnSpotSpectrumData"] = -120.5;
    EXPECT_EQ(tell("CALC:PN:TRAC:SPOT?"), "-120.500000000\n");
    EXPECT_EQ(done(), Notes{});
    EXPECT_EQ(tell("CALC:PN:TRAC:SPOT? 1E4"), "-120.500000000\n");
    EXPECT_EQ(done(), Notes{"Automeasure_configPN_setSpotFrequency(10000)"});
    EXPECT_EQ(tell("CALC:PN:TRAC:SPOT? x"), "");
    EXPECT_EQ(tell("CALC:PN:TRAC:SPOT? 1,2"), "");
    EXPECT_EQ(errors(), (Codes{-224, -108}));
    EXPECT_EQ(done(), Notes{});
    results["Automeasure_configPN_setSpotFrequency"] = -224;
    EXPECT_EQ(tell("CALC:PN:TRAC:SPOT? 1E4"), "");
    EXPECT_EQ(errors(), Codes{-224});
}

TEST_F(Results, WaitsReadWhatToWaitForAndHowLong) {
    const struct {
        const char* parameters;
        const char* average;
        const char* vco;
    } waits[] = {
        {"", "waitForMeasurement(0,0)", "waitForVCOMeasurement(0)"},
        {" ALL", "waitForMeasurement(1,0)", "waitForVCOMeasurement(1)"},
        {" next", "waitForMeasurement(0,0)", "waitForVCOMeasurement(0)"},
        {" 7", "waitForMeasurement(0,7)", "waitForVCOMeasurement(0)"},
        {" ALL,30", "timedWaitForMeasurement(1,0,30)", "timedWaitForVCOMeasurement(1,30)"},
        {" NEXT , 5000", "timedWaitForMeasurement(0,0,5000)", "timedWaitForVCOMeasurement(0,5000)"},
        {" 3,1", "timedWaitForMeasurement(0,3,1)", "timedWaitForVCOMeasurement(0,1)"},
        {" ALL,0", "waitForMeasurement(1,0)", "waitForVCOMeasurement(1)"},
        {" ALL,-5", "waitForMeasurement(1,0)", "waitForVCOMeasurement(1)"},
    };
    for (const auto& [parameters, average, vco] : waits) {
        SCOPED_TRACE(parameters);
        EXPECT_EQ(tell(std::string("CALC:WAIT:AVER") + parameters), "");
        EXPECT_EQ(done(), Notes{std::string("Automeasure_") + average});
        EXPECT_EQ(tell(std::string("CALC:VCO:WAIT?") + parameters), "");
        EXPECT_EQ(done(), Notes{std::string("Automeasure_") + vco});
    }
    EXPECT_EQ(errors(), Codes{});
    for (const auto& [parameters, code] :
         {Refusal{" ALL,", -109}, {" ,5", -109}, {" ALL,30,1", -108}, {" SOME", -224}, {" ALL,soon", -224}}) {
        tell(std::string("CALC:WAIT:AVER") + parameters);
        tell(std::string("CALC:VCO:WAIT") + parameters);
        EXPECT_EQ(errors(), Codes(2, code)) << parameters;
        EXPECT_EQ(done(), Notes{}) << parameters;
    }
    results["Automeasure_waitForMeasurement"] = -262344;
    tell("CALC:WAIT:AVER ALL");
    EXPECT_EQ(tell("SYST:ERR?"), "-262344,\"Execution error;Lock failed\"\n");
    Automeasure_timedWaitForMeasurement.unregister();
    tell("CALC:WAIT:AVER ALL,30");
    EXPECT_EQ(errors(), Codes{-113});
}

TEST_F(Results, ARunIsStartedAndStopped) {
    tell("INIT");
    tell("INIT:IMM");
    EXPECT_EQ(done(), (Notes{"Device_initImmediate()", "Device_initImmediate()"}));
    tell("INIT:FREQ 1e9");
    EXPECT_EQ(done(), (Notes{"Automeasure_configPN_setFrequency(1e+09)", "Automeasure_configPN_enableFreqInit()",
                             "Device_initImmediate()"}));
    tell("ABOR");
    EXPECT_EQ(done(), (Notes{"Device_abort()", "Device_abort_local()"}));
    EXPECT_EQ(errors(), Codes{});

    results["Device_abort"] = -200;
    results["Automeasure_configPN_setFrequency"] = -224;
    for (const auto& [line, code] : {Refusal{"ABOR", -200},
                                     {"INIT:FREQ 1e9", -224},
                                     {"INIT 1", -108},
                                     {"INIT?", -113},
                                     {"INIT:FREQ", -109},
                                     {"INIT:FREQ x", -224},
                                     {"ABOR NOW", -108}}) {
        EXPECT_EQ(tell(line), "");
        EXPECT_EQ(errors(), Codes{code}) << line;
    }
    EXPECT_EQ(done(), (Notes{"Device_abort()", "Automeasure_configPN_setFrequency(1e+09)"}));
}

TEST_F(Results, ActionsEndInTheirSlotsResult) {
    const struct {
        const char* header;
        const char* slot;
        int mode;
    } actions[] = {
        {"SENS:FREQ:EXEC", "Automeasure_config_searchForDUT", 0},
        {"SENS:FREQ:EXEC?", "Automeasure_config_searchForDUT", 0},
        {"SENS:POW:EXEC", "Automeasure_config_searchForDUT", 0},
        {"SENS:RES", "Automeasure_config_resetDetectFlags", -1},
        {"SENS:PN:RES", "Automeasure_configPN_resetDetectFlags", -1},
        {"SENS:PN:REF1:SENS:EXEC", "Automeasure_execSensitivity", -1},
        {"CALC:PN:TRAC:FUNC:AVAR", "Automeasure_calculateAVariance", -1},
        {"FREQ:MEAS", "Device_measureFrequency", -1},
        {"*RST", "Automeasure_config_reset", -1},
    };
    for (const auto& [header, slot, mode] : actions) {
        SCOPED_TRACE(header);
        results[slot] = -131272;
        EXPECT_EQ(tell(header), "");
        EXPECT_EQ(errors(), Codes{-131272});
        EXPECT_EQ(done().back(), std::string(slot) + "()");
        tell(std::string(header) + " 1");
        EXPECT_EQ(errors(), Codes{-108});
        EXPECT_EQ(done(), mode < 0 ? Notes{} : Notes{"Automeasure_config_selectConfiguration(0)"});
    }
}

TEST_F(Results, CountersAreReadAsWholeNumbers) {
    const struct {
        const char* header;
        const char* slot;
    } rows[] = {
        {"CALC:PN:PREL:AVER?", "Automeasure_getPreliminaryAverageCount"},
        {"CALC:PN:PREL:CORR?", "Automeasure_getPreliminaryCorrelationCount"},
        {"CALC:VCO:ITER?", "Automeasure_getVCOIteration"},
        {"MEAS:NOIS:VAL?", "Device_getPhaseNoiseValidSamplesCount"},
        {"SENS:ADC:ROSC:LOCK?", "Device_isReferenceSource10MLocked"},
        {"ROSC:INT:MODE:READY?", "Device_isInternalReferenceReady"},
    };
    for (const auto& [header, slot] : rows)
        EXPECT_EQ(tell(header), std::to_string(static_cast<int>(resultOf(slot))) + "\n") << header;
    EXPECT_EQ(tell("CALC:VCO:ITER? 1"), "");
    EXPECT_EQ(errors(), Codes{-108});
    for (const char* line : {"CALC:BB:TRAC:FREQ", "CALC:BB:TRAC:NOIS?", "CALC:BB:PREL:AVER?"}) {
        EXPECT_EQ(tell(line), "");
        EXPECT_EQ(errors(), Codes{-190}) << line;
    }
}

TEST_F(Results, ATestSetIsDefinedAndRead) {
    tell("SENS:PN:TEST O1000,f,P,J,i,D,R,M,x,d");
    EXPECT_EQ(done(), Notes{"test set 0:1000 1:-1 2:-1 3:-1 4:-1 5:-1 6:-1 7:-1 "});
    tell("SENS:PN:TEST");
    EXPECT_EQ(done(), Notes{"test set "});
    tell("SENS:PN:TEST O1000,Ox");
    EXPECT_EQ(errors(), Codes{-224});
    EXPECT_EQ(done(), Notes{});
    EXPECT_EQ(tell("*OPC?"), "1\n") << "the list has ended";
    text = "O1000,F,P";
    EXPECT_EQ(tell("SENS:PN:TEST?"), "O1000,F,P\n");
    text = "-120.0000,100000000.0000";
    EXPECT_EQ(tell("CALC:PN:TEST?"), "-120.0000,100000000.0000\n");
    text = "";
    EXPECT_EQ(tell("CALC:PN:TEST?"), "\n");
    Automeasure_setTestSetDefinition.unregister();
    tell("SENS:PN:TEST F");
    EXPECT_EQ(errors(), Codes{-113});
}

TEST_F(Results, NothingIsFoundBesideTheTree) {
    for (const char* line : {"SENS:PN:TRAC?", "SENS:TRAN", "SENS:PN:POW:AUTO ON", "TRIG:MODE?", "CONF:NOIS:CLOC?",
                             "MEAS:FREQ?", "INIT:CONT ON", "SYST:PRES", "*TRG", "AM:STAT ON", "SOUR:LIST:POW 1",
                             "SENS:PN:AVER:COUN?", "TRIG:IMM", "alcadc/", "flutrd/", "MEM:FILE:LIST?"}) {
        EXPECT_EQ(tell(line), "") << line;
        EXPECT_EQ(errors(), Codes{-113}) << line;
    }
    EXPECT_EQ(done(), Notes{});
}

} // namespace
} // namespace tree
