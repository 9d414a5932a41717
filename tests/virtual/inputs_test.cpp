// Runs with external references and of pulsed devices.
#include "measure/preparation/sensitivity.h"
#include "run_fixture.h"
#include "virtual/platform/clock.h"

using namespace vi;

namespace {

/// Oscillators that stand on the carrier at 7.2 V.
Dut withReferences(double frequency_Hz, double sensitivity_HzPerV, double power_dBm = 13) {
    Dut dut = loud(frequency_Hz, 8);
    const NoiseCurve noise{{{1, -50}, {10, -80}, {100, -105}, {1e3, -125}, {1e4, -142}, {1e6, -160}}};
    dut.references = {{{frequency_Hz, sensitivity_HzPerV, 7.2, power_dBm, noise},
                       {frequency_Hz, 0.95 * sensitivity_HzPerV, 7.2, power_dBm, noise}}};
    return dut;
}

Dut pulsed(double frequency_Hz, double width_s, double period_s, const Faults& faults = {}) {
    const NoiseCurve quiet{{{1, -60}, {10, -90}, {100, -120}, {1e3, -145}, {1e5, -160}}};
    return {frequency_Hz, 8, quiet, {}, faults, {width_s, period_s}};
}

} // namespace

class InputsTest : public RunTest {
protected:
    /// Leaves the references tuned to the given voltage. A nominal sensitivity from 10 kHz/V on has the beat recorded
    /// in fine steps.
    static void takeReferences(double tune_V, double nominal_HzPerV) {
        ASSERT_EQ(pn_measure_execfrequencySearch(device), 0); // without internal sources the paths stay as they are
        for (const int channel : {1, 2}) {
            ASSERT_EQ(configPN_setReferenceSens(device, channel, nominal_HzPerV), 0);
            ASSERT_EQ(configPN_setReferenceVoltage(device, channel, tune_V), 0);
        }
        ASSERT_EQ(configPN_setReference(device, referenceExternal), 0);
        ASSERT_EQ(configPN_setIFgain(device, 12), 0); // a beat counts from 0.4 V up
        ASSERT_EQ(pn_measure_measureSensitivity(device), 0);
    }
    /// The sources on a known carrier, the detectors given in volts, and a run. Returns its result.
    int runPulsed(double carrier_Hz, double kphi_V, double bandwidth_Hz) {
        tvfreq carrier{};
        double2tvfreq(&carrier_Hz, &carrier);
        EXPECT_EQ(Device_setFrequency(device, &carrier), 0);
        config_enablePulse(device);
        EXPECT_EQ(Device_selectPhaseNoiseAlgBoardB(device), 0);
        configPN_setKphi(device, kphi_V);
        EXPECT_EQ(Device_selectPhaseNoiseAlgBoardA(device), 0);
        configPN_setKphi(device, kphi_V);
        setUserBandwidth(bandwidth_Hz);
        const uint64_t before = clock_now();
        const int result = run();
        took_s = double(clock_now() - before) * 1e-9;
        config_disablePulse(device);
        return result;
    }
    double took_s = 0; // the last pulsed run
};

TEST_F(InputsTest, ExternalReferencesAreCalibratedAndMeasure) {
    const struct {
        const char* serial;
        double frequency_Hz, sensitivity_HzPerV, bandwidth_Hz; // bandwidth 0: as the instrument chooses
    } cases[] = {
        {board1C, 100e6, 20e3, 200}, {board2A, 100e6, 10e3, 0},  {board2C, 100e6, 20e3, 200},
        {board2D, 100e6, 10e3, 0},   {board2D, 11e9, 20e3, 200},
    };
    for (const auto& [serial, frequency_Hz, sensitivity_HzPerV, bandwidth_Hz] : cases) {
        SCOPED_TRACE(testing::Message() << serial << ", " << frequency_Hz << " Hz");
        attach(withReferences(frequency_Hz, sensitivity_HzPerV), serial);
        takeReferences(5, 1.1 * sensitivity_HzPerV); // below what the loops will want, so that the beat goes one way
        EXPECT_NEAR(configPN.refSensA / sensitivity_HzPerV, 1, 0.02);
        EXPECT_NEAR(configPN.refSensB / (0.95 * sensitivity_HzPerV), 1, 0.03);
        for (const int channel : {1, 2})
            ASSERT_EQ(configPN_setReferenceVoltage(device, channel, 12), 0);
        setUserBandwidth(bandwidth_Hz);
        configPN.redoKphi = redoOnce; // nothing opens the loops for a second beat
        for (int repeat = 0; repeat < 2; ++repeat) {
            EXPECT_EQ(run(), 0);
            EXPECT_NEAR(constantRatio(channelA), 1, 0.03);
            EXPECT_NEAR(bench_readTune_V(bench_, channelA), 7.2, 0.01);
            expectTrace(1e4, 5e7, 0.3, 3.0);
        }
    }
}

TEST_F(InputsTest, APulsedDeviceLocks) {
    const struct {
        const char* serial;
        double frequency_Hz, width_s, period_s, bandwidth_Hz;
    } cases[] = {
        {board2D, 100e6, 1e-6, 10e-6, 200}, {board2D, 100e6, 5e-6, 10e-6, 200}, {board2D, 1e9, 5e-6, 10e-6, 300},
        {board2D, 100e6, 1e-7, 5e-7, 200},  {board2C, 100e6, 2e-6, 10e-6, 200}, {board2B, 100e6, 2e-6, 10e-6, 200},
        {board2A, 100e6, 2e-6, 10e-6, 200}, {board1C, 100e6, 2e-6, 10e-6, 200},
    };
    for (const auto& [serial, frequency_Hz, width_s, period_s, bandwidth_Hz] : cases) {
        SCOPED_TRACE(testing::Message() << serial << ", " << frequency_Hz << " Hz, " << width_s << " of " << period_s);
        attach(pulsed(frequency_Hz, width_s, period_s), serial);
        EXPECT_EQ(runPulsed(frequency_Hz, 0.4, bandwidth_Hz), 0);
        EXPECT_TRUE(held());
        EXPECT_LT(took_s, 2);
        const float* levels = nullptr;
        EXPECT_EQ(pn_measure_getSpectrumData(device, &levels), 0) << "a run of a pulsed device has no trace";
    }
}

TEST_F(InputsTest, APulsedDeviceThatCannotLockIsGivenUpAfterAMinute) {
    for (const Faults& faults : {Faults{.unlockable = true}, Faults{.tuneRail = true}}) {
        attach(pulsed(100e6, 2e-6, 10e-6, faults));
        EXPECT_EQ(runPulsed(99.999e6, 0.4, 200), scpi::lockFailed);
        EXPECT_NEAR(took_s, 60, 0.1);
    }
}
