#include "platform/rt.h"
#include "virtual/platform/clock.h"

#include <gtest/gtest.h>
#include <thread>
#include <vector>

using namespace vi;

TEST(Clock, WhatSeveralThreadsSpendAddsUpAndNoneSeesTimeGoBack) {
    constexpr int threads = 4, steps = 20000;
    RTIME start = rt_timer_read();
    EXPECT_EQ(rt_timer_read(), start) << "reading costs nothing";
    start += 3'600'000'000'000;
    EXPECT_EQ(rt_task_sleep_until(start), 0) << "at once";
    std::vector<std::thread> spenders;
    for (int i = 0; i < threads; ++i)
        spenders.emplace_back([] {
            RTIME last = rt_timer_read();
            for (int step = 0; step < steps; ++step) {
                clock_spend(7);
                rt_task_sleep_until(last + 3);
                const RTIME now = rt_timer_read();
                ASSERT_GE(now, last + 7);
                last = now;
            }
        });
    for (std::thread& spender : spenders)
        spender.join();
    EXPECT_EQ(rt_timer_read(), start + RTIME(threads) * steps * 7);
}

TEST(Clock, RealTimeModeFollowsTheHostAndLeavesSleepingToTheCaller) {
    clock_spend(uint64_t(1) << 62); // far ahead of the host's clock
    const RTIME before = rt_timer_read();
    clock_setMode(TimeMode::realTime);
    const RTIME switched = rt_timer_read(), hourLater = switched + 3'600'000'000'000;
    EXPECT_GE(switched, before);
    EXPECT_EQ(rt_task_sleep_until(hourLater), -1);
    clock_spend(3'600'000'000'000);
    RTIME later = switched;
    while (later == switched)
        later = rt_timer_read();
    EXPECT_LT(later, hourLater);
    clock_setMode(TimeMode::fast);
    EXPECT_GE(rt_timer_read(), later);
}
