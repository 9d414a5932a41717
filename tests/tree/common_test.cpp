/// Common commands, STATus, UNIT and the older forms.

#include "device/device_config.h"
#include "fake_instrument.h"
#include "scpi/text/power_unit.h"
#include "scpi/tree/old_forms.h"

#include <cstdio>
#include <fstream>

namespace tree {
namespace {

class Common : public Tree {};

TEST_F(Common, IdentityIsMakerModelNumberAndVersion) {
    snprintf(device_config_sn, sizeof device_config_sn, "523-456789012-0007");
    device_config_fwStatus = 0;
    device_config_modelNameExt[0] = 0;
    EXPECT_EQ(tell("*IDN?"), "Tolvane AG,TVPNX,523-456789012-0007,0.4.92\n");
    EXPECT_EQ(tell("*IDN?;*OPC?"), "Tolvane AG,TVPNX,523-456789012-0007,0.4.92;1\n");
    snprintf(device_config_modelNameExt, sizeof device_config_modelNameExt, "[HF]");
    device_config_fwStatus = 1;
    Device_getName.unregister();
    EXPECT_EQ(tell("*idn?"), "Tolvane AG,undefined[HF],523-456789012-0007,0.0.1\n");
    device_config_modelNameExt[0] = 0;
    EXPECT_EQ(tell("*OPT?"), "\"0\"\n");
    EXPECT_EQ(errors(), Codes{});
    EXPECT_EQ(tell("*IDN? 5"), "");
    EXPECT_EQ(errors(), Codes{-108});
}

TEST_F(Common, RegistersOfEightBitsKeepEightBits) {
    EXPECT_EQ(tell("*ESE 511;*SRE 300;*ESE?;*SRE?;*STB?;*ESR?"), "255;44;0;0\n");
    registers.esr = 32;
    EXPECT_EQ(tell("*ESR?;*ESR?"), "32;32\n") << "reading does not clear";
    for (const auto& [line, code] : {Refusal{"*ESE", -109}, {"*ESE 1,2", -108}, {"*ESE x", -224}, {"*STB? 1", -108}}) {
        EXPECT_EQ(tell(line), "");
        EXPECT_EQ(errors(), Codes{code}) << line;
    }
    EXPECT_EQ(tell("*ESE?"), "255\n");
    Device_getStatusRegisters.unregister();
    EXPECT_EQ(tell("*ESE?;*STB?;:STAT:OPER?"), "");
    EXPECT_EQ(errors(), Codes(3, -113));
}

TEST_F(Common, ClearForgetsEventsAndErrorsAndKeepsTheEnables) {
    tell("*ESE 4;:STAT:OPER:ENAB 9;:NOSUCH");
    registers.esr = 1;
    registers.operationWait.event = 2;
    EXPECT_EQ(tell("*CLS;*ESR?;*ESE?;:STAT:OPER:WAIT?;:STAT:OPER:ENAB?;:SYST:ERR?"), "0;4;0;9;0,\"No error\"\n");
    tell("NOSUCH;:*CLS 1");
    EXPECT_EQ(errors(), (Codes{-113, -108})) << "a wrong *CLS clears nothing";
}

TEST_F(Common, EveryCommandHasEndedWhenTheNextOneRuns) {
    EXPECT_EQ(tell("*OPC;*WAI;*OPC?"), "1\n");
    results["Device_selftest"] = 0x18001; // a 16-bit code
    EXPECT_EQ(tell("*TST?"), "-32767\n");
    Device_selftest.unregister();
    EXPECT_EQ(tell("*TST?"), "0\n");
    EXPECT_EQ(errors(), Codes{});
    tell("*WAI 1;*OPC 1;*CLS?");
    EXPECT_EQ(errors(), (Codes{-108, -108, -113}));
}

TEST_F(Common, StoredSettingsHaveTheirNumberInTheHeader) {
    const std::string path = "/tolvane/cust/sav12";
    std::ofstream(path) << ":OUTP ON\n:SENS:PN:AVER 400\n:NOSUCH\n\n";
    tell("*RCL12");
    EXPECT_EQ(done(), (Notes{"Device_enableRf()", "Automeasure_configPN_setIterations(400)"}));
    tell("*RCL13");
    EXPECT_EQ(done(), Notes{});
    tell("*SDS12;*RCL12");
    EXPECT_EQ(done(), Notes{});
    EXPECT_FALSE(std::ifstream(path).good());
    EXPECT_EQ(errors(), Codes{});
    Device_reset = [](Device*) { return notes.emplace_back("reset"), 0; };
    tell("*RCL1000");
    tell("*RCL 12");
    EXPECT_EQ(done(), Notes{}) << "a number out of range resets nothing";
    tell("*RCL999");
    EXPECT_EQ(done(), Notes{"reset"});
    Device_reset.unregister();
    EXPECT_EQ(errors(), (Codes{-113, -113}));
    for (const auto& [line, code] : {Refusal{"*SAV1000", -113},
                                     {"*SAV 5", -113},
                                     {"*RCL", -113},
                                     {"*SDS1000", -113},
                                     {"*RCL5 1", -108},
                                     {"*SAV5", -113}}) { // the device has no list of settings
        tell(line);
        EXPECT_EQ(errors(), Codes{code}) << line;
    }
}

TEST_F(Common, StatusRegistersAreStoredAndEventsReadOnce) {
    const struct {
        const char* path;
        StatusRegister* reg;
    } rows[] = {{"STAT:OPER", &registers.operation},
                {"STATus:OPERation:SWEep", &registers.operationSweep},
                {"STAT:OPER:WAIT", &registers.operationWait},
                {"STAT:QUES", &registers.questionable}};
    uint16_t value = 1000;
    for (const auto& [path, reg] : rows) {
        SCOPED_TRACE(path);
        const std::string header = path;
        const struct {
            const char* node;
            uint16_t StatusRegister::*field;
        } stored[] = {{":ENAB", &StatusRegister::enable},
                      {":NTR", &StatusRegister::ntransition},
                      {":PTRansition", &StatusRegister::ptransition}};
        for (const auto& [node, field] : stored) {
            ++value;
            tell(header + node + " " + std::to_string(value));
            EXPECT_EQ(reg->*field, value) << node;
            EXPECT_EQ(tell(header + node + "?"), std::to_string(value) + "\n");
            tell(header + node + " x");
            tell(header + node);
            EXPECT_EQ(errors(), (Codes{-224, -109}));
            EXPECT_EQ(reg->*field, value) << node;
        }
        tell(header + ":ENAB 65535");
        EXPECT_EQ(tell(header + ":ENAB?"), "65535\n");
        reg->condition = 5;
        reg->event = 7;
        EXPECT_EQ(tell(header + ":COND?;EVEN?"), "5;7\n");
        EXPECT_EQ(tell(header + "?"), "0\n") << "read once";
        EXPECT_EQ(reg->condition, 5);
        EXPECT_EQ(tell(header + "? 1"), "");
        tell(header + ":COND 1;:" + header + " 1;:" + header + ":NOSUCH?");
        EXPECT_EQ(errors(), (Codes{-108, -113, -113, -113}));
    }
}

TEST_F(Common, TheUnitOfPowersIsTheUsers) {
    results["Device_getPowerFixed"] = 30;
    EXPECT_EQ(tell("UNIT:POW?;:POW?"), "dBmW;30.000000\n");
    EXPECT_EQ(tell("UNIT:POW W;POW?;:POW?"), "W;1.000000\n");
    tell("UNIT:POW mW");
    EXPECT_EQ(errors(), Codes{-131});
    EXPECT_EQ(tell("UNIT:POW?"), "W\n");
    tell("UNIT:POW DBM");
    EXPECT_EQ(tell("UNIT:POW?"), "dBmW\n");
    EXPECT_EQ(errors(), Codes{});
}

class OldForms : public Tree {
protected:
    ~OldForms() override { scpi::oldFormServices = {}; }
};

TEST_F(OldForms, AnswerAsTheyDid) {
    results["Device_isRfEnabled"] = 1;
    EXPECT_EQ(tell("mrf/"), "rf on\n");
    results["Device_isRfEnabled"] = 0;
    EXPECT_EQ(tell("MRF/"), "rf off\n");
    results["Device_getContTemperature"] = 41.25;
    EXPECT_EQ(tell("mt/"), "temp_celsius=41.2500/\n");
    EXPECT_EQ(tell("fmpmset/"), "LFO DAC: 0, FM/PM DAC: 0\n");
    EXPECT_EQ(tell("alccorr=12"), "");
    tell("ta=12");
    tell("tax=13?4?5");
    EXPECT_EQ(done(), (Notes{"Device_setTotalStepAttenuation(12)", "Device_setTotalStepAttenuation(13)"}));
    EXPECT_EQ(errors(), Codes{});
    for (const char* line : {"ta=", "ta=-1", "tax=x?1", "ta=99999999999"}) {
        tell(line);
        EXPECT_EQ(errors(), Codes{-224}) << line;
    }
    EXPECT_EQ(done(), Notes{});
}

TEST_F(OldForms, TransferTheCalibrationOverTheTcpLinkAlone) {
    static std::string path;
    static int received;
    received = 0;
    scpi::oldFormServices.sendFile = [](const char* file) { return path = std::string("to ") + file, 0; };
    scpi::oldFormServices.receiveFile = [](const char* file) { return path = std::string("from ") + file, received; };
    EXPECT_EQ(tell(&link_socket, "tcg/"), "");
    EXPECT_EQ(path, "to /tolvane/dev/calibration.csv");
    EXPECT_EQ(tell(&link_socket, "tcs/"), "calibration loaded\n");
    EXPECT_EQ(path, "from /tolvane/dev/calibration.csv");
    EXPECT_EQ(done(), Notes{"Device_loadCalibrationData()"});
    EXPECT_EQ(errors(), Codes{});

    results["Device_loadCalibrationData"] = -240;
    EXPECT_EQ(tell(&link_socket, "tcs/"), "calibration failed\n");
    EXPECT_EQ(errors(), Codes{-240});
    done();
    received = -200;
    EXPECT_EQ(tell(&link_socket, "tcs/"), "calibration failed\n");
    EXPECT_EQ(errors(), Codes{-200});
    EXPECT_EQ(done(), Notes{}) << "what did not arrive is not loaded";

    path.clear();
    tell("tcg/");
    tell("tcs/");
    EXPECT_EQ(errors(), (Codes{-113, -113})) << "another link has no such partner";
    EXPECT_EQ(path, "");
}

TEST_F(OldForms, ExitEndsTheProcessWhereThereIsOneToEnd) {
    static int ends;
    ends = 0;
    tell("EXIT");
    EXPECT_EQ(errors(), Codes{-113});
    scpi::oldFormServices.exitProcess = [] { ++ends; };
    tell("exit");
    EXPECT_EQ(ends, 1);
}

} // namespace
} // namespace tree
