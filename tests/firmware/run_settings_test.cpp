/// What a setting does to a run, and what a run does to the settings.

#include "measure/run/meas_data.h"
#include "tests/firmware/unit_in_process.h"

#include <numeric>

using namespace vi;

namespace {

constexpr const char* nothing = "0,\"No error\"\n";
const std::string plain = ":SENS:PN:SPUR:OMIS OFF;:SENS:PN:SMO:STAT OFF;:SENS:PN:CORR 300;AVER 3;:";

UnitInProcess& unit = UnitInProcess::get();

double source_Hz(Channel channel) {
    return bench_wiring(&unit.hardware().bench, channel).source_Hz;
}

double meanLevel() {
    const std::vector<float> levels = unit.block("CALC:PN:TRAC:NOIS?");
    return std::accumulate(levels.begin(), levels.end(), 0.0) / double(levels.size());
}

void reset(const std::string& settings) {
    unit.tell("*RST;*CLS");
    unit.connect(loud(100.000123e6));
    EXPECT_EQ(unit.tell("SENS:FREQ:EXEC;:" + settings + ";:SYST:ERR?"), nothing);
}

} // namespace

TEST(RunSettings, AFrequencyMovesTheSourcesAtOnce) {
    double frequency_Hz = 200e6;
    for (const char* const command : {"SENS:PN:FREQ", "SENS:FREQ", "CONF:FREQ", "INIT:FREQ"}) {
        frequency_Hz += 20e6;
        unit.connect(loud(frequency_Hz));
        unit.tell("*RST;*CLS;:SENS:PN:FREQ:AUTO OFF");
        EXPECT_EQ(unit.tell(std::string(command) + ' ' + std::to_string(frequency_Hz) + ";:SYST:ERR?"), nothing);
        if (*command == 'I') {
            EXPECT_EQ(unit.outcome(), nothing);
        }
        for (const Channel channel : {channelA, channelB})
            EXPECT_NEAR(source_Hz(channel), frequency_Hz, 1) << command;
    }
}

TEST(RunSettings, OneChannelGoesByItsOwnConstant) {
    unit.connect(loud(100e6));
    unit.tell("*RST;*CLS;" + plain + "SENS:PN:REF LN;METH DUT");
    EXPECT_EQ(unit.run(), nothing);
    const double alone = meanLevel();
    unit.tell("SENS:PN:METH CC;KPHI:DET ONCE;:SENS:PN:FREQ:DET ONCE;:SENS:PN:RES");
    EXPECT_EQ(unit.run(), nothing);
    unit.tell("SENS:PN:METH DUT");
    EXPECT_EQ(unit.run(), nothing);
    EXPECT_NEAR(meanLevel(), alone, 0.25);
}

TEST(RunSettings, TheReadingBehindAPowerIsTold) {
    unit.connect(loud(100e6, 3));
    unit.tell("*RST;*CLS");
    EXPECT_EQ(unit.run(), nothing);
    const DetectorTruth detector = unitTruth_detector(unit.hardware().bench.boards, Detector::low);
    EXPECT_NEAR(unit.number("CALC:POW:RAW?"), detector_count(detector, 100e6, 3), 5);
}

TEST(RunSettings, AGridHasThePointsThatWereSetUpToTheLargest) {
    const struct {
        const char *settings, *start, *stop;
        size_t points;
    } rows[] = {
        {"CORR 20", "1", "5e7", 4001},
        {"CORR 20;:SENS:PN:SPUR:OMIS OFF;:SENS:PN:SMO:APER 2", "1000", "5e7", 2001},
        {"CORR 50", "1e4", "1e6", 1501},
    };
    for (const auto& [settings, start, stop, points] : rows) {
        SCOPED_TRACE(settings);
        reset(std::string("SENS:PN:FREQ:STAR ") + start + ";STOP " + stop + ";:SENS:PN:PPD 500;" + settings +
              ";TEST O1e4,J");
        EXPECT_EQ(unit.run(), nothing);
        unit.expectMeasured(1e4, 0.5, 12);
        for (const char* trace : {"NOIS", "POW"}) {
            const std::vector<float> levels = unit.block(std::string("CALC:PN:TRAC:") + trace + "?");
            ASSERT_EQ(levels.size(), points);
            EXPECT_TRUE(std::ranges::all_of(levels, [](float level) { return level > -250 && level < 30; }));
        }
        const std::vector<float> offsets = unit.block("CALC:PN:TRAC:FREQ?");
        for (size_t i = 1; i < offsets.size(); ++i)
            ASSERT_NEAR(std::log(offsets[i] / offsets[i - 1]) * double(points - 1),
                        std::log(std::stod(stop) / std::stod(start)), 0.01)
                << i;
        EXPECT_GT(unit.number("CALC:PN:TRAC:FUNC:JITT?"), 0);
        EXPECT_EQ(unit.tell("CALC:PN:TRAC:FUNC:AVAR;:SYST:ERR?"), nothing);
        EXPECT_FALSE(unit.block("CALC:PN:TRAC:FUNC:AVAR:SIGM?").empty());
    }
}

TEST(RunSettings, OlderSpellingsGiveNoRunWithoutLevels) {
    for (const char* offsets : {"STAR 0", "STAR -1", "STOP 0", "STOP -1", "STAR 1e15", "STAR 1e6;STOP 1e3"}) {
        SCOPED_TRACE(offsets);
        reset(std::string("CONF:FREQ:") + offsets);
        EXPECT_EQ(unit.run(), nothing);
        const std::vector<float> levels = unit.block("CALC:PN:TRAC:NOIS?"), grid = unit.block("CALC:PN:TRAC:FREQ?");
        ASSERT_FALSE(levels.empty());
        EXPECT_TRUE(std::ranges::all_of(levels, [](float level) { return std::isfinite(level); }));
        EXPECT_TRUE(grid.front() < grid.back() || grid.front() == 5e7F);
    }
    reset("CONF:ATT -5;:CONF:PN:LOOP -5;:CONF:FREQ 0");
    EXPECT_EQ(unit.number("SENS:PN:ATT?"), 0);
    EXPECT_EQ(unit.number("SENS:PN:LOBW?"), 1);
    EXPECT_EQ(unit.number("SENS:FREQ?"), 1e6);
}

TEST(RunSettings, ARunLeavesTheUsersSamplingAndBandwidthAsTheyWereSet) {
    const std::string sampling = "CONF:NOIS:SAMP?;DIV?;CHAN?;BOAR?", set = "4096;777;0;B\n";
    reset("SENS:PN:KPHI:DET ONCE;:SENS:PN:CORR 100");
    EXPECT_EQ(unit.run(), nothing); // the next one measures no constant
    unit.tell("CONF:NOIS:SAMP 4096;DIV 777;CHAN 1;BOAR B;:SENS:PN:LOB:AUTO OFF;:SENS:PN:LOBW 3");
    EXPECT_EQ(unit.tell(sampling), set);
    EXPECT_EQ(unit.run(), nothing);
    EXPECT_GT(meas_data.loopWnA, 6 * 3.2) << "no filter gives 3 Hz";
    unit.expectMeasured();
    EXPECT_EQ(unit.tell(sampling), set);
    EXPECT_EQ(unit.number("SENS:PN:LOBW?"), 3);
    EXPECT_EQ(unit.tell("SENS:FREQ:EXEC;:" + sampling), set);
    unit.tell("CONF:NOIS:CHAN 2;BOAR A");
}
