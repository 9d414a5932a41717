// Locking, against loops whose tune voltage follows mode and helper of each board from one reading to the next.
#include "core/abstime.h"
#include "fake_instrument.h"
#include "measure/preparation/frequency_search.h"
#include "measure/preparation/lock.h"

#include <cmath>
#include <numbers>

namespace {

/// A loop that the helper pushes by `step` a reading, up with a helper below 2.5 V, until it comes within 1 V of its
/// target and holds.
struct LoopModel {
    double tune = 7.2;   // V
    double target = 7.2; // V; NaN: there is none
    double step = 0.25;  // V
    double railMin = -1000, railMax = 1000;
    int reads = 0;
    std::function<double(int read, double tune)> disturb = [](int, double tuneNow) { return tuneNow; };

    double read(int channel) {
        const FakeInstrument::Board& board = fake->board[channel];
        ++reads;
        if (holds())
            tune = target;
        else if (board.loopMode == 4)
            tune = std::clamp(tune + (board.helper < 2.5F ? step : -step), railMin, railMax);
        return disturb(reads, tune);
    }
    [[nodiscard]] bool holds() const { return std::abs(tune - target) < 1; }
};

class LockTest : public MeasureTest {
protected:
    void SetUp() override {
        MeasureTest::SetUp();
        fake->sensitivity[0] = fake->sensitivity[1] = 250;
        configPN.kphiA = configPN.kphiB = 16384; // 0.4 V
        meas_data.peakA = meas_data.peakB = 32768;
        meas_data.beatSamples = fake->samples = 64;
        meas_data.beatChannels = 2;
        fake->divider = 8;
        meas_data.locked = 0;
        DELTAV = 0;
        fake->tune = [this](int channel) { return loop[channel].read(channel); };
        fake->locked = [this](int channel, double t) { return loop[channel].holds() ? 20 : 16384 * std::sin(1e6 * t); };
        fake->takeLog();
    }
    void useBandwidth(double bandwidth) {
        configPN.autoLoopBW = 0;
        configPN.loopBandwidth = bandwidth;
    }

    LoopModel loop[2];
};

} // namespace

TEST_F(LockTest, ALoopThatIsThereLocksAtOnce) {
    configPN.ateMode = 0;
    lock(device, configPNPtr);
    EXPECT_EQ(meas_data.locked, 1U);
    EXPECT_EQ(configPN.ateMode, 1U);
    EXPECT_EQ(fake->records, 3);
    char expected[500];
    const double r1 = meas_data.loopR1A, r2 = meas_data.loopR2A; // about 1989 and 9549 ohm
    snprintf(expected, sizeof expected,
             "A; B; A; "
             "A; loop 3; R3 %g; B; loop 3; R3 %g; A; B; A; "
             "A; helper 3.1; C 2; R1 %g; R2 %g; B; helper 3.1; C 2; R1 %g; R2 %g; A; B; A; "
             "A; R1 %g; B; R1 %g; A; B; A; B; A",
             r1 / 2, r1 / 2, 0.3 * r1, r2, 0.3 * r1, r2, r1, r1);
    EXPECT_EQ(fake->takeLog(), expected);
}

TEST_F(LockTest, AHelperBringsALoopFromEitherSide) {
    for (const auto& [tuneA, tuneB] : {std::pair{4.0, 10.4}, {10.4, 4.0}, {7.2, 12.0}, {0.0, 0.0}}) {
        SCOPED_TRACE(tuneA);
        loop[0] = {.tune = tuneA};
        loop[1] = {.tune = tuneB};
        meas_data.locked = 0;
        FAST_lock(device, configPNPtr);
        EXPECT_EQ(meas_data.locked, 1U);
        for (int channel = 0; channel < 2; ++channel) {
            EXPECT_EQ(fake->board[channel].helper, (channel == 0 ? tuneA : tuneB) < 7.2 ? 1.9F : 3.1F);
            EXPECT_EQ(fake->board[channel].loopMode, 3);
            EXPECT_NEAR(fake->board[channel].resistance[1], meas_data.loopR1A, 1e-6); // in full
            EXPECT_NEAR(fake->board[channel].resistance[3], meas_data.loopR1A / 2, 1e-6);
        }
        // Those to the target, those until it stands, two before and two after.
        const double distance = std::max(std::abs(tuneA - 7.2), std::abs(tuneB - 7.2));
        EXPECT_NEAR(loop[0].reads, (distance - 1) / 0.25 + 9, 2.01);
        EXPECT_NEAR(configPN.loopBandwidth, 200, 1e-3);
    }
}

TEST_F(LockTest, AHelperThatPushedTooFarIsTurnedRound) {
    loop[0].tune = 8.8;   // below the upper end of the band, and rising
    loop[0].target = 4.9; // out of the band, so that it never stands where it counts
    loop[0].step = 0.5;
    lock(device, configPNPtr);
    EXPECT_EQ(meas_data.locked, 0U);
    const std::string log = fake->takeLog();
    char turn[100];
    snprintf(turn, sizeof turn, "R3 %g; helper 1.9; ", 1.1 * std::stod(log.substr(log.find("R3 ") + 3)));
    EXPECT_EQ(countOf(log, turn), 1);
    EXPECT_EQ(countOf(log, "helper"), 5); // two for each attempt, and the turn
}

TEST_F(LockTest, WithoutALockThereIsASecondAttemptAtAHigherBandwidth) {
    const struct {
        double bandwidth; // the user's; 0: automatic
        int attempts, passes;
        double last; // bandwidth
    } rows[] = {{0, 2, 350, 210}, {100, 2, 1500, 105}, {3900, 1, 1500, 3900}};
    for (const auto& [bandwidth, attempts, passes, last] : rows) {
        SCOPED_TRACE(bandwidth);
        fake->sensitivity[0] = fake->sensitivity[1] = bandwidth > 1000 ? 10000 : 250;
        if (bandwidth > 0)
            useBandwidth(bandwidth);
        for (LoopModel& model : loop)
            model = {.tune = 0, .target = NAN, .step = 1, .railMin = 0, .railMax = 14.5}; // 1 V short of the band's end
        meas_data.locked = 1;
        fake->records = 0;
        FAST_lock(device, configPNPtr);
        EXPECT_EQ(meas_data.locked, 0U);
        EXPECT_EQ(loop[0].reads, attempts * (2 + passes) + 2);
        EXPECT_EQ(fake->records, 0); // stands, but outside the band
        EXPECT_NEAR(meas_data.loopWnA / (2 * std::numbers::pi), last, 1e-3 * last);
        EXPECT_NEAR(configPN.loopBandwidth, bandwidth > 0 ? bandwidth : last, 1e-3 * last); // the user's stays
        EXPECT_EQ(fake->board[1].loopMode, 4);                                              // nothing opens the loop
    }
}

TEST_F(LockTest, AStandingTuneVoltageIsNotEnough) {
    fake->locked = [](int channel, double t) { return channel == 1 ? 16384 * std::sin(1e6 * t) : 20; };
    lock(device, configPNPtr);
    EXPECT_EQ(meas_data.locked, 0U);
    EXPECT_EQ(fake->records, 2 * (1 + 346)); // the quick check fails, then every pass from the fifth on
}

TEST_F(LockTest, AVoltageThatStandsCountsOnlyIfItCameNearOrCameFromOutside) {
    const struct {
        double begins, stands; // V; beyond 8.5 it is in the band, but not near
        int failing;           // checks
        bool locked;
        int records;
    } rows[] = {{8.6, 8.9, 99, false, 2}, {9.6, 8.9, 0, true, 1}, {8.6, 8.4, 1, true, 2}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.begins);
        fake->records = 0;
        fake->locked = [&](int, double t) { return fake->records > row.failing ? 20 : 16384 * std::sin(1e6 * t); };
        for (LoopModel& model : loop) {
            model = {.tune = row.begins, .target = NAN, .step = 0};
            model.disturb = [&](int read, double tune) { return read <= 2 ? tune : row.stands; };
        }
        lock(device, configPNPtr);
        EXPECT_EQ(meas_data.locked, row.locked);
        EXPECT_EQ(fake->records, row.records);
        meas_data.locked = 0;
    }
}

TEST_F(LockTest, ALoopThatSlipsAfterTheLastCheckIsNotLocked) {
    for (const double move : {0.9, -0.9, 1.0, -1.0, double{NAN}})
        for (const int channel : {0, 1}) {
            loop[0] = loop[1] = {.tune = 7, .target = 7};
            loop[channel].disturb = [&](int read, double tune) { return read == 4 ? tune + move : tune; };
            FAST_lock(device, configPNPtr);
            EXPECT_EQ(meas_data.locked, std::abs(move) < 1 ? 1U : 0U) << move << " of channel " << channel;
        }
}

TEST_F(LockTest, AUsersBandwidthIsCheckedMoreOften) {
    useBandwidth(100);
    loop[0].tune = 4;
    configPN.autoFrequency = 0; // wide band: 1 to 14 V
    const tv_abstime before = tv_abstime_now();
    lock(device, configPNPtr);
    EXPECT_EQ(meas_data.locked, 1U);
    EXPECT_EQ(fake->records, 1 + 3); // at once, in vain, and where it stands
    EXPECT_EQ(tv_abstime_now() - before, 103'000'000U);
}

TEST_F(LockTest, AMixerOutputLooksLockedByItsRangeAndPlace) {
    meas_data.peakA = meas_data.peakB = 1000; // half 500, quarter 250
    const struct {
        double low, high; // counts
        uint32_t locked;
    } rows[] = {
        {37000, 37249, 1}, {37000, 37250, 0}, {32000, 32499, 1}, {32000, 32500, 0},
        {27501, 27900, 1}, {27500, 27900, 0}, {36100, 36499, 1}, {36100, 36500, 0},
    };
    for (const auto& row : rows)
        for (const int channel : {0, 1}) {
            fake->locked = [&](int c, double t) {
                const double rate = 125e6 / fake->divider;
                return c != channel ? 0 : (std::llround(t * rate) % 2 != 0 ? row.high : row.low) - 32768;
            };
            uint32_t lockA = 0, lockB = 0;
            checkLockQUAD(device, configPNPtr, &lockA, &lockB, 1, 0);
            EXPECT_EQ(channel == 0 ? lockA : lockB, row.locked) << row.low << ' ' << row.high;
            EXPECT_EQ(channel == 0 ? lockB : lockA, 1U);
        }
    uint32_t lockA = 1, lockB = 1;
    fake->locked = [](int, double t) { return t == 0 ? 600 : 0; }; // a click, which a slow carrier's samples are rid of
    for (const double carrier : {29e6, 31e6}) {
        configPN.frequency = carrier;
        checkLockQUAD(device, configPNPtr, &lockA, &lockB, 1, 0);
        EXPECT_EQ(lockA + lockB, carrier < 30e6 ? 2U : 0U);
    }
    fake->locked = [](int, double) { return 0; };
    fake->samples = 0; // a capture that fails
    lockA = lockB = 1;
    checkLockQUAD(device, configPNPtr, &lockA, &lockB, 1, 0);
    EXPECT_EQ(lockA + lockB, 0U);
    fake->samples = 128;
    meas_data.beatChannels = fake->channels = 1; // B has no record, which says nothing against it
    checkLockQUAD(device, configPNPtr, &lockA, &lockB, 1, 0);
    EXPECT_EQ(lockA + lockB, 2U);
}

TEST_F(LockTest, ALoopThatTurnsSlowlyDoesNotHold) {
    for (const int slipping : {-1, 0, 1}) {
        fake->locked = [=](int channel, double t) { return channel == slipping ? 16384 * std::sin(2e4 * t) : 20; };
        EXPECT_EQ(lock_holds(device, configPNPtr), slipping < 0) << slipping;
    }
}

TEST_F(LockTest, SteadinessLooksAtChannelAForTenRounds) {
    double level[2] = {26000, 32767}; // 0.635 V; B at the rail
    fake->locked = [&](int channel, double) { return level[channel]; };
    EXPECT_EQ(waitUntilSteady(device), 1);
    EXPECT_EQ(fake->records, 1);
    level[0] = -26300;
    EXPECT_EQ(waitUntilSteady(device), 0);
    EXPECT_EQ(fake->records, 11);
}

TEST_F(LockTest, TenChecksInARowConfirmAPulsedLock) {
    config_enablePulse(device);
    configPN.kphiA = configPN.kphiB = 0.4;
    configPN.ateMode = 0;
    loop[0].tune = 3;
    lock(device, configPNPtr);
    EXPECT_EQ(meas_data.locked, 1U);
    EXPECT_EQ(configPN.ateMode, 0U);
    EXPECT_EQ(fake->records, 10);
    EXPECT_NEAR(fake->board[0].resistance[1], meas_data.loopR1A, 1e-6);
    EXPECT_EQ(fake->board[0].helper, 2.1F);
    EXPECT_EQ(fake->board[1].loopMode, 3);

    for (const int failing : {0, 1}) { // its fifth check fails: it begins anew, the other one goes on
        fake->records = 0;
        fake->locked = [=](int channel, double) { return channel == failing && fake->records == 5 ? 4000 : 0; };
        lock(device, configPNPtr);
        EXPECT_EQ(meas_data.locked, 1U);
        EXPECT_EQ(fake->records, 15);
        EXPECT_NEAR(fake->board[failing].resistance[3], fake->board[1 - failing].resistance[3] / 1.2, 1e-6);
    }
}
