#include "platform/nodes.h"
#include "platform/rt.h"
#include "platform/tvko.h"
#include "virtual/bus/spi_bus.h"
#include "virtual/platform/clock.h"
#include "virtual/platform/rt_tasks.h"
#include "virtual/platform/rtdm.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <thread>

using namespace vi;

namespace {

TEST(Rtdm, DevicesAnswerByNameThroughDescriptors) {
    struct Counter final : RtDevice {
        int openings = 0;
        int open(int flags) override { return flags != 0 ? -EBUSY : ++openings; }
        void close() override { --openings; }
    } first, second;
    rtdm_register("first", &first);
    rtdm_register("second", &second);
    rtdm_register("/dev/first", &first);
    EXPECT_EQ(rt_dev_open("third", 0), -ENODEV);
    EXPECT_EQ(rt_dev_open("/dev/first", 0), -ENODEV) << "a node is no device of the co-kernel";
    EXPECT_EQ(node_open("first", 0), -ENOENT) << "nor the other way round";
    const int node = node_open("/dev/first", 0);
    EXPECT_EQ(node_waitInput(node, 0), -ENOSYS) << "nothing to read";
    EXPECT_EQ(node_close(node), 0);
    EXPECT_EQ(rt_dev_open("first", 1), -EBUSY);
    const int a = rt_dev_open("first", 0), b = rt_dev_open("second", 0);
    ASSERT_GT(a, 2);
    EXPECT_EQ(rt_dev_ioctl(a, 1, 0), -ENOTTY) << "what the device does not know";
    rtdm_unregister(&second); // takes its descriptors along
    EXPECT_EQ(rt_dev_close(a), 0);
    EXPECT_EQ(first.openings, 0);
    for (const int gone : {a, b, -1, 100'000}) {
        char room = 0;
        EXPECT_EQ(rt_dev_close(gone), -EBADF);
        EXPECT_EQ(rt_dev_read(gone, &room, 1), -EBADF);
        EXPECT_EQ(rt_dev_write(gone, &room, 1), -EBADF);
        EXPECT_EQ(rt_dev_ioctl(gone, 0xE004, 0), -EBADF);
    }
    rtdm_unregister(&first);
}

TEST(RtTask, PrimaryModeAndEventsAreForTasks) {
    RT_EVENT event, never{};
    ASSERT_EQ(rt_event_create(&event, nullptr, 0, 0), 0);
    EXPECT_EQ(rt_event_signal(&never, 1), -EINVAL);
    std::thread([&] {
        EXPECT_EQ(rt_event_wait(&event, 1, nullptr, 0, rt_infinite), -EPERM);
        EXPECT_EQ(rt_task_set_mode(0, 0x40200, nullptr), -EPERM);
        EXPECT_EQ(rt_task_shadow(nullptr, nullptr, 0, 0x400), 0);
        EXPECT_LT(rt_task_shadow(nullptr, nullptr, 0, 0x400), 0) << "already one";
        int previous = 0;
        EXPECT_EQ(rt_task_set_mode(0, 0x40200, nullptr), 0);
        EXPECT_EQ(rt_task_set_mode(0x40200, 0, &previous), 0);
        EXPECT_EQ(previous, 0x40200);
        EXPECT_FALSE(rtTask_inPrimaryMode());
        EXPECT_EQ(rt_task_set_mode(0, 1, nullptr), -EINVAL);

        unsigned long found = 0;
        rt_event_signal(&event, 1);
        EXPECT_EQ(rt_event_wait(&event, 3, &found, 0, 1000), -ETIMEDOUT) << "all bits are waited for";
        EXPECT_EQ(found, 1u);
        EXPECT_EQ(rt_event_wait(&event, 1, nullptr, 0, 1000), 0) << "a wait takes nothing away";
    }).join();
}

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
        std::copy(content.begin(), content.end(), frame.begin());
        log += 'r';
        return true;
    }
    void select(bool active) override { log += active ? 'S' : 's'; }
    void ioUpdate(uint32_t trigger) override { log += trigger != 0 ? 'U' : 'u'; }
};

using Bytes = std::vector<uint8_t>;

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

    template <class Argument> int request(uint32_t number, Argument argument) {
        return rt_dev_ioctl(descriptor, number, argument);
    }
    int send(uint32_t address, Bytes frame, uint32_t mode = 0) {
        tvko_transfer record{address, static_cast<uint32_t>(frame.size()), mode, 0, frame.data()};
        return request(tvko_send, &record);
    }
    Bytes receive(uint32_t address, uint32_t board, size_t length) {
        Bytes frame(length);
        tvko_transfer record{address, static_cast<uint32_t>(length), 0, board, frame.data()};
        return request(tvko_receive, &record) == 0 ? frame : Bytes{};
    }

    SpiBus bus;
    Register two{2}, three{3}, alsoThree{3};
    int descriptor = -1;
};

TEST_F(SpiBusTest, TransfersFindTheChipAndItsSegmentAndTakeTheirTime) {
    const uint64_t start = clock_now();
    EXPECT_EQ(send(10, {1, 2}), 0);
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
    uint8_t data[3] = {};
    const auto place = [](const auto& record) { return reinterpret_cast<uintptr_t>(&record); };
    const tvko_transfer nobody{11, 2, 0, 0, data}, beyond{256, 2, 0, 0, data}, length{10, 3, 0, 0, data},
        mode{10, 2, 1, 0, data}, segment{20, 3, 0, 3, data}, empty{10, 0, 0, 0, data}, noData{10, 2, 0, 0, nullptr};
    const uint32_t badOperation[] = {300, 0, 0, 256}, badDelay[] = {259, 2, 0, 0, 256};
    const struct {
        uint32_t request;
        uintptr_t argument;
    } cases[] = {
        {tvko_send, place(nobody)},
        {tvko_send, place(beyond)},
        {tvko_send, place(length)},
        {tvko_send, place(mode)},
        {tvko_receive, place(segment)},
        {tvko_send, place(empty)},
        {tvko_receive, place(noData)},
        {tvko_send, 0},
        {tvko_sendList, 0},
        {tvko_sendList, place(badOperation)},
        {tvko_sendList, place(badDelay)},
        {tvko_selectChip, 11},
        {tvko_setBitrateDivider, 0},
        {tvko_setBitrateDivider, 256},
        {tvko_triggerPulse, 2},
        {tvko_pinStatus, 0},
        {57360, 0},
    };
    uint64_t expected = 0;
    for (const auto& [number, argument] : cases) {
        EXPECT_LT(request(number, argument), 0) << expected;
        EXPECT_EQ(bus.faults(), ++expected);
    }
    EXPECT_NE(bus.faultTexts().find("nobody at address 11, segment 0 (send of 2 bytes)\n"), std::string::npos);
    EXPECT_EQ(bus.transfers(), 0u);
}

TEST_F(SpiBusTest, AHeldSelectSpansTransfers) {
    EXPECT_EQ(request(tvko_selectChip, 10), 0);
    send(10, {1, 2});
    send(10, {3, 4});
    uint8_t toTheOther[] = {1, 2, 3};
    tvko_transfer other{20, sizeof toTheOther, 0, 0, toTheOther};
    EXPECT_LT(request(tvko_send, reinterpret_cast<uintptr_t>(&other)), 0) << "both would take it";
    EXPECT_EQ(bus.faults(), 1u);
    EXPECT_EQ(request(tvko_selectChip, 20), 0);
    EXPECT_EQ(two.log, "Swws") << "one select line at a time";
    EXPECT_EQ(request(tvko_deselectChip, 0), 0);
    EXPECT_EQ(alsoThree.log, "Ss");
    send(20, {1, 2, 3});
    EXPECT_EQ(alsoThree.log, "SsSws");
}

TEST_F(SpiBusTest, AListIsWalkedToItsEndOrItsFirstFault) {
    const uint64_t start = clock_now();
    const uint32_t list[] = {10,  2, 0, 0xFFFF0201, // padded
                             257, 0, 0,             // update
                             259, 4, 0, 3000,       // microseconds
                             20,  3, 0, 0xFF070605, //
                             258, 0, 0,             // triggered update
                             256, 1, 1, 1};
    EXPECT_EQ(request(tvko_sendList, list), 0);
    EXPECT_EQ(two.content, (Bytes{1, 2}));
    EXPECT_EQ(two.log, "SwsuU");
    EXPECT_EQ(alsoThree.content, (Bytes{5, 6, 7}));
    EXPECT_EQ(alsoThree.log, "uSwsU");
    EXPECT_EQ(clock_now() - start, 2 * 20'000u + 3'000'000u);

    const uint32_t broken[] = {10, 2, 0, 0x0403, 99, 1, 0, 0, 10, 2, 0, 0x0605, 256};
    EXPECT_LT(request(tvko_sendList, broken), 0);
    EXPECT_EQ(two.content, (Bytes{3, 4}));
    EXPECT_EQ(bus.faults(), 1u);
}

} // namespace
