#include "drivers/tvspi.h"
#include "tests/drivers/fake_module.h"

#include <gtest/gtest.h>
#include <thread>

namespace {

using Words = std::vector<uint32_t>;
constexpr uint32_t endOfList = 256;

class Capture : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(tvspiOpen(), 0);
        module.answer = [this](uint32_t request, uintptr_t argument) {
            if (request == 57356) {
                Words list;
                for (auto* word = reinterpret_cast<const uint32_t*>(argument); *word != endOfList;) {
                    const uint32_t words = 3 + (word[1] + 3) / 4;
                    list.insert(list.end(), word, word + words);
                    word += words;
                }
                lists.push_back(list);
            } else {
                ++direct;
            }
            return failures-- > 0 ? -1 : 0;
        };
    }
    void TearDown() override {
        while (tvspi_resumeCapture() == 0) {
        }
        while (tvspi_stopCapture() == 0) {
        }
        tvspiClose();
    }
    static void send(uint32_t address) {
        const uint8_t frame[5] = {1, 2, 3, 4, 5};
        EXPECT_EQ(tvspiSend(address, sizeof frame, 9, frame), 0);
    }

    FakeModule module;
    std::vector<Words> lists;
    int direct = 0, failures = 0;
    uint32_t buffer[64] = {};
};

constexpr uint32_t sendWords = 5, sendBytes = 4 * sendWords; // of one record of send()
const Words sendRecord(uint32_t address) {
    return {address, 5, 9, 0x04030201, 0x00000005};
}
Words joined(Words first, const Words& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

TEST_F(Capture, GathersSendsIntoOneListThatTheCallerSends) {
    tvspi_startCapture(buffer, sizeof buffer, 0);
    EXPECT_EQ(buffer[0], endOfList);
    send(0x2F8); // nine bits of address
    EXPECT_EQ(tvspi_doCapture(257, 0, 0, nullptr), 1);
    EXPECT_EQ(tvstuff_delay_us_spi(1500), 1) << "in the list instead of a wait";
    uint8_t room;
    EXPECT_EQ(tvspiRecv(1, 0, 1, 0, &room), 0) << "reads are not gathered";
    EXPECT_EQ(direct, 1);
    EXPECT_EQ(tvspi_getCaptureSize(), sendBytes + 12 + 16 + 12);
    EXPECT_EQ(tvspi_sendCapture(buffer), 0) << "left alone while the capture runs";
    EXPECT_EQ(tvspi_stopCapture(), 0);
    EXPECT_TRUE(lists.empty()) << "the stop sends nothing";

    const Words expected = joined(joined(sendRecord(0xF8), {257, 0, 0}), {259, 4, 0, 1500});
    EXPECT_EQ(tvspi_sendCapture(buffer), 0);
    ASSERT_EQ(lists.size(), 1u);
    EXPECT_EQ(lists[0], expected);
    EXPECT_EQ(buffer[0], endOfList) << "emptied";
    EXPECT_EQ(tvspi_doCapture(257, 0, 0, nullptr), 0) << "no capture, the caller acts";
}

TEST_F(Capture, AListIsSentTwiceAtMostAndEmptiedOnEveryPath) {
    for (const int failing : {1, 2}) {
        tvspi_startCapture(buffer, sizeof buffer, 0);
        send(1);
        ASSERT_EQ(tvspi_stopCapture(), 0);
        failures = failing;
        EXPECT_EQ(tvspi_sendCapture(buffer), failing == 1 ? 0 : -1);
        EXPECT_EQ(std::exchange(lists, {}).size(), 2u);
        EXPECT_EQ(buffer[0], endOfList);
    }
}

TEST_F(Capture, InnerStartsBreaksAndTheirEndsOnlyCount) {
    uint32_t other[8] = {};
    tvspi_startCapture(buffer, sizeof buffer, 0);
    send(1);
    tvspi_startCapture(other, sizeof other, 0);
    send(2);
    EXPECT_EQ(tvspi_stopCapture(), 0);
    send(3);
    EXPECT_EQ(tvspi_breakCapture(), 0);
    EXPECT_EQ(tvspi_breakCapture(), 0);
    ASSERT_EQ(lists.size(), 1u);
    EXPECT_EQ(lists[0], joined(joined(sendRecord(1), sendRecord(2)), sendRecord(3)));
    EXPECT_EQ(tvspi_resumeCapture(), 0);
    send(4);
    EXPECT_EQ(direct, 1) << "still in the outer break";
    tvspi_startCapture(other, sizeof other, 0); // nothing during a break
    EXPECT_EQ(tvspi_stopCapture(), -200);
    EXPECT_EQ(tvspi_resumeCapture(), 0);
    EXPECT_EQ(tvspi_resumeCapture(), -200);

    send(5);
    EXPECT_EQ(direct, 1);
    EXPECT_EQ(tvspi_stopCapture(), 0);
    EXPECT_EQ(tvspi_stopCapture(), -200);
    EXPECT_EQ(tvspi_sendCapture(buffer), 0);
    EXPECT_EQ(lists.back(), sendRecord(5));
}

TEST_F(Capture, AFullListIsSentAndWhatNoListHoldsGoesStraight) {
    constexpr uint32_t twoRecords = 2 * sendBytes + 12;
    for (const uint32_t size : {twoRecords - 1, twoRecords}) {
        lists.clear();
        buffer[(twoRecords + 3) / 4] = 0xABCD;
        tvspi_startCapture(buffer, size, 0);
        for (uint32_t address = 1; address <= 3; ++address)
            send(address);
        ASSERT_EQ(lists.size(), size == twoRecords ? 1u : 2u) << size;
        EXPECT_EQ(lists[0], size == twoRecords ? joined(sendRecord(1), sendRecord(2)) : sendRecord(1));
        EXPECT_EQ(buffer[(twoRecords + 3) / 4], 0xABCDu) << "nothing behind the end";

        lists.clear();
        direct = 0;
        uint8_t large[200] = {};
        EXPECT_EQ(tvspiSend(7, sizeof large, 0, large), 0);
        EXPECT_EQ(lists, std::vector<Words>{sendRecord(3)}) << "the order stays";
        EXPECT_EQ(direct, 1);
        EXPECT_EQ(tvspi_doCapture(7, 0xFFFFFFF8, 0, nullptr), 0) << "no data: the bus refuses it";
        EXPECT_EQ(tvspi_stopCapture(), 0);
    }
}

TEST_F(Capture, ABufferForNothingSendsEverythingAndSaysSo) {
    buffer[0] = 0xABCD;
    tvspi_startCapture(buffer, 11, 0);
    EXPECT_EQ(tvspi_getCaptureSize(), 0xFFFFFFFFu);
    send(1);
    EXPECT_EQ(direct, 1);
    EXPECT_EQ(tvspi_doCapture(257, 0, 0, nullptr), 0) << "the caller pulses the line himself";
    EXPECT_EQ(tvspi_breakCapture(), -223);
    EXPECT_EQ(tvspi_resumeCapture(), 0);
    EXPECT_EQ(tvspi_stopCapture(), -223);
    EXPECT_EQ(buffer[0], 0xABCDu);
}

TEST_F(Capture, ModeOneSendsAtOnceAsWell) {
    tvspi_startCapture(buffer, sizeof buffer, 1);
    send(1);
    EXPECT_EQ(direct, 1);
    EXPECT_EQ(tvspi_doCapture(257, 0, 0, nullptr), 0);
    EXPECT_EQ(tvspi_stopCapture(), 0);
    EXPECT_EQ(tvspi_sendCapture(buffer), 0);
    EXPECT_EQ(lists, std::vector<Words>{joined(sendRecord(1), {257, 0, 0})});
}

TEST_F(Capture, SendersMeetOneThatStartsAndStops) {
    constexpr int rounds = 200, senders = 2;
    std::atomic<bool> stop{false};
    std::atomic<size_t> sent{0};
    std::atomic<size_t> reached{0};
    module.answer = [&](uint32_t request, uintptr_t argument) {
        const auto* word = reinterpret_cast<const uint32_t*>(argument);
        if (request == 57356)
            for (; *word != endOfList; word += sendWords)
                ++reached;
        else
            ++reached;
        return 0;
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < senders; ++i)
        threads.emplace_back([&] {
            do {
                send(1);
                ++sent;
            } while (!stop);
        });
    for (int round = 0; round < rounds; ++round) {
        tvspi_startCapture(buffer, sizeof buffer, 0);
        EXPECT_EQ(tvspi_breakCapture(), 0);
        EXPECT_EQ(tvspi_resumeCapture(), 0);
        while (tvspi_stopCapture() != 0) // a sender may be at a full list
            std::this_thread::yield();
        EXPECT_EQ(tvspi_sendCapture(buffer), 0);
    }
    stop = true;
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(reached, sent) << "each send reached the bus once";
}

} // namespace
