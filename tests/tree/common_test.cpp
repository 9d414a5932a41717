/// Common commands, STATus, UNIT and the older forms.

#include "core/tv_event.h"
#include "fake_instrument.h"
#include "identity/device_config.h"
#include "scpi/tree/common.h"
#include "scpi/tree/old_forms.h"
#include "tests/slots.h"

#include <cstdio>
#include <fstream>

namespace tree {
namespace {

using Common = Tree;

TEST_F(Common, IdentityIsMakerModelNumberAndVersion) {
    snprintf(device_config_sn, sizeof device_config_sn, "523-456789012-0007");
    device_config_fwStatus = 0;
    device_config_modelNameExt[0] = 0;
    converse({{"*IDN?;*OPT?", "Tolvane AG,TVPNX,523-456789012-0007,0.4.92;\"0\"\n"}, {"*IDN? 5", "", {-108}}});
}

TEST_F(Common, AnIdentityAskedForIsNoActivityOfItsLink) {
    tv_event_setVxiLinks(&link_, nullptr);
    global_activeLinks = 0;
    tell("*IDN?");
    EXPECT_EQ(global_activeLinks, 0u);
    for (const char* active : {"*IDN? 5", "*OPT?"}) {
        tell(active);
        EXPECT_NE(global_activeLinks, 0u) << active;
        for (int ticks = 0; ticks < 10; ++ticks)
            tv_event_indicateLinkActivity(nullptr);
        EXPECT_EQ(global_activeLinks, 0u);
    }
    tv_event_setVxiLinks(nullptr, nullptr);
}

TEST_F(Common, CommandsOfTheStandardKeepTheirRegisters) {
    results["Device_selftest"] = 0x18001; // a 16-bit code
    registers.esr = 32;
    registers.operationWait.event = 2;
    converse({{"*OPC;*WAI;*OPC?;*TST?", "1;-32767\n"},
              {"*ESE 511;*SRE 300;*ESE?;*SRE?;*STB?;*ESR?;*ESR?", "255;44;0;32;32\n"}, // reading does not clear
              {"*ESE;*ESE 1,2;*ESE x;*STB? 1;*WAI 1;*OPC 1;*CLS?", "", {-109, -108, -224, -108, -108, -108, -113}},
              {"STAT:OPER:ENAB 9;:NOSUCH;:*CLS 1", "", {-113, -108}}, // a wrong *CLS clears nothing
              {"*ESR?;:NOSUCH;:*CLS;*ESR?;*ESE?;*SRE?;:STAT:OPER:WAIT?;:STAT:OPER:ENAB?", "32;0;255;44;0;9\n"}});
    fill.clear(Device_selftest);
    fill.clear(Device_getStatusRegisters);
    converse({{"*TST?", "0\n"}, {"*ESE?;*STB?;*ESR?;:STAT:OPER?", "", Codes(4, -113)}});
}

TEST_F(Common, StoredSettingsHaveTheirNumberInTheHeader) {
    const std::string path = "/tolvane/cust/sav12";
    std::ofstream(path) << ":OUTP ON\n:SENS:PN:TEST O1,Ox\n:SENS:PN:AVER 400\n:NOSUCH\n\n";
    scpi::recall_resetBus = [] { return notes.emplace_back("bus reset"), 0; };
    converse({{"*RCL12;*RCL999", ""}});
    scpi::recall_resetBus = nullptr;
    EXPECT_EQ(notes, (Notes{"bus reset", "Device_reset()", "Device_enableRf()",
                            "Automeasure_configPN_setIterations(400)", "bus reset", "Device_reset()"}));
    refuses({{"*RCL1000", -113}, {"*RCL", -113}, {"*RCL 12", -113}, {"*RCL12 1", -108}, {"*SDS1000", -113}});
    refuses({{"*SAV1000", -113}, {"*SAV 5", -113}, {"*SAV5", -113}}); // the device has no list of settings
    converse({{"*SDS12", ""}});
    EXPECT_FALSE(std::ifstream(path).good());
}

TEST_F(Common, StatusRegistersAreStoredAndEventsReadOnce) {
    const std::pair<std::string, StatusRegister*> rows[] = {{"STAT:OPER", &registers.operation},
                                                            {"STATus:OPERation:SWEep", &registers.operationSweep},
                                                            {"STAT:OPER:WAIT", &registers.operationWait},
                                                            {"STAT:QUES", &registers.questionable}};
    using Register = StatusRegister;
    const std::pair<const char*, Shared<uint16_t> Register::*> fields[] = {
        {":ENAB", &Register::enable}, {":NTR", &Register::ntransition}, {":PTRansition", &Register::ptransition}};
    uint16_t value = 65532;
    for (const auto& [header, reg] : rows) {
        SCOPED_TRACE(header);
        for (const auto& [node, field] : fields) {
            converse({{header + node + ' ' + std::to_string(++value), ""}});
            EXPECT_EQ(reg->*field, value) << node;
            refuses({{" x", -224}, {"", -109}}, header + node);
            converse({{header + node + '?', std::to_string(value) + '\n'}});
        }
        reg->condition = 5;
        reg->event = 7;
        converse({{header + ":COND?;EVEN?;:" + header + "?;:" + header + ":COND?", "5;7;0;5\n"}}); // read once
        refuses({{"? 1", -108}, {" 1", -113}, {":COND 1", -113}, {":NOSUCH?", -113}}, header);
    }
}

TEST_F(Common, OldFormsAnswerAsTheyDid) {
    results["Device_isRfEnabled"] = 1;
    results["Device_getContTemperature"] = 41.25;
    converse({{"mrf/", "rf on\n"}, {"mt/", "temp_celsius=41.2500/\n"}});
    constexpr struct {
        const char *line, *steps;
    } attenuations[] = {
        {"alccorr=12;ta=12", "12"}, {"tax=13?4?5", "13"}, {"SENS:PN:AVER 1,2;ta= +7x", "7"}, {"ta=foo", "0"},
        {"ta=-1", "4294967295"},    {"ta=", "0"},         {"ta=99999999999", "2147483647"}};
    for (const auto& [line, steps] : attenuations) {
        tell(line);
        EXPECT_EQ(notes, Notes{"Device_setTotalStepAttenuation(" + std::string(steps) + ')'}) << line;
    }
    errors();
    refuses({{":ta=12", -113}, {" : tax=13", -113}, {":mt/", -113}, {":EXIT", -113}, {"ta=:12", -113}});
    results["Device_isRfEnabled"] = 0;
    converse({{"MRF/", "rf off\n"}, {"fmpmset/", "LFO DAC: 0, FM/PM DAC: 0\n"}});
}

TEST_F(Common, ServicesOfTheHostStandWhereTheyAreGiven) {
    refuses({{"EXIT", -113}});
    scpi::oldFormServices = {.exitProcess = [] { notes.emplace_back("exit"); },
                             .sendFile = [](const char* file) { return notes.push_back(std::string("to ") + file), 0; },
                             .receiveFile =
                                 [](const char* file) {
                                     notes.push_back(std::string("from ") + file);
                                     return static_cast<int>(results["receiveFile"]);
                                 }};
    refuses({{"tcg/", -113}, {"tcs/", -113}}); // another link has no such partner
    tell("exit");
    EXPECT_EQ(notes, Notes{"exit"});
    errors();
    EXPECT_EQ(tell(&link_socket, "tcg/"), "");
    EXPECT_EQ(notes, Notes{"to /tolvane/dev/calibration.csv"});
    EXPECT_EQ(tell(&link_socket, "tcs/"), "calibration loaded\n");
    EXPECT_EQ(notes, (Notes{"from /tolvane/dev/calibration.csv", "Device_loadCalibrationData()"}));
    results["Device_loadCalibrationData"] = -240;
    EXPECT_EQ(tell(&link_socket, "tcs/"), "calibration failed\n");
    results["receiveFile"] = -200;
    EXPECT_EQ(tell(&link_socket, "tcs/"), "calibration failed\n");
    EXPECT_EQ(notes.size(), 1u) << "what did not arrive is not loaded";
    EXPECT_EQ(errors(), (Codes{-240, -200}));
    scpi::oldFormServices = {};
}

} // namespace
} // namespace tree
