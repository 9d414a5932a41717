#include "tests/drivers/chip_rig.h"
#include "virtual/platform/clock.h"

#include <cmath>

using namespace vi;

namespace {

/// Virtual microseconds that an operation waits, without its transfers.
template <class F> double waited_us(const SpiBus& bus, F operation) {
    const uint64_t transfers = bus.transfers();
    const uint64_t start = clock_now();
    operation();
    const uint64_t onTheBus = (bus.transfers() - transfers) * spiTransfer_ns;
    return static_cast<double>(clock_now() - start - onTheBus) / 1e3;
}

} // namespace

TEST_F(Chips, DacsDriveTheRatioThatWasSet) {
    AD5640_setValue(&chips.dac14, 9000);
    EXPECT_DOUBLE_EQ(dac14Model.ratio(), 9000.0 / 16384);
    AD5640_setValue(&chips.dac16, 8192);
    EXPECT_DOUBLE_EQ(dac16Model.ratio(), 0.5);
    for (const uint32_t mode : {1U, 2U, 3U, 0U}) {
        AD5640_setOpMode(&chips.dac14, mode);
        AD5640_setOpMode(&chips.dac16, mode);
        EXPECT_EQ(dac14Model.output(), static_cast<DacOutput>(mode));
        EXPECT_EQ(dac16Model.output(), static_cast<DacOutput>(mode));
    }
    EXPECT_FALSE(amplitudeModel.inDaisyChainMode());
    AD5432_setValue(&chips.amplitude, 300);
    EXPECT_DOUBLE_EQ(amplitudeModel.ratio(), 300.0 / 1024);

    EXPECT_FALSE(tuneModel.sdoEnabled());
    AD5760_setValue(&chips.tune, 40000);
    EXPECT_DOUBLE_EQ(tuneModel.ratio(), 40000 / 65535.0);
    AD5760_setOutputDac(&chips.tune);
    EXPECT_EQ(tuneModel.output(), Ad5760Model::Output::driven);
    AD5760_setOutputHiZ(&chips.tune);
    EXPECT_EQ(tuneModel.output(), Ad5760Model::Output::highImpedance);
    AD5760_setOutputWeakGnd(&chips.tune);
    EXPECT_EQ(tuneModel.output(), Ad5760Model::Output::weakGround);
}

TEST_F(Chips, ResistorsAndAttenuatorsTakeTheValueThatWasSet) {
    AD5293_enableSpiControl(&chips.r1);
    AD5293_enableSpiControl(&chips.r2);
    AD5293_setWBResistance(&chips.r1, 20'000);
    AD5293_setWAResistance(&chips.r2, 10'000);
    EXPECT_NEAR(chainModel.wiperToB_ohm(0), 20'000, 98);
    EXPECT_NEAR(chainModel.wiperToA_ohm(1), 10'000, 49);
    AD5293_setShutdownMode(&chips.r2);
    EXPECT_TRUE(std::isinf(chainModel.wiperToA_ohm(1)));
    EXPECT_NEAR(chainModel.wiperToB_ohm(0), 20'000, 98) << "the neighbour does not notice";
    AD5293_setNormalMode(&chips.r2);
    EXPECT_NEAR(chainModel.wiperToA_ohm(1), 10'000, 49);

    MCP4131_setWiperRatio(&chips.fan, 0.75);
    EXPECT_NEAR(fanModel.ratio(), 0.75, 0.015);

    HMC624_setAttenuation(&chips.attenuator, 37);
    HMC624_setAttenuation(&chips.invertedAttenuator, 64);
    EXPECT_DOUBLE_EQ(attenuatorModel.attenuation_dB(), 18.5);
    EXPECT_DOUBLE_EQ(invertedModel.attenuation_dB(), 31.5);
}

TEST_F(Chips, ReadingsAreFreshAndLinesChangeTogether) {
    for (const double volts : {0.0, 1.234, 3.2, 5.0}) {
        input_V = volts;
        EXPECT_EQ(AD7940_getValue(&chips.adc), std::min(16383.0, std::floor(volts / 3.3 * 16384)));
        EXPECT_EQ(AD7680_getValue(&chips.userAdc), std::min(65535.0, std::floor(volts / 3.3 * 65536)));
    }
    for (const double degrees : {85.0, -0.0625, -55.0}) { // from the data sheet
        temperature_degC = degrees;
        EXPECT_DOUBLE_EQ(TC77_getTemperature(&chips.temperature), degrees);
        EXPECT_DOUBLE_EQ(TC77_getTemperature_async(&chips.temperature), degrees);
    }
    inputLines = 0b0101'0000'0000'1001;
    EXPECT_EQ(SRO_getValue64(&chips.inputs), inputLines);
    EXPECT_EQ(SRO_getValue64_unshifted(&chips.inputs), inputLines << 1 | 1);

    EXPECT_EQ(SRI_getBit(&chips.outputs, 0), 1U);
    EXPECT_EQ(SRI_getBit(&chips.outputs, 64), 0U) << "there is none";
    SRI_presetSetBit(&chips.outputs, 20);
    SRI_presetClearBit(&chips.outputs, 0);
    EXPECT_EQ(outputsModel.lines(), 0x030201U);
    SRI_applyPreset(&chips.outputs);
    EXPECT_EQ(outputsModel.lines(), 0x130200U);
}

TEST_F(Chips, TheSweepGeneratorPlaysWhatWasWrittenFromThePulseOn) {
    constexpr double clock_Hz = 10e6;
    using Wave = Ad5932Model::Wave;
    const auto expectAfterPulse = [&](Wave wave, bool square) {
        sweepModel.pulseControl();
        EXPECT_EQ(sweepModel.wave(), wave);
        EXPECT_EQ(sweepModel.square(), square);
    };
    AD5932_setRefFreq(&chips.sweep, {10'000'000, 0});
    AD5932_setStartFreq(&chips.sweep, {4'999'999, 0});
    EXPECT_EQ(sweepModel.output_Hz(clock_Hz), 0);
    expectAfterPulse(Wave::sine, false);
    EXPECT_NEAR(sweepModel.output_Hz(clock_Hz), 4'999'999, clock_Hz / (1 << 24));
    AD5932_setTriangleOut(&chips.sweep);
    AD5932_enableMsbout(&chips.sweep);
    expectAfterPulse(Wave::triangle, true);
    AD5932_powerDown(&chips.sweep);
    AD5932_disableMsbout(&chips.sweep);
    expectAfterPulse(Wave::off, false);
    AD5932_powerUp(&chips.sweep);
    AD5932_setSineOut(&chips.sweep);
    expectAfterPulse(Wave::sine, false);
}

TEST_F(Chips, SynthesizersMakeTheWantedFrequencyAtTheIoUpdate) {
    constexpr double clock_Hz = 1e9;
    AD9912_presetDDSIn(&chips.dds, {1'000'000'000, 0});
    AD9912_presetDDSOut(&chips.dds, {123'456'789, uint64_t{1} << 63});
    AD9912_calculatePreset(&chips.dds);
    AD9912_applyFtwOnly(&chips.dds, AD9912_getFtwOnly(&chips.dds));
    pulseIoUpdate();
    EXPECT_NEAR(ddsModel.output_Hz(clock_Hz), 123'456'789.5, std::ldexp(clock_Hz, -48) * 1.001);
    AD9912_setDDSOut(&chips.dds, {100'000'000, 0});
    AD9912_setDDSIn(&chips.dds, {500'000'000, 0});
    pulseIoUpdate();
    EXPECT_NEAR(ddsModel.output_Hz(clock_Hz / 2), 100e6, 1e-5);
    AD9912_setFsc(&chips.dds, 800);
    EXPECT_NEAR(ddsModel.fullScale_A(), 120e-6 * 222, 1e-9);
    AD9912_powerDown(&chips.dds);
    EXPECT_EQ(ddsModel.output_Hz(clock_Hz), 0);
    AD9912_powerUp(&chips.dds);
    EXPECT_GT(ddsModel.output_Hz(clock_Hz), 0);

    constexpr double clock1B_Hz = 3e9;
    AD9914_powerUp(&chips.dds1B);
    AD9914_presetInputFrequency(&chips.dds1B, {3'000'000'000, 0});
    AD9914_presetOutputFrequency(&chips.dds1B, {777'777'777, 0});
    AD9914_calculateFtw(&chips.dds1B);
    AD9914_roundFtw(&chips.dds1B, 9);
    AD9914_applyFtw(&chips.dds1B);
    AD9914_enableProfileMode(&chips.dds1B);
    pulseIoUpdate();
    for (unsigned profile = 0; profile < 8; ++profile) {
        dds1BModel.setProfile(profile);
        EXPECT_NEAR(dds1BModel.output_Hz(clock1B_Hz), 777'777'777, std::ldexp(clock1B_Hz, 8 - 32)) << profile;
    }
    EXPECT_EQ(waited_us(bus, [this] { EXPECT_EQ(AD9914_calibrateDac(&chips.dds1B), 0); }), 4000);
    EXPECT_EQ(dds1BModel.calibrations(), 1);
    AD9914_powerDown(&chips.dds1B);
    pulseIoUpdate();
    EXPECT_EQ(dds1BModel.output_Hz(clock1B_Hz), 0);

    testing::internal::CaptureStderr();
    EXPECT_EQ(AD9914_calibrateDac(&chips.dds1B), -221) << "in power down";
    EXPECT_NE(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(dds1BModel.calibrations(), 1);
    AD9914_setFtw(&chips.dds1B, 0xFFFFFFFF);
    AD9914_roundFtw(&chips.dds1B, 4);
    EXPECT_EQ(AD9914_getFtw(&chips.dds1B), 0xFFFFFFF0U) << "the nearest multiple has 33 bits";
}

TEST_F(Chips, PhaseLockedLoopsDivideAsTold) {
    ADF4002_setManualRNConfig(&chips.clockPll, 2, 25);
    EXPECT_DOUBLE_EQ(clockPllModel.lockedAt_Hz(10e6), 125e6);
    ADF4002_setMUX(&chips.clockPll, 1);
    EXPECT_TRUE(clockPllModel.showsLock());

    ADF4106_powerUp(&chips.counterPll);
    ADF4106_setMUX(&chips.counterPll, 2);
    ADF4106_setManualRNConfig(&chips.counterPll, 1, 4096 + 63);
    EXPECT_DOUBLE_EQ(counterModel.muxOut_Hz(0, 1e9) * (4096 + 63), 1e9);
    for (const uint32_t prescaler : {8U, 16U, 32U, 64U}) {
        ADF4106_setNDivider(&chips.counterPll, 3, 11, prescaler);
        EXPECT_DOUBLE_EQ(counterModel.muxOut_Hz(0, 1e9) * (prescaler * 11 + 3), 1e9);
    }
    ADF4106_setRDivider(&chips.counterPll, 1234);
    ADF4106_setMUX(&chips.counterPll, 4);
    EXPECT_DOUBLE_EQ(counterModel.muxOut_Hz(100e6, 0) * 1234, 100e6);
    ADF4106_setCpPinThreeState(&chips.counterPll);
    EXPECT_EQ(counterModel.lockedAt_Hz(100e6), 0);
}

TEST_F(Chips, TheVcoLandsInTheBandOfTheFrequency) {
    constexpr double reference_Hz = 10e6;
    EXPECT_TRUE(vcoModel.tunedFromOutside());
    EXPECT_EQ(waited_us(bus, [&] { ADF5355_selectVco(&chips.vco, {4'567'890'123, 0}); }), 10'000);
    EXPECT_NEAR(vcoModel.vco_Hz(reference_Hz), 4'567'890'122.7, 0.3);
    ADF5355_selectVco(&chips.vco, {6'400'000'000, 0});
    for (const uint32_t divider : {1U, 2U, 4U, 8U, 16U, 32U, 64U}) {
        ADF5355_setRfDvidier(&chips.vco, divider);
        EXPECT_DOUBLE_EQ(vcoModel.outputA_Hz(reference_Hz) * divider, 6.4e9);
    }
    ADF5355_setRfOutAOutputGain(&chips.vco, 3);
    EXPECT_DOUBLE_EQ(vcoModel.outputA_dBm(), 5);
    ADF5355_disableRfOutA(&chips.vco);
    EXPECT_EQ(vcoModel.outputA_Hz(reference_Hz), 0);
    ADF5355_enableRfOutA(&chips.vco);
    ADF5355_enableRfOutB(&chips.vco);
    EXPECT_DOUBLE_EQ(vcoModel.outputB_Hz(reference_Hz), 12.8e9);
    ADF5355_disableRfOutB(&chips.vco);
    EXPECT_EQ(vcoModel.outputB_Hz(reference_Hz), 0);
    ADF5355_powerDown(&chips.vco);
    EXPECT_EQ(vcoModel.outputA_Hz(reference_Hz), 0);
    ADF5355_powerUp(&chips.vco);
    EXPECT_GT(vcoModel.outputA_Hz(reference_Hz), 0);
}

TEST_F(Chips, ClocksAreDividedOnceUpdated) {
    for (uint32_t output = 0; output < AD9512_outputs; ++output)
        for (uint32_t ratio = 1; ratio <= 32; ++ratio) {
            const uint32_t before = clocksModel.ratio(output);
            EXPECT_EQ(AD9512_setDivideRatio(&chips.clocks, output, ratio), 0);
            EXPECT_EQ(clocksModel.ratio(output), before);
            AD9512_update(&chips.clocks);
            EXPECT_EQ(clocksModel.ratio(output), ratio) << "output " << output;
            EXPECT_LE(clocksModel.cycles(output).high - clocksModel.cycles(output).low, 1U) << "nearly a square";
        }
    for (uint32_t output = 0; output < AD9512_outputs; ++output) {
        AD9512_powerDown(&chips.clocks, output);
        AD9512_setLevel(&chips.clocks, output, 3 - output / 2);
        AD9512_update(&chips.clocks);
        EXPECT_FALSE(clocksModel.powered(output));
        EXPECT_EQ(clocksModel.level(output), 3 - output / 2);
        AD9512_powerUp(&chips.clocks, output);
        AD9512_update(&chips.clocks);
        EXPECT_TRUE(clocksModel.powered(output));
    }
    for (const uint32_t input : {2U, 1U}) {
        AD9512_setClockInput(&chips.clocks, input);
        AD9512_update(&chips.clocks);
        EXPECT_EQ(clocksModel.clockInput(), input);
    }

    for (const uint32_t ratio : {1U, 2U, 4U, 8U, 16U, 32U}) {
        HMC988_setDivider(&chips.divider, ratio);
        EXPECT_EQ(dividerModel.ratio(), ratio);
    }
    HMC988_powerDown(&chips.divider);
    EXPECT_FALSE(dividerModel.powered());
    HMC988_powerUp(&chips.divider);
    EXPECT_TRUE(dividerModel.powered());
    HMC988_disableExternalSyncPin(&chips.divider);
    HMC988_enableRxBufferDcBias(&chips.divider);
    EXPECT_FALSE(dividerModel.listensToSyncPin());
    EXPECT_TRUE(dividerModel.biasesInput());

    LTC6950_CP_sink(&chips.distribution);
    EXPECT_EQ(distributionModel.pump(), Ltc6950Model::Pump::sinking);
    LTC6950_init(&chips.distribution, 19, board);
    LTC6950_CP_source(&chips.distribution);
    EXPECT_EQ(distributionModel.pump(), Ltc6950Model::Pump::sourcing);
}

TEST_F(Chips, SamplesComeInTheFormatThatWasSet) {
    constexpr int16_t sample = -1000;
    const auto expectBoth = [&](std::optional<uint16_t> expected) {
        EXPECT_EQ(adcAModel.output(sample), expected);
        EXPECT_EQ(adcPairModel.output(sample), expected);
    };
    EXPECT_EQ(waited_us(bus, [this] { AD9467_softReset(&chips.adcA); }), 1000);
    AD9467_init(&chips.adcA, 9, board);
    EXPECT_TRUE(adcAModel.directCoupled());
    AD9268_setOutputTypeLvds(&chips.adcPair);
    const struct {
        int (*setA)(AD9467*);
        int (*setPair)(AD9268*);
        std::optional<uint16_t> output;
    } formats[] = {{AD9467_setOutputMode2Complement, AD9268_setOutputMode2Complement, 0xFC18},
                   {AD9467_setOutputModeInvert, AD9268_setOutputModeInvert, 0x03E7},
                   {AD9467_setOutputModeDisable, AD9268_setOutputModeDisable, std::nullopt},
                   {AD9467_setOutputModeOffsetBinary, AD9268_setOutputModeOffsetBinary, 31768}};
    for (const auto& [setA, setPair, output] : formats) {
        setA(&chips.adcA);
        setPair(&chips.adcPair);
        expectBoth(output);
    }
    AD9268_setTestMode(&chips.adcPair, 2);
    AD9467_setTestMode(&chips.adcA, 2);
    expectBoth(0xFFFF);
    EXPECT_TRUE(adcPairModel.differentialOutputs());
}
