/// What goes wrong in a run says so once, and does not outlast its cause; what interrupts a run harms neither it nor
/// the next one.

#include "measure/run/meas_data.h"
#include "tests/firmware/turnstile.h"
#include "tests/firmware/unit_in_process.h"
#include "tests/slots.h"

#include <algorithm>
#include <chrono>
#include <fstream>
#include <future>

using namespace vi;

namespace {

constexpr const char* nothing = "0,\"No error\"\n";
constexpr const char* noSignal = "-131272,\"Execution error;No signal detected\"\n";
constexpr const char* noBeat = "-196808,\"Execution error;No valid beat detected\"\n";
constexpr const char* lockFailed = "-262344,\"Execution error;Lock failed\"\n";
constexpr const char* measurementFailed = "-327880,\"Execution error;Measurement failed\"\n";

const std::string plain = ":SENS:PN:SPUR:OMIS OFF;:SENS:PN:SMO:STAT OFF;:SENS:PN:CORR 300;AVER 3;:";

UnitInProcess& unit = UnitInProcess::get();

void reset(const std::string& settings = "*OPC") {
    unit.tell("*RST;*CLS;" + plain + settings);
}

/// An oscillator that slips a loop of the bandwidth that the instrument chooses.
Dut wild() {
    return {2.4e9, 8, {{{100, -5}, {1e3, -27}, {1e4, -57}, {1e5, -87}, {1e6, -117}, {1e7, -147}}}, {}, {}};
}

class Interruption : public testing::Test {
protected:
    static void SetUpTestSuite() { watchPhases(); }

    /// Starts a run of three averages and holds it where `phase` begins for the `time`th time.
    static void holdRun(Phase phase, int time = 1) {
        unit.connect(loud(100.000123e6));
        reset();
        turnstile.arm(phase, time);
        unit.tell("INIT");
        ASSERT_TRUE(turnstile.waitUntilHeld());
    }
    static std::future<std::string> tellFromAnotherThread(const std::string& line) {
        return std::async(std::launch::async, [=] { return unit.tell(line); });
    }
    /// Tells a line that must wait for the end of the held run, and lets that run go; with `stops` once it is to stop.
    static void tellAcrossTheEnd(const std::string& line, bool stops) {
        std::future<std::string> done = tellFromAnotherThread(line);
        std::future_status state{};
        do
            state = done.wait_for(std::chrono::milliseconds(3));
        while (state == std::future_status::timeout && stops && meas_data.stopRequested == 0);
        EXPECT_EQ(state, std::future_status::timeout) << "it did not wait";
        turnstile.release();
        EXPECT_EQ(done.get(), nothing);
    }
    static void expectNoTrace() {
        EXPECT_TRUE(unit.block("CALC:PN:TRAC:NOIS?").empty());
        EXPECT_TRUE(unit.block("CALC:PN:TRAC:FREQ?").empty());
        EXPECT_EQ(unit.number("CALC:PN:TRAC:FUNC:JITT?"), -1);
        EXPECT_EQ(unit.tell("CALC:PN:TRAC:FUNC:AVAR;:SYST:ERR?"), measurementFailed);
    }
    static int averages() { return int(unit.number("CALC:PN:PREL:AVER?")); }
    static void expectNextRun() {
        unit.tell(plain + "*OPC");
        unit.connect(loud(122.88e6, 5)); // nothing is left of the DUT before
        EXPECT_EQ(unit.run(), nothing);
        unit.expectMeasured();
    }
};

} // namespace

TEST(RunFailure, IsToldOnceAndDoesNotOutlastItsCause) {
    constexpr double carrier_Hz = 100.0003e6; // off the grid of the sources
    const struct {
        const char* name;
        Dut dut;
        const char* outcome;
        const char* settings = "*OPC";
        const char* outcomeAfterRun = nullptr; // where it is another one
    } rows[] = {
        {"no signal", loud(carrier_Hz, 8, {.noSignal = true}), noSignal},
        {"too weak", loud(carrier_Hz, -30), noSignal},
        {"below the range", loud(0.9e6), noSignal},
        {"above the range", loud(40e9), noSignal},
        {"dead channel", loud(carrier_Hz, 8, {.channelBDead = true}), noBeat}, // the other one counts
        {"counters disagree", loud(carrier_Hz, 8, {.counterDisagrees = true}), noSignal},
        {"detectors differ", loud(carrier_Hz, 8, {.unlikeDetectors = true}), noBeat},
        {"samples never come", loud(carrier_Hz, 8, {.samplesMissing = true}), noBeat, "*OPC",
         lockFailed}, // its constants stand
        {"FPGA is silent", loud(carrier_Hz, 8, {.fpgaSilent = true}), noSignal},
        {"sources do not tune", loud(1.90002e9, 8, {.unlockable = true}), lockFailed}, // a slow beat would look locked
        {"tune voltage at its rail", loud(carrier_Hz, 8, {.tuneRail = true}), lockFailed},
        {"drift out of reach", loud(carrier_Hz, 8, {.drift_HzPerS = 1e6}), lockFailed},
        {"noise slips the loop", wild(), lockFailed},
        {"no loop filter", loud(1.5e6), lockFailed},
        {"none for the user's bandwidth", loud(20e6), lockFailed,
         "SENS:PN:FREQ:STAR 10;:SENS:PN:LOB:AUTO OFF;:SENS:PN:LOBW 1000", nothing}, // but that of the run before
    };
    for (const auto& [name, dut, outcome, settings, outcomeAfterRun] : rows)
        for (const bool afterGoodRun : {false, true}) {
            SCOPED_TRACE(testing::Message() << name << (afterGoodRun ? ", after a run" : ", after a reset"));
            reset();
            unit.connect(loud(carrier_Hz));
            if (afterGoodRun) {
                EXPECT_EQ(unit.run(), nothing);
            }
            unit.tell(settings);
            unit.connect(dut);
            const std::string expected = afterGoodRun && outcomeAfterRun != nullptr ? outcomeAfterRun : outcome;
            EXPECT_EQ(unit.run(), expected);
            EXPECT_EQ(unit.outcome(), nothing);
            if (expected == nothing)
                unit.expectMeasured(10);
            else
                EXPECT_TRUE(unit.block("CALC:PN:TRAC:NOIS?").empty());
            unit.tell("SENS:PN:LOB:AUTO ON;:SENS:PN:FREQ:STAR 1000");
            unit.connect(loud(122.88e6));
            if (dut.frequency_Hz > 2e9) // the other input
                unit.tell("SENS:FREQ:EXEC");
            EXPECT_EQ(unit.run(), nothing);
            unit.expectMeasured();
        }
}

TEST(RunFailure, AClippingIfIsMeasuredAtTheLowestGain) {
    reset();
    unit.connect(loud(100e6, 8, {.clip = true}));
    EXPECT_EQ(unit.run(), nothing);
    EXPECT_EQ(unit.number("SENS:PN:IFG?"), 0);
    unit.connect(loud(100e6));
    EXPECT_EQ(unit.run(), nothing);
    EXPECT_GE(unit.number("SENS:PN:IFG?"), 24);
    unit.expectMeasured();
}

TEST(RunFailure, AStageThatNeverComesKeepsItsSpectrumAndIsLogged) {
    constexpr const char* log = "/tolvane/temp/fpgalog";
    const auto spectrum = [](int stage) { return unit.tell("MEM:RAM:FD" + std::to_string(stage) + ":READ?"); };
    reset();
    unit.connect(loud(100e6));
    EXPECT_EQ(unit.run(), nothing);
    const std::string second = spectrum(2), third = spectrum(3);
    std::filesystem::remove(log);
    unit.connect(loud(100e6, 8, {.stageTimeout = 1 << 3}));
    EXPECT_EQ(unit.run(), nothing);
    EXPECT_TRUE(spectrum(2) != second);
    EXPECT_TRUE(spectrum(3) == third);
    std::string told;
    std::getline(std::ifstream(log), told, '\0');
    EXPECT_NE(told.find("stage 3, correlations"), std::string::npos) << told;
}

TEST_F(Interruption, AnAbortLeavesWhatWholeCapturesGave) {
    for (int phase = 0; phase < phases; ++phase)
        for (const int capture : {1, 2, 4, 5}) {
            if (phase != correlating && capture != 1)
                continue;
            SCOPED_TRACE(testing::Message() << phaseNames[phase] << ' ' << capture);
            holdRun(Phase(phase), capture);
            ASSERT_EQ(meas_data.plan.capturePasses, 3);
            unit.tell("ABOR");
            turnstile.release();
            EXPECT_EQ(unit.outcome(), nothing);
            const int whole = phase == correlating ? capture - 1 : 0; // the last one was cut short
            EXPECT_EQ(averages(), whole / 3);
            if (whole > 0)
                unit.expectMeasured();
            else
                expectNoTrace();
            unit.tell("ABOR"); // nothing to stop, and nothing kept for later
            expectNextRun();
            EXPECT_EQ(averages(), 3);
        }
}

TEST_F(Interruption, AnotherModeOrAResetEndsTheRunFirst) {
    for (int phase = 0; phase < phases; ++phase)
        for (const char* line : {"SENS:MODE VCO", "*RST"}) {
            SCOPED_TRACE(testing::Message() << line << " in " << phaseNames[phase]);
            holdRun(Phase(phase), phase == correlating ? 5 : 1);
            tellAcrossTheEnd(std::string(line) + ";:SYST:ERR?", true);
            EXPECT_EQ(unit.outcome(), nothing);
            EXPECT_EQ(averages(), phase == correlating ? 1 : 0);
            const std::vector<float> trace = unit.block("CALC:PN:TRAC:NOIS?");
            EXPECT_EQ(trace.empty(), phase != correlating);
            EXPECT_TRUE(std::ranges::all_of(trace, [](float level) { return level > -300; }));
            const bool resets = *line == '*';
            unit.tell("SENS:MODE PN");
            EXPECT_EQ(int(unit.number("SENS:PN:AVER?")), resets ? 1 : 3);
            expectNextRun();
        }
}

TEST_F(Interruption, WhatNeedsTheHardwareWaitsForTheWholeRun) {
    for (int phase = 0; phase < phases; ++phase)
        for (const char* line : {"INIT", "SENS:FREQ:EXEC"}) {
            SCOPED_TRACE(testing::Message() << line << " in " << phaseNames[phase]);
            holdRun(Phase(phase), phase == correlating ? 5 : 1);
            tellAcrossTheEnd(std::string(line) + ";:SYST:ERR?", false);
            EXPECT_EQ(unit.outcome(), nothing);
            EXPECT_EQ(averages(), 3);
            unit.expectMeasured();
            expectNextRun();
        }
}
