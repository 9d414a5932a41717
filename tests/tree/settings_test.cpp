/// Rows whose leaf is one value: which slots stand behind each command, and what the value goes through on its way.

#include "fake_instrument.h"
#include "tests/slots.h"

#include <cstdlib>

namespace tree {
namespace {

/// A command and its slots, without "Automeasure_" before those of the measurement. Empty: there is none. * in a setter
/// stands for enable and disable, in a limit for Min and Max. # in a header is the number of an element, 2 here, which
/// its slots take.
struct Setting {
    const char *header, *getter, *setter = "", *limits = "";
};
constexpr Setting settings[] = {
    {"SENS:FREQ", "config_getFrequency", "config_setFrequency", "config_get*Frequency"},
    {"SENS:FREQ:AUTO", "config_isAutoFrequency", "config_*AutoFrequency"},
    {"CONF:FREQ", "", "config_setFrequency"},
    {"CONF:FREQ:AUTO", "", "config_*AutoFrequency"},
    {"CALC:FREQ", "config_getFrequency"},
    {"CALC:FREQ:RAW", "config_getFrequencyRaw"},
    {"CALC:POW", "config_getPower"},
    {"CALC:POW:RAW", "config_getPowerRaw"},
    {"SENS:ROSC:INT", "Device_getInternalReferenceSelection", "Device_setInternalReferenceSelection"},
    {"SENS:ROSC:INT:LOWN", "Device_isReferenceLownoiseEnabled", "Device_*ReferenceLownoise"},
    {"SENS:ADC:ROSC:LOCK", "Device_isReferenceSource10MLocked"},
    {"SENS:PN:PREA", "Device_isPreamplifierEnabled", "Device_*Preamplifier"},
    {"SENS:PN:FREQ", "configPN_getFrequency", "configPN_setFrequency", "config_get*Frequency"},
    {"SENS:PN:FREQ:AUTO", "configPN_isAutoFrequency", "configPN_*AutoFrequency"},
    {"SENS:PN:FREQ:STAR", "configPN_getOffsetMin", "configPN_setOffsetMin", "config_get*OffsetMin"},
    {"SENS:PN:FREQ:STOP", "configPN_getOffsetMax", "configPN_setOffsetMax", "config_get*OffsetMax"},
    {"SENS:PN:FREQ:SPOT", "configPN_getSpotFrequency", "configPN_setSpotFrequency", "config_get*SpotFrequency"},
    {"SENS:PN:AVER", "configPN_getIterations", "configPN_setIterations", "config_get*Iterations"},
    {"SENS:PN:CORR", "configPN_getCorrelations", "configPN_setCorrelations", "config_get*Correlations"},
    {"SENS:PN:PPD", "configPN_getPointsPerDecade", "configPN_setPointsPerDecade", "config_get*PointsPerDecade"},
    {"SENS:PN:ATT", "configPN_getAttenuation", "configPN_setAttenuation", "config_get*Attenuation"},
    {"SENS:PN:ATT:AUTO", "configPN_isAutoAttenuation", "configPN_*AutoAttenuation"},
    {"SENS:PN:ASET", "configPN_getAttenuation", "configPN_setAttenuation", "config_get*Attenuation"},
    {"SENS:PN:ASET:AUTO", "configPN_isAutoAttenuation", "configPN_*AutoAttenuation"},
    {"SENS:PN:IFG", "configPN_getIFgain", "configPN_setIFgain", "config_get*IFgain"},
    {"SENS:PN:IFG:AUTO", "configPN_isAutoIFgain", "configPN_*AutoIFgain"},
    {"SENS:PN:KPHI:AUTO", "configPN_isAutoKphi", "configPN_*AutoKphi"},
    {"SENS:PN:LOB", "configPN_getLoopBandwidth", "configPN_setLoopBandwidth", "config_get*LoopBandwidth"},
    {"SENS:PN:LOBW", "configPN_getLoopBandwidth", "configPN_setLoopBandwidth", "config_get*LoopBandwidth"},
    {"SENS:PN:LOB:AUTO", "configPN_isAutoLoopBW", "configPN_*AutoLoopBW"},
    {"SENS:PN:SMO:STAT", "configPN_isSmoothingEnabled", "configPN_*Smoothing"},
    {"SENS:PN:SMO:APER", "configPN_getSmoothingAperture", "configPN_setSmoothingAperture", "get*SmoothingAperture"},
    {"SENS:PN:SPUR:OMIS", "configPN_isSpurOmissionEnabled", "configPN_*SpurOmission"},
    {"SENS:PN:SPUR:THR", "configPN_getSpurThreshold", "configPN_setSpurThreshold", "get*SpurThreshold"},
    {"SENS:PN:REF#:SENS", "configPN_getReferenceSens", "configPN_setReferenceSens", "configPN_get*ReferenceSens"},
    {"SENS:PN:REF#:VOLT", "", "configPN_setReferenceVoltage"},
    {"SENS:PN:KPHI", "config_getKphi_converted", "configPN_setKphi", "config_get*Kphi"},
    {"SENS:PN:PULS", "config_getPulseStatus", "config_*Pulse"},
    {"SENS:VCO:VOLT:STAR", "configVCO_getVoltageStart", "configVCO_setVoltageStart", "configVCO_get*VoltageStart"},
    {"SENS:VCO:VOLT:STOP", "configVCO_getVoltageStop", "configVCO_setVoltageStop", "configVCO_get*VoltageStop"},
    {"SENS:VCO:VOLT:POIN", "configVCO_getVoltagePoints", "configVCO_setVoltagePoints", "configVCO_get*VoltagePoints"},
    {"SENS:VCO:TEST:FREQ", "configVCO_isFrequencyEnabled", "configVCO_*Frequency"},
    {"SENS:VCO:TEST:POW", "configVCO_isPowerEnabled", "configVCO_*Power"},
    {"SENS:VCO:TEST:KVCO", "configVCO_isKVCOEnabled", "configVCO_*KVCO"},
    {"SENS:VCO:TEST:KPUS", "configVCO_isKPushEnabled", "configVCO_*KPush"},
    {"SENS:VCO:TEST:ISUP", "configVCO_isISupplyEnabled", "configVCO_*ISupply"},
    {"SENS:VCO:TEST:PN", "configVCO_isPhaseNoiseEnabled", "configVCO_*PhaseNoise"},
    {"SENS:VCO:TEST:PN:COUN", "configVCO_getNumberOfUsedOffsets"},
    {"CONF:ATT", "", "configPN_setAttenuation"},
    {"CONF:ATT:AUTO", "", "configPN_*AutoAttenuation"},
    {"CONF:FREQ:SPOT", "", "configPN_setSpotFrequency"},
    {"CONF:FREQ:STAR", "", "configPN_setOffsetMin"},
    {"CONF:FREQ:STOP", "", "configPN_setOffsetMax"},
    {"CONF:PN:LOOP", "", "configPN_setLoopBandwidth"},
    {"CONF:PN:LOOP:AUTO", "configPN_isAutoLoopBW", "configPN_*AutoLoopBW"},
    {"CONF:MEAS:ITER", "configPN_getIterations", "configPN_setIterations", "config_get*Iterations"},
    {"CONF:MEAS:PPD", "configPN_getPointsPerDecade", "configPN_setPointsPerDecade", "config_get*PointsPerDecade"},
    {"CONF:NOIS:CHAN", "Device_getPhaseNoiseChannels", "Device_setPhaseNoiseChannels"},
    {"CONF:NOIS:DIV", "Device_getPhaseNoiseDivider", "Device_setPhaseNoiseDivider"},
    {"CONF:NOIS:SAMP", "Device_getPhaseNoiseSamples", "Device_setPhaseNoiseSamples"},
    {"CONF:NOIS:GAIN", "Device_getLnaGain", "Device_setLnaGain"},
    {"CONF:NOIS:FS", "Device_getBaseSampleFrequency"},
    {"CALC:PN:TRAC:FUNC:INT", "getFunctionIntegral"},
    {"CALC:PN:TRAC:FUNC:JITT", "getFunctionJitter"},
    {"CALC:PN:PREL:AVER", "getPreliminaryAverageCount"},
    {"CALC:PN:PREL:CORR", "getPreliminaryCorrelationCount"},
    {"CALC:VCO:ITER", "getVCOIteration"},
    {"OUTP2", "Device_isRfEnabled", "Device_*Rf"},
    {"FREQ", "Device_getFrequencyFixed", "Device_setFrequencyFixed", "Device_getFrequency*"},
    {"FREQ:FIX", "Device_getFrequencyFixed", "Device_setFrequencyFixed", "Device_getFrequency*"},
    {"FREQ:ROUN", "Device_isFrequencyRoundingEnabled", "Device_*FrequencyRounding"},
    {"FREQ:PRE", "Device_getPrescaler", "Device_setPrescaler"},
    {"FREQ:PRE:AUTO", "Device_isAutoPrescaler", "Device_*AutoPrescaler"},
    {"FREQ:MEAS:CMIN", "Device_getCounterMinimum", "Device_setCounterMinimum"},
    {"POW", "Device_getPowerFixed"},
    {"POW:RAW", "Device_getPowerRaw"},
    {"POW:REF", "Device_getREFPower"},
    {"TUNE:VOLT", "Device_getTuneOutputVoltage", "Device_setTuneOutputVoltage"},
    {"TUNE:DUT:VOLT", "Device_getDutTuneOutputVoltage", "Device_setDutTuneOutputVoltage"},
    {"TUNE:DUT:STAT", "Device_isDutTuneOutputVoltageEnabled", "Device_*DutTuneOutputVoltage"},
    {"TUNE:EXT:VOLT", "Device_getExternalTuneOutputVoltage", "Device_setExternalTuneOutputVoltage"},
    {"SUPP#:VOLT", "Device_getSupplyOutputVoltage", "Device_setSupplyOutputVoltage", "Device_getSupplyOutputVoltage*"},
    {"SUPP#:CURR", "Device_getSupplyOutputCurrent", "Device_setSupplyOutputCurrent", "Device_getSupplyOutputCurrent*"},
    {"SUPP#:STAT", "Device_isSupplyOutputEnabled", "Device_*SupplyOutput"},
    {"ROSC:INT:STAT", "", "Device_*OCXO"},
    {"ROSC:INT:MODE:READY", "Device_isInternalReferenceReady"},
    {"LFO:FREQ", "Device_getLfgFrequency", "Device_setLfgFrequency", "Device_getLfgFrequency*"},
    {"LFO:AMPL", "Device_getLfgAmplitude", "Device_setLfgAmplitude"},
    {"LFO:DAC", "", "Device_setFuncoutDac"},
    {"LFO:STAT", "Device_isFuncoutEnabled", "Device_*Funcout"},
    {"SEL", "Device_getDefaultSourceIndex", "", "Device_getSourceIndex*"},
    {"MEAS:NOIS:VAL", "Device_getPhaseNoiseValidSamplesCount"},
    {"MEAS:SUPP#:CURR", "Device_measureSupplyOutputCurrent"},
    {"MEM:RAM:FNA#:SIZE", "Device_getFNSize"},
    {"MEM:RAM:FNB#:SIZE", "Device_getFNSize"},
    {"MEM:RAM:FD#:SIZE", "Device_getPhaseNoiseFdBufferSize"},
};
std::string slotNamed(std::string name, const char* star = "") {
    if (const size_t at = name.find('*'); at != name.npos)
        name.replace(at, 1, star);
    return name.empty() || name.starts_with("Device_") ? name : "Automeasure_" + name;
}

class Settings : public Tree {
protected:
    /// Whether `slot` is the only one among `calls`, with these arguments.
    static void only(const Notes& calls, const std::string& slot, const std::string& arguments) {
        EXPECT_EQ(calls, Notes{slot + '(' + arguments + ')'});
    }
    /// The same for what a setting does, after the selection of its configuration.
    void set(const std::string& line, const std::string& slot, const std::string& arguments) {
        converse({{line, ""}});
        EXPECT_EQ(notes, inModeOf(line, {slot + '(' + arguments + ')'}));
    }
};

TEST_F(Settings, ValuesAreReadAndSetAtTheirOwnSlots) {
    std::map<std::string, const scpi::Row*> rows; // by the shortest form of their header
    for (const scpi::CommandBranch& branch : scpi::commandBranches())
        for (const scpi::Row& row : branch.rows)
            rows[headerOf(row, allButShortest)] = &row;
    for (const Setting& setting : settings) {
        std::string header = setting.header;
        const size_t number = header.find('#');
        if (number != header.npos)
            header[number] = '2';
        SCOPED_TRACE(header);
        const scpi::Row& row = *rows.at(header);
        const std::string element = number != header.npos ? "2" : "", before = element.empty() ? "" : "2,";
        const std::string getter = slotNamed(setting.getter), setter = slotNamed(setting.setter);
        const bool isSwitch = std::string_view(setting.setter).find('*') != std::string_view::npos;
        const bool hasLimits = *setting.limits != '\0';
        EXPECT_EQ(!getter.empty(), (row.forms & scpi::Q) != 0);
        EXPECT_EQ(!setter.empty(), (row.forms & scpi::S) != 0);
        EXPECT_EQ(isSwitch, row.parameters == std::string("ON|OFF"));
        EXPECT_EQ(hasLimits, std::string_view(row.parameters).find("MIN|MAX") != std::string_view::npos);
        if (!getter.empty())
            for (const int value : {0, 1}) {
                results[getter] = value;
                EXPECT_EQ(strtod(tell(headerOf(row) + '?').c_str(), nullptr), value);
                only(reads, getter, element);
                EXPECT_EQ(notes, inModeOf(header));
            }
        if (isSwitch) {
            set(header + " ON", slotNamed(setting.setter, "enable"), element);
            set(header + " 0", slotNamed(setting.setter, "disable"), element);
            refuses({{" MAYBE", -224}}, header);
        } else if (!setter.empty()) {
            set(header + " 500", setter, before + "500");
            refuses({{"", -109}, {" 1,2", -108}, {" 1.2.3", -224}, {" 1e99", -222}}, header);
            results[setter] = -221; // the setter's result is the error
            converse({{header + " 500", "", {-221}}});
            results[setter] = 0;
        }
        if (!hasLimits) {
            EXPECT_EQ(tell(header + "? MIN"), "");
            EXPECT_EQ(errors().size(), 1u);
            continue;
        }
        for (const auto& [limit, word, beyond] : {std::tuple{"Min", " MIN", " -3"}, {"Max", " maximum", " 1E12"}}) {
            const std::string slot = slotNamed(setting.limits, limit);
            EXPECT_EQ(strtod(tell(header + '?' + word).c_str(), nullptr), results.at(slot));
            only(reads, slot, element);
            for (const char* parameter : {word, beyond})
                if (!setter.empty())
                    set(header + parameter, setter, before + std::to_string(static_cast<int>(results[slot])));
        }
    }
}

/// Words and a setting that knows them. A word has a number, or a slot of its own whose name * in the setter and the
/// getter stands for; a setting without getter cannot be asked for.
struct Words {
    const char *header, *words, *setter, *getter = "";
};
constexpr char modes[] = "PN=0 APN=1 BB=2 VCO=6 TRAN=5:TRANS";
constexpr char redo[] = "ALW=0 always=0:ALW ONC=1:ONCE ONCE=1 NEV=2 NEVER=2:NEV";
constexpr char references[] = "INT=0 NORM=0 LN=1 HIGH=2 ext=3", methods[] = "SING=0 SINGLE=0 DUT=1 CC=2";
constexpr Words wordRows[] = {
    {"SENS:MODE", modes, "config_setMeasurementMode", "config_getMeasurementMode"},
    {"CONF:MODE", "PN=0 BB=2 TRAN=5", "config_setMeasurementMode"},
    {"SENS:FREQ:DET", redo, "config_setRedoFrequency", "config_getRedoFrequency"},
    {"SENS:PN:FREQ:DET", redo, "configPN_setRedoFrequency", "configPN_getRedoFrequency"},
    {"SENS:PN:ATT:DET", redo, "configPN_setRedoAttenuation", "configPN_getRedoAttenuation"},
    {"SENS:PN:ASET:DET", redo, "configPN_setRedoAttenuation", "configPN_getRedoAttenuation"},
    {"SENS:PN:IFG:DET", redo, "configPN_setRedoIFgain", "configPN_getRedoIFgain"},
    {"SENS:PN:KPHI:DET", redo, "configPN_setRedoKphi", "configPN_getRedoKphi"},
    {"SENS:PATH", "BB=2 AM=1 PN=3 MUX=4 TRAN=5", "Device_setPath"},
    {"SENS:BB:METH", "SING=0 CC=2", "configBB_setMeasurementMethod"},
    {"SENS:PN:METH", methods, "configPN_setMeasurementMethod"},
    {"CONF:PN:METH", methods, "configPN_setMeasurementMethod"},
    {"SENS:PN:REF", references, "configPN_setReference"},
    {"SENS:PN:REF2?", references, "configPN_setReference"},
    {"SENS:VCO:REF1", references, "configVCO_setReference"},
    {"SENS:VCO:TYPE", "VCO=0 VCXO=1", "config_setVCODUTType", "config_getVCODUTType"},
    {"ROSC:INT:MODE", "NORM=1 LN=0 LNPLL=3 HSENS=2", "Device_setInternalReferenceSelection",
     "Device_getInternalReferenceSelection"},
    {"SENS:ADC:ROSC:SOUR", "INT=Internal EXTERNAL=External:EXT", "Device_setReferenceSource10M*",
     "Device_isReferenceSource10M*"},
    {"CONF:NOIS:BOAR", "A=A B=B", "Device_selectPhaseNoiseAlgBoard*", "Device_isPhaseNoiseAlgBoard*Selected"},
    {"TRIG:SOUR", "IMM=Immediate EXT=External", "Device_setTriggerSource*", "Device_isTriggerSource*"},
    {"ROSC:SOUR", "INTERNAL=Internal:INT EXT=External EXTAmpatt=ExternalAmpAtt:EXTA EXT=External",
     "Device_setReferenceSource*", "Device_isReferenceSource*"},
    {"LFO:SHAP", "SINE=Sine SQUARE=Square:SQU TRI=Triangle", "Device_setLfgShape*", "Device_isLfgShape*"},
    {"LFO:SOUR", "DAC=Dac HIGH=High LFG=Lfg LOW=Low PULM=Pulm TRIGGER=Trigger:TRIG", "Device_setFuncoutSource*",
     "Device_isFuncoutSource*"},
};

TEST_F(Settings, WordsAreSetAndAnsweredBothWays) {
    for (const auto& [header, words, setter, getter] : wordRows) {
        for (const auto& [word, meaning, answer] : itemsOf(words)) {
            const bool isNumber = meaning[0] <= '9';
            set(std::string(header) + ' ' + word, slotNamed(setter, meaning.c_str()), isNumber ? meaning : "");
            if (*getter == '\0')
                continue;
            const std::string asked = slotNamed(getter, meaning.c_str());
            for (auto& [name, result] : results)
                result = name != asked ? 0 : isNumber ? stoi(meaning) : 1;
            converse({{std::string(header) + '?', answer + '\n'}});
            EXPECT_EQ(notes, inModeOf(header));
        }
        refuses({{" XYZ", -113}, {" SLAVE", -113}, {"", -109}, {" PN,CC", -108}}, header);
    }
    results["Automeasure_config_getVCODUTType"] = 7;
    converse({{"SENS:VCO:TYPE?", "unknown\n"}});
    tell("ROSC:SOUR EXTA"); // what switches to internal forgets it
    for (const auto& [internal, answer] : {std::pair{0, "EXTA\n"}, {1, "INT\n"}, {0, "EXT\n"}}) {
        results["Device_isReferenceSourceInternal"] = internal;
        converse({{"ROSC:SOUR?", answer}});
    }
    fill.clear(Device_isTriggerSourceImmediate);
    fill.clear(Device_isTriggerSourceExternal);
    fill.clear(Device_setTriggerSourceExternal);
    refuses({{"TRIG:SOUR?", -113}, {"TRIG:SOUR EXT", -113}});
}

TEST_F(Settings, SeveralNumbersAreTakenAtOnce) {
    converse({{"SENS:PN:FREQ:STAR 200;STOP 600;:SENS:PN:FUNC:RANG 100, 2.5e6", ""}});
    EXPECT_EQ(notes, (Notes{"Automeasure_configPN_setOffsetMin(200)", "Automeasure_configPN_setOffsetMax(600)",
                            "Automeasure_configPN_setFunctionRange(100,2.5e+06)"}));
    set("SENS:VCO:TEST:PN:OFFS 1e4,2e4,0,3e4", "Automeasure_configVCO_setPnOffsets", "10000,20000,0,30000");
    text = "0,12,20,26";
    results["Automeasure_configVCO_getPnOffset"] = 1e5;
    converse({{"CONF:NOIS:GAIN:LIST?", "0,12,20,26\n"}, {"SENS:VCO:TEST:PN:OFFS3?", "100000.000000000\n"}});
    EXPECT_EQ(reads, Notes{"Automeasure_configVCO_getPnOffset(3)"});
    refuses({{" 100", -109}, {" 1,2,3", -108}, {" 1,inf", -224}, {" 1,2Hz", -224}}, "SENS:PN:FUNC:RANG");
    refuses({{" 1,2,3", -109}, {" 1,2,3,x", -224}}, "SENS:VCO:TEST:PN:OFFS2");
    refuses({{"? 5", -113}, {"? MIN,MAX", -108}}, "SENS:PN:FREQ");
    fill.clear(Device_disableRf);
    refuses({{"FREQ 1 V", -131}, {"OUTP ON", -113}});
}

} // namespace
} // namespace tree
