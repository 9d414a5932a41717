// Phase detector constants: what a beat's slope gives, and the order of the step.

#include "measure/preparation/kphi.h"
#include "tests/measure/steps_fixture.h"

#include <cmath>
#include <numbers>

namespace {

using Signal = std::function<double(uint32_t)>;

Signal sine(double amplitude, double period, double phase = 0, double offset = 0) {
    return [=](uint32_t i) { return offset + amplitude * std::sin(2 * std::numbers::pi * i / period + phase); };
}
Signal triangle(double amplitude, double period, double shift = 0) {
    return [=](uint32_t i) { return amplitude * (4 * std::fabs(std::fmod((i + shift) / period, 1) - 0.5) - 1); };
}

/// What the step makes of a sine: its slope at the crossing is its amplitude per radian, less by how late the
/// hysteresis sees the crossing and by the 10 degrees to each side.
double ofSine(double amplitude, double period) {
    const double late = std::asin(1228 / amplitude) + std::numbers::pi / period;
    const double angle = std::numbers::pi / 18;
    return amplitude * std::cos(late) * std::sin(angle) / angle;
}
/// A triangle rises by its amplitude in a quarter of the circle.
double ofTriangle(double amplitude) {
    return amplitude * 2 / std::numbers::pi;
}

class KphiTest : public StepsTest {
protected:
    void SetUp() override {
        StepsTest::SetUp();
        configPN.frequencyRounded = 100e6;
        meas_data.beatSamples = 4096;
        meas_data.beatDivider = 8;
        meas_data.beatChannels = 2;
    }
    static std::string measure(const Signal& a, const Signal& b) {
        hardware.sample = [&](int channel, uint32_t i) { return channel == 0 ? a(i) : b(i); };
        return logOf([] { measureKphi(device, configPNPtr); });
    }
};

TEST_F(KphiTest, IsTheSlopeOfTheBeatPerRadian) {
    const struct {
        const char* name;
        Signal signal;
        double kphi, within; // of it
    } cases[] = {
        {"sine", sine(20000, 312.5, 2), ofSine(20000, 312.5), 0.002},
        {"never at the centre", sine(9000, 312.5, 2, -20000), ofSine(9000, 312.5), 0.003},
        {"triangle", triangle(20000, 400), ofTriangle(20000), 0.0001},
        {"within the hysteresis", sine(1000, 312.5), 0, 0},
        {"too short a period", sine(20000, 30), 0, 0},
        {"one crossing", sine(20000, 8192, 2), 0, 0},
    };
    for (const auto& c : cases) {
        measure(c.signal, c.signal);
        EXPECT_NEAR(configPN.kphiA, c.kphi, c.within * c.kphi) << c.name;
        EXPECT_EQ(configPN.kphiB, configPN.kphiA) << c.name;
    }
}

TEST_F(KphiTest, CrossingsNearTheEndsDoNotCount) {
    // The triangle's crossings are seen 7 samples late; a slope needs 11 samples to each side.
    const std::pair<double, uint32_t> cases[] = {{0, 520},    // at 107, 307 and 507
                                                 {0, 519},    // without the last one
                                                 {100, 419}}; // at 7, 207 and 407: without the first and the last one
    for (const auto& [shift, samples] : cases) {
        hardware.missing[0] = hardware.missing[1] = 4096 - samples; // the board gives fewer than asked
        measure(triangle(20000, 400, shift), triangle(20000, 400, shift));
        EXPECT_NEAR(configPN.kphiA, ofTriangle(20000), 1) << shift << ' ' << samples;
    }
}

TEST_F(KphiTest, AsksTheHardwareInOrder) {
    const Signal good = sine(20000, 312.5);
    const std::string attempt = "; capture 4096/8/2", beside = "; beside 99900000", back = "; back 100000000";
    EXPECT_EQ(measure(good, good), "gain 0" + beside + attempt + back);
    const std::string retried = attempt + back + beside;
    EXPECT_TRUE(kphi_isGood(15000, 10000, methodCrossCorrelation)); // the channels may differ by half, and no more
    EXPECT_FALSE(kphi_isGood(10000, 15001, methodCrossCorrelation));
    EXPECT_EQ(measure(good, sine(12000, 312.5)), "gain 0" + beside + retried + retried + retried + back);
    fake->selection = 2; // its retries leave the offset in place
    EXPECT_EQ(measure(good, sine(12000, 312.5)), "gain 0" + beside + attempt + attempt + attempt + back);
    hardware.captureResult = -365; // ends the step
    const double before = configPN.kphiA;
    EXPECT_EQ(measure(sine(10000, 312.5), good), "gain 0" + beside + attempt);
    EXPECT_EQ(configPN.kphiA, before);
    hardware.captureResult = 0;
    configPN.measurementMethod = methodSingle;
    meas_data.beatChannels = 1;
    EXPECT_EQ(measure(good, good), "gain 0" + beside + "; capture 4096/8/1" + back);
    EXPECT_EQ(configPN.kphiB, 0);
    configPN.redoKphi = redoOnce;
    configPN.doKphi = 0;
    EXPECT_EQ(measure(good, good), "gain 0");
}

TEST_F(KphiTest, WorksOnRecordsAtTheEdges) {
    meas_data.beatSamples = UINT32_MAX; // cut to what it works on
    measure(triangle(20000, 400), triangle(20000, 400));
    EXPECT_EQ(fake->samples, 65535U);
    EXPECT_NEAR(configPN.kphiA, ofTriangle(20000), 1);

    const std::array<uint16_t, 12> record = {32768, 32769, 33996, 33997, 32768, 31541,
                                             31540, 31539, 40000, 32768, 0,     65535};
    std::array<uint32_t, 5> items{};
    std::array<uint32_t, 2> few{};
    ZeroCrossingList a{}, b{};
    arrayInit(&a, items);
    arrayInit(&b, few); // a full list drops what follows
    EXPECT_EQ(getZeroCrossings(record.data(), record.data(), record.size(), 2, &a, &b), 2);
    EXPECT_EQ(items, (std::array<uint32_t, 5>{3, 7, 8, 10, 11}));
}

} // namespace
