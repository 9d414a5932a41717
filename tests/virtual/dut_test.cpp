#include "virtual/dut/dut.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/stat.h>

using namespace vi;
namespace fs = std::filesystem;

namespace {

class DutTest : public testing::Test {
protected:
    DutTest() { fs::create_directory(directory_); }
    ~DutTest() override { fs::remove_all(directory_); }

    void write(const std::string& text) const { std::ofstream(path_) << text; }
    /// "" when the file is accepted, else the reason without the path.
    std::string refusal() const {
        DutFile file;
        std::string reason;
        if (dutFile_open(&file, path_, &reason))
            return "";
        EXPECT_EQ(reason.substr(0, path_.size()), path_);
        return reason.substr(path_.size());
    }

    const std::string directory_ = testing::TempDir() + "dut_test." + std::to_string(getpid());
    const std::string path_ = directory_ + "/dut.toml";
};

std::string signalWith(const std::string& rest, const std::string& noise = "[[1, -72]]",
                       const std::string& power = "8") {
    return "[signal]\nfrequency_hz = 1e8\npower_dbm = " + power + "\nnoise = " + noise + "\n" + rest;
}

} // namespace

TEST_F(DutTest, AMistakeIsRefusedWithItsLineAndReason) {
    const std::pair<std::string, std::string> cases[] = {
        {"", ":1: signal is missing"},
        {signalWith("[faults]\nno_signal = false\nrust = true\n"), ":7: unknown key faults.rust"},
        {signalWith("[faults]\nno_signal = 1\n"), ":6: faults.no_signal must be true or false, not a number"},
        {signalWith("[faults]\nstage_timeout = [8]\n"), ":6: a stage of faults.stage_timeout is 8, outside 0 to 7"},
        {signalWith("[faults]\nspi_fails = [1]\n"), ":6: an entry of faults.spi_fails must be a name, not a number"},
        {signalWith("[faults]\npll_unlocked = [\"C\"]\n"),
         ":6: an entry of faults.pll_unlocked must be \"A\" or \"B\""},
        {signalWith("[faults]\nstage_timeout = [3.5]\n"),
         ":6: a stage of faults.stage_timeout must be a whole number, not a number"},
        {signalWith("", "[[1, -72]]", "\"1 W\""), ":3: signal.power_dbm must be a number, not a text"},
        {signalWith("", "[[1, -72]]", "nan"), ":3: signal.power_dbm is nan, outside -200 to 40"},
        {signalWith("", "[]"), ":4: signal.noise has no points"},
        {signalWith("", "-72"), ":4: signal.noise must be a list of [offset, level], not a number"},
        {signalWith("", "[[1, -72],\n 10]"), ":5: a point of signal.noise must be [offset, level], not a number"},
        {signalWith("", "[[1, -7, 3]]"), ":4: a point of signal.noise must be [offset, level], not a list of 3"},
        {signalWith("", "[[10, -90],\n [10, -100]]"), ":5: the offsets of signal.noise must ascend: 10 follows 10"},
        {signalWith("pulse_width_s = 1e-6\n"), ":1: signal.pulse_period_s is missing"},
        {signalWith("pulse_period_s = 1e-6\npulse_width_s = 1e-6\n"),
         ":6: signal.pulse_width_s must be below signal.pulse_period_s"},
        {signalWith("[vco]\nsupply_v = 5\n"), ":5: vco.tuning is missing"},
        {signalWith("[vco]\ntuning = [[0, 1e8]]\nsupply_v = 5\n"), ":6: vco.tuning must have two points at least"},
        {signalWith("[vco]\ntuning = [[0, 1e8],\n[1, 2e8],\n[2, 2e8]]\nsupply_v = 5\n"),
         ":8: vco.tuning must rise or fall throughout"},
        {signalWith("[vco]\ntuning = [[1, 1e8],\n[0, 2e8]]\nsupply_v = 5\n"),
         ":7: the voltages of vco.tuning must ascend: 0 follows 1"},
        {signalWith("[vco]\ntuning = [[0, 1e8], [1, 2e8]]\nsupply_v = 5\nsupply_a = [[0, 11]]\n"),
         ":8: a current of vco.supply_a is 11, outside 0 to 10"},
        {signalWith("[vco]\ntuning = [[0, 1e8], [1, 2e8]]\nsupply_v = 5\ngap = 3\n"),
         ":8: vco.gap must be a list of two numbers"},
        {signalWith("[reference_a]\nfrequency_hz = 1e8\n"), ":5: reference_a.sensitivity_hz_per_v is missing"},
    };
    for (const auto& [text, reason] : cases) {
        write(text);
        EXPECT_EQ(refusal(), reason) << text;
    }
    write(signalWith("x\n")); // what the reader of the language itself refuses: its words, our line
    EXPECT_EQ(refusal().substr(0, 4), ":5: ");
}

TEST_F(DutTest, WhatIsNoSmallPlainFileIsRefusedWithoutReadingOn) {
    EXPECT_EQ(refusal(), ": No such file or directory");
    ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
    EXPECT_EQ(refusal(), ": not a plain file") << "and nobody waits for a writer";
    fs::remove(path_);
    write(signalWith("#" + std::string(1 << 20, 'x')));
    EXPECT_EQ(refusal(), ": larger than 1 MiB");
    std::string rows = "spurs = [[1, -90]";
    for (int i = 2; i <= 1001; ++i)
        rows += ",[" + std::to_string(i) + ",-90]";
    write(signalWith(rows + "]\n"));
    EXPECT_EQ(refusal(), ":5: signal.spurs has more than 1000 rows");
}

TEST_F(DutTest, AChangedFileIsReadAgainAndABadOneLeavesTheOldDut) {
    write(signalWith(""));
    DutFile file;
    std::string reason;
    ASSERT_TRUE(dutFile_open(&file, path_, &reason)) << reason;
    EXPECT_FALSE(dutFile_refresh(&file));

    write("[signal]\nfrequency_hz = 100_000_123\npower_dbm = 9\n"
          "noise = [[1, -72], [10, -104.5]]\nspurs = [[1.0e3, -95]]\npulse_width_s = 2e-6\npulse_period_s = 8e-6\n"
          "[vco]\ntuning = [[0, 1e8], [5, 1.1e8]]\nsupply_v = 12\nsupply_a = 0.02\njump = [2, -1e6]\n"
          "[reference_b]\nfrequency_hz = 1e8\nsensitivity_hz_per_v = 1e4\npower_dbm = 10\nnoise = [[1, -80]]\n"
          "[faults]\nno_signal = true\n");
    EXPECT_TRUE(dutFile_refresh(&file));
    EXPECT_EQ(file.dut.frequency_Hz, 100000123.0);
    EXPECT_EQ(noiseCurve_level_dBcHz(file.dut.noise, 10), -104.5);
    ASSERT_EQ(file.dut.spurs.size(), 1u);
    EXPECT_EQ(file.dut.spurs[0].level_dBc, -95.0);
    EXPECT_EQ(file.dut.pulses.dutyCycle(), 0.25);
    EXPECT_EQ(file.dut.references[1].sensitivity_HzPerV, 1e4);
    EXPECT_EQ(file.dut.references[1].tune_V, 7.2);
    EXPECT_TRUE(file.dut.faults.noSignal);
    ASSERT_TRUE(file.dut.oscillator);
    EXPECT_EQ(file.dut.oscillator->jump_Hz, -1e6);
    EXPECT_EQ(tuneCurve_at(file.dut.oscillator->level_dBm, 3), 9) << "of the signal";

    const auto refused = [&file] {
        testing::internal::CaptureStderr();
        EXPECT_FALSE(dutFile_refresh(&file));
        EXPECT_FALSE(dutFile_refresh(&file)) << "and the reason is told once";
        return testing::internal::GetCapturedStderr();
    };
    write(signalWith("spurs = [[10, -90], [9, -90]]\n"));
    EXPECT_EQ(refused(), path_ + ":5: the offsets of signal.spurs must ascend: 9 follows 10; the device under test "
                                 "stays as it was\n");
    EXPECT_EQ(file.dut.spurs.size(), 1u);
    write(signalWith(""));
    EXPECT_TRUE(dutFile_refresh(&file));
    EXPECT_EQ(file.dut.spurs.size(), 0u);
}

TEST(NoiseCurve, LinesInLogFTheFirstSlopeBelowTheLastLevelAbove) {
    const NoiseCurve curve{{{10, -100}, {1000, -160}, {10000, -150}}};
    const std::pair<double, double> cases[] = {
        {0.1, -40}, {10, -100}, {100, -130}, {5e3, -160 + 10 * 0.69897}, {1e9, -150}};
    for (const auto& [offset, level] : cases)
        EXPECT_NEAR(noiseCurve_level_dBcHz(curve, offset), level, 1e-4) << offset;
    EXPECT_EQ(noiseCurve_level_dBcHz({{{10, -100}}}, 1e-3), -100);
    EXPECT_EQ(noiseCurve_level_dBcHz({{{1e6, 100}, {1.000001e6, -300}}}, 1), 300) << "held within reason";
}
