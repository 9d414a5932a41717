/// What a setting does to a run, and what a run does to the settings.

#include "tests/firmware/unit_in_process.h"

#include <numeric>

using namespace vi;

namespace {

constexpr const char* nothing = "0,\"No error\"\n";
const std::string plain = ":SENS:PN:SPUR:OMIS OFF;:SENS:PN:SMO:STAT OFF;:SENS:PN:CORR 300;AVER 3;:";

UnitInProcess& unit = UnitInProcess::get();

double source_Hz(Channel channel) {
    return bench_settings(&unit.hardware().bench, channel).source_Hz;
}

double meanLevel() {
    const std::vector<float> levels = unit.block("CALC:PN:TRAC:NOIS?");
    return std::accumulate(levels.begin(), levels.end(), 0.0) / double(levels.size());
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
    EXPECT_NEAR(unit.number("CALC:POW:RAW?"), 2600, 20); // 2000 at 0 dBm, 200 for each decibel
}
