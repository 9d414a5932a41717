#include "base/error_codes.h"
#include "fake_instrument.h"

#include <algorithm>
#include <cmath>
#include <future>
#include <thread>

namespace {

using WaitTest = MeasureTest;

bool previewPending() {
    MutexLock lock(meas_data.resultMutex);
    return meas_data.previewTrigger != 0;
}

/// What a client's thread does; ends with its result.
using Waiter = std::future<int>;
template <class... Arguments> Waiter onThread(int (*function)(Device*, Arguments...), Arguments... arguments) {
    return std::async(std::launch::async, function, device, arguments...);
}

/// A preliminary wait whose request stands when this returns.
Waiter preliminaryWaiter(int average) {
    Waiter waiter = onThread(pn_measure_waitForMeasurement, 0, average);
    for (bool pending = false; !pending; std::this_thread::yield()) {
        MutexLock lock(meas_data.resultMutex);
        pending = meas_data.previewTrigger != 0 && meas_data.previewTarget == average;
    }
    return waiter;
}

} // namespace

TEST_F(WaitTest, WhatThePreparationFailedInIsToldOnceAndIsRepeated) {
    const auto railsWhenFast = [](int, double) { return fake->divider == 4 ? 30000.0 : 20.0; };
    const struct {
        int32_t code;
        int status; // of the lock
        std::function<void()> prepare;
        const char* step; // what the board was asked for in the step that decides
        int times;
        char board = '6';
    } rows[] = {
        {scpi::noSignalDetected, -1, [] { fake->carrier_Hz = NAN; }, "rf off", 3},
        {scpi::noValidBeatDetected, -1, [] { fake->kphi[1] = fake->kphi[0] / 1.52; }, "beside", 8},
        {scpi::lockFailed, -1, [] { fake->tune = [](int) { return 5.1; }; }, "; C 0", 8},
        {scpi::lockFailed, 0, [&] { fake->locked = railsWhenFast; }, "gain 48", 1, '3'},
        {scpi::measurementFailed, 0, [] { fake->gainOffset = -50; }, "gain 48", 1},
        {0, 0, [] { fake->kphi[1] = fake->kphi[0] / 1.48; }, "beside", 1},
        {0, 0, [&] { fake->locked = railsWhenFast; }, "gain 48", 1},
        {0, 0, [] {}, "C 4", 2, '3'},  // the fixed filter of that board
        {0, 0, [] {}, "gate 0.01", 1}, // enough for a search
    };
    for (const auto& [code, status, prepare, step, times, board] : rows) {
        SCOPED_TRACE(testing::Message() << &prepare - &rows[0].prepare << ": " << step);
        SetUp();
        useBoard(board);
        prepare();
        configPN_setRedoFrequency(device, redoOnce);
        configPN_setRedoKphi(device, redoOnce);
        configPN_setRedoIFgain(device, redoOnce);
        meas_data.locked = 0;
        EXPECT_EQ(runOnce(), code);
        EXPECT_EQ(pn_measure_waitForMeasurement(device, 1, 0), 0);
        const bool searched = code != scpi::noSignalDetected, measured = searched && code != scpi::noValidBeatDetected;
        EXPECT_EQ(configPN.doFrequency, !searched);
        EXPECT_EQ(configPN.kphiB > 0, searched); // what a run found is the client's, however it ended
        EXPECT_EQ(configPN.doKphi, !measured);
        EXPECT_EQ(configPN.doIFgain, !measured || status != 0 || code == scpi::measurementFailed);
        EXPECT_EQ(pn_measure_getMeasStatus(device), status);
        EXPECT_EQ(trace().empty(), code != 0);
        EXPECT_EQ(fake->capturesBegun(), code == 0);
        const std::string log = fake->takeLog();
        EXPECT_EQ(countOf(log, step), times);
        // Sources that hang are shaken once, before the constants are measured again.
        EXPECT_EQ(countOf(log, "; sources 1.1e+08; sources 1e+08; "), code == scpi::noValidBeatDetected);
    }
}

TEST_F(WaitTest, APreliminaryResultComesAfterTheNextPassOfTheFirstIterationAndAtTheEndOfLaterOnes) {
    configPN_setCorrelations(device, 1000); // 10 passes
    configPN_setIterations(device, 2);
    startHeld(2);
    Waiter waiter = preliminaryWaiter(0);
    fake->passCaptures(3);
    EXPECT_EQ(waiter.get(), 0);
    EXPECT_EQ(progress(), std::pair(0, 300));
    EXPECT_GT(trace().at(0), -1000.0F);
    int32_t before = saves(); // the run goes on, and does not save for nobody
    fake->passCaptures(5);
    EXPECT_EQ(saves(), before);

    fake->passCaptures(12);
    before = saves();
    waiter = preliminaryWaiter(0);
    fake->passCaptures(18);
    EXPECT_EQ(saves(), before);
    EXPECT_TRUE(previewPending());
    fake->open();
    EXPECT_EQ(waiter.get(), 0);
    EXPECT_EQ(progress(), std::pair(2, 1000));
}

TEST_F(WaitTest, AStoppedRunEndsWellWhateverItsStepFailedIn) {
    fake->onSearch = [] {
        measure_stopMeasurement(device);
        fake->carrier_Hz = NAN;
    };
    EXPECT_EQ(runOnce(), 0);
    EXPECT_TRUE(trace().empty());
}

TEST_F(WaitTest, ACountIsServedAtTheEndOfThatIteration) {
    configPN_setIterations(device, 5);
    Waiter waiter;
    fake->onSearch = [&] { waiter = preliminaryWaiter(3); }; // while the run prepares
    startHeld(2);
    EXPECT_TRUE(previewPending()); // two iterations are published, and the request stands
    EXPECT_EQ(pn_measure_getPreliminaryAverageCount(device), 2);
    fake->allowCaptures(3);
    EXPECT_EQ(waiter.get(), 0);
    EXPECT_EQ(pn_measure_getPreliminaryAverageCount(device), 3);
    EXPECT_FALSE(previewPending());
}

TEST_F(WaitTest, AClientThatHoldsTheResultsDelaysThePreliminaryOneOnly) {
    configPN_setCorrelations(device, 1000);
    startHeld(0);
    pn_measure_triggerPreliminaryResult(device);
    const int32_t before = saves();
    {
        MutexLock lock(meas_data.resultMutex);
        fake->passCaptures(3);
    }
    EXPECT_EQ(saves(), before);
    fake->passCaptures(4);
    EXPECT_EQ(saves(), before + 1);
    EXPECT_EQ(pn_measure_getPreliminaryCorrelationCount(device), 400);
}

TEST_F(WaitTest, SeveralWaitersAreAllServed) {
    configPN_setIterations(device, 4);
    startHeld(0);
    Waiter third = preliminaryWaiter(3), first = preliminaryWaiter(1);
    Waiter beyond = onThread(pn_measure_waitForMeasurement, 0, 99),
           whole = onThread(pn_measure_waitForMeasurement, 1, 0);
    fake->allowCaptures(1);
    EXPECT_EQ(first.get(), 0);
    fake->open();
    EXPECT_EQ(third.get(), 0);
    EXPECT_EQ(whole.get(), 0);
    EXPECT_EQ(beyond.get(), 0);
}

TEST_F(WaitTest, ATimeOutIsToldOnceAndTheRunGoesOn) {
    startHeld(0);
    EXPECT_EQ(pn_measure_timedWaitForMeasurement(device, 1, 0, 5), scpi::waitTimedOut);
    EXPECT_EQ(pn_measure_timedWaitForMeasurement(device, 0, 2, 5), scpi::waitTimedOut);
    EXPECT_EQ(pn_measure_getPreliminaryCorrelationCount(device), -1); // since the wait began
    EXPECT_EQ(pn_measure_timedWaitForMeasurement(device, 1, 0, -1), scpi::waitTimedOut);
    fake->open();
    EXPECT_EQ(pn_measure_timedWaitForMeasurement(device, 1, 0, 60000), 0);
    EXPECT_EQ(pn_measure_timedWaitForMeasurement(device, 0, 5, 1), 0); // no run
    EXPECT_EQ(pn_measure_getPreliminaryAverageCount(device), 1);
}

TEST_F(WaitTest, ACountThatAWaitBehindInitHasMarkedStaysMarked) {
    fake->open();
    EXPECT_EQ(runOnce(), 0);
    for (int round = 0; round < 20; ++round) {
        fake->allowCaptures(fake->capturesBegun());
        EXPECT_EQ(measure_startMeasurement(device), 0); // it comes to its first capture soon
        EXPECT_EQ(pn_measure_timedWaitForMeasurement(device, 0, 2, 1), scpi::waitTimedOut);
        EXPECT_EQ(pn_measure_getPreliminaryCorrelationCount(device), -1);
        fake->open();
        EXPECT_EQ(pn_measure_waitForMeasurement(device, 1, 0), 0);
    }
}

TEST_F(WaitTest, ASecondInitWaitsAndNobodySleepsIntoItsRun) {
    startHeld(0);
    const uint64_t firstRun = measure_runInProgress();
    Waiter ofFirstRun = preliminaryWaiter(50);
    Waiter secondInit = onThread(measure_startMeasurement);
    EXPECT_EQ(measure_runInProgress(), firstRun);
    fake->passCaptures(1);
    EXPECT_EQ(secondInit.get(), 0); // the second run is on and held
    EXPECT_EQ(measure_runInProgress(), firstRun + 1);
    EXPECT_EQ(ofFirstRun.get(), 0);
    EXPECT_FALSE(previewPending()); // what the first run left unserved died with it
}

// A client that sets, queries, aborts and restarts as fast as it can. What it checks is what always holds; races are
// for the thread sanitizer to find.
TEST_F(WaitTest, ARestlessClientFindsEverythingWhole) {
    const TestSetDefinition list[] = {{testSetOffsetNoise, 1e5}, {testSetPower, -1}, {testSetEnd, -1}};
    for (int round = 0; round < 200; ++round) {
        configPN_setIterations(device, 1 + round % 7);
        configPN_setPointsPerDecade(device, 2 + round * 7 % 499);
        measure_startMeasurement(device);
        for (int step = 0; step < 10; ++step) {
            ASSERT_LE(trace().size(), size_t{tracePointsMax});
            ASSERT_TRUE(std::ranges::is_sorted(grid()));
            configPN_setOffsetMin(device, 10.0 * (1 + step));
            configPN_setPointsPerDecade(device, 500 - step);
            configPN_setSmoothingAperture(device, 0.05 * step);
            configPN_setTestSetDefinition(device, list);
            read(configPN_getTestSet);
            progress();
            char report[reportTextSize];
            pn_measure_printPnMeasInfo(device, report);
            if (step == round % 10) {
                ASSERT_EQ(pn_measure_timedWaitForMeasurement(device, 0, round % 5, 60000), 0);
            }
            if (step == 9 && round % 4 == 0)
                measure_stopMeasurement(device);
        }
        ASSERT_EQ(pn_measure_waitForMeasurement(device, 1, 0), 0);
    }
}
