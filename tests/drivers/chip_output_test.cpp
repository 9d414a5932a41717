#include "tests/drivers/chip_rig.h"
#include "virtual/clock.h"

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
    AD5640_setValue16(&chips.dac16, 0xC001);
    EXPECT_DOUBLE_EQ(dac16Model.ratio(), 0xC001 / 65536.0);
    for (const uint32_t mode : {1U, 2U, 3U, 0U}) {
        AD5640_setOpMode(&chips.dac14, mode);
        AD5640_setOpMode(&chips.dac16, mode);
        EXPECT_EQ(dac14Model.output(), static_cast<DacOutput>(mode));
        EXPECT_EQ(dac16Model.output(), static_cast<DacOutput>(mode));
    }
    EXPECT_DOUBLE_EQ(dac14Model.ratio(), 9000.0 / 16384) << "a mode leaves the value alone";

    EXPECT_FALSE(amplitudeModel.inDaisyChainMode());
    AD5432_setValue(&chips.amplitude, 300);
    EXPECT_DOUBLE_EQ(amplitudeModel.ratio(), 300.0 / 1024);

    EXPECT_EQ(tuneModel.output(), Ad5760Model::Output::weakGround);
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
    AD5293_setWBResistance(&chips.r1, 20'000);
    EXPECT_DOUBLE_EQ(chainModel.wiperToB_ohm(0), 50'000) << "protected until enabled";
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
    EXPECT_TRUE(singleModel.writeProtected(0));

    MCP4131_setWiperRatio(&chips.fan, 0.75);
    EXPECT_NEAR(fanModel.ratio(), 0.75, 0.015);
    EXPECT_NEAR(MCP4131_getWiperRatio(&chips.fan), 0.75, 0.008);

    EXPECT_DOUBLE_EQ(attenuatorModel.attenuation_dB(), 0);
    HMC624_setAttenuation(&chips.attenuator, 37);
    HMC624_setAttenuation(&chips.invertedAttenuator, 64);
    EXPECT_DOUBLE_EQ(attenuatorModel.attenuation_dB(), 18.5);
    EXPECT_DOUBLE_EQ(invertedModel.attenuation_dB(), 31.5);
    EXPECT_EQ(HMC624_getAttenuation(&chips.invertedAttenuator), 63U);
}

TEST_F(Chips, ReadingsAreFreshAndInTheirUnits) {
    for (const double volts : {0.0, 1.234, 3.2, 5.0}) {
        input_V = volts;
        EXPECT_EQ(AD7940_getValue(&chips.adc), std::min(16383.0, std::floor(volts / 3.3 * 16384)));
        EXPECT_EQ(AD7680_getValue(&chips.userAdc), std::min(65535.0, std::floor(volts / 3.3 * 65536)));
    }
    for (const double degrees : {25.0, 85.0, -0.0625, -25.0, -55.0, 125.0}) { // from the data sheet
        temperature_degC = degrees;
        EXPECT_DOUBLE_EQ(TC77_getTemperature(&chips.temperature), degrees);
        EXPECT_DOUBLE_EQ(TC77_getTemperature_async(&chips.temperature), degrees);
    }
    inputLines = 0b0101'0000'0000'1001;
    EXPECT_EQ(SRO_getValue64(&chips.inputs), inputLines);
    EXPECT_EQ(SRO_getValue64_unshifted(&chips.inputs), inputLines << 1 | 1);
}

TEST_F(Chips, LinesOfARegisterChangeTogether) {
    EXPECT_EQ(outputsModel.lines(), 0x030201U);
    SRI_presetSetBit(&chips.outputs, 20);
    SRI_presetClearBit(&chips.outputs, 0);
    EXPECT_EQ(outputsModel.lines(), 0x030201U);
    EXPECT_EQ(SRI_getBit(&chips.outputs, 20), 1U);
    SRI_applyPreset(&chips.outputs);
    EXPECT_EQ(outputsModel.lines(), 0x130200U);
    EXPECT_TRUE(outputsModel.line(20));

    OutputRegister latched(1, OutputRegister::Takes::atIoUpdate);
    bus.attach(30, &latched);
    SRI sri;
    const uint8_t start = 0x81;
    SRI_init(&sri, 30, board, &start, 1);
    EXPECT_EQ(latched.lines(), 0U);
    pulseIoUpdate();
    EXPECT_EQ(latched.lines(), 0x81U);
}

TEST_F(Chips, TheSweepGeneratorPlaysWhatWasWrittenFromThePulseOn) {
    constexpr double clock_Hz = 10e6;
    AD5932_setRefFreq(&chips.sweep, {10'000'000, 0});
    AD5932_setStartFreq(&chips.sweep, {400, 0});
    EXPECT_EQ(sweepModel.output_Hz(clock_Hz), 0);
    sweepModel.pulseControl();
    EXPECT_NEAR(sweepModel.output_Hz(clock_Hz), 400, clock_Hz / (1 << 24));
    EXPECT_EQ(sweepModel.wave(), Ad5932Model::Wave::sine);
    EXPECT_FALSE(sweepModel.square());
    AD5932_setTriangleOut(&chips.sweep);
    AD5932_enableMsbout(&chips.sweep);
    AD5932_setStartFreq(&chips.sweep, {4'999'999, 0});
    sweepModel.pulseControl();
    EXPECT_EQ(sweepModel.wave(), Ad5932Model::Wave::triangle);
    EXPECT_TRUE(sweepModel.square());
    EXPECT_NEAR(sweepModel.output_Hz(clock_Hz), 4'999'999, clock_Hz / (1 << 24));
    AD5932_powerDown(&chips.sweep);
    AD5932_disableMsbout(&chips.sweep);
    sweepModel.pulseControl();
    EXPECT_EQ(sweepModel.wave(), Ad5932Model::Wave::off);
    EXPECT_FALSE(sweepModel.square());
    AD5932_powerUp(&chips.sweep);
    AD5932_setSineOut(&chips.sweep);
    sweepModel.pulseControl();
    EXPECT_EQ(sweepModel.wave(), Ad5932Model::Wave::sine);
}

TEST_F(Chips, SynthesizersMakeTheWantedFrequencyAtTheIoUpdate) {
    constexpr double clock_Hz = 1e9;
    AD9912_presetDDSIn(&chips.dds, {1'000'000'000, 0});
    AD9912_presetDDSOut(&chips.dds, {123'456'789, uint64_t{1} << 63});
    AD9912_calculatePreset(&chips.dds);
    AD9912_applyFtwOnly(&chips.dds, AD9912_getFtwOnly(&chips.dds));
    EXPECT_EQ(ddsModel.output_Hz(clock_Hz), 0);
    pulseIoUpdate();
    EXPECT_NEAR(ddsModel.output_Hz(clock_Hz), 123'456'789.5, std::ldexp(clock_Hz, -48) * 1.001);
    AD9912_setDDSOut(&chips.dds, {100'000'000, 0});
    EXPECT_EQ(AD9912_getFtwOnly(&chips.dds), (uint64_t{1} << 48) / 10);
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
    pulseIoUpdate();
    EXPECT_EQ(dds1BModel.output_Hz(clock1B_Hz), 0) << "no profile in charge yet";
    AD9914_enableProfileMode(&chips.dds1B);
    pulseIoUpdate();
    for (unsigned profile = 0; profile < 8; ++profile) {
        dds1BModel.setProfile(profile);
        EXPECT_NEAR(dds1BModel.output_Hz(clock1B_Hz), 777'777'777, std::ldexp(clock1B_Hz, 8 - 32)) << profile;
    }
    EXPECT_EQ(AD9914_getFtw(&chips.dds1B) % 512, 0U);
    EXPECT_EQ(waited_us(bus, [this] { EXPECT_EQ(AD9914_calibrateDac(&chips.dds1B), 0); }), 4000);
    EXPECT_EQ(dds1BModel.calibrations(), 1);
    AD9914_powerDown(&chips.dds1B);
    pulseIoUpdate();
    EXPECT_EQ(dds1BModel.output_Hz(clock1B_Hz), 0);

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
    for (const uint32_t ratio : {128U, 4096U + 63U, 100'000U}) {
        ADF4106_setManualRNConfig(&chips.counterPll, 1, ratio);
        EXPECT_DOUBLE_EQ(counterModel.muxOut_Hz(0, 1e9) * ratio, 1e9);
    }
    for (const uint32_t prescaler : {8U, 16U, 32U, 64U}) {
        ADF4106_setNDivider(&chips.counterPll, 3, 11, prescaler);
        EXPECT_DOUBLE_EQ(counterModel.muxOut_Hz(0, 1e9) * (prescaler * 11 + 3), 1e9);
    }
    ADF4106_setRDivider(&chips.counterPll, 1234);
    ADF4106_setMUX(&chips.counterPll, 4);
    EXPECT_DOUBLE_EQ(counterModel.muxOut_Hz(100e6, 0) * 1234, 100e6);
    EXPECT_GT(counterModel.lockedAt_Hz(100e6), 0);
    ADF4106_setCpPinThreeState(&chips.counterPll);
    EXPECT_EQ(counterModel.lockedAt_Hz(100e6), 0);
}

TEST_F(Chips, TheVcoLandsInTheBandOfTheFrequency) {
    constexpr double reference_Hz = 10e6;
    EXPECT_DOUBLE_EQ(vcoModel.vco_Hz(reference_Hz), 4e9) << "after the start";
    EXPECT_TRUE(vcoModel.tunedFromOutside());
    for (const int64_t hertz : {3'400'000'001, 4'567'890'123, 6'956'400'000}) {
        EXPECT_EQ(waited_us(bus, [&] { ADF5355_selectVco(&chips.vco, {hertz, 0}); }), 10'000);
        const double tuned = vcoModel.vco_Hz(reference_Hz);
        EXPECT_LE(tuned, static_cast<double>(hertz));
        EXPECT_GT(tuned, static_cast<double>(hertz) - 0.6);
    }
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

    EXPECT_EQ(dividerModel.ratio(), 4U);
    for (const uint32_t ratio : {1U, 2U, 4U, 8U, 16U, 32U}) {
        HMC988_setDivider(&chips.divider, ratio);
        EXPECT_EQ(dividerModel.ratio(), ratio);
    }
    HMC988_powerDown(&chips.divider);
    EXPECT_FALSE(dividerModel.powered());
    HMC988_powerUp(&chips.divider);
    EXPECT_TRUE(dividerModel.powered());
    EXPECT_TRUE(dividerModel.listensToSyncPin());
    HMC988_disableExternalSyncPin(&chips.divider);
    HMC988_enableRxBufferDcBias(&chips.divider);
    EXPECT_FALSE(dividerModel.listensToSyncPin());
    EXPECT_TRUE(dividerModel.biasesInput());

    EXPECT_DOUBLE_EQ(distributionModel.vco_Hz(10e6), 1e9);
    const double outputs_Hz[] = {250e6, 1e9, 0, 250e6, 250e6};
    for (unsigned output = 0; output < Ltc6950Model::outputs; ++output)
        EXPECT_DOUBLE_EQ(distributionModel.output_Hz(output, 10e6), outputs_Hz[output]) << output;
    EXPECT_TRUE(distributionModel.synchronised(0) && distributionModel.synchronised(3));
    EXPECT_EQ(distributionModel.pump(), Ltc6950Model::Pump::regulating);
    LTC6950_CP_sink(&chips.distribution);
    EXPECT_EQ(distributionModel.pump(), Ltc6950Model::Pump::sinking);
    LTC6950_init(&chips.distribution, 20, board);
    LTC6950_CP_source(&chips.distribution);
    EXPECT_EQ(distributionModel.pump(), Ltc6950Model::Pump::sourcing);
}

TEST_F(Chips, SamplesComeInTheFormatThatWasSet) {
    constexpr int16_t sample = -1000;
    EXPECT_EQ(waited_us(bus, [this] { AD9467_softReset(&chips.adcA); }), 1000);
    AD9467_init(&chips.adcA, 10, board);
    EXPECT_TRUE(adcAModel.directCoupled());
    EXPECT_FALSE(adcPairModel.differentialOutputs());
    AD9268_setOutputTypeLvds(&chips.adcPair);
    EXPECT_TRUE(adcPairModel.differentialOutputs());

    EXPECT_EQ(adcAModel.output(sample), 31768) << "offset binary";
    AD9467_setOutputMode2Complement(&chips.adcA);
    AD9268_setOutputMode2Complement(&chips.adcPair);
    EXPECT_EQ(adcAModel.output(sample), 0xFC18);
    EXPECT_EQ(adcPairModel.output(sample), 0xFC18);
    AD9467_setOutputModeInvert(&chips.adcA);
    AD9268_setOutputModeInvert(&chips.adcPair);
    EXPECT_EQ(adcAModel.output(sample), 0x03E7);
    EXPECT_EQ(adcPairModel.output(sample), 0x03E7);
    AD9467_setOutputModeDisable(&chips.adcA);
    AD9268_setOutputModeDisable(&chips.adcPair);
    EXPECT_EQ(adcAModel.output(sample), std::nullopt);
    EXPECT_EQ(adcPairModel.output(sample), std::nullopt);
    AD9467_setOutputModeOffsetBinary(&chips.adcA);
    AD9268_setOutputModeOffsetBinary(&chips.adcPair);
    AD9268_setTestMode(&chips.adcPair, 3);
    AD9467_setTestMode(&chips.adcA, 2);
    EXPECT_EQ(adcAModel.output(sample), 0xFFFF);
    EXPECT_EQ(adcPairModel.output(sample), 0x0000);
    EXPECT_TRUE(adcPairModel.differentialOutputs());
}

TEST_F(Chips, EveryDriverPrintsItsRecordAndIsInTheSlaveList) {
    testing::internal::CaptureStdout();
    AD5640_printInfo(&chips.dac16);
    AD5293_printInfo(&chips.r2);
    AD5432_printInfo(&chips.amplitude);
    AD5760_printInfo(&chips.tune);
    AD5932_printInfo(&chips.sweep);
    AD7680_printInfo(&chips.userAdc);
    AD7940_printInfo(&chips.adc);
    AD9268_printInfo(&chips.adcPair);
    AD9467_printInfo(&chips.adcA);
    AD9512_printInfo(&chips.clocks);
    AD9912_printInfo(&chips.dds);
    AD9914_printInfo(&chips.dds1B);
    ADF4002_printInfo(&chips.clockPll);
    ADF4106_printInfo(&chips.counterPll);
    ADF5355_printInfo(&chips.vco);
    HMC624_printInfo(&chips.invertedAttenuator);
    HMC988_printInfo(&chips.divider);
    LTC6950_printInfo(&chips.distribution);
    MCP4131_printInfo(&chips.fan);
    SRI_printInfo(&chips.outputs);
    SRO_printInfo(&chips.inputs);
    TC77_printInfo(&chips.temperature);
    fflush(stdout);
    const std::string text = testing::internal::GetCapturedStdout();
    const std::pair<const char*, int> heads[] = {
        {"AD5660", 1},   {"AD5293", 2},   {"AD5432", 4},   {"AD5760", 5},  {"AD5932", 6},  {"AD7680", 7},
        {"AD7940", 8},   {"AD9268", 9},   {"AD9467", 10},  {"AD9512", 11}, {"AD9912", 12}, {"AD9914", 13},
        {"ADF4002", 14}, {"ADF4106", 15}, {"ADF5355", 16}, {"HMC624", 18}, {"HMC988", 19}, {"LTC6950", 20},
        {"MCP4131", 21}, {"SRI", 22},     {"SRO", 23},     {"TC77", 24},
    };
    size_t at = 0;
    for (const auto& [name, address] : heads) {
        const std::string head = std::string(name) + "\n\taddress: " + std::to_string(address) + "\n";
        at = text.find(head, at);
        ASSERT_NE(at, std::string::npos) << name;
        EXPECT_STRNE(tvspi_getSlaveName(static_cast<uint32_t>(address)), "(unknown)") << name;
    }
    EXPECT_STREQ(tvspi_getSlaveName(1), "AD5640 DAC");
    EXPECT_STREQ(tvspi_getSlaveName(22), "ShiftRegisterIn");
}
