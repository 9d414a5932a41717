/// What clients do while a run is on leaves its trace alone: settings reach the next run, what would touch the hardware
/// is refused.

#include "scpi/tree/command_tree.h"
#include "tests/firmware/turnstile.h"
#include "tests/firmware/unit_in_process.h"
#include "virtual/platform/clock.h"

#include <random>

using namespace vi;

namespace {

constexpr const char* nothing = "0,\"No error\"\n";
constexpr const char* conflict = "-221,\"Settings conflict\"\n";
const std::string plain = ":SENS:PN:SPUR:OMIS OFF;:SENS:PN:SMO:STAT OFF;:SENS:PN:CORR 300;AVER 3;:";

UnitInProcess& unit = UnitInProcess::get();

std::string errorOf(const std::string& line) {
    unit.tell("*CLS");
    unit.tell(line);
    return unit.tell("SYST:ERR?");
}

/// Rows that end a run, wait for its end, or end the process or the links.
bool actsOnRuns(std::string_view header) {
    for (const std::string_view start :
         {"ABORt", "INIT", "*RST", "*RCL", "SENSe:MODE", "CONFigure:MODE", "EXEC", "WAIT", "RESTart", "LAN:", "EXIT"})
        if (header.find(start) != std::string_view::npos)
            return true;
    return false;
}

class Commands {
public:
    /// Any command of the tree, with parameters of its kind.
    std::string any() {
        const scpi::Row& row = *rows_[random_() % rows_.size()];
        std::string header;
        for (const char* c = row.header; *c != 0; ++c)
            if (*c == '<') {
                header += random_() % 2 != 0 ? '1' : '2';
                c += 2;
            } else if (*c != '[' && *c != ']') {
                header += *c;
            }
        const bool asks = row.forms == scpi::Q || (row.forms == scpi::QS && random_() % 2 != 0);
        return asks ? header + '?' : header + ' ' + parameters(row.parameters);
    }

private:
    std::string parameters(const std::string& form) {
        if (form.find("MIN|MAX") != std::string::npos && random_() % 2 != 0)
            return random_() % 2 != 0 ? "MIN" : "MAX";
        if (form.starts_with('<') || form.starts_with('\"') || form.starts_with('['))
            return form.find("><") == std::string::npos && form.find(">,<") != std::string::npos ? "20,1e5" : number();
        const size_t words = size_t(std::ranges::count(form, '|')) + 1;
        size_t from = 0;
        for (size_t skip = random_() % words; skip > 0; --skip)
            from = form.find('|', from) + 1;
        return form.substr(from, form.find('|', from) - from);
    }
    std::string number() {
        constexpr const char* numbers[] = {"0", "1", "3", "20", "1000", "250e6"};
        return numbers[random_() % std::size(numbers)];
    }
    static std::vector<const scpi::Row*> disturbing() {
        std::vector<const scpi::Row*> rows;
        for (const scpi::CommandBranch& branch : scpi::commandBranches())
            for (const scpi::Row& row : branch.rows)
                if (!actsOnRuns(row.header))
                    rows.push_back(&row);
        return rows;
    }

    std::vector<const scpi::Row*> rows_ = disturbing();
    std::mt19937 random_{1};
};

/// Runs, each with commands of all kinds in it; each trace is that of the DUT, its jitter that of its carrier.
void disturbRuns(int runs, Commands* commands) {
    for (int i = 0; i < runs; ++i) {
        unit.tell("*RST;*CLS;" + plain + "SENS:PN:AVER 2");
        unit.connect(loud(i % 2 != 0 ? 122.88e6 : 100.000123e6));
        unit.tell("SENS:FREQ:EXEC"); // the sources stand where a command has put them last
        ASSERT_EQ(unit.run(), nothing);
        const double jitter_s = unit.number("CALC:PN:TRAC:FUNC:JITT?");
        turnstile.arm(correlating, 6); // the last one: no command shall come behind the end
        unit.tell("INIT");
        std::string said;
        for (int more = 20; more > 0; more -= turnstile.isHolding()) {
            const std::string line = commands->any();
            said += line + '\n';
            unit.tell(line);
        }
        turnstile.release();
        SCOPED_TRACE(said);
        unit.tell("*CLS;:SYST:COMM:QUER:ECHO OFF");
        ASSERT_EQ(unit.tell("CALC:WAIT:AVER ALL;:SYST:ERR?"), nothing);
        unit.expectTrace();
        unit.tell("SENS:PN:FUNC:RANG 10,50e6;:SENS:PN:SPUR:OMIS ON");
        EXPECT_NEAR(unit.number("CALC:PN:TRAC:FUNC:JITT?") / jitter_s, 1, 0.1);
        if (testing::Test::HasFailure())
            return;
    }
}

class Disturbed : public testing::Test {
protected:
    static void SetUpTestSuite() { watchPhases(); }
    static void holdRun(Phase phase) {
        unit.tell("*RST;*CLS;" + plain + "*OPC");
        unit.connect(loud(100.000123e6));
        turnstile.arm(phase);
        unit.tell("INIT");
        ASSERT_TRUE(turnstile.waitUntilHeld());
    }
};

} // namespace

TEST_F(Disturbed, WhatTouchesTheHardwareIsRefusedAndChangesNothing) {
    for (int phase = 0; phase < phases; ++phase) {
        SCOPED_TRACE(phaseNames[phase]);
        holdRun(Phase(phase));
        for (const char* line :
             {"OUTP OFF", "SOUR:FREQ 250e6", "SENS:ROSC:INT 2", "CONF:NOIS:GAIN 0", "CONF:NOIS:BOAR B",
              "CONF:NOIS:SAMP 64", "CONF:NOIS:DIV 7", "MEAS:NOIS?", "MEAS:NOIS:FILT 0", "MEAS:NOIS:FD 0",
              "MEM:RAM:FD0:READ?", "MEM:RAM:FNA:READ?", "SENS:PN:PREA OFF", "SENS:PN:KPHI 1", "SOUR:POW?", "ta=3"})
            EXPECT_EQ(errorOf(line), conflict) << line;
        turnstile.release();
        EXPECT_EQ(unit.outcome(), nothing);
        unit.expectMeasured();
    }
}

TEST_F(Disturbed, SettingsReachTheNextRunAndTheHardwareAtTheEndOfThisOne) {
    for (int phase = 0; phase < phases; ++phase) {
        SCOPED_TRACE(phaseNames[phase]);
        holdRun(Phase(phase));
        for (const char* line : {"SENS:PN:FREQ 250e6", "SENS:PN:FREQ:AUTO OFF", "SENS:PN:IFG 20", "SENS:PN:REF LN",
                                 "SENS:PN:METH DUT", "SENS:PN:LOBW 30", "SENS:PN:PPD 50", "SENS:PN:SMO:STAT ON"})
            EXPECT_EQ(errorOf(line), nothing) << line;
        turnstile.release();
        EXPECT_EQ(unit.outcome(), nothing);
        EXPECT_EQ(unit.number("CALC:PN:PREL:AVER?"), 3);
        unit.expectTrace();
        EXPECT_EQ(unit.number("SENS:PN:FREQ?"), 250e6);
        EXPECT_EQ(unit.number("SENS:PN:IFG?"), 20);
        EXPECT_EQ(unit.number("SENS:PN:LOBW?"), 30);
        EXPECT_EQ(unit.number("CONF:NOIS:GAIN?"), 20);
        EXPECT_EQ(unit.number("SENS:ROSC:INT?"), 3);
        EXPECT_NEAR(bench_wiring(&unit.hardware().bench, channelA).source_Hz, 250e6, 1);
    }
}

TEST_F(Disturbed, NothingIsCapturedWhileAClientReadsTheBuffers) {
    unit.tell("*RST;*CLS;" + plain + "*OPC");
    unit.tell("CONF:NOIS:SAMP 65536;DIV 1;:MEAS:NOIS:FILT 0");
    const std::string whole = unit.tell("MEM:RAM:FNA0:READ?");
    ASSERT_GT(whole.size(), 100000U);
    const std::string first = unit.begin("MEM:RAM:FNA0:READ?");
    EXPECT_EQ(Device_initImmediate(parser->device), -221);
    EXPECT_EQ(Device_getFilteredSamples(parser->device, 0), -221);
    EXPECT_EQ(Device_capturePhaseNoiseFdSamples(parser->device), -221);
    EXPECT_TRUE(first + unit.rest() == whole);
    unit.begin("MEM:RAM:FNA0:READ?");
    unit.hangUp(); // takes the hold along
    EXPECT_EQ(unit.run(), nothing);
}

TEST_F(Disturbed, RunsAmongAllCommandsGiveTheirTraces) {
    Commands commands;
    disturbRuns(static_cast<int>(40 * RUNS_PER_RUN), &commands);
    clock_setMode(TimeMode::realTime);
    disturbRuns(2, &commands);
    clock_setMode(TimeMode::fast);
}
