#include "base/tvdebug.h"
#include "core/abstime.h"
#include "core/numbers.h"
#include "core/terminal_plot.h"
#include "core/thread.h"
#include "core/tv_event.h"
#include "core/tvmem.h"
#include "platform/rt.h"

#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <utility>

namespace {

// A co-kernel whose time stands in the test's hands.
struct FakeClock {
    RTIME now = 0;         // ns
    RTIME stepPerRead = 0; // ns that each reading takes
    bool realTimeTask = true;
} fakeClock;

constexpr RTIME ms = 1'000'000;

} // namespace

RTIME rt_timer_read() {
    return fakeClock.now += fakeClock.stepPerRead;
}

int rt_task_sleep_until(RTIME date) {
    if (!fakeClock.realTimeTask)
        return -1;
    fakeClock.now = std::max(fakeClock.now, date);
    return 0;
}

namespace {

TEST(Pool, GivesTheLastByteAndThenNothing) {
    auto* first = static_cast<char*>(tvmemAlloc(1000));
    EXPECT_EQ(tvmemAlloc(-1), nullptr);
    EXPECT_EQ(tvmemAlloc(tvmemBufferSize - 1000 + 1), nullptr) << "one more than is left";
    auto* rest = tvmemAlloc(tvmemBufferSize - 1000);
    ASSERT_EQ(rest, first + 1000);
    memset(first, 1, tvmemBufferSize); // all of it is there
    tvmemFree(rest);
    EXPECT_EQ(tvmemAlloc(1), nullptr);
}

TEST(AbsoluteTime, IsSetFromNowAndRaisedOnlyUpwards) {
    fakeClock = {.now = 5 * ms};
    tv_abstime time = 0;
    tv_abstime_setnew(&time, 3);
    EXPECT_EQ(time, 5 * ms + 3000);
    tv_abstime_setmin(&time, 2);
    EXPECT_EQ(time, 5 * ms + 3000) << "later than asked for: stays";
    tv_abstime_setmin(&time, 4);
    EXPECT_EQ(time, 5 * ms + 4000);
    fakeClock.now = 7'654'321;
    EXPECT_EQ(tv_abstime_us(), 7'654u);
    EXPECT_EQ(tv_abstime_ms(), 7u);
    tv_tic();
    tvstuff_delay_us(60'000'000); // passes inside the co-kernel
    EXPECT_EQ(tv_toc(), 60'000'000u);
}

TEST(AbsoluteTime, AnOrdinaryThreadWaitsForTheCoKernelsTimerNotForItsOwn) {
    // The timer moves only when it is read: one sleep of the ordinary clock is never enough.
    fakeClock = {.now = 0, .stepPerRead = ms / 10, .realTimeTask = false};
    tv_abstime_wait(ms);
    EXPECT_EQ(fakeClock.now, ms);
    tv_abstime_wait(ms / 2); // long past
    EXPECT_EQ(fakeClock.now, ms + ms / 10);
}

TEST(Event, ReachesAThreadWithTheStackThatTheHostNeedsAndKeepsOneSignal) {
    tv_event event;
    pthread_t thread;
    const auto waiter = [](void* argument) -> void* {
        volatile char frame[200 * 1024];
        for (size_t i = 0; i < sizeof frame; i += 1024)
            frame[i] = 0;
        tv_event_wait(static_cast<tv_event*>(argument));
        return nullptr;
    };
    ASSERT_EQ(tvstuffPthreadCreate(&thread, waiter, &event, 1), 0);
    tv_event_signal(&event);
    pthread_join(thread, nullptr);
    tv_event_signal(&event);
    tv_event_signal(&event);
    tv_event_wait(&event);
    MutexLock lock(event.mutex);
    EXPECT_FALSE(event.signalled) << "two signals, one wake-up";
}

TEST(Numbers, ASeedStartsTheSameNormalDeviates) {
    const auto four = [](uint32_t seed) {
        tvstuff_seedRandom(seed);
        return std::array{tvstuff_randn(0, 1), tvstuff_randn(0, 1), tvstuff_randn(0, 1), tvstuff_randn(0, 1)};
    };
    const auto first = four(7);
    (void)tvstuff_randn(0, 1); // leaves one of a pair behind
    EXPECT_EQ(four(7), first);
    EXPECT_NE(four(8), first);

    tvstuff_seedRandom(1);
    constexpr int draws = 200'000;
    std::array<double, 4> sums{}; // of x, its square, its fourth power, and x times the one before
    for (double i = 0, last = 0; i < draws; ++i) {
        const double x = (tvstuff_randn(3.0f, 2.0f) - 3.0) / 2.0;
        const double terms[] = {x, x * x, x * x * x * x, x * std::exchange(last, x)};
        for (size_t k = 0; k < sums.size(); ++k)
            sums[k] += terms[k];
    }
    const double means[] = {0, 1, 3, 0}, variances[] = {1, 2, 96, 1};
    for (size_t k = 0; k < sums.size(); ++k)
        EXPECT_NEAR(sums[k] / draws, means[k], 4 * std::sqrt(variances[k] / draws)) << k;
}

TEST(Numbers, RandomIntegersFillTheClosedRangeEvenly) {
    tvstuff_seedRandom(1);
    for (const auto& [low, high] : {std::pair{-3, 3}, {INT32_MIN, INT32_MAX}}) {
        std::array<int, 7> hits{};
        for (int i = 0; i < 70'000; ++i) {
            const int32_t n = tvstuff_getRandomNumber(low, high);
            ASSERT_TRUE(n >= low && n <= high) << n;
            ++hits[static_cast<size_t>((int64_t{n} - low) * 7 / (int64_t{high} - low + 1))];
        }
        for (const int count : hits)
            EXPECT_NEAR(count, 10'000, 400);
    }
}

TEST(Numbers, AResistanceGoesToTheNearestTap) {
    const std::pair<double, int32_t> cases[] = {
        {-1e300, 538},      {659.9, 538},       {660.1, 782},        {10'000, 10'054}, {250'150, 250'150},
        {250'271, 250'150}, {250'273, 249'906}, {INFINITY, 249'906}, {NAN, 538},
    };
    for (const auto& [ohm, rounded] : cases)
        EXPECT_EQ(roundResistance(ohm), rounded) << ohm;
}

TEST(Plot, RisesFromCornerToCornerAndSurvivesWhatCannotBeDrawn) {
    constexpr double most = std::numeric_limits<double>::max();
    const double ramp[] = {-most, -most / 2, NAN, most / 2, most}, holes[] = {NAN, NAN, NAN, NAN, NAN};
    testing::internal::CaptureStdout();
    tvdebug_enable();
    tvstuff_plotDouble(holes, 5); // nothing
    tvstuff_plotDouble(ramp, 0);  // nothing
    tvstuff_plotDouble2(ramp, holes, 5);
    tvdebug_disable();
    fflush(stdout);
    const std::string text = testing::internal::GetCapturedStdout();
    const size_t line = text.find('\n') + 1;
    ASSERT_EQ(text.find("5 values from -1.79769e+308 to 1.79769e+308\n"), 22 * line) << text;
    EXPECT_EQ(text.substr(line, line).find('*'), 63u) << text;
    EXPECT_EQ(text.substr(20 * line, 2), "|*") << text;
}

} // namespace
