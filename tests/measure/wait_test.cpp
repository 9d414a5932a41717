#include "fake_instrument.h"
#include "scpi/error_codes.h"

#include <algorithm>
#include <functional>
#include <memory>

namespace {

class WaitTest : public MeasureTest {
protected:
    void SetUp() override {
        MeasureTest::SetUp();
        plainTrace();
    }

    static void startHeld(int capturesFirst) {
        fake->allowCaptures(capturesFirst);
        measure_startMeasurement(device);
        fake->waitForCapture(capturesFirst + 1);
    }
    static bool previewPending() {
        MutexLock lock(meas_data.resultMutex);
        return meas_data.previewTrigger != 0;
    }
    static uint64_t saves() {
        MutexLock lock(meas_data.resultMutex);
        return meas_data.saves;
    }
    static uint64_t runsStarted() {
        MutexLock lock(meas_data.stateMutex);
        return meas_data.runsStarted;
    }
};

/// A wait on a client's thread.
class Waiter {
public:
    explicit Waiter(std::function<int()> wait) : thread_([this, wait = std::move(wait)] { result_ = wait(); }) {}
    ~Waiter() {
        if (thread_.joinable())
            thread_.join();
    }
    int join() {
        thread_.join();
        return result_;
    }

private:
    int result_ = 1;
    std::thread thread_;
};

/// A preliminary wait whose request stands when this returns.
std::unique_ptr<Waiter> preliminaryWaiter(int average) {
    auto waiter = std::make_unique<Waiter>([average] { return pn_measure_waitForMeasurement(device, 0, average); });
    for (bool pending = false; !pending; std::this_thread::yield()) {
        MutexLock lock(meas_data.resultMutex);
        pending = meas_data.previewTrigger != 0 && meas_data.previewTarget == average;
    }
    return waiter;
}

} // namespace

TEST_F(WaitTest, AFailureIsToldOnce) {
    config_enablePulse(device);
    EXPECT_EQ(runOnce(), scpi::lockFailed);
    EXPECT_EQ(pn_measure_waitForMeasurement(device, 1, 0), 0);
    EXPECT_EQ(pn_measure_getMeasStatus(device), -1);
    EXPECT_EQ(trace().size(), 0U);

    measure_startMeasurement(device);
    config_disablePulse(device);
    EXPECT_EQ(runOnce(), 0); // the run before it failed; nobody waited
}

TEST_F(WaitTest, WhatThePreparationFailedInIsTheResultAndIsRepeated) {
    const struct {
        int32_t code;
        std::function<void()> fail;
    } rows[] = {
        {scpi::noSignalDetected, [] { configPN.frequency = -1; }},
        {scpi::noValidBeatDetected, [] { fake->kphiA = 0; }},
        {scpi::noValidBeatDetected, [] { fake->kphiB = -1; }},
        {scpi::noValidBeatDetected, [] { fake->kphiB = fake->kphiA / 1.51; }},
        {scpi::lockFailed, [] { fake->locked = 0; }},
        {scpi::measurementFailed, [] { configPN.ifGain = -1; }},
    };
    for (const auto& [code, fail] : rows) {
        SCOPED_TRACE(code);
        config_reset(device);
        fake->kphiA = fake->kphiB = 10000;
        fake->locked = 1;
        configPN.doFrequency = configPN.doKphi = configPN.doIFgain = 0;
        fake->onPower = fail;
        EXPECT_EQ(runOnce(), code);
        EXPECT_EQ(configPN.doFrequency, code == scpi::noSignalDetected);
        EXPECT_EQ(configPN.doKphi, code == scpi::noValidBeatDetected);
        EXPECT_EQ(configPN.doIFgain, code == scpi::measurementFailed);
        EXPECT_EQ(trace().size(), 0U);
    }
    EXPECT_EQ(fake->capturesBegun(), 0);
    config_reset(device);
    fake->locked = 1;
    fake->onPower = [] { fake->kphiB = fake->kphiA / 1.5; };
    EXPECT_EQ(runOnce(), 0);
}

TEST_F(WaitTest, APreliminaryResultComesAfterTheNextPassOfTheFirstIteration) {
    configPN_setCorrelations(device, 1000); // 10 passes
    startHeld(2);
    const auto waiter = preliminaryWaiter(0);
    fake->allowCaptures(3);
    EXPECT_EQ(waiter->join(), 0);
    EXPECT_EQ(pn_measure_getPreliminaryAverageCount(device), 0);
    EXPECT_EQ(pn_measure_getPreliminaryCorrelationCount(device), 300);
    EXPECT_EQ(trace().size(), 481U);
    EXPECT_GT(trace().front(), -1000.0F);
    fake->waitForCapture(4); // the run goes on, and does not save for nobody
    const uint64_t before = saves();
    fake->allowCaptures(5);
    fake->waitForCapture(6);
    EXPECT_EQ(saves(), before);
}

TEST_F(WaitTest, ACountIsServedAtTheEndOfThatIteration) {
    configPN_setIterations(device, 5);
    startHeld(0);
    const auto waiter = preliminaryWaiter(3);
    fake->allowCaptures(2);
    fake->waitForCapture(3);
    EXPECT_TRUE(previewPending()); // two iterations are published, and the request stands
    EXPECT_EQ(pn_measure_getPreliminaryAverageCount(device), 2);
    fake->allowCaptures(3);
    EXPECT_EQ(waiter->join(), 0);
    EXPECT_EQ(pn_measure_getPreliminaryAverageCount(device), 3);
}

TEST_F(WaitTest, ARequestMadeWhileTheRunPreparesKeepsItsCount) {
    configPN_setIterations(device, 3);
    std::unique_ptr<Waiter> waiter;
    fake->onPower = [&] { waiter = preliminaryWaiter(2); };
    startHeld(1);
    EXPECT_TRUE(previewPending());
    fake->allowCaptures(2);
    EXPECT_EQ(waiter->join(), 0);
    EXPECT_EQ(pn_measure_getPreliminaryAverageCount(device), 2);
}

TEST_F(WaitTest, LaterIterationsSaveOnlyAtTheirEnd) {
    configPN_setCorrelations(device, 1000);
    configPN_setIterations(device, 2);
    startHeld(12);
    const uint64_t before = saves();
    const auto waiter = preliminaryWaiter(0);
    fake->allowCaptures(18);
    fake->waitForCapture(19);
    EXPECT_EQ(saves(), before);
    EXPECT_TRUE(previewPending());
    fake->open();
    EXPECT_EQ(waiter->join(), 0);
    EXPECT_EQ(pn_measure_getPreliminaryAverageCount(device), 2);
    EXPECT_EQ(pn_measure_getPreliminaryCorrelationCount(device), 1000);
}

TEST_F(WaitTest, AClientThatHoldsTheResultsDelaysThePreliminaryOneOnly) {
    configPN_setCorrelations(device, 1000);
    startHeld(0);
    pn_measure_triggerPreliminaryResult(device);
    uint64_t before;
    {
        MutexLock lock(meas_data.resultMutex);
        before = meas_data.saves;
        fake->allowCaptures(3);
        fake->waitForCapture(4);
        EXPECT_EQ(meas_data.saves, before);
    }
    fake->allowCaptures(4);
    fake->waitForCapture(5);
    EXPECT_EQ(saves(), before + 1);
    EXPECT_EQ(pn_measure_getPreliminaryCorrelationCount(device), 400);
}

TEST_F(WaitTest, SeveralWaitersAreAllServed) {
    configPN_setIterations(device, 4);
    startHeld(0);
    const auto third = preliminaryWaiter(3);
    const auto first = preliminaryWaiter(1);
    const Waiter beyond([] { return pn_measure_waitForMeasurement(device, 0, 99); });
    Waiter whole([] { return pn_measure_waitForMeasurement(device, 1, 0); });
    fake->allowCaptures(1);
    EXPECT_EQ(first->join(), 0);
    fake->allowCaptures(3);
    EXPECT_EQ(third->join(), 0);
    fake->waitForCapture(4);
    fake->open();
    EXPECT_EQ(whole.join(), 0);
}

TEST_F(WaitTest, ATimeOutIsToldOnceAndTheRunGoesOn) {
    startHeld(0);
    EXPECT_EQ(pn_measure_timedWaitForMeasurement(device, 1, 0, 5), scpi::waitTimedOut);
    EXPECT_EQ(pn_measure_timedWaitForMeasurement(device, 0, 1, 5), scpi::waitTimedOut);
    EXPECT_EQ(pn_measure_getPreliminaryCorrelationCount(device), -1);
    EXPECT_EQ(pn_measure_timedWaitForMeasurement(device, 1, 0, -1), scpi::waitTimedOut);
    fake->open();
    EXPECT_EQ(pn_measure_timedWaitForMeasurement(device, 1, 0, 60000), 0);
    EXPECT_EQ(pn_measure_timedWaitForMeasurement(device, 0, 5, 1), 0); // no run
    EXPECT_EQ(pn_measure_getPreliminaryAverageCount(device), 1);
}

TEST_F(WaitTest, AbortEndsTheRunBeforeTheNextCapture) {
    configPN_setIterations(device, 5);
    startHeld(1);
    EXPECT_EQ(measure_stopMeasurement(device), 0);
    fake->open();
    EXPECT_EQ(pn_measure_waitForMeasurement(device, 1, 0), 0);
    EXPECT_EQ(fake->capturesBegun(), 2);
    EXPECT_EQ(pn_measure_getPreliminaryAverageCount(device), 2); // the capture in hand was its iteration's last
    EXPECT_GT(trace().front(), -1000.0F);
    measure_stopMeasurement(device); // nothing to stop, and nothing kept for later
    EXPECT_EQ(runOnce(), 0);
    EXPECT_EQ(fake->capturesBegun(), 7);
}

TEST_F(WaitTest, AbortWhileTheRunPreparesIsNotLost) {
    fake->onPower = [] { Waiter([] { return measure_stopMeasurement(device); }).join(); };
    EXPECT_EQ(runOnce(), 0);
    EXPECT_EQ(fake->capturesBegun(), 0);
    EXPECT_EQ(trace().size(), 481U);
}

TEST_F(WaitTest, ASecondInitWaitsAndNobodySleepsIntoItsRun) {
    startHeld(0);
    const uint64_t firstRun = runsStarted();
    const auto ofFirstRun = preliminaryWaiter(50);
    Waiter secondInit([] { return measure_startMeasurement(device); });
    EXPECT_EQ(runsStarted(), firstRun);
    fake->allowCaptures(1);
    EXPECT_EQ(secondInit.join(), 0);
    fake->waitForCapture(2); // the second run is on and held
    EXPECT_EQ(runsStarted(), firstRun + 1);
    EXPECT_EQ(ofFirstRun->join(), 0);
    EXPECT_FALSE(previewPending()); // what the first run left unserved died with it
}

TEST_F(WaitTest, AModeChangeOrAResetEndsTheRunFirst) {
    configPN_setIterations(device, 10000);
    startHeld(1);
    EXPECT_EQ(config_setMeasurementMode(device, measurementModeVCO), 0); // cuts the capture that the run is in
    EXPECT_EQ(measure_runInProgress(), 0U);
    EXPECT_EQ(configPNPtr, &configVCO.config);
    EXPECT_EQ(pn_measure_waitForMeasurement(device, 1, 0), 0);
    EXPECT_EQ(trace().size(), 481U); // and it is still there to read

    config_setMeasurementMode(device, measurementModePN);
    startHeld(fake->capturesBegun());
    EXPECT_EQ(config_reset(device), 0);
    EXPECT_EQ(measure_runInProgress(), 0U);
    EXPECT_EQ(configPN.iterations, 1);
    EXPECT_EQ(runOnce(), 0);
}

// A client that sets, queries, aborts and restarts as fast as it can. What it checks is what always holds; races are
// for the thread sanitizer to find.
TEST_F(WaitTest, ARestlessClientFindsEverythingWhole) {
    const TestSetDefinition list[] = {{testSetOffsetNoise, 1e5}, {testSetPower, -1}, {testSetEnd, -1}};
    for (int round = 0; round < 200; ++round) {
        configPN_setIterations(device, 1 + round % 7);
        configPN_setOffsetMin(device, round % 3 ? 1000 : 1);
        configPN_setPointsPerDecade(device, 2 + round * 7 % 499);
        measure_startMeasurement(device);
        for (int step = 0; step < 10; ++step) {
            const auto levels = trace();
            const auto offsets = grid();
            ASSERT_TRUE(std::ranges::is_sorted(offsets));
            ASSERT_LE(levels.size(), 1000U);
            configPN_setOffsetMin(device, 10.0 * (1 + step));
            configPN_setOffsetMax(device, 1e6 * (1 + step));
            configPN_setPointsPerDecade(device, 500 - step);
            configPN_setCorrelations(device, 1 + step);
            configPN_setSmoothingAperture(device, 0.05 * step);
            configPN_setSpotFrequency(device, 1e4);
            configPN_setMeasurementMethod(device, methodCrossCorrelation);
            configPN_setTestSetDefinition(device, list);
            const char* text = nullptr;
            configPN_getTestSet(device, &text);
            pn_measure_getSpotSpectrumData(device);
            pn_measure_getPreliminaryAverageCount(device);
            config_getFrequency(device);
            config_getPower(device);
            config_getKphi(device);
            char report[reportTextSize];
            pn_measure_printPnMeasInfo(device, report);
            if (step == round % 10) {
                ASSERT_EQ(pn_measure_timedWaitForMeasurement(device, 0, round % 5, 60000), 0);
            }
            if (step == 9 && round % 4 == 0)
                measure_stopMeasurement(device);
            if (round % 50 == 49)
                config_setMeasurementMode(device, measurementModePN);
        }
        ASSERT_EQ(pn_measure_waitForMeasurement(device, 1, 0), 0);
    }
}
