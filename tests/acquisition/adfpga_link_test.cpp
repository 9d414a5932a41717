/// The command link, the rings and the limits of the settings, without a board.

#include "acquisition/adfpga_capture.h"
#include "acquisition/adfpga_fvst.h"
#include "acquisition/adfpga_link.h"
#include "core/signals.h"
#include "device_table/status_registers.h"
#include "drivers/tvspi.h"
#include "tests/acquisition/streams.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr int executionError = -200, hardwareMissing = -241, tooLong = -321;

std::vector<std::string> sent; // as the soft core reads it, the NUL included
std::string answer;
int answerAfterReads = 0;
uint32_t readMode = 0;
std::vector<uint32_t> failing; // messages that fail, by number

int takeMessage(uint32_t address, uint32_t length, uint32_t mode, const void* data) {
    if (address != 251)
        return 0;
    EXPECT_EQ(mode, 0u);
    std::string text(static_cast<const char*>(data), length);
    std::reverse(text.begin(), text.end());
    sent.push_back(text);
    return std::count(failing.begin(), failing.end(), sent.size() - 1) != 0 ? -1 : 0;
}

int giveAnswer(uint32_t address, uint32_t, uint32_t length, uint32_t mode, void* data) {
    auto* const bytes = static_cast<char*>(data);
    std::fill_n(bytes, length, '\0');
    if (address != 254)
        return 0;
    readMode = mode;
    if (answerAfterReads-- > 0)
        return 0;
    if (answer.empty())
        return -1;
    std::copy_n(answer.rbegin(), answer.size(), bytes + length - answer.size());
    return 0;
}

class AdfpgaLinkTest : public ::testing::Test {
protected:
    AdfpgaLinkTest() {
        tvspiRegisterSendFunction(takeMessage);
        tvspiRegisterRecvFunction(giveAnswer);
        board(1);
        board(3);
        sent.clear();
        failing.clear();
    }
    static TVPN_ADFPGA* board(uint32_t version) {
        static TVPN_ADFPGA first, second;
        static const bool started = (TVPN_ADFPGA_init(&first, 1), TVPN_ADFPGA_init(&second, 3), true);
        return started && version < 3 ? &first : &second;
    }
};

std::string message(const char* text) {
    return {text, strlen(text) + 1};
}

} // namespace

TEST_F(AdfpgaLinkTest, CommandsGoOutOneByOneWithTheirNul) {
    const std::string most(103, 'x'), over(104, 'x'),
        list255 = std::string(101, 'a').append(",").append(101, 'b').append(",").append(51, 'c');
    const struct {
        std::string commands;
        std::vector<uint32_t> fail;
        int result;
        std::vector<std::string> messages;
    } cases[] = {
        {"muxd,muxaa,muxba", {}, 0, {message("muxd"), message("muxaa"), message("muxba")}},
        {"muxd,muxaa,muxba", {1}, executionError, {message("muxd"), message("muxaa"), message("muxba")}},
        {"ping,", {}, 0, {message("ping")}},
        {most, {}, 0, {message(most.c_str())}},
        {over + ",ping", {}, tooLong, {message("ping")}},
    };
    for (const auto& [commands, fail, result, messages] : cases) {
        sent.clear();
        failing = fail;
        EXPECT_EQ(TVPN_ADFPGA_fpgaCommandsImmediate(board(1), commands.c_str()), result) << commands;
        EXPECT_EQ(sent, messages) << commands;
    }

    sent.clear();
    EXPECT_EQ(TVPN_ADFPGA_fpgaCommandF(board(1), "%s", list255.c_str()), 0);
    EXPECT_EQ(sent.size(), 3u);
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(TVPN_ADFPGA_fpgaCommandF(board(1), "%sc", list255.c_str()), tooLong);
    EXPECT_NE(::testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(sent.size(), 3u);
}

TEST_F(AdfpgaLinkTest, AnAnswerIsAwaitedForSixReads) {
    const struct {
        int silentReads;
        int wait;
        const char* text;
        int reads;
    } cases[] = {{0, 0, "*pong", 1}, {1, 0, "", 1}, {0, 1, "*pong", 1}, {5, 1, "*pong", 6}, {6, 1, "", 6}};
    answer = "*pong";
    for (const auto& [silentReads, wait, text, reads] : cases) {
        std::array<char, 64> buffer;
        buffer.fill('?');
        answerAfterReads = silentReads;
        EXPECT_EQ(TVPN_ADFPGA_receiveFpga(board(1), buffer.data(), 64, wait), 0);
        EXPECT_STREQ(buffer.data(), text);
        EXPECT_EQ(silentReads - answerAfterReads, reads);
    }
    EXPECT_EQ(readMode, 9u);
    std::array<char, 6> exact;
    answerAfterReads = 0;
    EXPECT_EQ(TVPN_ADFPGA_receiveFpga(board(3), exact.data(), 5, 1), 0);
    EXPECT_EQ(std::string(exact.data(), 5), "*pong");
    EXPECT_EQ(readMode, 0u);
    answer.clear();
    answerAfterReads = 2;
    EXPECT_EQ(TVPN_ADFPGA_receiveFpga(board(3), exact.data(), 5, 1), executionError);
}

TEST_F(AdfpgaLinkTest, SettingsStayInTheirRanges) {
    TVPN_ADFPGA* const first = board(1);
    for (const auto& [count, kept] : {std::pair{0U, 0U}, {1U, 2U}, {1025U, 1024U}, {0x100001U, 0x100000U}}) {
        TVPN_ADFPGA_setTdSamplesCount(first, count);
        EXPECT_EQ(TVPN_ADFPGA_getTdSamplesCount(first), kept);
    }
    for (const auto& [divider, kept] : {std::pair{0U, 1U}, {3'000'000U, 2'000'000U}}) {
        TVPN_ADFPGA_setTdDivider(first, divider);
        EXPECT_EQ(TVPN_ADFPGA_getTdDivider(first), kept);
    }
    TVPN_ADFPGA_setFdStages(first, 9);
    EXPECT_EQ(TVPN_ADFPGA_getFdStages(first), 8u);
    const struct {
        uint32_t version;
        int stage;
        uint32_t points, kept;
    } cases[] = {{1, 5, 4096, 512}, {1, 6, UINT32_MAX, 8192}, {3, 3, 0, 64}, {3, 0, 4000, 4096}, {3, 8, 64, 0},
                 {3, -1, 64, 0}};
    for (const auto& [version, stage, points, kept] : cases) {
        TVPN_ADFPGA_setFdSamplesCount(board(version), stage, points);
        EXPECT_EQ(TVPN_ADFPGA_getFdSamplesCount(board(version), stage), kept) << version << ' ' << stage;
    }
}

TEST_F(AdfpgaLinkTest, ACaptureOfSpectraIsSetUpAndFetchedStageByStage) {
    const struct {
        uint32_t version, flag;
        int (*select)(TVPN_ADFPGA*);
        uint32_t stages;
        const char* commands;
    } rows[] = {{1, 1, TVPN_ADFPGA_setFdChannelCrosscorrelation, 2,
                 "muxd muxaa muxba muxax0 muxbx0 stage#n stage#x stage07 stage18 muxe stage0f stage1f "},
                {1, 0, TVPN_ADFPGA_setFdChannelAOnly, 1,
                 "muxd muxaa muxba muxax0 muxbx1 stage#b stage#x stage07 muxe stage0f "},
                {3, 1, TVPN_ADFPGA_setFdChannelBOnly, 2,
                 "muxd muxaa muxba muxax1 muxbx0 stage#n stage#x stage0l8192 stage07 stage1l1024 stage18 muxe stage0f "
                 "stage1f "}};
    for (const auto& [version, flag, select, stages, commands] : rows) {
        CountingStream stream;
        TVPN_ADFPGA* const its = board(version);
        its->fdStageFlag = flag;
        select(its);
        TVPN_ADFPGA_setFdStages(its, stages);
        TVPN_ADFPGA_setFdCorrelations(its, 0, 7);
        TVPN_ADFPGA_setFdCorrelations(its, 1, 8);
        sent.clear();
        TVPN_ADFPGA_captureFdSamples(its);
        TVPN_ADFPGA_joinTransferTask(its, nullptr);
        std::string seen;
        for (const std::string& text : sent)
            seen.append(text.c_str()).append(" ");
        EXPECT_EQ(seen, commands);
    }
}

TEST_F(AdfpgaLinkTest, ARingBreaksAccessesAtItsEndAndAtTheOtherSide) {
    FvstRing* const ring = &board(1)->fvstRing[0];
    TVPN_ADFPGA_initializeRing(ring);
    uint32_t* position = nullptr;
    uint32_t count = 0;
    const auto write = [&](uint32_t wanted) {
        TVPN_ADFPGA_openWriteAccess(ring, wanted, &position, &count);
        return TVPN_ADFPGA_closeWriteAccess(ring), count;
    };
    const auto read = [&](uint32_t wanted) {
        TVPN_ADFPGA_openReadAccess(ring, wanted, &position, &count);
        return TVPN_TVFPGA_closeReadAccess(ring), count;
    };
    EXPECT_EQ(read(1), 0u) << "empty";
    for (int round = 0; round < 5; ++round) { // the positions fold
        EXPECT_EQ(write(0x7FFFF), 0x7FFFFu);
        EXPECT_EQ(position, ring->data);
        EXPECT_EQ(read(0x7FFFF), 0x7FFFFu);
        EXPECT_EQ(write(100), 1u);
        EXPECT_EQ(position, ring->data + 0x7FFFF);
        EXPECT_EQ(write(UINT32_MAX), 0x7FFFFu) << "up to the reader";
        EXPECT_EQ(position, ring->data);
        EXPECT_EQ(write(1), 0u) << "full";
        EXPECT_EQ(read(2), 1u);
        EXPECT_EQ(read(UINT32_MAX), 0x7FFFFu);
        EXPECT_EQ(write(1), 1u);
        EXPECT_EQ(read(UINT32_MAX), 1u);
    }
}

TEST_F(AdfpgaLinkTest, ATaskIsAwaitedForAsLongAsAskedAndASecondOneForTheFirst) {
    static std::atomic<int> running{0}, most{0};
    static std::atomic<bool> released{false};
    const adfpga_transferBody body = [](void* argument) -> void* {
        most = std::max(most.load(), ++running);
        while (!released)
            std::this_thread::yield();
        --running;
        TVPN_ADFPGA_exitTransferTask(static_cast<TVPN_ADFPGA*>(argument), -5);
        return nullptr;
    };
    TVPN_ADFPGA* const its = board(3);
    int status = 1;
    EXPECT_EQ(TVPN_ADFPGA_joinTransferTask_timeout(its, &status, 0), 0) << "none";
    TVPN_ADFPGA_startTransferTask(its, body);
    status = 1;
    EXPECT_EQ(TVPN_ADFPGA_joinTransferTask_timeout(its, &status, 1000), -365);
    EXPECT_EQ(status, 1);
    released = true;
    TVPN_ADFPGA_startTransferTask(its, body);
    EXPECT_EQ(TVPN_ADFPGA_joinTransferTask_timeout(its, &status, 60'000'000), 0);
    EXPECT_EQ(status, -5);
    EXPECT_EQ(most, 1);
}

TEST_F(AdfpgaLinkTest, TheTransferTaskFillsItsRingUntilItsReaderHasAllOrACancelComes) {
    CountingStream stream;
    TVPN_ADFPGA* const its = board(3);
    FvstRing* const ring = &its->fvstRing[1];
    ring->samplesCount = 12 * adfpga_ringWords + 5;
    adfpga_startRingTransfer(its, ring);
    uint64_t wrong = 0;
    for (uint32_t done = 0, count = 0; done < ring->samplesCount; done += count) { // from the first word on
        uint32_t* position = nullptr;
        ASSERT_EQ(TVPN_ADFPGA_openBlockingReadAccess(ring, 100'003, &position, &count), 0);
        for (uint32_t i = 0; i < count; ++i)
            wrong += position[i] != done + i;
        TVPN_TVFPGA_closeReadAccess(ring);
    }
    int status = 1;
    TVPN_ADFPGA_joinTransferTask(its, &status);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(wrong, 0u);
    EXPECT_EQ(stream.users, 0) << "the next one may have it";
    EXPECT_EQ(sent.front(), message("dmafbd524288"));
    EXPECT_EQ(rt_thread_exit.load(), nullptr);

    adfpga_startRingTransfer(its, ring);
    while (ring->transferred != adfpga_ringWords) // full
        std::this_thread::yield();
    EXPECT_EQ(rt_thread_exit_cookie.load(), its);
    TVPN_ADFPGA_abort(its); // it waits for a reader
    EXPECT_EQ(rt_thread_exit.load(), nullptr);
    EXPECT_EQ(its->transferCancel, 0u);
}

TEST_F(AdfpgaLinkTest, TriggerLevelsStayInOrderAndInRange) {
    static TVPN_ADFPGA its;
    its.trigger.levelMax_Hz = 50'000'000;
    const auto set = [](auto setter, int64_t hertz) {
        const tvfreq level{hertz, 0};
        EXPECT_EQ(setter(&its, &level), 0);
    };
    const struct {
        int (*setter)(TVPN_ADFPGA*, const tvfreq*);
        int64_t value, low, high;
    } steps[] = {
        {TVPN_ADFPGA_setTriggerLevelLow, 60'000'000, 50'000'000, 50'000'000}, // takes the high one along
        {TVPN_ADFPGA_setTriggerLevelHigh, 20'000'000, 20'000'000, 20'000'000},
        {TVPN_ADFPGA_setTriggerLevelLow, -5, 0, 20'000'000},
        {TVPN_ADFPGA_setTriggerHysteresis, 4'000'000, 8'000'000, 12'000'000}, // around the middle
        {TVPN_ADFPGA_setTriggerLevel, 30'000'000, 28'000'000, 32'000'000},
        {TVPN_ADFPGA_setTriggerLevel, 49'000'000, 47'000'000, 50'000'000},
    };
    for (const auto& [setter, value, low, high] : steps) {
        set(setter, value);
        EXPECT_EQ(TVPN_ADFPGA_getTriggerLevelLow(&its).intPart, low) << value;
        EXPECT_EQ(TVPN_ADFPGA_getTriggerLevelHigh(&its).intPart, high) << value;
        EXPECT_EQ(TVPN_ADFPGA_getTriggerLevel(&its).intPart, (low + high) / 2) << value;
        EXPECT_EQ(TVPN_ADFPGA_getTriggerHysteresis(&its).intPart, high - low) << value;
    }

    const struct {
        AdfpgaTriggerSource source;
        AdfpgaTriggerMode mode;
        uint32_t continuous, word;
    } words[] = {{adfpga_immediate, adfpga_negative, 0, 0},    {adfpga_atA, adfpga_positive, 0, 0x48},
                 {adfpga_atB, adfpga_out, 0, 0x488},           {adfpga_external, adfpga_in, 0, 0xC48},
                 {adfpga_external, adfpga_negative, 1, 0x820}, {adfpga_immediate, adfpga_in, 1, 0x460}};
    for (const auto& [source, mode, continuous, word] : words) {
        its.trigger.source = source;
        its.trigger.mode = mode;
        its.trigger.continuous = continuous;
        EXPECT_EQ(TVPN_ADFPGA_fvstTriggerConfiguration(&its), word) << source << ' ' << mode;
    }
}

TEST_F(AdfpgaLinkTest, AFrequencyVersusTimeCaptureShowsUntilItsEndOrAnAbort) {
    static DeviceStatusRegisters registers;
    deviceStatusRegistersInit(&registers);
    registers.operation.ptransition = registers.operation.ntransition = 48;
    TVPN_ADFPGA* const its = board(1);
    EXPECT_EQ(TVPN_ADFPGA_captureFvstSamples(its), hardwareMissing);
    EXPECT_EQ(TVPN_ADFPGA_setTriggerOffset(its, adfpga_channelA, 7), hardwareMissing);
    EXPECT_EQ(TVPN_ADFPGA_fvstGetHBytes(its, adfpga_channelA), 0);
    EXPECT_TRUE(sent.empty());
    TVPN_ADFPGA_enableFvst(its, &registers.operation);

    EXPECT_EQ(TVPN_ADFPGA_setTriggerOffset(its, adfpga_channelB, 7), 0);
    its->fvstRing[adfpga_channelA].samplesCount = 3;
    its->fvstRing[adfpga_channelB].divider = 2;
    its->trigger.levelHigh = {20'000'000, uint64_t{1} << 63};
    {
        CountingStream stream;
        EXPECT_EQ(TVPN_ADFPGA_captureFvstSamples(its), 0);
        EXPECT_EQ(TVPN_ADFPGA_fvstGetHBytes(its, adfpga_channelA), 12); // behind the end of the capture
        EXPECT_EQ(registers.operation.condition, 0u);
        EXPECT_EQ(statusRegister_takeEvent(&registers.operation), 48u);
        uint32_t words[3] = {};
        int bytes = 0;
        while (bytes < 12)
            bytes += TVPN_ADFPGA_fvstHandler(its, adfpga_channelA, 8, reinterpret_cast<char*>(words) + bytes);
        EXPECT_EQ(words[2], words[0] + 2);
        EXPECT_EQ(TVPN_ADFPGA_fvstHandler(its, adfpga_channelA, 8, reinterpret_cast<char*>(words)), executionError);
    }
    std::string commands;
    for (const std::string& one : sent)
        commands.append(one);
    std::replace(commands.begin(), commands.end(), '\0', ' ');
    EXPECT_EQ(commands, "dmafbo7 muxr muxaa muxba dmafan3 dmafbn0 dmafbr2 dmafar2 muxe dmaft0 dmaflh20000000.500000 "
                        "dmafll0.000000 dmafs dmafr dmafad3 ");

    for (const uint32_t continuous : {0U, 1U}) { // one waits for a trigger that never comes, one has no end
        SilentStream stream;
        its->trigger.continuous = continuous;
        EXPECT_EQ(TVPN_ADFPGA_captureFvstSamples(its), 0);
        EXPECT_EQ(registers.operation.condition, 48u);
        TVPN_ADFPGA_abort(its);
        EXPECT_EQ(sent.back(), message("dmafi"));
        EXPECT_EQ(registers.operation.condition, 0u);
        EXPECT_EQ(rt_thread_exit.load(), nullptr);
    }
    sent.clear();
    failing = {0};
    EXPECT_EQ(TVPN_ADFPGA_captureFvstSamples(its), executionError);
    EXPECT_EQ(registers.operation.condition, 0u);
    TVPN_ADFPGA_disableContinousCapture(its);
    EXPECT_EQ(sent.back(), message("dmafi"));
    TVPN_ADFPGA_abort(its);
    EXPECT_EQ(std::count(sent.begin(), sent.end(), message("dmafi")), 1);
}
