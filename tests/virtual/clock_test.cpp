#include "platform/rt.h"
#include "virtual/platform/clock.h"

#include <chrono>
#include <gtest/gtest.h>
#include <thread>
#include <utility>
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

TEST(Clock, IdleTimePassesAsOnTheWallAndTimeOfWorkDoesNot) {
    using Wall = std::chrono::steady_clock;
    constexpr std::chrono::milliseconds nap{20};
    const RTIME start = rt_timer_read();
    RTIME last = start;
    const auto passed = [&] {
        const RTIME before = std::exchange(last, rt_timer_read());
        return std::chrono::nanoseconds(last - before);
    };
    const auto begin = Wall::now();
    const auto idle = [&](bool is) {
        clock_tellIdle(is);
        std::this_thread::sleep_for(nap);
    };
    std::this_thread::sleep_for(nap);
    EXPECT_EQ(passed().count(), 0) << "nobody told";
    idle(true);
    EXPECT_GE(passed(), nap) << "work begins";
    std::this_thread::sleep_for(nap);
    EXPECT_EQ(passed().count(), 0) << "it goes on";
    clock_tellIdle(true); // it was over soon
    EXPECT_GE(passed(), nap);
    idle(true);
    clock_tellIdle(true);
    EXPECT_GE(passed(), nap) << "nobody looked at the clock";
    idle(false);
    clock_tellIdle(true);
    EXPECT_LT(passed(), nap) << "work of before";
    clock_tellIdle(false);
    EXPECT_LE(std::chrono::nanoseconds(rt_timer_read() - start), Wall::now() - begin);
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
