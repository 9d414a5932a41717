#include "platform/rt.h"
#include "virtual/acquisition/sample_stream.h"
#include "virtual/platform/clock.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <numeric>
#include <thread>

using namespace vi;

namespace {

constexpr uint32_t validBytes = 0xE001, stop = 0xE004, timeout = 0xE005;
constexpr uint64_t ms = 1'000'000;

class SampleStreamTest : public ::testing::Test {
protected:
    SampleStream stream;
    int fd = -1;

    SampleStreamTest() { rtdm_register(sampleStream_deviceName, &stream); }
    ~SampleStreamTest() override { rtdm_unregister(&stream); }

    void listen(uint32_t bytes, uint32_t timeout_us) {
        fd = rt_dev_open(sampleStream_deviceName, O_RDWR);
        ASSERT_GT(fd, 0);
        const std::string text = std::to_string(bytes) + ",0,2,1\n";
        EXPECT_EQ(rt_dev_write(fd, text.data(), text.size()), static_cast<long>(text.size()));
        EXPECT_EQ(rt_dev_ioctl(fd, timeout, uintptr_t{timeout_us}), 0);
        EXPECT_EQ(read(nullptr, 0), 0);
    }
    long read(void* data, size_t bytes) const {
        rt_task_shadow(nullptr, nullptr, 0, rt_taskJoinable);
        rt_task_set_mode(0, rt_modePrimary, nullptr);
        const long result = rt_dev_read(fd, data, bytes);
        rt_task_set_mode(rt_modePrimary, 0, nullptr);
        return result;
    }
    /// A block that counts its bytes, `delay_ns` from now.
    static StreamBlock counting(uint32_t bytes, uint64_t delay_ns = 0, double bytesPerSecond = 0) {
        return {bytes, clock_now() + delay_ns, bytesPerSecond, [](uint32_t offset, std::span<uint8_t> out) {
                    std::iota(out.begin(), out.end(), static_cast<uint8_t>(offset));
                }};
    }
};

} // namespace

TEST_F(SampleStreamTest, ReadsTakeTheTimeThatTheBlockTakes) {
    listen(3 * 4096, 60'000'000);
    const uint64_t start = clock_now();
    ASSERT_TRUE(stream.send(counting(3 * 4096, 5 * ms, 4096e3))); // a segment a millisecond
    std::vector<uint8_t> got(3 * 4096);
    for (uint64_t segment = 1; segment <= 3; ++segment) {
        EXPECT_EQ(read(got.data() + (segment - 1) * 4096, got.size()), 4096);
        EXPECT_EQ(clock_now() - start, 5 * ms + segment * ms);
    }
    std::vector<uint8_t> expected(got.size());
    std::iota(expected.begin(), expected.end(), uint8_t{0});
    EXPECT_EQ(got, expected);
    clock_spend(ms);
    EXPECT_EQ(read(got.data(), got.size()), 0) << "the end is known at once";
    EXPECT_EQ(clock_now() - start, 9 * ms);
}

TEST_F(SampleStreamTest, WhatDoesNotComeInTimeTimesOut) {
    const struct {
        const char* name;
        StreamFaults faults;
        std::vector<long> reads;
    } cases[] = {
        {"late", {.delay_ns = 3 * ms}, {-ETIMEDOUT, 100, 0}},
        {"cut", {.cutAfter_bytes = 60}, {60, -ETIMEDOUT}},
        {"lost", {.lost = true}, {-ETIMEDOUT}},
        {"the next one", {.pass = 1}, {100, 0}},
    };
    std::vector<uint8_t> got(100);
    for (const auto& [name, faults, reads] : cases) {
        stream.spoil(faults);
        listen(100, 2000);
        ASSERT_TRUE(stream.send(counting(100)));
        for (const long expected : reads) {
            const uint64_t start = clock_now();
            EXPECT_EQ(read(got.data(), got.size()), expected) << name;
            if (expected < 0) {
                EXPECT_EQ(clock_now() - start, 2 * ms) << name;
            }
        }
        rt_dev_close(fd);
    }
    EXPECT_EQ(stream.refusals(), 0u) << stream.refusalTexts();
}

TEST_F(SampleStreamTest, AStopWakesAReaderAndHoldsUntilTheDeviceIsOpenedAgain) {
    listen(100, 0);
    std::thread stopper([&] { EXPECT_EQ(rt_dev_ioctl(fd, stop), 0); });
    uint8_t byte;
    EXPECT_EQ(read(&byte, 1), 0);
    stopper.join();
    ASSERT_TRUE(stream.send(counting(100)));
    EXPECT_EQ(read(&byte, 1), 0) << "latched";
    rt_dev_close(fd);
    listen(100, 1000);
    ASSERT_TRUE(stream.send(counting(100)));
    EXPECT_EQ(read(&byte, 1), 1);
}

TEST_F(SampleStreamTest, WhatTheDriverWouldNotKnowIsRefusedAndCounted) {
    uint8_t room[64];
    uint64_t expected = 0;
    const auto refused = [&](long result) {
        EXPECT_LT(result, 0) << expected;
        EXPECT_EQ(stream.refusals(), ++expected) << stream.refusalTexts();
    };
    const auto configured = [&](std::string_view text) { return rt_dev_write(fd, text.data(), text.size()); };
    EXPECT_FALSE(stream.send(counting(64)));
    EXPECT_EQ(stream.refusals(), ++expected) << "nobody listens";
    refused(rt_dev_open(sampleStream_deviceName, O_RDONLY));
    fd = rt_dev_open(sampleStream_deviceName, O_RDWR);
    refused(rt_dev_open(sampleStream_deviceName, O_RDWR));
    for (const char* text : {"64,0,2,1", "66,0,2,1\n", "-4,0,2,1\n", "99999999,0,2,1\n"})
        refused(configured(text));
    refused(read(nullptr, 0)); // not configured
    EXPECT_EQ(configured("64,0,2,1\n"), 9);
    refused(configured("64,0,2,1\n"));
    refused(read(room, sizeof room)); // not armed
    EXPECT_EQ(read(nullptr, 0), 0);
    refused(rt_dev_read(fd, room, sizeof room)); // in secondary mode
    refused(rt_dev_ioctl(fd, 0xE002));
    refused(rt_dev_ioctl(fd, validBytes));
    EXPECT_TRUE(stream.send(counting(32)));
    EXPECT_EQ(stream.refusals(), ++expected) << "not the length that is waited for";
    EXPECT_FALSE(stream.send(counting(64)));
    EXPECT_EQ(stream.refusals(), ++expected) << "one at a time";
}
