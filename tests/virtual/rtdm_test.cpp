#include "platform/rt.h"
#include "platform/tvko.h"
#include "virtual/clock.h"
#include "virtual/rt_tasks.h"
#include "virtual/rtdm.h"
#include "virtual/spi_bus.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <thread>

using namespace vi;

namespace {

// ---- Devices by name

/// Counts its openings; a write tells how many bytes a read gives.
struct Counter final : RtDevice {
    int openings = 0, refuse = 0;
    size_t readable = 0;

    int open(int) override { return refuse != 0 ? refuse : ++openings; }
    void close() override { --openings; }
    long read(std::span<uint8_t> data) override { return long(std::min(data.size(), readable)); }
    long write(std::span<const uint8_t> data) override { return long(readable = data.size()); }
};

TEST(Rtdm, DevicesAnswerByNameThroughDescriptors) {
    Counter first, second;
    rtdm_register("first", &first);
    rtdm_register("second", &second);
    EXPECT_EQ(rt_dev_open("third", 0), -ENODEV);
    const int a = rt_dev_open("first", 0), b = rt_dev_open("second", 0);
    ASSERT_GT(a, 2);
    ASSERT_NE(a, b);
    char room[8] = {};
    EXPECT_EQ(rt_dev_write(a, "abc", 3), 3);
    EXPECT_EQ(rt_dev_read(b, room, sizeof room), 0);
    EXPECT_EQ(rt_dev_read(a, room, 2), 2);
    EXPECT_EQ(rt_dev_read(a, nullptr, 0), 0);
    EXPECT_EQ(rt_dev_ioctl(a, 1, 0), -ENOTTY) << "what the device does not know";

    rtdm_unregister(&second); // takes its descriptors along
    EXPECT_EQ(rt_dev_open("second", 0), -ENODEV);
    EXPECT_EQ(rt_dev_close(a), 0);
    EXPECT_EQ(first.openings, 0);
    for (const int gone : {a, b, -1, 100'000}) {
        EXPECT_EQ(rt_dev_close(gone), -EBADF);
        EXPECT_EQ(rt_dev_read(gone, room, 1), -EBADF);
        EXPECT_EQ(rt_dev_write(gone, room, 1), -EBADF);
        EXPECT_EQ(rt_dev_ioctl(gone, 0xE004, 0), -EBADF);
    }
    first.refuse = -EBUSY;
    EXPECT_EQ(rt_dev_open("first", 0), -EBUSY);
    rtdm_unregister(&first);
}

// ---- Tasks and events

TEST(RtTask, PrimaryModeIsForTasks) {
    std::thread([] {
        EXPECT_EQ(rt_task_set_mode(0, 0x40200, nullptr), -EPERM);
        EXPECT_FALSE(rtTask_inPrimaryMode());
        EXPECT_EQ(rt_task_shadow(nullptr, nullptr, 0, 0x400), 0);
        EXPECT_LT(rt_task_shadow(nullptr, nullptr, 0, 0x400), 0) << "already one";
        EXPECT_FALSE(rtTask_inPrimaryMode());
        EXPECT_EQ(rt_task_set_mode(0, 0x40200, nullptr), 0);
        EXPECT_TRUE(rtTask_inPrimaryMode());
        int previous = 0;
        EXPECT_EQ(rt_task_set_mode(0x40200, 0, &previous), 0);
        EXPECT_EQ(previous, 0x40200);
        EXPECT_FALSE(rtTask_inPrimaryMode());
        EXPECT_EQ(rt_task_set_mode(0, 1, nullptr), -EINVAL);
    }).join();
}

TEST(RtEvent, BitsStayUntilClearedAndWakeWhoWaits) {
    RT_EVENT event;
    ASSERT_EQ(rt_event_create(&event, nullptr, 0, 0), 0);
    EXPECT_EQ(rt_event_wait(&event, 1, nullptr, 0, rt_infinite), -EPERM) << "not a task";
    constexpr int turns = 2000;
    const auto player = [&](unsigned long mine, unsigned long others) {
        rt_task_shadow(nullptr, nullptr, 0, rt_taskJoinable);
        for (int turn = 0; turn < turns; ++turn) {
            unsigned long found = 0;
            ASSERT_EQ(rt_event_wait(&event, mine, &found, 0, rt_infinite), 0);
            ASSERT_EQ(found, mine);
            ASSERT_EQ(rt_event_clear(&event, mine, &found), 0);
            ASSERT_EQ(found & mine, mine);
            while (rt_event_signal(&event, others) != 0) {
            }
        }
    };
    std::thread ping(player, 1, 2), pong(player, 2, 1);
    rt_event_signal(&event, 1);
    ping.join();
    pong.join();
    std::thread([&] {
        rt_task_shadow(nullptr, nullptr, 0, rt_taskJoinable);
        unsigned long found = 0;
        EXPECT_EQ(rt_event_wait(&event, 3, &found, 0, 1000), -ETIMEDOUT) << "all bits are waited for";
        EXPECT_EQ(found, 1u);
        EXPECT_EQ(rt_event_wait(&event, 1, nullptr, 0, 1000), 0) << "a wait takes nothing away";
    }).join();
    RT_EVENT never{};
    EXPECT_EQ(rt_event_signal(&never, 1), -EINVAL);
}

// ---- The SPI bus

/// Takes frames of one length and gives back the last one.
struct Register final : SpiChip {
    explicit Register(size_t length) : content(length) {}
    std::vector<uint8_t> content;
    std::string log; // S selected, s let go, w written, r read, u updated

    bool send(std::span<const uint8_t> frame, uint32_t mode) override {
        if (frame.size() != content.size() || mode != 0)
            return false;
        content.assign(frame.begin(), frame.end());
        log += 'w';
        return true;
    }
    bool receive(std::span<uint8_t> frame, uint32_t, uint32_t) override {
        if (frame.size() != content.size())
            return false;
        std::copy(content.begin(), content.end(), frame.begin());
        log += 'r';
        return true;
    }
    void select(bool active) override { log += active ? 'S' : 's'; }
    void ioUpdate(uint32_t trigger) override { log += trigger != 0 ? 'U' : 'u'; }
};

class SpiBusTest : public testing::Test {
protected:
    void SetUp() override {
        rtdm_register("tvko", &bus);
        descriptor = rt_dev_open("tvko", 2);
        ASSERT_GT(descriptor, 0);
        bus.attach(10, &two);
        bus.attach(20, &three, 1);
        bus.attach(20, &alsoThree, 2);
    }
    void TearDown() override { rtdm_unregister(&bus); }

    int send(uint32_t address, std::vector<uint8_t> frame, uint32_t mode = 0) {
        tvko_transfer record{address, static_cast<uint32_t>(frame.size()), mode, 0, frame.data()};
        return rt_dev_ioctl(descriptor, 57354, &record);
    }
    std::vector<uint8_t> receive(uint32_t address, uint32_t board, size_t length) {
        std::vector<uint8_t> frame(length);
        tvko_transfer record{address, static_cast<uint32_t>(length), 0, board, frame.data()};
        return rt_dev_ioctl(descriptor, 57355, &record) == 0 ? frame : std::vector<uint8_t>{};
    }

    SpiBus bus;
    Register two{2}, three{3}, alsoThree{3};
    int descriptor = -1;
};

using Bytes = std::vector<uint8_t>;

TEST_F(SpiBusTest, TransfersFindTheChipAndItsSegmentAndTakeTheirTime) {
    const uint64_t start = clock_now();
    EXPECT_EQ(send(10, {1, 2}), 0);
    EXPECT_EQ(two.content, (Bytes{1, 2}));
    EXPECT_EQ(receive(10, 77, 2), (Bytes{1, 2})) << "on any segment";
    EXPECT_EQ(send(20, {4, 5, 6}), 0);
    EXPECT_EQ(receive(20, 2, 3), (Bytes{4, 5, 6})) << "the last chip attached takes the sends";
    EXPECT_EQ(receive(20, 1, 3), (Bytes{0, 0, 0}));
    EXPECT_EQ(clock_now() - start, 5 * 20'000u);
    EXPECT_EQ(two.log, "SwsSrs");
    EXPECT_EQ(bus.transfers(), 5u);
    EXPECT_EQ(bus.faults(), 0u) << bus.faultTexts();
}

TEST_F(SpiBusTest, WhatTheHardwareDoesNotKnowFailsAndIsCounted) {
    tvko_transfer empty{10, 0, 0, 0, this}, noData{10, 2, 0, 0, nullptr};
    uint32_t word = 0;
    const uint32_t badOperation[] = {300, 0, 0, 256}, badDelay[] = {259, 2, 0, 0, 256};
    const std::pair<const char*, std::function<int()>> cases[] = {
        {"address",
         [&] {
             return send(11, {1, 2});
         }},
        {"address range",
         [&] {
             return send(256, {1, 2});
         }},
        {"length",
         [&] {
             return send(10, {1, 2, 3});
         }},
        {"mode",
         [&] {
             return send(10, {1, 2}, 1);
         }},
        {"segment", [&] { return receive(20, 3, 3).empty() ? -1 : 0; }},
        {"no bytes", [&] { return rt_dev_ioctl(descriptor, 57354, &empty); }},
        {"no data", [&] { return rt_dev_ioctl(descriptor, 57355, &noData); }},
        {"no record", [&] { return rt_dev_ioctl(descriptor, 57354, 0); }},
        {"no list", [&] { return rt_dev_ioctl(descriptor, 57356, 0); }},
        {"list operation", [&] { return rt_dev_ioctl(descriptor, 57356, badOperation); }},
        {"list delay", [&] { return rt_dev_ioctl(descriptor, 57356, badDelay); }},
        {"select", [&] { return rt_dev_ioctl(descriptor, 57352, 11); }},
        {"divider 0", [&] { return rt_dev_ioctl(descriptor, 57384, 0); }},
        {"divider", [&] { return rt_dev_ioctl(descriptor, 57384, 256); }},
        {"delay", [&] { return rt_dev_ioctl(descriptor, 57385, 256); }},
        {"pulse", [&] { return rt_dev_ioctl(descriptor, 57361, 2); }},
        {"pin", [&] { return rt_dev_ioctl(descriptor, 57364, &word); }},
        {"pin value", [&] { return rt_dev_ioctl(descriptor, 57365, 0); }},
        {"request", [&] { return rt_dev_ioctl(descriptor, 57360, 0); }},
    };
    uint64_t expected = 0;
    for (const auto& [what, call] : cases) {
        EXPECT_LT(call(), 0) << what;
        EXPECT_EQ(bus.faults(), ++expected) << what;
    }
    EXPECT_NE(bus.faultTexts().find("nobody at address 11, segment 0 (send of 2 bytes)\n"), std::string::npos);
    EXPECT_EQ(bus.transfers(), 0u);
}

TEST_F(SpiBusTest, SettingsAndPins) {
    EXPECT_EQ(rt_dev_ioctl(descriptor, 57384, 40), 0);
    EXPECT_EQ(rt_dev_ioctl(descriptor, 57385, 255), 0);
    EXPECT_EQ(rt_dev_ioctl(descriptor, 57361, 3), 0);
    EXPECT_EQ(bus.bitrateDivider(), 40u);
    EXPECT_EQ(bus.selectDelay(), 255u);
    EXPECT_EQ(bus.triggerPulse(), 3u);
    uint32_t level = 9;
    EXPECT_EQ(rt_dev_ioctl(descriptor, 57367, &level), 0);
    EXPECT_EQ(level, 0u);
    bus.setPin(57367, 1);
    bus.setPinSource(57363, [count = 5u]() mutable { return count++; });
    for (const auto& [request, expected] :
         {std::pair{57367u, 1u}, {57363u, 5u}, {57363u, 6u}, {57365u, 0u}, {57366u, 0u}}) {
        EXPECT_EQ(rt_dev_ioctl(descriptor, request, &level), 0);
        EXPECT_EQ(level, expected) << request;
    }
    EXPECT_EQ(bus.faults(), 0u) << bus.faultTexts();
}

TEST_F(SpiBusTest, AHeldSelectSpansTransfers) {
    EXPECT_EQ(rt_dev_ioctl(descriptor, 57352, 10), 0);
    send(10, {1, 2});
    send(10, {3, 4});
    send(20, {1, 2, 3});
    EXPECT_EQ(rt_dev_ioctl(descriptor, 57352, 20), 0);
    EXPECT_EQ(two.log, "Swws") << "one select line at a time";
    EXPECT_EQ(rt_dev_ioctl(descriptor, 57353), 0);
    EXPECT_EQ(alsoThree.log, "SwsSs");
}

TEST_F(SpiBusTest, AListIsWalkedToItsEndOrItsFirstFault) {
    const uint64_t start = clock_now();
    const uint32_t list[] = {10,  2, 0, 0xFFFF0201, // padded
                             257, 0, 0,             // update
                             259, 4, 0, 3000,       // microseconds
                             20,  3, 0, 0xFF070605, //
                             258, 0, 0,             // triggered update
                             256, 1, 1, 1};
    EXPECT_EQ(rt_dev_ioctl(descriptor, 57356, list), 0);
    EXPECT_EQ(two.content, (Bytes{1, 2}));
    EXPECT_EQ(two.log, "SwsuU");
    EXPECT_EQ(alsoThree.content, (Bytes{5, 6, 7}));
    EXPECT_EQ(alsoThree.log, "uSwsU");
    EXPECT_EQ(clock_now() - start, 2 * 20'000u + 3'000'000u);
    EXPECT_EQ(rt_dev_ioctl(descriptor, 57358, 1), 0);
    EXPECT_EQ(three.log, "uUU") << "every chip has the line";

    const uint32_t broken[] = {10, 2, 0, 0x0403, 99, 1, 0, 0, 10, 2, 0, 0x0605, 256};
    EXPECT_LT(rt_dev_ioctl(descriptor, 57356, broken), 0);
    EXPECT_EQ(two.content, (Bytes{3, 4}));
    EXPECT_EQ(bus.faults(), 1u);
}

TEST_F(SpiBusTest, AnInterceptedTransferFailsWithoutAFault) {
    bus.failTransfers(1, 2);
    EXPECT_EQ(send(10, {1, 1}), 0);
    EXPECT_LT(send(10, {2, 2}), 0);
    EXPECT_TRUE(receive(10, 0, 2).empty());
    EXPECT_EQ(two.content, (Bytes{1, 1}));
    EXPECT_EQ(send(10, {3, 3}), 0);
    bus.intercept([](const SpiTransfer& transfer) { return transfer.read || transfer.frame[0] != 7; });
    EXPECT_LT(send(10, {7, 0}), 0);
    EXPECT_EQ(send(10, {8, 0}), 0);
    bus.intercept({});
    EXPECT_EQ(send(10, {7, 0}), 0);
    EXPECT_EQ(bus.faults(), 0u) << bus.faultTexts();
}

} // namespace
