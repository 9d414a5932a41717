#include "known_source.h"
#include "platform/rt.h"
#include "platform/tvko.h"
#include "virtual/acquisition_board.h"
#include "virtual/clock.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <map>

using namespace vi;

namespace {

constexpr uint32_t lines = 248, clockChip = 249, adc = 250, commandSlave = 251, answerSlave = 254;
constexpr uint64_t ms = 1'000'000;
constexpr uint8_t offsetBinary = 0, twosComplement = 1;

/// A board and its firmware, which knows bytes only.
class Rig {
public:
    explicit Rig(FpgaGeneration generation)
        : second_(generation == FpgaGeneration::second), board(bus, {generation, true}, source, 1) {
        if (second_) {
            send(clockChip, {0x00, 0x04, 0x00, 0x84, 0x80, 0x00, 0x00, 0x01, 0x00, 0x84, 0x80, 0x44,
                             0x64, 0x00, 0x01, 0x00, 0x00, 0x3B, 0x0F, 0x08, 0x30, 0x04, 0x00, 0x00});
        } else {
            for (const uint8_t divider : {0x4D, 0x4F})
                send(clockChip, {0x80, divider, 0x00}); // bypassed
            send(clockChip, {0x01, 0x5A, 0x00});
        }
        setFormat(twosComplement);
    }
    void expectNoFault() const {
        EXPECT_EQ(bus.faults(), 0u) << bus.faultTexts();
        EXPECT_EQ(board.refusals(), 0u) << board.refusalTexts();
    }

    int send(uint32_t address, std::vector<uint8_t> frame) {
        tvko_transfer transfer{address, static_cast<uint32_t>(frame.size()), 0, 0, frame.data()};
        return bus.ioctl(tvko_send, reinterpret_cast<uintptr_t>(&transfer));
    }
    void setAdcs(uint8_t number, uint8_t value) {
        for (const uint32_t select : second_ ? std::vector<uint32_t>{1 | 1 << 14, 1 << 13} : std::vector<uint32_t>{0}) {
            send(lines, {uint8_t(select), uint8_t(select >> 8), uint8_t(select >> 16)});
            send(adc, {value, number, 0x00});
            send(adc, {0x01, 0xFF, 0x00});
        }
    }
    void setFormat(uint8_t format) { setAdcs(0x14, (second_ ? 0x08 : 0x40) | format); }

    void command(std::string_view texts) {
        for (size_t comma; !texts.empty(); texts.remove_prefix(std::min(comma + 1, texts.size()))) {
            comma = std::min(texts.find(','), texts.size());
            std::vector<uint8_t> frame(texts.rend() - static_cast<long>(comma), texts.rend());
            frame.insert(frame.begin(), 0);
            EXPECT_EQ(send(commandSlave, frame), 0);
        }
    }
    std::string answer() {
        std::string frame(64, '?');
        tvko_transfer transfer{answerSlave, 64, second_ ? 0u : 9u, 0, frame.data()};
        EXPECT_EQ(bus.ioctl(tvko_receive, reinterpret_cast<uintptr_t>(&transfer)), 0);
        std::reverse(frame.begin(), frame.end());
        return frame.c_str();
    }
    /// A block of T that follows a command, as far as it comes.
    template <class T> std::vector<T> receive(size_t count, std::string_view texts, uint32_t timeout_us = 10'000'000) {
        std::vector<T> block(count);
        const size_t bytes = count * sizeof(T);
        const int fd = rt_dev_open(sampleStream_deviceName, O_RDWR);
        const std::string text = std::to_string(bytes) + ",0,2,1\n";
        EXPECT_EQ(rt_dev_write(fd, text.data(), text.size()), static_cast<long>(text.size()));
        EXPECT_EQ(rt_dev_ioctl(fd, 0xE005, uintptr_t{timeout_us}), 0);
        rt_task_shadow(nullptr, nullptr, 0, rt_taskJoinable);
        rt_task_set_mode(0, rt_modePrimary, nullptr);
        EXPECT_EQ(rt_dev_read(fd, nullptr, 0), 0);
        rt_task_set_mode(rt_modePrimary, 0, nullptr);
        command(texts);
        rt_task_set_mode(0, rt_modePrimary, nullptr);
        size_t done = 0;
        const auto read = [&] { // the first piece ends within a word, then much may be there at once
            const size_t pieceBytes = done == 0 ? 5 : bytes;
            clock_spend(done == 0 ? 0 : ms);
            return rt_dev_read(fd, reinterpret_cast<uint8_t*>(block.data()) + done, std::min(pieceBytes, bytes - done));
        };
        for (long got; (got = read()) > 0;)
            done += static_cast<size_t>(got);
        rt_task_set_mode(rt_modePrimary, 0, nullptr);
        rt_dev_close(fd);
        block.resize(done / sizeof(T));
        return block;
    }

private:
    bool second_;

public:
    SpiBus bus;
    KnownSource source;
    AcquisitionBoard board;
};

class BothGenerations : public ::testing::TestWithParam<FpgaGeneration> {
protected:
    Rig rig{GetParam()};
    bool second = GetParam() == FpgaGeneration::second;
};
INSTANTIATE_TEST_SUITE_P(SoftCore, BothGenerations, ::testing::Values(FpgaGeneration::first, FpgaGeneration::second),
                         [](const auto& kind) { return kind.index == 0 ? "First" : "Second"; });

constexpr const char* spectra = "muxd,muxaa,muxba,muxax0,muxbx0,stage#n,stage#x,";
constexpr const char* samples = "dbg0,muxr,muxaa,muxba,";

} // namespace

TEST_P(BothGenerations, AnAnswerComesOnceAndNotAtOnce) {
    rig.command("ping");
    EXPECT_EQ(rig.answer(), "");
    clock_spend(20 * ms);
    EXPECT_EQ(rig.answer(), "*pong");
    EXPECT_EQ(rig.answer(), "");
    rig.expectNoFault();
}

TEST_P(BothGenerations, WhatIsUnknownOrOutOfOrderOrRangeIsPassedOverAndCounted) {
    const std::string spectraOpen = spectra, samplesOpen = samples, routed = "muxd,muxaa,muxba";
    const struct {
        std::string before;
        std::vector<const char*> refused; // each on its own
    } cases[] = {
        {"", {"pin", "pings", "PING", "dmafs", "test0x12345678", "stage", "muxaa", "muxe", "muxr", "freq15", "freq0g"}},
        {"dbg0,muxr", {"muxba"}},
        {"dbg0,muxr,muxaa", {"muxaa"}},
        {samplesOpen, {"muxe", "dmad0", "dmad2000001", "dmad07", "dmad4294967297", "dmad", "dmad-1"}},
        {samplesOpen + "dmad1", {"dmas2"}},
        {samplesOpen + "dmad1,muxe", {"dmas1048577"}},
        {routed, {"muxbx0", "muxax2", "muxax@"}},
        {routed + ",muxax0,muxbx0", {"stage#x"}},
        {routed + ",muxax1,muxbx1,stage#n,stage#x", {"muxe"}},
        {spectraOpen, {"stage8100", "stage6l100", "stage6l64", "stage7l32768", "stage0f"}},
        {spectraOpen + "stage01", {"stage0f"}},
        {spectraOpen + "stage01,muxe", {"stage1f", "stage02"}},
        {spectraOpen + "stage01,muxe,dbg0", {"stage0f"}},
        {"freq0125000000", {"freq0r"}},
        {"freqae,freqad", {"freqag"}},
    };
    uint64_t expected = 0;
    for (const auto& [before, refused] : cases)
        for (const char* command : refused) {
            rig.board.core().setReset(true);
            rig.board.core().setReset(false);
            rig.command(before);
            EXPECT_EQ(rig.board.refusals(), expected) << before;
            rig.command(command);
            EXPECT_EQ(rig.board.refusals(), ++expected) << before << " " << command;
        }
    rig.command(spectra);
    rig.command("stage3l1024"); // fixed on the first generation
    EXPECT_EQ(rig.board.refusals(), second ? expected : ++expected);
    if (!second)
        rig.command("xadcp");
    EXPECT_EQ(rig.board.refusals(), second ? expected : ++expected);
}

TEST_P(BothGenerations, ASpectrumIsItsExpectationInTheLayoutAndAtTheTimeOfTheBoard) {
    constexpr uint32_t points = 128;
    rig.command(std::string(spectra) + "stage6l256,stage01000000,stage5100,stage640000,muxe");
    const uint64_t start = clock_now();
    // Records times their length over the rate; on the second generation stage 6 waits for the core's own transforms.
    const double base_Hz = second ? 250e6 : 125e6, points0 = second ? 4096 : 512;
    const double stage0 = 1e6 * 2 * points0 / base_Hz, stage5 = 100 * 1024 / 1250.0, stage6 = 40000 * 256 / 125.0;
    const double ready[] = {stage0, second ? stage5 : stage0 + stage5, second ? stage6 : stage0 + stage5 + stage6};
    const uint32_t stages[] = {0, 5, 6};
    for (size_t i = 0; i < 3; ++i) {
        const uint32_t stage = stages[i], count = stage == 6 ? points : stage == 0 ? uint32_t(points0) : 512;
        const auto got = rig.receive<SpectrumPoint>(count, "stage" + std::to_string(stage) + "f", 0);
        ASSERT_EQ(got.size(), count);
        EXPECT_NEAR(double(clock_now() - start) * 1e-9, ready[i], 1e-3 * ready[i]) << stage;
        for (uint32_t point = 0; point < count; ++point) {
            const double expected = KnownSource::density(stage, point);
            ASSERT_NEAR(got[point].re, expected, (stage == 5 ? 0.6 : 0.03) * expected) << stage << " " << point;
            ASSERT_EQ(got[point].im, 0) << stage << " " << point;
        }
    }
    rig.command("stagea");
    rig.expectNoFault();
}

TEST_P(BothGenerations, ASeedFixesEverySpectrumWhateverTheOrderOfFetching) {
    const auto fetch = [&](int stage) { return rig.receive<float>(2 * 512, "stage" + std::to_string(stage) + "f"); };
    const auto capture = [&](std::array<int, 2> order) {
        rig.command(std::string(spectra) + "stage21,stage41,muxe");
        std::map<int, std::vector<float>> got;
        for (const int stage : order)
            got[stage] = fetch(stage);
        EXPECT_EQ(fetch(2), got[2]) << "a second look at the same capture";
        return got;
    };
    rig.board.core().reseed(7);
    const auto first = capture({2, 4}), next = capture({2, 4});
    EXPECT_NE(next, first);
    const double densities = KnownSource::density(4, 0) / KnownSource::density(2, 0);
    EXPECT_GT(std::abs(first.at(4)[0] / first.at(2)[0] / densities - 1), 1e-3) << "each stage has noise of its own";
    rig.board.core().reseed(7);
    EXPECT_EQ(capture({4, 2}), first);
    EXPECT_EQ(capture({2, 4}), next);
    rig.board.core().reseed(8);
    EXPECT_NE(capture({2, 4}), first);
}

TEST_P(BothGenerations, TheFormatOfTheAdcsMatters) {
    const auto ratio = [&](const char* selection) {
        rig.command(std::string("muxd,muxaa,muxba,") + selection + ",stage#n,stage#x,stage31000,muxe");
        double sum = 0, expected = 0;
        const auto points = rig.receive<SpectrumPoint>(512, "stage3f");
        for (uint32_t point = 256; point < points.size(); ++point) {
            sum += std::abs(points[point].re);
            expected += KnownSource::density(3, point);
        }
        return sum / expected;
    };
    for (const char* selection : {"muxax0,muxbx0", "muxax0,muxbx1", "muxax1,muxbx0"}) {
        rig.setFormat(twosComplement);
        EXPECT_NEAR(ratio(selection), 1, 0.05) << selection;
        rig.setFormat(offsetBinary);
        EXPECT_GT(ratio(selection), 3) << selection;
        rig.setFormat(twosComplement | 1 << 4); // outputs off
        EXPECT_EQ(ratio(selection), 0) << selection;
    }
    rig.setFormat(offsetBinary);
    const std::string start = std::string(samples) + "dmad3,muxe,dmas4000";
    const auto pair = [](uint64_t i) { return KnownSource::sampleA(3 * i) | KnownSource::sampleB(3 * i) << 16; };
    const auto right = rig.receive<uint32_t>(4000, start);
    ASSERT_EQ(right.size(), 4000u);
    rig.setFormat(twosComplement);
    const auto wrong = rig.receive<uint32_t>(4000, start);
    for (uint64_t i = 0; i < right.size(); ++i) {
        ASSERT_EQ(right[i], pair(i)) << i;
        ASSERT_EQ(wrong.at(i), pair(i) ^ 0x80008000) << i;
    }
    rig.expectNoFault();
}

TEST_P(BothGenerations, TestModesOfTheAdcsShowInTheSamples) {
    constexpr uint8_t testRegister = 0x0D;
    const struct {
        uint8_t mode;
        std::vector<uint32_t> every, everySecond;
    } modes[] = {
        {1, {0x80008000, 0x80008000}, {0x80008000, 0x80008000}},
        {2, {0xFFFFFFFF, 0xFFFFFFFF}, {0xFFFFFFFF, 0xFFFFFFFF}},
        {3, {0, 0}, {0, 0}},
        {4, {0xAAAAAAAA, 0x55555555}, {0xAAAAAAAA, 0xAAAAAAAA}},
        {7, {0xFFFFFFFF, 0}, {0xFFFFFFFF, 0xFFFFFFFF}},
    };
    rig.setFormat(offsetBinary);
    for (const auto& [mode, every, everySecond] : modes) {
        rig.setAdcs(testRegister, mode);
        EXPECT_EQ(rig.receive<uint32_t>(2, std::string(samples) + "dmad1,muxe,dmas2"), every) << int(mode);
        EXPECT_EQ(rig.receive<uint32_t>(2, std::string(samples) + "dmad2,muxe,dmas2"), everySecond) << int(mode);
    }
    for (const uint8_t noise : {5, 6}) { // a maximal sequence has as many ones as zeros, but for one
        rig.setAdcs(testRegister, noise);
        int ones = 0;
        for (const uint32_t word : rig.receive<uint32_t>(511, std::string(samples) + "dmad1,muxe,dmas511"))
            ones += std::popcount(word & 0xFFFF);
        EXPECT_NEAR(ones, 511 * 8, noise == 5 ? 200 : 8) << int(noise);
    }
}

TEST_P(BothGenerations, FaultsOnDemand) {
    SoftCore& core = rig.board.core();
    core.spoil({.silent = true});
    rig.command("ping");
    clock_spend(20 * ms);
    EXPECT_EQ(rig.answer(), "");
    EXPECT_TRUE(rig.receive<uint32_t>(16, std::string(samples) + "dmad1,muxe,dmas16", 1000).empty());
    core.spoil({.corruptAnswers = true});
    rig.command("ping");
    clock_spend(20 * ms);
    EXPECT_EQ(rig.answer(), "?????");
    core.spoil({.load_ns = 25'000 * ms});
    rig.send(lines, {1 << 4, 0x60, 0});
    rig.command("freq01");
    rig.send(lines, {0, 0x60, 0});
    for (const bool loaded : {false, true}) {
        rig.command("ping");
        clock_spend(20 * ms);
        EXPECT_EQ(rig.answer(), loaded ? "*pong" : "");
        clock_spend(30'000 * ms);
    }
    rig.expectNoFault();
    rig.command("freq0g");
    EXPECT_EQ(rig.board.refusals(), 1u) << "armed while in reset";
}

TEST(AcquisitionBoardTest, LinesSelectWhoHearsAFrame) {
    Rig rig(FpgaGeneration::second);
    uint64_t expected = 0;
    const struct {
        uint32_t select;
        bool heard;
    } cases[] = {{1 | 1 << 14, true},  {1 << 13, true}, {1 << 14, false},
                 {1 | 1 << 13, false}, {0, false},      {1 << 13 | 1 << 14, false}};
    for (const auto& [select, heard] : cases) {
        rig.send(lines, {uint8_t(select), uint8_t(select >> 8), 0});
        EXPECT_EQ(rig.send(adc, {0x09, 0x14, 0x00}) == 0, heard) << select;
        EXPECT_EQ(rig.bus.faults(), heard ? expected : ++expected) << select;
    }
}

TEST_P(BothGenerations, TheStatusLinesTellOfTheClocksLock) {
    const auto status = [&] {
        uint8_t frame = 0;
        tvko_transfer transfer{lines, 1, 0, 0, &frame};
        for (int reading = 0; reading < 2; ++reading) // the register shows what it took at the end of the last
            EXPECT_EQ(rig.bus.ioctl(tvko_receive, reinterpret_cast<uintptr_t>(&transfer)), 0);
        return frame >> 1;
    };
    constexpr int locked = 1 << 3, missing = 1 << 2;
    if (!second) {
        EXPECT_EQ(status(), 0);
        rig.send(lines, {1, 0, 0});
        for (const uint32_t word : {0x1F8012u, 0x0008u, 25u << 8 | 1}) // function, R = 2, N = 25
            rig.send(clockChip, {uint8_t(word), uint8_t(word >> 8), uint8_t(word >> 16)});
        rig.send(lines, {0, 0, 0});
        EXPECT_EQ(status(), 0);
    }
    clock_spend(10 * ms);
    EXPECT_EQ(status(), locked);
    rig.send(lines, {0, 0, 1}); // to the external reference, which is missing
    clock_spend(10 * ms);
    EXPECT_EQ(status(), second ? missing : 0);
    rig.board.setExternalReference(true);
    EXPECT_EQ(status(), locked);
    rig.expectNoFault();
}
