#include "core/abstime.h"
#include "core/numbers.h"
#include "core/terminal_plot.h"
#include "core/thread.h"
#include "core/tv_event.h"
#include "core/tvdebug.h"
#include "core/tvmem.h"
#include "platform/rt.h"

#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

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
    auto* second = static_cast<char*>(tvmemAlloc(24));
    EXPECT_EQ(second, first + 1000);
    EXPECT_EQ(tvmemAlloc(-1), nullptr);
    EXPECT_EQ(tvmemAlloc(tvmemBufferSize - 1024 + 1), nullptr) << "one more than is left";
    auto* rest = static_cast<char*>(tvmemAlloc(tvmemBufferSize - 1024));
    ASSERT_EQ(rest, second + 24);
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
    EXPECT_EQ(tv_abstime_now(), 7'654'321u);
    EXPECT_EQ(tv_abstime_us(), 7'654u);
    EXPECT_EQ(tv_abstime_ms(), 7u);
}

TEST(AbsoluteTime, ADelayOfMinutesPassesInsideTheCoKernel) {
    fakeClock = {};
    tv_tic();
    tvstuff_delay_us(60'000'000);
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

TEST(Event, KeepsOneSignalForTheNextWait) {
    tv_event event;
    tv_event_init(&event);
    tv_event_signal(&event);
    tv_event_signal(&event);
    tv_event_wait(&event);
    MutexLock lock(event.mutex);
    EXPECT_FALSE(event.signalled) << "two signals, one wake-up";
}

TEST(Event, CarriesEveryHandOverBetweenTwoThreads) {
    struct Pair {
        tv_event ping, pong;
        int count = 0;
    } pair;
    constexpr int rounds = 1000;
    pthread_t thread;
    const auto echo = [](void* argument) -> void* {
        auto* p = static_cast<Pair*>(argument);
        for (int i = 0; i < rounds; ++i) {
            tv_event_wait(&p->ping);
            ++p->count;
            tv_event_signal(&p->pong);
        }
        return nullptr;
    };
    ASSERT_EQ(tvstuffPthreadCreate(&thread, echo, &pair, 16384), 0);
    for (int i = 1; i <= rounds; ++i) {
        tv_event_signal(&pair.ping);
        tv_event_wait(&pair.pong);
        ASSERT_EQ(pair.count, i);
    }
    pthread_join(thread, nullptr);
}

TEST(Thread, GetsTheStackThatTheHostNeeds) {
    const auto useStack = [](void* result) -> void* {
        std::array<char, 200 * 1024> frame;
        for (size_t i = 0; i < frame.size(); i += 1024)
            const_cast<volatile char&>(frame[i]) = 7;
        *static_cast<char*>(result) = const_cast<volatile char&>(frame[1024]);
        return nullptr;
    };
    char result = 0;
    pthread_t thread;
    ASSERT_EQ(tvstuffPthreadCreate(&thread, useStack, &result, 1), 0);
    pthread_join(thread, nullptr);
    EXPECT_EQ(result, 7);
}

TEST(Numbers, TheDeviatesAreNormal) {
    srand(1);
    constexpr int draws = 200'000;
    double sum = 0, squares = 0, fourth = 0, neighbours = 0, last = 0;
    for (int i = 0; i < draws; ++i) {
        const double x = (tvstuff_randn(3.0f, 2.0f) - 3.0) / 2.0;
        sum += x;
        squares += x * x;
        fourth += x * x * x * x;
        neighbours += x * last;
        last = x;
    }
    const double sigma = 1 / std::sqrt(double{draws}); // of the mean
    EXPECT_NEAR(sum / draws, 0, 4 * sigma);
    EXPECT_NEAR(squares / draws, 1, 4 * sigma * std::sqrt(2.0));
    EXPECT_NEAR(fourth / draws, 3, 4 * sigma * std::sqrt(96.0));
    EXPECT_NEAR(neighbours / draws, 0, 4 * sigma) << "the two of a pair are independent";
}

TEST(Numbers, RandomIntegersFillTheClosedRangeEvenly) {
    srand(1);
    std::array<int, 7> hits{};
    for (int i = 0; i < 70'000; ++i) {
        const int32_t n = tvstuff_getRandomNumber(-3, 3);
        ASSERT_TRUE(n >= -3 && n <= 3) << n;
        ++hits[static_cast<size_t>(n + 3)];
    }
    for (const int count : hits)
        EXPECT_NEAR(count, 10'000, 400);
    EXPECT_EQ(tvstuff_getRandomNumber(5, 5), 5);
    bool below = false, above = false;
    for (int i = 0; i < 64; ++i) {
        const int32_t n = tvstuff_getRandomNumber(INT32_MIN, INT32_MAX);
        below |= n < INT32_MIN / 2;
        above |= n > INT32_MAX / 2;
    }
    EXPECT_TRUE(below && above);
}

TEST(Numbers, AResistanceGoesToTheNearestTap) {
    const struct {
        double ohm;
        int32_t rounded;
    } cases[] = {
        {0, 538},           {-1e300, 538},        {538, 538},          {659.9, 538},
        {660.1, 782},       {10'000, 10'054},     {250'150, 250'150},  {250'271, 250'150},
        {250'273, 249'906}, {1'000'000, 249'906}, {INFINITY, 249'906}, {NAN, 538},
    };
    for (const auto& [ohm, rounded] : cases)
        EXPECT_EQ(roundResistance(ohm), rounded) << ohm;
}

std::vector<std::string> printedLines(void (*print)()) {
    testing::internal::CaptureStdout();
    tvdebug_enable();
    print();
    tvdebug_disable();
    fflush(stdout);
    std::istringstream text(testing::internal::GetCapturedStdout());
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);)
        lines.push_back(line);
    return lines;
}

TEST(Plot, ARampRisesFromCornerToCorner) {
    const auto lines = printedLines([] {
        std::array<uint16_t, 500> ramp;
        for (size_t i = 0; i < ramp.size(); ++i)
            ramp[i] = static_cast<uint16_t>(i * 131);
        tvstuff_plotADC(ramp.data(), static_cast<int>(ramp.size()));
    });
    ASSERT_GT(lines.size(), 4u);
    const size_t width = lines[0].size();
    const size_t bottom = lines.size() - 3; // frame and legend below
    EXPECT_EQ(lines[1][width - 2], '*');
    EXPECT_EQ(lines[bottom][1], '*');
    EXPECT_EQ(lines[1][1], ' ');
    for (size_t i = 0; i <= bottom + 1; ++i)
        EXPECT_EQ(lines[i].size(), width) << i;
}

TEST(Plot, SurvivesWhatCannotBeDrawn) {
    const auto lines = printedLines([] {
        constexpr double nan = std::numeric_limits<double>::quiet_NaN();
        constexpr double most = std::numeric_limits<double>::max();
        const std::array<double, 3> holes{nan, nan, nan}, extremes{-most, nan, most}, flat{1, 1, 1};
        tvstuff_plotDouble(holes.data(), 3); // nothing
        tvstuff_plotDouble(flat.data(), 0);  // nothing
        tvstuff_plotDouble2(extremes.data(), flat.data(), 3);
    });
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(), "3 values from -1.79769e+308 to 1.79769e+308");
}

} // namespace
