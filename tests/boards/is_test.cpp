// The source board TVPN_IS: start, frequencies, lock, power. What is looked at is the wire and what the
// chips make of it.

#include "tests/boards/is_rig.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

const char* const allOfPll = "+2:R12 +2:R11 +2:R10 +2:R9 +2:R8 +2:R7 +2:R6 +2:R5 +2:R4 +2:R3 +2:R2 +2:R1 +2:R0";
const char* const unlockedText = "TVPN_IS_setFrequency(): ERROR: VCO unlocked, ADC ";

/// What the board puts out, from what its chips were told: 0 without a way out.
double output_Hz(const IsRig& rig) {
    const auto line = [&](unsigned n) { return rig.outputs.line(n); };
    const double dds_Hz = rig.dds.output_Hz(clock_Hz);
    if (line(16) && !line(7) && !line(13))
        return dds_Hz;
    const int a = 1 << (line(8) + line(9) + line(1)), b = 1 + line(23) + 2 * line(22);
    const bool supplied = line(7) && line(13) && line(16) && !line(10) && rig.pll.vco_Hz(10e6) > 0;
    const double vco_Hz = supplied ? dds_Hz * a * b : 0;
    return line(5) && line(15) && !line(14) ? vco_Hz : line(14) && !line(5) && !line(15) ? 2 * vco_Hz : 0;
}

/// RF on, at 100 MHz.
void switchOn(IsRig* rig) {
    EXPECT_EQ(rig->set(100'000'000), 0);
    EXPECT_EQ(TVPN_IS_2A_enableRf(&rig->board), 0);
    rig->sent();
}

} // namespace

TEST(SourceBoard, StartsWithTheChipsOfItsGeneration) {
    const std::string reset = " +0:040000 ! +0:000000 !";
    for (const Generation generation : {is2A, is2B})
        for (const uint32_t index : {0, 1}) {
            IsRig rig(generation, index);
            EXPECT_EQ(rig.startWire, std::string("+0:000000 +4:0000 +7:0000 ") + allOfPll + reset +
                                         " +6:D01000 +6:FF010C24 +0:000824 !");
            EXPECT_EQ(rig.board.frequency, hz(100'000'000));
            EXPECT_EQ(rig.board.referenceSelection, TVPN_IS_reference100M);
            EXPECT_FALSE(rig.board.rfEnabled);
        }
    IsRig rig(is1B, 1);
    const std::string calibrated = " +2:2021050103 ! +2:2021050003 !";
    std::string word;
    for (const char* profile : {"0B", "0D", "0F", "11", "13", "15", "17", "19"})
        word += std::string(" +2:88888808") + profile;
    EXPECT_EQ(rig.startWire, "+0:000000 +3:8807 +3:1001 +3:1875 +3:2001 +3:2800 +3:B000 +3:3802" + reset +
                                 " +0:200C00 ! ! +2:C800010000 +2:0001000001 +2:1C19000002 +2:2021050003" +
                                 " +2:0800010000 +2:0001800001" + calibrated + " !" + calibrated + " !" + calibrated +
                                 word + " ! ! !");
    EXPECT_NEAR(rig.startTime_us, 20'000, 1);
    EXPECT_NEAR(rig.dds1B.output_Hz(3e9), 100e6, 1);
    TVPN_IS_init(&rig.board, 1, 3);
    EXPECT_EQ(rig.sent(), rig.startWire) << "a generation that no board has";
}

TEST(SourceBoard, SendsAChangeOfFrequencyInOrder) {
    IsRig rig(is2A);
    switchOn(&rig);
    rig.waited_us();
    EXPECT_EQ(rig.set(1'000'000'000), 0);
    EXPECT_EQ(rig.sent(), "+2:R4- +0:E0AC25 ! +0:E0AF25 ! +6:D01000 ! +6:000000000040AB61 ! +2:R4 +7:0000 +7:0000 "
                          "+2:R6 +2:R10 +2:R1 +2:R0 +0:E0AB25 ! +2:R6 +7:E81C +7:2823 +7:28E3 +5 +5 +5 +5 !");
    EXPECT_NEAR(rig.waited_us(), 15'000, 1);
    EXPECT_EQ(rig.vcoDac.output(), vi::DacOutput::floating);
    EXPECT_EQ(rig.pll.outputA_dBm(), 5);
    EXPECT_TRUE(rig.pll.tunedFromOutside());
    EXPECT_EQ(rig.set(100'000'000), 0);
    EXPECT_EQ(rig.sent(), "+0:408B25 ! +2:R4- +6:D01000 ! +6:999999999919AB61 !");
    EXPECT_NEAR(rig.waited_us(), 0, 1);
    EXPECT_EQ(rig.set(100'000'000), 0);
    EXPECT_EQ(rig.sent(), "! +2:R4- +6:D01000 ! +6:999999999919AB61 !") << "no line has moved";
    EXPECT_EQ(rig.set(1'000'000'000, 1), 0);
    EXPECT_FALSE(rig.outputs.line(6)) << "the analog board takes its direct path";
}

// Dividers and VCO as worked out from the rules by a script of its own.
TEST(SourceBoard, PlansDividersAndVco) {
    const struct {
        int64_t hertz;
        uint32_t range;
        int ratio, rfDivider;
    } rows[] = {
        {400'000'000, 0, 0, 0},    {400'000'001, 1, 2, 16},   {500'000'000, 1, 2, 8},    {501'509'732, 1, 4, 8},
        {548'287'320, 1, 3, 8},    {750'000'000, 1, 2, 8},    {800'000'000, 1, 2, 8},    {860'000'000, 1, 12, 4},
        {1'000'000'000, 1, 4, 4},  {1'500'000'000, 1, 4, 4},  {2'330'549'412, 1, 8, 2},  {3'000'000'000, 1, 8, 2},
        {3'399'999'999, 1, 12, 2}, {3'400'000'000, 1, 12, 1}, {4'816'718'761, 1, 32, 1}, {6'800'000'000, 1, 24, 1},
        {6'900'000'001, 2, 12, 1}, {9'900'000'000, 2, 16, 1},
    };
    IsRig rig(is2B);
    switchOn(&rig);
    for (const auto& row : rows) {
        EXPECT_EQ(rig.set(row.hertz), 0) << row.hertz;
        EXPECT_EQ(rig.board.outputRange, row.range) << row.hertz;
        EXPECT_NEAR(output_Hz(rig), static_cast<double>(row.hertz), 0.001) << row.hertz << ": " << rig.lines();
        if (row.range == 0)
            continue;
        EXPECT_TRUE(rig.outputs.line(6));
        const double f = static_cast<double>(row.hertz) / row.range;
        EXPECT_EQ(TVPN_IS_getpdFrequency(&rig.board), std::floor(f / row.ratio)) << row.hertz;
        EXPECT_NEAR(rig.pll.vco_Hz(10e6), 1.023 * f * row.rfDivider, 2) << row.hertz;
        EXPECT_NEAR(rig.pll.outputA_Hz(10e6), 1.023 * f, 2) << row.hertz;
    }
    EXPECT_EQ(rig.set(6'900'000'000), 0);
    EXPECT_EQ(rig.board.outputRange, TVPN_IS_rangePll);
    const tvfreq halfAHertz{400'000'000, uint64_t{1} << 63};
    EXPECT_EQ(TVPN_IS_setFrequency(&rig.board, &halfAHertz, 0), 0);
    EXPECT_EQ(rig.board.outputRange, TVPN_IS_rangePll);
    EXPECT_EQ(rig.board.frequency, halfAHertz);
}

TEST(SourceBoard, TellsOfAVcoThatDoesNotLock) {
    IsRig rig(is2A);
    switchOn(&rig);
    std::vector<double> words;
    size_t reading = 0;
    rig.tune = [&] { return words[std::min(reading++ / 2, words.size() - 1)]; };
    const struct {
        std::vector<double> words;
        int result;
        const char* shown;
    } rows[] = {
        {{100, 3000}, failed, "100\n"},   {{101, 4999}, 0, ""},    {{16383, 0}, 0, ""},
        {{4000, 5000}, failed, "5000\n"}, {{0, 0}, failed, "0\n"}, {{4000, 4000}, 0, ""},
    };
    for (const auto& row : rows) {
        words = row.words;
        reading = 0;
        int result = 1;
        const std::string text = debugTextOf([&] { result = rig.set(2'000'000'000); });
        EXPECT_EQ(result, row.result) << row.shown;
        EXPECT_EQ(text, row.result == 0 ? "" : unlockedText + std::string(row.shown));
        EXPECT_EQ(rig.board.frequency, hz(2'000'000'000));
    }
}

// Whatever transfer is lost, the call says so, and the same call again brings about what it should have.
TEST(SourceBoard, ALostTransferIsToldAndMendedByTheNextCall) {
    const struct {
        Generation generation;
        int64_t from, to;
        uint64_t transfersMin;
    } rows[] = {
        {is2A, 100'000'000, 8'000'000'000, 20},
        {is2B, 8'000'000'000, 300'000'000, 4},
        {is1B, 100'000'000, 2'600'000'000, 11},
    };
    for (const auto& row : rows) {
        IsRig rig(row.generation);
        if (row.generation != is1B)
            switchOn(&rig);
        const auto output = [&] { return row.generation == is1B ? 4 * rig.dds1B.output_Hz(3e9) : output_Hz(rig); };
        const auto start = [&] {
            rig.record();
            ASSERT_EQ(rig.set(row.from), 0);
            rig.sent();
        };
        start();
        ASSERT_EQ(rig.set(row.to), 0);
        const std::string lines = rig.lines();
        uint64_t lost = 0;
        for (std::string told = "some"; !told.empty(); ++lost) {
            start();
            rig.bus.failTransfers(lost, 2); // the repetition, too
            testing::internal::CaptureStderr();
            const int result = rig.set(row.to);
            told = testing::internal::GetCapturedStderr();
            const bool reading = told.find("AD7940") != std::string::npos; // of two the first does not count
            EXPECT_TRUE(reading || result == (told.empty() ? 0 : failed)) << row.to << ", transfer " << lost << told;
            rig.record();
            EXPECT_EQ(rig.set(row.to), 0);
            EXPECT_NEAR(output(), static_cast<double>(row.to), 2) << lost;
            EXPECT_EQ(rig.lines(), lines) << lost;
        }
        EXPECT_GE(lost, row.transfersMin);
    }
}

TEST(SourceBoard, SwitchesRfInTheRangeInForce) {
    IsRig rig(is2A);
    const struct {
        int64_t hertz;
        unsigned line;
    } rows[] = {{400'000'000, 16}, {1'000'000'000, 5}, {8'000'000'000, 14}};
    for (const auto& from : rows)
        for (const auto& to : rows) {
            EXPECT_EQ(rig.set(from.hertz), 0);
            EXPECT_EQ(TVPN_IS_2A_enableRf(&rig.board), 0);
            EXPECT_NEAR(output_Hz(rig), static_cast<double>(from.hertz), 0.001);
            EXPECT_EQ(rig.set(to.hertz), 0);
            EXPECT_NEAR(output_Hz(rig), static_cast<double>(to.hertz), 0.001) << "RF stays on";
            EXPECT_EQ(TVPN_IS_2A_disableRf(&rig.board), 0);
            EXPECT_FALSE(rig.outputs.line(to.line));
            EXPECT_EQ(rig.set(from.hertz), 0);
            EXPECT_EQ(output_Hz(rig), 0) << "RF stays off: " << rig.lines();
        }
    rig.board.outputRange = 3;
    rig.sent();
    EXPECT_EQ(TVPN_IS_2A_enableRf(&rig.board), refused);
    EXPECT_EQ(rig.sent(), "");
    EXPECT_FALSE(rig.board.rfEnabled);
}

TEST(FirstSourceBoard, SeesTheTuneVoltageOfItsReference) {
    IsRig first(is1B);
    EXPECT_EQ(TVPN_IS_setInternalReference10x10MHz(&first.board), 0);
    EXPECT_EQ(TVPN_IS_isInternalReferenceReady(&first.board), 1);
    EXPECT_EQ(TVPN_IS_getReferenceExternalTuning(&first.board), 5000U);
}

TEST(SourceBoard, DividesAndOffsetsOnRequest) {
    IsRig rig(is2A);
    rig.sent();
    const struct {
        int (*set)(TVPN_IS*, uint32_t);
        uint32_t ratio;
        int result;
        const char* lines;
    } rows[] = {
        {TVPN_IS_2A_setOutputDividerA, 2, 0, "8 11 18 21"},
        {TVPN_IS_2A_setOutputDividerA, 3, refused, "8 11 18 21"},
        {TVPN_IS_2A_setOutputDividerA, 4, 0, "8 9 11 18 21"},
        {TVPN_IS_2A_setOutputDividerA, 8, 0, "1 8 9 11 18 21"},
        {TVPN_IS_2A_setOutputDividerA, 16, refused, "1 8 9 11 18 21"},
        {TVPN_IS_2A_setOutputDividerA, 1, 0, "11 18 21"},
        {TVPN_IS_2A_setOutputDividerB, 2, 0, "11 18 21 23"},
        {TVPN_IS_2A_setOutputDividerB, 3, 0, "11 18 21 22"},
        {TVPN_IS_2A_setOutputDividerB, 4, 0, "11 18 21 22 23"},
        {TVPN_IS_2A_setOutputDividerB, 8, refused, "11 18 21 22 23"},
        {TVPN_IS_2A_setOutputDividerB, 1, 0, "11 18 21"},
        {TVPN_IS_setDdsOutputMultiplier, 2, missing, "11 18 21"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.set(&rig.board, row.ratio), row.result) << row.ratio;
        EXPECT_EQ(rig.lines(), row.lines);
    }
    EXPECT_EQ(rig.set(300'000'000), 0);
    const double step_Hz = 3.5e9 * clock_Hz / std::ldexp(1.0, 48);
    EXPECT_EQ(TVPN_IS_offsetDdsOutputFrequency(&rig.board, 1), 0);
    EXPECT_NEAR(rig.dds.output_Hz(clock_Hz), 300e6 + step_Hz, 1e-4);
    EXPECT_EQ(TVPN_IS_offsetDdsOutputFrequency(&rig.board, 0), 0);
    EXPECT_EQ(TVPN_IS_offsetDdsOutputFrequency(&rig.board, 0), 0);
    EXPECT_NEAR(rig.dds.output_Hz(clock_Hz), 300e6 - step_Hz, 1e-4);
    EXPECT_EQ(TVPN_IS_setFtw(&rig.board, 1), missing);
    EXPECT_EQ(TVPN_IS_getFtw(&rig.board), 0U);
    EXPECT_EQ(TVPN_IS_fastPowerDown(&rig.board), missing);
    tvfreq lowest{};
    TVPN_IS_getFrequencyMin(&rig.board, &lowest);
    EXPECT_EQ(lowest, hz(1'000'000));
}

TEST(SourceBoard, ComesBackFromFullPowerDown) {
    IsRig rig(is2A);
    TVPN_IS_2A_setInternalRefThresholdFrequency(&rig.board, 2500);
    switchOn(&rig);
    for (const int64_t hertz : {int64_t{300'000'000}, int64_t{2'500'000'000}, int64_t{2'500'000'001}}) {
        EXPECT_EQ(TVPN_IS_2A_setInternalReference10MhzX100(&rig.board), 0);
        EXPECT_EQ(rig.set(hertz), 0);
        EXPECT_EQ(TVPN_IS_fullPowerDown(&rig.board), 0);
        for (const unsigned line : {16, 5, 14, 21, 12, 8, 9, 1, 23, 22, 7})
            EXPECT_FALSE(rig.outputs.line(line)) << line;
        EXPECT_TRUE(rig.outputs.line(18));
        EXPECT_EQ(rig.dds.output_Hz(clock_Hz), 0);
        EXPECT_EQ(rig.pll.vco_Hz(10e6), 0);
        EXPECT_EQ(TVPN_IS_powerUp(&rig.board), 0);
        EXPECT_NEAR(output_Hz(rig), static_cast<double>(hertz), 0.001);
        EXPECT_TRUE(rig.outputs.line(12)) << "the reference that was in use";
        if (hertz > 400'000'000) {
            EXPECT_EQ(rig.outputs.line(6), hertz <= 2'500'000'000) << hertz;
        }
    }
    EXPECT_EQ(TVPN_IS_reset(&rig.board), 0);
    EXPECT_NEAR(output_Hz(rig), 2'500'000'001, 0.001);
    EXPECT_TRUE(rig.outputs.line(12));
    EXPECT_EQ(rig.board.internalRefThreshold, 2500);

    testing::internal::CaptureStdout();
    EXPECT_EQ(TVPN_IS_test(&rig.board), 0);
    rig.tune = [] { return 0; };
    EXPECT_EQ(TVPN_IS_test(&rig.board), failed);
    TVPN_IS_printInfo(&rig.board);
    EXPECT_NE(testing::internal::GetCapturedStdout().find("TVPN_IS A 8000.000000 MHz: failed\n"), std::string::npos);
    EXPECT_EQ(rig.board.frequency, hz(2'500'000'001));
}

TEST(FirstSourceBoard, MakesAFrequencyWithClockAndMultiplier) {
    IsRig rig(is1B);
    rig.sent();
    std::string word;
    for (const char* profile : {"0B", "0D", "0F", "11", "13", "15", "17", "19"})
        word += std::string(" +2:58F28B35") + profile;
    rig.waited_us();
    EXPECT_EQ(rig.set(2'510'000'000), 0);
    EXPECT_EQ(rig.sent(), "! +2:2021050103 ! +2:2021050003 !" + word + " ! +0:220E00 ! !");
    EXPECT_NEAR(rig.waited_us(), 8000, 1);
    const struct {
        int64_t wanted;
        double made_Hz, clock_Hz;
        int ratio;
        const char* lines;
    } rows[] = {
        {29'999'999, 29'999'999, 500e6, 1, "4 5 8 10 11"},   {30'000'000, 30e6, 3e9, 1, "5 10 11"},
        {1'099'999'999, 1'099'999'999, 3e9, 1, "5 10 11"},   {1'100'000'000, 1.1e9, 3e9, 2, "1 5 10 11"},
        {2'509'999'999, 2'509'999'999, 3e9, 2, "1 5 10 11"}, {2'510'000'000, 2.51e9, 3e9, 4, "1 5 9 10 11"},
        {3'600'000'000, 3.6e9, 3e9, 4, "1 5 9 10 11"},       {4'000'000'000, 3.6e9, 3e9, 4, "1 5 9 10 11"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(rig.set(row.wanted), 0);
        EXPECT_NEAR(row.ratio * rig.dds1B.output_Hz(row.clock_Hz), row.made_Hz, 4) << row.wanted;
        EXPECT_EQ(rig.lines(), row.lines) << row.wanted;
        EXPECT_EQ(tvfreq2double(&rig.board.frequency, nullptr), row.made_Hz);
    }
    EXPECT_EQ(TVPN_IS_setDdsOutputMultiplier(&rig.board, 3), refused);
    const tvfreq any = hz(1);
    EXPECT_EQ(TVPN_IS_setDdsOutputFrequency(&rig.board, &any), 0);
    for (const auto missing1B : {TVPN_IS_2A_enableRf, TVPN_IS_2A_disableRf})
        EXPECT_EQ(missing1B(&rig.board), missing);
    EXPECT_EQ(TVPN_IS_2A_setOutputDividerA(&rig.board, 2), missing);
    EXPECT_EQ(TVPN_IS_offsetDdsOutputFrequency(&rig.board, 1), missing);
}

TEST(FirstSourceBoard, RoundsTheWordTheMoreTheHigherTheFrequency) {
    IsRig rig(is1B);
    TVPN_IS_enableFrequencyRounding(&rig.board);
    EXPECT_EQ(TVPN_IS_isFrequencyRoundingEnabled(&rig.board), 1);
    const struct {
        int (*reference)(TVPN_IS*);
        int64_t hertz;
        uint64_t word;
    } rows[] = {
        {TVPN_IS_setInternalReference100x1MHz, 100'000'001, 0x08889000},   // 12 bits
        {TVPN_IS_setInternalReference10x10MHz, 100'000'001, 0x08888900},   // 8
        {TVPN_IS_setInternalReference100x1MHz, 25'000'001, 0x0CCCD000},    // 12
        {TVPN_IS_setInternalReference10x10MHz, 25'000'001, 0x0CCCCD00},    // 8
        {TVPN_IS_setInternalReference10x10MHz, 6'000'000, 0x03126EA0},     // 5
        {TVPN_IS_setInternalReference10x10MHz, 6'000'001, 0x03126EC0},     // 6
        {TVPN_IS_setInternalReference100x1MHz, 3'100'000'123, 0x42220000}, // 15 at most
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.reference(&rig.board), 0);
        EXPECT_EQ(rig.set(row.hertz), 0);
        EXPECT_EQ(TVPN_IS_getFtw(&rig.board), row.word) << row.hertz;
    }
    TVPN_IS_disableFrequencyRounding(&rig.board);
    EXPECT_EQ(rig.set(100'000'000), 0);
    EXPECT_EQ(TVPN_IS_getFtw(&rig.board), 0x08888888U);
    EXPECT_EQ(TVPN_IS_setFtw(&rig.board, 0x12345678), 0);
    EXPECT_NEAR(rig.dds1B.output_Hz(std::ldexp(1.0, 32)), 0x12345678, 0.1);
    EXPECT_EQ(TVPN_IS_setFtw(&rig.board, uint64_t{1} << 32), refused);
    EXPECT_EQ(TVPN_IS_getFtw(&rig.board), 0x12345678U);
}

TEST(FirstSourceBoard, PowersTheDdsDownAndUp) {
    IsRig rig(is1B);
    const int calibrations = rig.dds1B.calibrations();
    EXPECT_EQ(TVPN_IS_setInternalReference10x10MHz(&rig.board), 0);
    EXPECT_EQ(TVPN_IS_fastPowerDown(&rig.board), 0);
    EXPECT_EQ(rig.dds1B.output_Hz(3e9), 0);
    testing::internal::CaptureStderr();
    EXPECT_EQ(rig.set(200'000'000), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << "no calibration is tried";
    EXPECT_EQ(rig.dds1B.output_Hz(3e9), 0);
    EXPECT_EQ(TVPN_IS_powerUp(&rig.board), 0);
    EXPECT_NEAR(rig.dds1B.output_Hz(3e9), 200e6, 1);
    EXPECT_EQ(rig.dds1B.calibrations(), calibrations + 1);
    EXPECT_EQ(rig.board.referenceSelection, TVPN_IS_reference100M);
    EXPECT_EQ(TVPN_IS_fullPowerDown(&rig.board), 0);
    EXPECT_EQ(rig.lines(), "11");
    EXPECT_EQ(rig.dds1B.output_Hz(3e9), 0);
    EXPECT_EQ(TVPN_IS_powerUp(&rig.board), 0);
    EXPECT_EQ(rig.lines(), "5 10 11");
    EXPECT_EQ(TVPN_IS_fastPowerDown(&rig.board), 0);
    EXPECT_EQ(TVPN_IS_reset(&rig.board), 0);
    EXPECT_EQ(rig.dds1B.output_Hz(3e9), 0) << "as before the reset";
    EXPECT_EQ(rig.board.frequency, hz(200'000'000));
    testing::internal::CaptureStdout();
    TVPN_IS_printInfo(&rig.board);
    EXPECT_EQ(testing::internal::GetCapturedStdout().substr(0, 13), "TVPN_IS 1B A\n");
}
