#include "known_source.h"
#include "platform/rt.h"
#include "platform/tvko.h"
#include "virtual/acquisition/acquisition_board.h"
#include "virtual/platform/clock.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <map>

using namespace vi;

namespace {

constexpr uint32_t lines = 248, clockChip = 249, adc = 250, commandSlave = 251, answerSlave = 254;
constexpr uint32_t clockSync = 1 << 9, oscillator = 1 << 21; // second generation
constexpr uint32_t supplies = 0xE40100;                      // first generation
constexpr uint64_t ms = 1'000'000;
constexpr uint8_t offsetBinary = 0, twosComplement = 1;

/// A board and its firmware, which knows bytes only.
class Rig {
public:
    explicit Rig(FpgaGeneration generation)
        : second_(generation == FpgaGeneration::second), board(bus, {generation, true}, source, 1) {
        setLines(0);
        if (second_) {
            send(clockChip, {0x00, 0x04, 0x00, 0x84, 0x80, 0x00, 0x00, 0x01, 0x00, 0x84, 0x80, 0x44,
                             0x64, 0x00, 0x01, 0x00, 0x00, 0x3B, 0x0F, 0x08, 0x30, 0x04, 0x00, 0x00});
            clock_spend(100 * ms); // until it is locked
            setLines(clockSync);
            clock_spend(2 * ms);
            setLines(0);
            setAdcs(0x15, 0x0F);
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
    /// What must be on for a clock to run is.
    int setLines(uint32_t set) {
        set |= second_ ? oscillator : supplies;
        return send(lines, {uint8_t(set), uint8_t(set >> 8), uint8_t(set >> 16)});
    }
    void setAdcs(uint8_t number, uint8_t value) {
        for (const uint32_t select : second_ ? std::vector<uint32_t>{1 | 1 << 14, 1 << 13} : std::vector<uint32_t>{0}) {
            setLines(select);
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
        std::vector<T> block(count + 1); // only a read with room tells the end
        const size_t bytes = count * sizeof(T), room = bytes + sizeof(T);
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
            const size_t pieceBytes = done == 0 ? 5 : room;
            clock_spend(done == 0 ? 0 : ms);
            return rt_dev_read(fd, reinterpret_cast<uint8_t*>(block.data()) + done, std::min(pieceBytes, room - done));
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
        {"", {"pin", "pings", "muxaa", "muxe", "muxr", "freq15", "freq0g"}},
        {"dbg0,muxr", {"muxba"}},
        {samplesOpen, {"muxe", "dmad0", "dmad2000001", "dmad07", "dmad4294967297"}},
        {samplesOpen + "dmad1", {"dmas2"}},
        {samplesOpen + "dmad1,muxe", {"dmas1048577"}},
        {routed, {"muxbx0", "muxax2", "muxax@"}},
        {routed + ",muxax0,muxbx0", {"stage#x"}},
        {routed + ",muxax1,muxbx1,stage#n,stage#x", {"muxe"}},
        {spectraOpen, {"stage8100", "stage6l300", "stage6l64", "stage7l32768", "stage0f"}},
        {spectraOpen + "stage01,muxe", {"stage1f", "stage02"}},
        {spectraOpen + "stage01,muxe,stagea,dbg0", {"stage0f"}},
        {"freq0125000000", {"freq0r"}},
        {"freqae,freqad", {"freqag"}},
        {"freqae", {"muxd"}}, // both want the ADCs
        {std::string(spectra) + "stage01,muxe", {"dbg0"}},
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

TEST_P(BothGenerations, ASpectrumComesAtTheTimeOfTheBoard) {
    rig.command(std::string(spectra) + "stage6l256,stage01000000,stage5100,stage640000,muxe");
    const uint64_t start = clock_now();
    // Records times their length over the rate; on the second generation the stages sample side by side.
    const uint32_t points0 = second ? 4096 : 512;
    const double stage0 = 1e6 * 2 * points0 / (second ? 250e6 : 125e6), stage5 = 100 * 1024 / 1250.0;
    const double stage6 = 40000 * 256 / 125.0;
    const std::tuple<const char*, uint32_t, double> stages[] = {
        {"stage0f", points0, stage0},
        {"stage5f", 512, second ? stage5 : stage0 + stage5},
        {"stage6f", 128, second ? stage6 : stage0 + stage5 + stage6}};
    for (const auto& [command, count, ready_s] : stages) {
        EXPECT_EQ(rig.receive<SpectrumPoint>(count, command, 0).size(), count);
        EXPECT_NEAR(double(clock_now() - start) * 1e-9, ready_s, 1e-3 * ready_s) << command;
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
    rig.setFormat(twosComplement);
    const auto got = rig.receive<uint32_t>(4000, std::string(samples) + "dmad3,muxe,dmas4000");
    ASSERT_EQ(got.size(), 4000u);
    for (uint64_t i = 0; i < got.size(); ++i) // as offset binary, which samples are read as, it is wrong
        ASSERT_EQ(got[i] ^ 0x80008000, KnownSource::sampleA(3 * i) | KnownSource::sampleB(3 * i) << 16) << i;
    rig.expectNoFault();
}

TEST_P(BothGenerations, TestModesOfTheAdcsShowInTheSamples) {
    const auto words = [&](uint8_t mode, int divider, uint32_t count) {
        constexpr uint8_t testRegister = 0x0D;
        rig.setAdcs(testRegister, mode);
        const std::string pairs = std::to_string(count);
        return rig.receive<uint32_t>(count, samples + ("dmad" + std::to_string(divider)) + ",muxe,dmas" + pairs);
    };
    rig.setFormat(offsetBinary);
    EXPECT_EQ(words(2, 1, 1).at(0), 0xFFFFFFFF);
    EXPECT_EQ(words(4, 1, 2), (std::vector<uint32_t>{0xAAAAAAAA, 0x55555555}));
    EXPECT_EQ(words(7, 1, 2), (std::vector<uint32_t>{0xFFFFFFFF, 0}));
    EXPECT_EQ(words(7, 2, 2), (std::vector<uint32_t>{0xFFFFFFFF, 0xFFFFFFFF}));
    for (const uint8_t noise : {5, 6}) { // a maximal sequence has as many ones as zeros, but for one
        int ones = 0;
        for (const uint32_t word : words(noise, 1, 511))
            ones += std::popcount(word & 0xFFFF);
        EXPECT_NEAR(ones, 511 * 8, noise == 5 ? 200 : 8) << int(noise);
    }
}

TEST(AcquisitionBoardTest, LinesSelectAnAdcAndTheReference) {
    Rig rig(FpgaGeneration::second);
    for (const uint32_t select : {1 | 1 << 14, 1 << 13, 1 << 14, 1 | 1 << 13, 0, 1 << 13 | 1 << 14}) {
        const bool heard = select == (1 | 1 << 14) || select == 1 << 13;
        rig.setLines(select);
        EXPECT_EQ(rig.send(adc, {0x09, 0x14, 0x00}) == 0, heard) << select;
    }
    const auto status = [&] {
        uint8_t frame = 0;
        tvko_transfer transfer{lines, 1, 0, 0, &frame};
        for (int reading = 0; reading < 2; ++reading) // the register shows what it took at the end of the last
            EXPECT_EQ(rig.bus.ioctl(tvko_receive, reinterpret_cast<uintptr_t>(&transfer)), 0);
        return frame >> 1;
    };
    constexpr int locked = 1 << 3, missing = 1 << 2;
    rig.setLines(1 << 16); // to the external reference, which is missing
    clock_spend(100 * ms);
    EXPECT_EQ(status(), missing);
    rig.board.setExternalReference(true);
    EXPECT_EQ(status(), locked);
    rig.setLines(0);
    EXPECT_EQ(status(), 0) << "not at once";
    clock_spend(100 * ms);
    EXPECT_EQ(status(), locked);
}
