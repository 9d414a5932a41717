/// Rows whose leaf is one value: which slots stand behind each command, and what the value goes through on its way.

#include "fake_instrument.h"

#include <cstdlib>

namespace tree {
namespace {

constexpr int noMode = -1;

/// The selection of a configuration that a command makes first, as a note.
Notes selected(int mode, Notes others = {}) {
    if (mode != noMode)
        others.insert(others.begin(), "Automeasure_config_selectConfiguration(" + std::to_string(mode) + ")");
    return others;
}

std::string call(const char* slot, const char* first, double value) {
    return std::string(slot) + "(" + first + std::to_string(static_cast<long>(value)) + ")";
}

struct Number {
    const char* header;
    const char* get;
    const char* set;
    const char* min = nullptr;
    const char* max = nullptr;
    int mode = noMode;
    const char* first = ""; // argument before the value

    friend void PrintTo(const Number& row, std::ostream* out) { *out << row.header; }
};

// clang-format off
constexpr Number numbers[] = {
    {"SENS:FREQ", "Automeasure_config_getFrequency", "Automeasure_config_setFrequency", "Automeasure_config_getMinFrequency", "Automeasure_config_getMaxFrequency", 0},
    {"SENS:PN:FREQ", "Automeasure_configPN_getFrequency", "Automeasure_configPN_setFrequency", "Automeasure_config_getMinFrequency", "Automeasure_config_getMaxFrequency"},
    {"SENS:PN:FREQ:STAR", "Automeasure_configPN_getOffsetMin", "Automeasure_configPN_setOffsetMin", "Automeasure_config_getMinOffsetMin", "Automeasure_config_getMaxOffsetMin"},
    {"SENSe:PN:FREQuency:STOP", "Automeasure_configPN_getOffsetMax", "Automeasure_configPN_setOffsetMax", "Automeasure_config_getMinOffsetMax", "Automeasure_config_getMaxOffsetMax"},
    {"SENS:PN:FREQ:SPOT", "Automeasure_configPN_getSpotFrequency", "Automeasure_configPN_setSpotFrequency", "Automeasure_config_getMinSpotFrequency", "Automeasure_config_getMaxSpotFrequency"},
    {"SENS:PN:AVER", "Automeasure_configPN_getIterations", "Automeasure_configPN_setIterations", "Automeasure_config_getMinIterations", "Automeasure_config_getMaxIterations"},
    {"SENS:PN:CORR", "Automeasure_configPN_getCorrelations", "Automeasure_configPN_setCorrelations", "Automeasure_config_getMinCorrelations", "Automeasure_config_getMaxCorrelations"},
    {"SENS:PN:PPD", "Automeasure_configPN_getPointsPerDecade", "Automeasure_configPN_setPointsPerDecade", "Automeasure_config_getMinPointsPerDecade", "Automeasure_config_getMaxPointsPerDecade"},
    {"SENS:PN:ATT", "Automeasure_configPN_getAttenuation", "Automeasure_configPN_setAttenuation", "Automeasure_config_getMinAttenuation", "Automeasure_config_getMaxAttenuation"},
    {"SENS:PN:ASET", "Automeasure_configPN_getAttenuation", "Automeasure_configPN_setAttenuation", "Automeasure_config_getMinAttenuation", "Automeasure_config_getMaxAttenuation"},
    {"SENS:PN:IFG", "Automeasure_configPN_getIFgain", "Automeasure_configPN_setIFgain", "Automeasure_config_getMinIFgain", "Automeasure_config_getMaxIFgain"},
    {"SENS:PN:KPHI", "Automeasure_config_getKphi_converted", "Automeasure_configPN_setKphi", "Automeasure_config_getMinKphi", "Automeasure_config_getMaxKphi"},
    {"SENS:PN:LOB", "Automeasure_configPN_getLoopBandwidth", "Automeasure_configPN_setLoopBandwidth", "Automeasure_config_getMinLoopBandwidth", "Automeasure_config_getMaxLoopBandwidth"},
    {"SENS:PN:LOBW", "Automeasure_configPN_getLoopBandwidth", "Automeasure_configPN_setLoopBandwidth", "Automeasure_config_getMinLoopBandwidth", "Automeasure_config_getMaxLoopBandwidth"},
    {"SENS:PN:SMO:APER", "Automeasure_configPN_getSmoothingAperture", "Automeasure_configPN_setSmoothingAperture", "Automeasure_getMinSmoothingAperture", "Automeasure_getMaxSmoothingAperture"},
    {"SENS:PN:SPUR:THR", "Automeasure_configPN_getSpurThreshold", "Automeasure_configPN_setSpurThreshold", "Automeasure_getMinSpurThreshold", "Automeasure_getMaxSpurThreshold"},
    {"SENS:PN:REF2:SENS", "Automeasure_configPN_getReferenceSens", "Automeasure_configPN_setReferenceSens", "Automeasure_configPN_getMinReferenceSens", "Automeasure_configPN_getMaxReferenceSens", noMode, "2,"},
    {"SENS:PN:REF:SENS", "Automeasure_configPN_getReferenceSens", "Automeasure_configPN_setReferenceSens", "Automeasure_configPN_getMinReferenceSens", "Automeasure_configPN_getMaxReferenceSens", noMode, "2147483647,"},
    {"SENS:PN:REFerences1:VOLTage", nullptr, "Automeasure_configPN_setReferenceVoltage", nullptr, nullptr, noMode, "1,"},
    {"SENS:VCO:VOLT:STAR", "Automeasure_configVCO_getVoltageStart", "Automeasure_configVCO_setVoltageStart", "Automeasure_configVCO_getMinVoltageStart", "Automeasure_configVCO_getMaxVoltageStart", 6},
    {"SENS:VCO:VOLT:STOP", "Automeasure_configVCO_getVoltageStop", "Automeasure_configVCO_setVoltageStop", "Automeasure_configVCO_getMinVoltageStop", "Automeasure_configVCO_getMaxVoltageStop", 6},
    {"SENS:VCO:VOLT:POIN", "Automeasure_configVCO_getVoltagePoints", "Automeasure_configVCO_setVoltagePoints", "Automeasure_configVCO_getMinVoltagePoints", "Automeasure_configVCO_getMaxVoltagePoints", 6},
    {"CONF:ATT", nullptr, "Automeasure_configPN_setAttenuation"},
    {"CONF:FREQ", nullptr, "Automeasure_config_setFrequency"},
    {"CONF:FREQ:SPOT", nullptr, "Automeasure_configPN_setSpotFrequency"},
    {"CONF:FREQ:STAR", nullptr, "Automeasure_configPN_setOffsetMin"},
    {"CONF:FREQ:STOP", nullptr, "Automeasure_configPN_setOffsetMax"},
    {"CONF:PN:LOOP", nullptr, "Automeasure_configPN_setLoopBandwidth"},
    {"CONF:MEAS:ITER", "Automeasure_configPN_getIterations", "Automeasure_configPN_setIterations", "Automeasure_config_getMinIterations", "Automeasure_config_getMaxIterations"},
    {"CONF:MEAS:PPD", "Automeasure_configPN_getPointsPerDecade", "Automeasure_configPN_setPointsPerDecade", "Automeasure_config_getMinPointsPerDecade", "Automeasure_config_getMaxPointsPerDecade"},
    {"CALC:FREQ", "Automeasure_config_getFrequency", nullptr, nullptr, nullptr, 0},
    {"CALC:FREQ:RAW", "Automeasure_config_getFrequencyRaw", nullptr, nullptr, nullptr, 0},
    {"CALC:POW", "Automeasure_config_getPower", nullptr, nullptr, nullptr, 0},
    {"CALC:POW:RAW", "Automeasure_config_getPowerRaw", nullptr, nullptr, nullptr, 0},
    {"CALC:PN:TRAC:FUNC:INT", "Automeasure_getFunctionIntegral", nullptr},
    {"CALC:PN:TRAC:FUNC:JITT", "Automeasure_getFunctionJitter", nullptr},
    {"MEAS:SUPP2:CURR", "Device_measureSupplyOutputCurrent", nullptr},
    {"SENS:ROSC:INT", "Device_getInternalReferenceSelection", "Device_setInternalReferenceSelection"},
    {"FREQ", "Device_getFrequencyFixed", "Device_setFrequencyFixed", "Device_getFrequencyMin", "Device_getFrequencyMax"},
    {"SOUR2:FREQ:CW", "Device_getFrequencyFixed", "Device_setFrequencyFixed", "Device_getFrequencyMin", "Device_getFrequencyMax"},
    {"SOURce:FREQuency:FIXed", "Device_getFrequencyFixed", "Device_setFrequencyFixed", "Device_getFrequencyMin", "Device_getFrequencyMax"},
    {"FREQ:PRE", "Device_getPrescaler", "Device_setPrescaler"},
    {"SOUR:FREQ:MEAS:CMIN", "Device_getCounterMinimum", "Device_setCounterMinimum"},
    {"POW", "Device_getPowerFixed", nullptr},
    {"SOUR:POW:LEV:IMM:AMPL", "Device_getPowerFixed", nullptr},
    {"POW:AMPL", "Device_getPowerFixed", nullptr},
    {"POW:RAW", "Device_getPowerRaw", nullptr},
    {"POW:REF", "Device_getREFPower", nullptr},
    {"TUNE:VOLT", "Device_getTuneOutputVoltage", "Device_setTuneOutputVoltage"},
    {"TUNE:DUT:VOLT", "Device_getDutTuneOutputVoltage", "Device_setDutTuneOutputVoltage"},
    {"TUNE:EXT:VOLT", "Device_getExternalTuneOutputVoltage", "Device_setExternalTuneOutputVoltage"},
    {"SOUR3:SUPP1:VOLT", "Device_getSupplyOutputVoltage", "Device_setSupplyOutputVoltage", "Device_getSupplyOutputVoltageMin", "Device_getSupplyOutputVoltageMax", noMode, "1,"},
    {"SUPP2:CURR", "Device_getSupplyOutputCurrent", "Device_setSupplyOutputCurrent", "Device_getSupplyOutputCurrentMin", "Device_getSupplyOutputCurrentMax", noMode, "2,"},
    {"LFO:FREQ", "Device_getLfgFrequency", "Device_setLfgFrequency", "Device_getLfgFrequencyMin", "Device_getLfgFrequencyMax"},
    {"LFO:AMPL", "Device_getLfgAmplitude", "Device_setLfgAmplitude"},
    {"LFO:DAC", nullptr, "Device_setFuncoutDac"},
    {"SEL", "Device_getDefaultSourceIndex", nullptr, "Device_getSourceIndexMin", "Device_getSourceIndexMax"},
};

struct Switch {
    const char* header;
    const char* is;
    const char* enable;
    const char* disable;
    int mode = noMode;
    const char* argument = "";
};

constexpr Switch switches[] = {
    {"SENS:FREQ:AUTO", "Automeasure_config_isAutoFrequency", "Automeasure_config_enableAutoFrequency", "Automeasure_config_disableAutoFrequency", 0},
    {"SENS:ROSC:INT:LOWN", "Device_isReferenceLownoiseEnabled", "Device_enableReferenceLownoise", "Device_disableReferenceLownoise"},
    {"SENS:PN:FREQ:AUTO", "Automeasure_configPN_isAutoFrequency", "Automeasure_configPN_enableAutoFrequency", "Automeasure_configPN_disableAutoFrequency"},
    {"SENS:PN:ATT:AUTO", "Automeasure_configPN_isAutoAttenuation", "Automeasure_configPN_enableAutoAttenuation", "Automeasure_configPN_disableAutoAttenuation"},
    {"SENS:PN:ASET:AUTO", "Automeasure_configPN_isAutoAttenuation", "Automeasure_configPN_enableAutoAttenuation", "Automeasure_configPN_disableAutoAttenuation"},
    {"SENS:PN:IFG:AUTO", "Automeasure_configPN_isAutoIFgain", "Automeasure_configPN_enableAutoIFgain", "Automeasure_configPN_disableAutoIFgain"},
    {"SENS:PN:KPHI:AUTO", "Automeasure_configPN_isAutoKphi", "Automeasure_configPN_enableAutoKphi", "Automeasure_configPN_disableAutoKphi"},
    {"SENS:PN:LOB:AUTO", "Automeasure_configPN_isAutoLoopBW", "Automeasure_configPN_enableAutoLoopBW", "Automeasure_configPN_disableAutoLoopBW"},
    {"SENS:PN:PREA", "Device_isPreamplifierEnabled", "Device_enablePreamplifier", "Device_disablePreamplifier"},
    {"SENS:PN:PULS", "Automeasure_config_getPulseStatus", "Automeasure_config_enablePulse", "Automeasure_config_disablePulse"},
    {"SENS:PN:SMO:STAT", "Automeasure_configPN_isSmoothingEnabled", "Automeasure_configPN_enableSmoothing", "Automeasure_configPN_disableSmoothing"},
    {"SENS:PN:SPUR:OMIS", "Automeasure_configPN_isSpurOmissionEnabled", "Automeasure_configPN_enableSpurOmission", "Automeasure_configPN_disableSpurOmission"},
    {"SENS:VCO:TEST:FREQ", "Automeasure_configVCO_isFrequencyEnabled", "Automeasure_configVCO_enableFrequency", "Automeasure_configVCO_disableFrequency", 6},
    {"SENS:VCO:TEST:POW", "Automeasure_configVCO_isPowerEnabled", "Automeasure_configVCO_enablePower", "Automeasure_configVCO_disablePower", 6},
    {"SENS:VCO:TEST:KVCO", "Automeasure_configVCO_isKVCOEnabled", "Automeasure_configVCO_enableKVCO", "Automeasure_configVCO_disableKVCO", 6},
    {"SENS:VCO:TEST:KPUS", "Automeasure_configVCO_isKPushEnabled", "Automeasure_configVCO_enableKPush", "Automeasure_configVCO_disableKPush", 6},
    {"SENS:VCO:TEST:ISUP", "Automeasure_configVCO_isISupplyEnabled", "Automeasure_configVCO_enableISupply", "Automeasure_configVCO_disableISupply", 6},
    {"SENS:VCO:TEST:PN", "Automeasure_configVCO_isPhaseNoiseEnabled", "Automeasure_configVCO_enablePhaseNoise", "Automeasure_configVCO_disablePhaseNoise", 6},
    {"CONF:ATT:AUTO", nullptr, "Automeasure_configPN_enableAutoAttenuation", "Automeasure_configPN_disableAutoAttenuation"},
    {"CONF:FREQ:AUTO", nullptr, "Automeasure_config_enableAutoFrequency", "Automeasure_config_disableAutoFrequency"},
    {"CONF:PN:LOOP:AUTO", "Automeasure_configPN_isAutoLoopBW", "Automeasure_configPN_enableAutoLoopBW", "Automeasure_configPN_disableAutoLoopBW"},
    {"OUTP", "Device_isRfEnabled", "Device_enableRf", "Device_disableRf"},
    {"OUTP1:STAT", "Device_isRfEnabled", "Device_enableRf", "Device_disableRf"},
    {"FREQ:ROUN", "Device_isFrequencyRoundingEnabled", "Device_enableFrequencyRounding", "Device_disableFrequencyRounding"},
    {"FREQ:PRE:AUTO", "Device_isAutoPrescaler", "Device_enableAutoPrescaler", "Device_disableAutoPrescaler"},
    {"TUNE:DUT:STAT", "Device_isDutTuneOutputVoltageEnabled", "Device_enableDutTuneOutputVoltage", "Device_disableDutTuneOutputVoltage"},
    {"SUPP2:STAT", "Device_isSupplyOutputEnabled", "Device_enableSupplyOutput", "Device_disableSupplyOutput", noMode, "2"},
    {"ROSC:INT:STAT", nullptr, "Device_enableOCXO", "Device_disableOCXO"},
    {"LFO:STAT", "Device_isFuncoutEnabled", "Device_enableFuncout", "Device_disableFuncout"},
};
// clang-format on

class Numbers : public Tree, public testing::WithParamInterface<Number> {
protected:
    const Number& row = GetParam();
    std::string header = row.header;

    double asked(const std::string& query) {
        const std::string answer = tell(query);
        EXPECT_TRUE(answer.ends_with('\n')) << query;
        EXPECT_EQ(errors(), Codes{}) << query;
        return strtod(answer.c_str(), nullptr);
    }
};

TEST_P(Numbers, AreAskedAtTheirOwnGetter) {
    if (row.get == nullptr) {
        EXPECT_EQ(tell(header + "?"), "");
        EXPECT_EQ(errors(), Codes{-113});
        return;
    }
    EXPECT_DOUBLE_EQ(asked(header + "?"), resultOf(row.get));
    EXPECT_EQ(done(), selected(row.mode));
    if (row.min != nullptr) {
        EXPECT_DOUBLE_EQ(asked(header + "? MIN"), resultOf(row.min));
        EXPECT_DOUBLE_EQ(asked(header + "? maximum"), resultOf(row.max));
    } else {
        EXPECT_EQ(tell(header + "? MIN"), "");
        EXPECT_EQ(errors(), Codes{-113});
    }
}

TEST_P(Numbers, AreSetWithinTheirLimits) {
    if (row.set == nullptr) {
        tell(header + " 500");
        EXPECT_EQ(errors(), Codes{-113});
        return;
    }
    tell(header + " 500");
    EXPECT_EQ(done(), selected(row.mode, {call(row.set, row.first, 500)}));
    if (row.min != nullptr) {
        const struct {
            const char* parameter;
            const char* limit;
        } cases[] = {{" MIN", row.min}, {" MAXimum", row.max}, {" -3", row.min}, {" 1E12", row.max}};
        for (const auto& [parameter, limit] : cases) {
            tell(header + parameter);
            EXPECT_EQ(done(), selected(row.mode, {call(row.set, row.first, resultOf(limit))})) << parameter;
        }
    }
    EXPECT_EQ(errors(), Codes{});
    results[row.set] = -221;
    tell(header + " 500");
    EXPECT_EQ(errors(), Codes{-221}) << "the setter's result is the error";
}

TEST_P(Numbers, LeaveEverythingAsItWasAfterABadParameter) {
    if (row.set == nullptr)
        return;
    for (const auto& [parameter, code] :
         {Refusal{"", -109}, {" 1,2", -108}, {" 1.2.3", -224}, {" abc", 0}, {" 1e99", -222}}) {
        tell(header + parameter);
        const Codes found = errors();
        ASSERT_EQ(found.size(), 1u) << parameter;
        EXPECT_TRUE(found.front() == code || code == 0) << parameter << " " << found.front();
        EXPECT_EQ(done(), selected(row.mode)) << parameter;
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, Numbers, testing::ValuesIn(numbers));

class Settings : public Tree {};

TEST_F(Settings, SwitchesGoOnAndOffAndAreAsked) {
    for (const Switch& row : switches) {
        SCOPED_TRACE(row.header);
        const std::string header = row.header;
        const std::string arguments = std::string("(") + row.argument + ")";
        tell(header + " ON");
        EXPECT_EQ(done(), selected(row.mode, {row.enable + arguments}));
        tell(header + " 0");
        EXPECT_EQ(done(), selected(row.mode, {row.disable + arguments}));
        EXPECT_EQ(errors(), Codes{});
        tell(header + " MAYBE");
        EXPECT_EQ(errors(), Codes{-224});
        EXPECT_EQ(done(), selected(row.mode));
        if (row.is == nullptr) {
            EXPECT_EQ(tell(header + "?"), "");
            EXPECT_EQ(errors(), Codes{-113});
            continue;
        }
        for (const int state : {0, 1}) {
            results[row.is] = state;
            EXPECT_EQ(tell(header + "?"), std::to_string(state) + "\n");
            EXPECT_EQ(done(), selected(row.mode));
        }
    }
}

struct WordCase {
    const char* parameter;
    int code;
    const char* reply;
};
struct Words {
    const char* header;
    const char* set;
    const char* get;
    int mode;
    std::vector<WordCase> words;
};

TEST_F(Settings, WordsStandForNumbersBothWays) {
    const std::vector<WordCase> redo = {{"ALW", 0, "ALW"},   {"always", 0, "ALW"}, {"ONC", 1, "ONCE"},
                                        {"ONCE", 1, "ONCE"}, {"NEV", 2, "NEV"},    {"NEVER", 2, "NEV"}};
    const std::vector<WordCase> reference = {
        {"INT", 0, ""}, {"NORM", 0, ""}, {"LN", 1, ""}, {"HIGH", 2, ""}, {"ext", 3, ""}};
    const std::vector<WordCase> method = {{"SING", 0, ""}, {"SINGLE", 0, ""}, {"DUT", 1, ""}, {"CC", 2, ""}};
    const Words rows[] = {
        {"SENS:MODE",
         "Automeasure_config_setMeasurementMode",
         "Automeasure_config_getMeasurementMode",
         noMode,
         {{"PN", 0, "PN"}, {"APN", 1, "APN"}, {"BB", 2, "BB"}, {"VCO", 6, "VCO"}, {"TRAN", 5, "TRANS"}}},
        {"CONF:MODE",
         "Automeasure_config_setMeasurementMode",
         nullptr,
         noMode,
         {{"PN", 0, ""}, {"BB", 2, ""}, {"TRAN", 5, ""}}},
        {"SENS:FREQ:DET", "Automeasure_config_setRedoFrequency", "Automeasure_config_getRedoFrequency", 0, redo},
        {"SENS:PN:FREQ:DET", "Automeasure_configPN_setRedoFrequency", "Automeasure_configPN_getRedoFrequency", noMode,
         redo},
        {"SENS:PN:ATT:DET", "Automeasure_configPN_setRedoAttenuation", "Automeasure_configPN_getRedoAttenuation",
         noMode, redo},
        {"SENS:PN:ASET:DET", "Automeasure_configPN_setRedoAttenuation", "Automeasure_configPN_getRedoAttenuation",
         noMode, redo},
        {"SENS:PN:IFG:DET", "Automeasure_configPN_setRedoIFgain", "Automeasure_configPN_getRedoIFgain", noMode, redo},
        {"SENS:PN:KPHI:DET", "Automeasure_configPN_setRedoKphi", "Automeasure_configPN_getRedoKphi", noMode, redo},
        {"SENS:PATH",
         "Device_setPath",
         nullptr,
         noMode,
         {{"BB", 2, ""}, {"AM", 1, ""}, {"PN", 3, ""}, {"MUX", 4, ""}, {"TRAN", 5, ""}}},
        {"SENS:BB:METH", "Automeasure_configBB_setMeasurementMethod", nullptr, 2, {{"SING", 0, ""}, {"CC", 2, ""}}},
        {"SENS:PN:METH", "Automeasure_configPN_setMeasurementMethod", nullptr, noMode, method},
        {"CONF:PN:METH", "Automeasure_configPN_setMeasurementMethod", nullptr, noMode, method},
        {"SENS:PN:REF", "Automeasure_configPN_setReference", nullptr, noMode, reference},
        {"SENS:PN:REF2?", "Automeasure_configPN_setReference", nullptr, noMode, reference},
        {"SENS:VCO:REF1", "Automeasure_configVCO_setReference", nullptr, 6, reference},
        {"SENS:VCO:TYPE",
         "Automeasure_config_setVCODUTType",
         "Automeasure_config_getVCODUTType",
         6,
         {{"VCO", 0, "VCO"}, {"VCXO", 1, "VCXO"}}},
        {"ROSC:INT:MODE",
         "Device_setInternalReferenceSelection",
         "Device_getInternalReferenceSelection",
         noMode,
         {{"NORM", 1, "NORM"}, {"LN", 0, "LN"}, {"LNPLL", 3, "LNPLL"}, {"HSENS", 2, "HSENS"}}},
    };
    for (const Words& row : rows) {
        const std::string header = row.header;
        for (const auto& [parameter, code, reply] : row.words) {
            SCOPED_TRACE(header + " " + parameter);
            tell(header + " " + parameter);
            EXPECT_EQ(done(), selected(row.mode, {call(row.set, "", code)}));
            if (row.get != nullptr) {
                results[row.get] = code;
                EXPECT_EQ(tell(header + "?"), reply + std::string("\n"));
                EXPECT_EQ(done(), selected(row.mode));
            }
            EXPECT_EQ(errors(), Codes{});
        }
        for (const auto& [parameter, error] : {Refusal{" XYZ", -113}, {"", -109}, {" PN,CC", -108}}) {
            SCOPED_TRACE(header + parameter);
            tell(header + parameter);
            EXPECT_EQ(errors(), Codes{error});
            EXPECT_EQ(done(), selected(row.mode));
        }
        if (row.get == nullptr && !header.ends_with('?')) {
            EXPECT_EQ(tell(header + "?"), "");
            EXPECT_EQ(errors().size(), 1u);
            done();
        }
    }
    results["Automeasure_config_getVCODUTType"] = 7;
    EXPECT_EQ(tell("SENS:VCO:TYPE?"), "unknown\n");
}

struct ChoiceCase {
    const char* header;
    const char* parameter;
    const char* set;
    const char* is; // null: what is left when no other is true
    const char* reply;
};

TEST_F(Settings, ChoicesHaveSlotsOfTheirOwn) {
    const ChoiceCase cases[] = {
        {"SENS:ADC:ROSC:SOUR", "INT", "Device_setReferenceSource10MInternal", "Device_isReferenceSource10MInternal",
         "INT"},
        {"SENS:ADC:ROSC:SOUR", "EXTERNAL", "Device_setReferenceSource10MExternal", nullptr, "EXT"},
        {"CONF:NOIS:BOAR", "A", "Device_selectPhaseNoiseAlgBoardA", "Device_isPhaseNoiseAlgBoardASelected", "A"},
        {"CONF:NOIS:BOAR", "B", "Device_selectPhaseNoiseAlgBoardB", "Device_isPhaseNoiseAlgBoardBSelected", "B"},
        {"TRIG:SOUR", "IMM", "Device_setTriggerSourceImmediate", "Device_isTriggerSourceImmediate", "IMM"},
        {"TRIG:SEQ:SOUR", "EXT", "Device_setTriggerSourceExternal", "Device_isTriggerSourceExternal", "EXT"},
        {"ROSC:SOUR", "INTERNAL", "Device_setReferenceSourceInternal", "Device_isReferenceSourceInternal", "INT"},
        {"ROSC:SOUR", "EXT", "Device_setReferenceSourceExternal", nullptr, "EXT"},
        {"ROSC:SOUR", "EXTAmpatt", "Device_setReferenceSourceExternalAmpAtt", nullptr, "EXTA"},
        {"ROSC:SOUR", "EXT", "Device_setReferenceSourceExternal", nullptr, "EXT"},
        {"LFO:SHAP", "SINE", "Device_setLfgShapeSine", "Device_isLfgShapeSine", "SINE"},
        {"LFO:SHAP", "SQUARE", "Device_setLfgShapeSquare", "Device_isLfgShapeSquare", "SQU"},
        {"LFO:SHAP", "TRI", "Device_setLfgShapeTriangle", "Device_isLfgShapeTriangle", "TRI"},
        {"LFO:SOUR", "DAC", "Device_setFuncoutSourceDac", "Device_isFuncoutSourceDac", "DAC"},
        {"LFO:SOUR", "HIGH", "Device_setFuncoutSourceHigh", "Device_isFuncoutSourceHigh", "HIGH"},
        {"LFO:SOUR", "LFG", "Device_setFuncoutSourceLfg", "Device_isFuncoutSourceLfg", "LFG"},
        {"LFO:SOUR", "LOW", "Device_setFuncoutSourceLow", "Device_isFuncoutSourceLow", "LOW"},
        {"LFO:SOUR", "PULM", "Device_setFuncoutSourcePulm", "Device_isFuncoutSourcePulm", "PULM"},
        {"LFO:SOUR", "TRIGGER", "Device_setFuncoutSourceTrigger", "Device_isFuncoutSourceTrigger", "TRIG"},
    };
    for (const ChoiceCase& row : cases) {
        SCOPED_TRACE(std::string(row.header) + " " + row.parameter);
        for (auto& [slot, result] : results)
            if (slot.find("_is") != slot.npos)
                result = row.is != nullptr && slot == row.is ? 1 : 0;
        tell(std::string(row.header) + " " + row.parameter);
        EXPECT_EQ(done(), Notes{std::string(row.set) + "()"});
        EXPECT_EQ(tell(std::string(row.header) + "?"), row.reply + std::string("\n"));
        EXPECT_EQ(errors(), Codes{});
    }
    for (const char* line : {"TRIG:SOUR KEY", "TRIG:SOUR BUS", "ROSC:SOUR SLAVE", "LFO:SOUR NONE"}) {
        tell(line);
        EXPECT_EQ(errors(), Codes{-113}) << line;
        EXPECT_EQ(done(), Notes{}) << line;
    }
    Device_isTriggerSourceImmediate.unregister();
    Device_isTriggerSourceExternal.unregister();
    EXPECT_EQ(tell("TRIG:SOUR?"), "");
    EXPECT_EQ(errors(), Codes{-113});
}

TEST_F(Settings, ARelativeHeaderGoesOnAtTheLevelOfTheLast) {
    tell("SENS:PN:FREQ:STAR 200;STOP 600");
    EXPECT_EQ(done(), (Notes{"Automeasure_configPN_setOffsetMin(200)", "Automeasure_configPN_setOffsetMax(600)"}));
    EXPECT_EQ(errors(), Codes{});
}

TEST_F(Settings, RawSamplingCounts) {
    const struct {
        const char* header;
        const char* get;
        const char* set;
    } counts[] = {
        {"CONF:NOIS:CHAN", "Device_getPhaseNoiseChannels", "Device_setPhaseNoiseChannels"},
        {"CONF:NOIS:DIV", "Device_getPhaseNoiseDivider", "Device_setPhaseNoiseDivider"},
        {"CONF:NOIS:SAMP", "Device_getPhaseNoiseSamples", "Device_setPhaseNoiseSamples"},
        {"CONF:NOIS:GAIN", "Device_getLnaGain", "Device_setLnaGain"},
    };
    for (const auto& [header, get, set] : counts) {
        SCOPED_TRACE(header);
        tell(std::string(header) + " 12");
        EXPECT_EQ(done(), Notes{call(set, "", 12)});
        EXPECT_EQ(tell(std::string(header) + "?"), std::to_string(static_cast<int>(resultOf(get))) + "\n");
        EXPECT_EQ(errors(), Codes{});
        tell(std::string(header) + " x");
        EXPECT_EQ(errors(), Codes{-224});
        EXPECT_EQ(done(), Notes{});
    }
    results["Device_getBaseSampleFrequency"] = 125e6;
    EXPECT_EQ(tell("CONF:NOIS:FS?"), "125000000\n");
    text = "0,12,20,26";
    EXPECT_EQ(tell("CONF:NOIS:GAIN:LIST?"), "0,12,20,26\n");
}

TEST_F(Settings, FunctionRangeAndOffsetsTakeTheirNumbersAtOnce) {
    tell("SENS:PN:FUNC:RANG 100, 2.5e6");
    EXPECT_EQ(done(), Notes{"Automeasure_configPN_setFunctionRange(100,2.5e+06)"});
    tell("SENS:VCO:TEST:PN:OFFS 1e4,2e4,0,3e4");
    EXPECT_EQ(done(), selected(6, {"Automeasure_configVCO_setPnOffsets(10000,20000,0,30000)"}));
    results["Automeasure_configVCO_getPnOffset"] = 1e5;
    EXPECT_EQ(tell("SENS:VCO:TEST:PN:OFFS3?"), "100000.000000000\n");
    EXPECT_EQ(tell("SENS:VCO:TEST:PN:COUN?"),
              std::to_string(static_cast<int>(resultOf("Automeasure_configVCO_getNumberOfUsedOffsets"))) + "\n");
    done();
    for (const auto& [line, code] : {Refusal{"SENS:PN:FUNC:RANG 100", -109},
                                     {"SENS:PN:FUNC:RANG 1,2,3", -108},
                                     {"SENS:PN:FUNC:RANG 1,two", -224},
                                     {"SENS:PN:FUNC:RANG 1,inf", -224},
                                     {"SENS:PN:FUNC:RANG 1,2Hz", -224},
                                     {"SENS:VCO:TEST:PN:OFFS2 1,2,3", -109},
                                     {"SENS:VCO:TEST:PN:OFFS2 1,2,3,x", -224}}) {
        tell(line);
        EXPECT_EQ(errors(), Codes{code}) << line;
        for (const std::string& note : done())
            EXPECT_EQ(note, "Automeasure_config_selectConfiguration(6)") << line;
    }
}

} // namespace
} // namespace tree
