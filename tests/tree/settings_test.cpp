/// Rows whose leaf is one value: which slots stand behind each command, and what the value goes through on its way.

#include "fake_instrument.h"
#include "tests/slots.h"

#include <cstdlib>
#include <regex>

namespace tree {
namespace {

/// Where headers lead: what follows the common start, in the shortest form, and the quantity in the slots' names behind
/// the verb, as a regular expression. # behind it: the slots take the number of the element, 2 here.
struct Group {
    const char *start, *slots, *homes;
};
constexpr Group groups[] = {
    {"", "Automeasure_config_",
     "SENS:FREQ=Frequency SENS:FREQ:AUTO=AutoFrequency CONF:FREQ=Frequency CONF:FREQ:AUTO=AutoFrequency "
     "CALC:FREQ=Frequency CALC:FREQ:RAW=FrequencyRaw CALC:POW=Power CALC:POW:RAW=PowerRaw"},
    {"SENS:", "Device_",
     "ROSC:INT=InternalReferenceSelection ROSC:INT:LOWN=ReferenceLownoise ADC:ROSC:LOCK=ReferenceSource10MLocked "
     "PN:PREA=Preamplifier"},
    {"SENS:PN:", "Automeasure_configPN_",
     "FREQ=Frequency FREQ:AUTO=AutoFrequency FREQ:STAR=OffsetMin FREQ:STOP=OffsetMax FREQ:SPOT=SpotFrequency "
     "AVER=Iterations CORR=Correlations PPD=PointsPerDecade ATT=Attenuation ATT:AUTO=AutoAttenuation ASET=Attenuation "
     "ASET:AUTO=AutoAttenuation IFG=IFgain IFG:AUTO=AutoIFgain KPHI:AUTO=AutoKphi LOB=LoopBandwidth LOBW=LoopBandwidth "
     "LOB:AUTO=AutoLoopBW SMO:STAT=Smoothing SMO:APER=SmoothingAperture SPUR:OMIS=SpurOmission "
     "SPUR:THR=SpurThreshold REF2:SENS=ReferenceSens# REF2:VOLT=ReferenceVoltage#"},
    {"SENS:PN:", "Automeasure_config(PN)?_", "KPHI=Kphi(_converted)? PULS=Pulse(Status)?"},
    {"SENS:VCO:", "Automeasure_configVCO_",
     "VOLT:STAR=VoltageStart VOLT:STOP=VoltageStop VOLT:POIN=VoltagePoints TEST:FREQ=Frequency TEST:POW=Power "
     "TEST:KVCO=KVCO TEST:KPUS=KPush TEST:ISUP=ISupply TEST:PN=PhaseNoise TEST:PN:COUN=NumberOfUsedOffsets"},
    {"CONF:", "Automeasure_configPN_",
     "ATT=Attenuation ATT:AUTO=AutoAttenuation FREQ:SPOT=SpotFrequency FREQ:STAR=OffsetMin FREQ:STOP=OffsetMax "
     "PN:LOOP=LoopBandwidth PN:LOOP:AUTO=AutoLoopBW MEAS:ITER=Iterations MEAS:PPD=PointsPerDecade"},
    {"CONF:NOIS:", "Device_",
     "CHAN=PhaseNoiseChannels DIV=PhaseNoiseDivider SAMP=PhaseNoiseSamples GAIN=LnaGain FS=BaseSampleFrequency"},
    {"CALC:", "Automeasure_",
     "PN:TRAC:FUNC:INT=FunctionIntegral PN:TRAC:FUNC:JITT=FunctionJitter PN:PREL:AVER=PreliminaryAverageCount "
     "PN:PREL:CORR=PreliminaryCorrelationCount VCO:ITER=VCOIteration"},
    {"", "Device_",
     "OUTP2=Rf FREQ=FrequencyFixed FREQ:FIX=FrequencyFixed FREQ:ROUN=FrequencyRounding FREQ:PRE=Prescaler "
     "FREQ:PRE:AUTO=AutoPrescaler FREQ:MEAS:CMIN=CounterMinimum POW=PowerFixed POW:RAW=PowerRaw POW:REF=REFPower "
     "TUNE:VOLT=TuneOutputVoltage TUNE:DUT:VOLT=DutTuneOutputVoltage TUNE:DUT:STAT=DutTuneOutputVoltage "
     "TUNE:EXT:VOLT=ExternalTuneOutputVoltage SUPP2:VOLT=SupplyOutputVoltage# SUPP2:CURR=SupplyOutputCurrent# "
     "SUPP2:STAT=SupplyOutput# ROSC:INT:STAT=OCXO ROSC:INT:MODE:READY=InternalReferenceReady LFO:FREQ=LfgFrequency "
     "LFO:AMPL=LfgAmplitude LFO:DAC=FuncoutDac LFO:STAT=Funcout SEL=DefaultSourceIndex "
     "MEAS:NOIS:VAL=PhaseNoiseValidSamplesCount MEAS:SUPP2:CURR=SupplyOutputCurrent# MEM:RAM:FNA2:SIZE=FNSize# "
     "MEM:RAM:FNB2:SIZE=FNSize# MEM:RAM:FD2:SIZE=PhaseNoiseFdBufferSize#"},
};

std::string replaced(const std::string& in, const char* pattern, const char* by) {
    return std::regex_replace(in, std::regex(pattern), by);
}

class Settings : public Tree {
protected:
    /// Name of the only slot among `calls`; it must fit the pattern and have had these arguments.
    static std::string only(const Notes& calls, const std::string& pattern, const std::string& arguments) {
        const std::string name = calls.size() == 1 ? calls[0].substr(0, calls[0].find('(')) : "";
        EXPECT_TRUE(std::regex_match(name, std::regex(pattern))) << pattern << ": " << testing::PrintToString(calls);
        EXPECT_EQ(calls, Notes{name + '(' + arguments + ')'});
        return name;
    }
    /// The same for what a setting does, after the selection of its configuration.
    std::string set(const std::string& line, const std::string& pattern, const std::string& arguments) {
        converse({{line, ""}});
        const Notes own(notes.end() - (notes.empty() ? 0 : 1), notes.end());
        EXPECT_EQ(notes, inModeOf(line, own));
        return only(own, pattern, arguments);
    }
};

TEST_F(Settings, ValuesAreReadAndSetAtTheirOwnSlots) {
    std::map<std::string, const scpi::Row*> rows; // by the shortest form of their header
    for (const scpi::CommandBranch& branch : scpi::commandBranches())
        for (const scpi::Row& row : branch.rows)
            rows[headerOf(row, allButShortest)] = &row;
    for (const auto& [start, slots, homes] : groups)
        for (auto [rest, quantity, _] : itemsOf(homes)) {
            const std::string header = start + rest;
            SCOPED_TRACE(header);
            const scpi::Row& row = *rows.at(header);
            const std::string element = quantity.ends_with('#') ? "2" : "", before = element.empty() ? "" : "2,";
            quantity = replaced(quantity, "#", "");
            const std::string setter = slots + ("set" + quantity);
            if ((row.forms & scpi::Q) != 0) {
                tell(headerOf(row) + '?');
                const std::string name = only(reads, slots + ("(get|is|measure)" + quantity + "(Enabled)?"), element);
                for (const int value : {0, 1}) {
                    results[name] = value;
                    EXPECT_EQ(strtod(tell(header + '?').c_str(), nullptr), value);
                    EXPECT_EQ(notes, inModeOf(header));
                }
            }
            if (row.parameters == std::string("ON|OFF")) {
                set(header + " ON", slots + ("enable" + quantity), element);
                set(header + " 0", slots + ("disable" + quantity), element);
                refuses({{" MAYBE", -224}}, header);
            } else if ((row.forms & scpi::S) != 0) {
                const std::string name = set(header + " 500", setter, before + "500");
                refuses({{"", -109}, {" 1,2", -108}, {" 1.2.3", -224}, {" 1e99", -222}}, header);
                results[name] = -221; // the setter's result is the error
                converse({{header + " 500", "", {-221}}});
                results[name] = 0;
            }
            if (std::string_view(row.parameters).find("MIN|MAX") == std::string_view::npos) {
                EXPECT_EQ(tell(header + "? MIN"), "");
                EXPECT_EQ(errors().size(), 1u);
                continue;
            }
            const std::string limited = replaced(quantity, "Fixed|Default", "");
            for (const auto& [limit, word, beyond] : {std::tuple{"Min", " MIN", " -3"}, {"Max", " maximum", " 1E12"}}) {
                const std::string answer = tell(header + '?' + word);
                const std::string name =
                    only(reads, "\\w+_get(" + (limit + limited) + '|' + limited + limit + ')', element);
                EXPECT_EQ(strtod(answer.c_str(), nullptr), results[name]);
                for (const char* parameter : {word, beyond})
                    if ((row.forms & scpi::S) != 0)
                        set(header + parameter, setter, before + std::to_string(static_cast<int>(results[name])));
            }
        }
}

/// Words and the settings that know them. A word has a number, or slots of its own whose names it ends. * in a slot is
/// the verb; a setting without it cannot be asked for.
struct Words {
    const char *words, *settings;
};
constexpr Words wordRows[] = {
    {"PN=0 APN=1 BB=2 VCO=6 TRAN=5:TRANS", "SENS:MODE=Automeasure_config_*MeasurementMode"},
    {"PN=0 BB=2 TRAN=5", "CONF:MODE=Automeasure_config_setMeasurementMode"},
    {"ALW=0 always=0:ALW ONC=1:ONCE ONCE=1 NEV=2 NEVER=2:NEV",
     "SENS:FREQ:DET=Automeasure_config_*RedoFrequency SENS:PN:FREQ:DET=Automeasure_configPN_*RedoFrequency "
     "SENS:PN:ATT:DET=Automeasure_configPN_*RedoAttenuation SENS:PN:ASET:DET=Automeasure_configPN_*RedoAttenuation "
     "SENS:PN:IFG:DET=Automeasure_configPN_*RedoIFgain SENS:PN:KPHI:DET=Automeasure_configPN_*RedoKphi"},
    {"BB=2 AM=1 PN=3 MUX=4 TRAN=5", "SENS:PATH=Device_setPath"},
    {"SING=0 CC=2", "SENS:BB:METH=Automeasure_configBB_setMeasurementMethod"},
    {"SING=0 SINGLE=0 DUT=1 CC=2", "SENS:PN:METH=Automeasure_configPN_setMeasurementMethod "
                                   "CONF:PN:METH=Automeasure_configPN_setMeasurementMethod"},
    {"INT=0 NORM=0 LN=1 HIGH=2 ext=3",
     "SENS:PN:REF=Automeasure_configPN_setReference SENS:PN:REF2?=Automeasure_configPN_setReference "
     "SENS:VCO:REF1=Automeasure_configVCO_setReference"},
    {"VCO=0 VCXO=1", "SENS:VCO:TYPE=Automeasure_config_*VCODUTType"},
    {"NORM=1 LN=0 LNPLL=3 HSENS=2", "ROSC:INT:MODE=Device_*InternalReferenceSelection"},
    {"INT=Internal EXTERNAL=External:EXT", "SENS:ADC:ROSC:SOUR=Device_*ReferenceSource10M"},
    {"A=A B=B", "CONF:NOIS:BOAR=Device_*PhaseNoiseAlgBoard"},
    {"IMM=Immediate EXT=External", "TRIG:SOUR=Device_*TriggerSource"},
    {"INTERNAL=Internal:INT EXT=External EXTAmpatt=ExternalAmpAtt:EXTA EXT=External",
     "ROSC:SOUR=Device_*ReferenceSource"},
    {"SINE=Sine SQUARE=Square:SQU TRI=Triangle", "LFO:SHAP=Device_*LfgShape"},
    {"DAC=Dac HIGH=High LFG=Lfg LOW=Low PULM=Pulm TRIGGER=Trigger:TRIG", "LFO:SOUR=Device_*FuncoutSource"},
};

TEST_F(Settings, WordsAreSetAndAnsweredBothWays) {
    for (const auto& [words, settings] : wordRows)
        for (const auto& [header, slot, _] : itemsOf(settings)) {
            for (const auto& [word, meaning, answer] : itemsOf(words)) {
                const bool isNumber = meaning[0] <= '9';
                const std::string number = isNumber ? meaning : "", end = isNumber ? "" : meaning;
                set(header + ' ' + word, replaced(slot, "\\*", "(set|select)") + end, number);
                if (slot.find('*') == slot.npos)
                    continue;
                const std::regex getter(replaced(slot, "\\*", isNumber ? "get" : "is") + end + "(Selected)?");
                for (auto& [name, result] : results)
                    result = !std::regex_match(name, getter) ? 0 : isNumber ? stoi(number) : 1;
                converse({{header + '?', answer + '\n'}});
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
