#include "tests/drivers/chip_rig.h"

#include <cmath>
#include <functional>

namespace {

constexpr int refused = -224;
constexpr int transferFailed = -200;

/// An operation, its result, and the frames as they lie in memory.
struct Frames {
    std::function<int(ChipRecords&)> operation;
    int result;
    const char* wire;
};

template <class F> std::function<int(ChipRecords&)> nothingReturned(F operation) {
    return [operation](ChipRecords& c) {
        operation(c);
        return 0;
    };
}

} // namespace

// Literal frames from the data sheets, in the order of the rows; a refused value changes and sends nothing.
TEST_F(Chips, OperationsSendTheFramesOfTheDataSheets) {
    using C = ChipRecords;
    const Frames rows[] = {
        {[](C& c) { return AD5640_setValue(&c.dac14, 0x1234); }, 0, "1:34 12"},
        {[](C& c) { return AD5640_setValue(&c.dac14, 16384); }, 0, "1:FF 3F"},
        {[](C& c) { return AD5640_setValue16(&c.dac14, 65536); }, 0, "1:FF 3F"},
        {[](C& c) { return AD5640_setValue16(&c.dac14, 7); }, 0, "1:01 00"},
        {[](C& c) { return AD5640_setOpMode(&c.dac14, 3); }, 0, "1:01 C0"},
        {[](C& c) { return AD5640_setOpMode(&c.dac14, 4); }, refused, ""},
        {[](C& c) { return AD5640_setValue(&c.dac16, 16383); }, 0, "1:FC FF 00"},
        {[](C& c) { return AD5640_setValue(&c.dac16, 0xC0000001); }, 0, "1:FF FF 00"},
        {[](C& c) { return AD5640_setValue16(&c.dac16, 0x1235); }, 0, "1:35 12 00"},
        {[](C& c) { return AD5640_setOpMode(&c.dac16, 2); }, 0, "1:35 12 02"},

        {[](C& c) { return AD5293_enableSpiControl(&c.single); }, 0, "1:02 18"},
        {[](C& c) { return AD5293_setWiper(&c.single, 1024); }, 0, "1:FF 07"},
        {[](C& c) { return AD5293_setWBResistance(&c.single, 5000); }, 0, "1:00 05"},
        {[](C& c) { return AD5293_setWAResistance(&c.single, 5000); }, 0, "1:00 07"},
        {[](C& c) { return AD5293_setWAResistance(&c.single, 0); }, 0, "1:FF 07"},
        {[](C& c) { return AD5293_setWAResistance(&c.single, 4'000'000'000); }, 0, "1:00 04"},
        {[](C& c) { return AD5293_setShutdownMode(&c.single); }, 0, "1:01 20"},
        {[](C& c) { return AD5293_setWiper(&c.r1, 1); }, 0, "1:01 04 00 00"},
        {[](C& c) { return AD5293_setNormalMode(&c.r2); }, 0, "1:00 00 00 20"},
        {[](C& c) { return AD5293_daisyChain(&c.r1, &c.single); }, refused, ""},
        {[](C& c) { return AD5293_daisyChain(&c.r2, &c.r1); }, refused, ""},
        {[](C& c) { return AD5293_daisyChain(&c.single, &c.single); }, refused, ""},

        {nothingReturned([](C& c) { AD5432_init(&c.amplitude, 4, 3); }), 0, "1:00 90 | 1:00 10"},
        {[](C& c) { return AD5432_setValue(&c.amplitude, 1023); }, 0, "1:FC 1F"},
        {[](C& c) { return AD5432_setValue(&c.amplitude, 1024); }, refused, ""},

        {nothingReturned([](C& c) { AD5760_init(&c.tune, 5, 3); }), 0,
         "1:1E 00 20 | 1:3E 00 20 | 1:3E 00 20 | 1:00 00 10 | 1:01 00 40"},
        {[](C& c) { return AD5760_setValue(&c.tune, 0xABCD); }, 0, "1:D0 BC 1A | 1:01 00 40"},
        {[](C& c) { return AD5760_setValue(&c.tune, 65536); }, refused, ""},
        {[](C& c) { return AD5760_setOutputDac(&c.tune); }, 0, "1:32 00 20"},
        {[](C& c) { return AD5760_setOutputHiZ(&c.tune); }, 0, "1:3A 00 20"},

        {nothingReturned([](C& c) { AD5932_init(&c.sweep, 6, 3); }), 0, "1:FB 0E | 1:99 D1 99 C9"},
        {[](C& c) {
             return AD5932_setRefFreq(&c.sweep, {10'000'000, 0});
         },
         0, "1:00 D8 00 C0"},
        {[](C& c) { return AD5932_setTriangleOut(&c.sweep); }, 0, "1:FB 0C"},
        {[](C& c) { return AD5932_enableMsbout(&c.sweep); }, 0, "1:FB 0D"},
        {[](C& c) { return AD5932_powerDown(&c.sweep); }, 0, "1:FB 09"},

        {[](C& c) { return static_cast<int>(AD7680_getValue(&c.userAdc)); }, 0, "0:read"},
        {[](C& c) { return static_cast<int>(AD7940_getValue(&c.adc)); }, 0, "1:read | 1:read"},

        {nothingReturned([](C& c) { AD9467_init(&c.adcA, 10, 3); }), 0,
         "0:3C 00 00 | 0:18 00 00 | 0:0F 15 00 | 0:04 2C 00 | 0:01 FF 00"},
        {[](C& c) { return AD9467_setOutputMode2Complement(&c.adcA); }, 0, "0:09 14 00 | 0:01 FF 00"},
        {[](C& c) { return AD9467_setOutputModeInvert(&c.adcA); }, 0, "0:0D 14 00 | 0:01 FF 00"},
        {[](C& c) { return AD9467_setOutputModeDisable(&c.adcA); }, 0, "0:1D 14 00 | 0:01 FF 00"},
        {[](C& c) { return AD9467_setOutputModeOffsetBinary(&c.adcA); }, 0, "0:08 14 00 | 0:01 FF 00"},
        {[](C& c) { return AD9467_setTestMode(&c.adcA, 7); }, 0, "0:07 0D 00 | 0:01 FF 00"},
        {[](C& c) { return AD9467_setTestMode(&c.adcA, 8); }, refused, ""},
        {[](C& c) { return AD9268_setOutputTypeLvds(&c.adcPair); }, 0, "0:40 14 00 | 0:01 FF 00"},

        {[](C& c) { return AD9512_setDivideRatio(&c.clocks, 1, 5); }, 0, "0:12 00 4D 20"},
        {[](C& c) { return AD9512_setDivideRatio(&c.clocks, 1, 1); }, 0, "0:12 80 4D 20"},
        {[](C& c) { return AD9512_setDivideRatio(&c.clocks, 1, 33); }, refused, "0:12 80 4D 20"},
        {[](C& c) { return AD9512_setDivideRatio(&c.clocks, 1, 0); }, refused, "0:12 80 4D 20"},
        {[](C& c) { return AD9512_setDivideRatio(&c.clocks, 4, 32); }, 0, "0:FF 00 53 20"},
        {[](C& c) { return AD9512_setDivideRatio(&c.clocks, 5, 2); }, refused, ""},
        {[](C& c) { return AD9512_setLevel(&c.clocks, 0, 3); }, 0, "0:0C 3D 00"},
        {[](C& c) { return AD9512_setLevel(&c.clocks, 3, 3); }, 0, "0:06 40 00"},
        {[](C& c) { return AD9512_setLevel(&c.clocks, 3, 4); }, refused, ""},
        {[](C& c) { return AD9512_powerDown(&c.clocks, 5); }, refused, ""},
        {[](C& c) { return AD9512_powerUp(&c.clocks, 5); }, refused, ""},
        {[](C& c) { return AD9512_setClockInput(&c.clocks, 2); }, 0, "0:00 45 00"},
        {[](C& c) { return AD9512_update(&c.clocks); }, 0, "0:01 5A 00"},

        {[](C& c) { return AD9912_powerDown(&c.dds); }, 0, "0:D2 10 00"},
        {[](C& c) { return AD9912_powerUp(&c.dds); }, 0, "0:D0 10 00"},
        {[](C& c) { return AD9912_setFsc(&c.dds, 800); }, 0, "0:20 03 0C 24"},
        {[](C& c) { return AD9912_setFsc(&c.dds, 1024); }, refused, ""},
        {[](C& c) { return AD9912_applyFtwOnly(&c.dds, 0x0102030405060708); }, 0, "0:08 07 06 05 04 03 AB 61"},

        {nothingReturned([](C& c) { AD9914_init(&c.dds1B, 13, 3, c.dds1B.ioUpdate); }), 0,
         "0:C8 00 01 00 00 | 0:00 01 00 00 01 | 0:1C 19 00 00 02 | 0:20 21 05 00 03"},
        {[](C& c) { return AD9914_powerUp(&c.dds1B); }, 0, "0:08 00 01 00 00"},
        {[](C& c) { return AD9914_enableProfileMode(&c.dds1B); }, 0, "0:00 01 80 00 01"},
        {[](C& c) { return AD9914_setFtw(&c.dds1B, 0x12345678); }, 0,
         "0:78 56 34 12 0B | 0:78 56 34 12 0D | 0:78 56 34 12 0F | 0:78 56 34 12 11 | "
         "0:78 56 34 12 13 | 0:78 56 34 12 15 | 0:78 56 34 12 17 | 0:78 56 34 12 19"},
        {[](C& c) { return AD9914_calibrateDac(&c.dds1B); }, 0, "0:20 21 05 01 03 | 0:20 21 05 00 03"},

        {nothingReturned([](C& c) { ADF4002_init(&c.clockPll, 14, 3, 0); }), 0,
         "0:06 80 1F | 0:04 00 00 | 0:01 01 00 | 0:02 80 1F"},
        {[](C& c) { return ADF4002_setManualRNConfig(&c.clockPll, 2, 25); }, 0, "0:01 19 00 | 0:08 00 00"},
        {[](C& c) { return ADF4002_setManualRNConfig(&c.clockPll, 16384, 25); }, refused, ""},
        {[](C& c) { return ADF4002_setManualRNConfig(&c.clockPll, 1, 8192); }, refused, ""},
        {[](C& c) { return ADF4002_setMUX(&c.clockPll, 1); }, 0, "0:12 80 1F"},
        {[](C& c) { return ADF4002_setMUX(&c.clockPll, 8); }, refused, ""},

        {nothingReturned([](C& c) { ADF4106_init(&c.counterPll, 15, 3); }), 0,
         "0:06 80 1F | 0:04 00 00 | 0:01 04 00 | 0:02 80 1F"},
        {[](C& c) { return ADF4106_setManualRNConfig(&c.counterPll, 1, 1000); }, 0,
         "0:A1 0F 00 | 0:04 00 00 | 0:02 80 DF"},
        {[](C& c) { return ADF4106_setManualRNConfig(&c.counterPll, 16383, 0xFFFFFFFF); }, 0,
         "0:FD FF 1F | 0:FC FF 00 | 0:02 80 DF"},
        {[](C& c) { return ADF4106_setNDivider(&c.counterPll, 1, 2, 16); }, 0, "0:05 02 00 | 0:02 80 5F"},
        {[](C& c) { return ADF4106_setNDivider(&c.counterPll, 1, 2, 24); }, refused, ""},
        {[](C& c) { return ADF4106_setNDivider(&c.counterPll, 64, 99, 8); }, refused, ""},
        {[](C& c) { return ADF4106_setRDivider(&c.counterPll, 0); }, refused, ""},
        {[](C& c) { return ADF4106_setCpPinThreeState(&c.counterPll); }, 0, "0:02 81 5F"},

        {nothingReturned([](C& c) { ADF5355_init(&c.vco, 16); }), 0,
         "0:1C 04 FF FF | 0:0B 30 61 00 | 0:7A 03 C0 00 | 0:29 0A 19 05 | 0:28 04 2D 10 | 0:07 00 00 10 | "
         "0:46 00 00 15 | 0:25 00 80 00 | 0:24 80 00 00 | 0:03 00 00 00 | 0:02 00 00 00 | 0:01 00 00 00 | "
         "0:00 19 20 00"},
        {[](C& c) {
             return ADF5355_selectVco(&c.vco, {4'102'500'000, 0});
         },
         0, "0:7A 03 C0 00 | 0:01 00 00 04 | 0:A0 19 20 00"},
        {[](C& c) {
             return ADF5355_selectVco(&c.vco, {655'360'000'000, 0});
         },
         refused, ""},
        {[](C& c) {
             return ADF5355_selectVco(&c.vco, {-1, 0});
         },
         refused, ""},
        {[](C& c) { return ADF5355_setRfDvidier(&c.vco, 8); }, 0, "0:46 00 60 15"},
        {[](C& c) { return ADF5355_setRfDvidier(&c.vco, 3); }, refused, ""},
        {[](C& c) { return ADF5355_setRfDvidier(&c.vco, 128); }, refused, ""},
        {[](C& c) { return ADF5355_setRfDvidier(&c.vco, 0); }, refused, ""},
        {[](C& c) { return ADF5355_setRfOutAOutputGain(&c.vco, 3); }, 0, "0:76 00 60 15"},
        {[](C& c) { return ADF5355_setRfOutAOutputGain(&c.vco, 4); }, refused, ""},
        {[](C& c) { return ADF5355_disableRfOutA(&c.vco); }, 0, "0:36 00 60 15"},
        {[](C& c) { return ADF5355_disableRfOutB(&c.vco); }, 0, "0:36 04 60 15"},
        // The reference divider of the last tuning goes out here; the auxiliary modulus, in R2, is never sent.
        {[](C& c) { return ADF5355_powerDown(&c.vco); }, 0, "0:64 80 00 00"},

        {[](C& c) { return HMC624_setAttenuation(&c.attenuator, 20); }, 0, "0:EB"},
        {[](C& c) { return HMC624_setAttenuation(&c.invertedAttenuator, 100); }, 0, "2:C0"},

        {nothingReturned([](C& c) { HMC988_init(&c.divider, 19, 3, 5); }), 0,
         "0:8D 07 | 0:15 01 | 0:1D 75 | 0:25 01 | 0:2D 00 | 0:B5 00 | 0:3D 02"},
        {[](C& c) { return HMC988_setDivider(&c.divider, 32); }, 0, "0:95 02"},
        {[](C& c) { return HMC988_setDivider(&c.divider, 64); }, refused, ""},
        {[](C& c) { return HMC988_setDivider(&c.divider, 6); }, refused, ""},

        {nothingReturned([](C& c) { LTC6950_init(&c.distribution, 20, 3); }), 0,
         "0:00 04 00 84 80 00 00 01 00 84 80 44 64 00 01 00 00 3B 0F 08 30 04 00 00"},

        {[](C& c) { return MCP4131_setWiper(&c.fan, 100); }, 0, "0:64 00"},
        {[](C& c) { return MCP4131_setWiper(&c.fan, 128); }, refused, ""},
        {[](C& c) { return MCP4131_setWiperRatio(&c.fan, 0.5); }, 0, "0:3F 00"},
        {[](C& c) { return MCP4131_setWiperRatio(&c.fan, 1e30); }, 0, "0:7F 00"},
        {[](C& c) { return MCP4131_setWiperRatio(&c.fan, std::nan("")); }, 0, "0:00 00"},

        {nothingReturned([](C& c) { SRI_presetSetBit(&c.outputs, 23); }), 0, ""},
        {nothingReturned([](C& c) { SRI_presetClearBit(&c.outputs, 0); }), 0, ""},
        {nothingReturned([](C& c) { SRI_presetChangeByte(&c.outputs, 1, 0xAA); }), 0, ""},
        {[](C& c) { return SRI_applyPreset(&c.outputs); }, 0, "0:00 AA 83"},
        {[](C& c) { return SRI_setBit(&c.outputs, 255); }, 0, ""},
        {[](C& c) { return SRI_clearBit(&c.outputs, 255); }, 0, ""},
        {[](C& c) { return SRI_changeByte(&c.outputs, 8, 1); }, 0, ""},
        {[](C& c) { return SRI_clearBit(&c.outputs, 23); }, 0, "0:00 AA 03"},
        {[](C& c) { return SRI_changeByte(&c.outputs, 0, 0x55); }, 0, "0:55 AA 03"},
        {[](C& c) { return SRI_setValue(&c.outputs, 0x0102030405060708); }, 0, "0:08 07 06"},
        {[](C& c) { return SRI_writeValue_async(&c.outputs); }, 0, "0:08 07 06"},
        {nothingReturned([](C& c) { SRO_getValue64(&c.inputs); }), 0, "0:read"},
        {nothingReturned([](C& c) { TC77_getTemperature_async(&c.temperature); }), 0, "0:read"},
    };
    taken();
    for (const Frames& row : rows) {
        const auto which = ::testing::Message() << "row " << &row - rows << ": " << row.wire;
        const ChipRecords before = chips;
        EXPECT_EQ(row.operation(chips), row.result) << which;
        EXPECT_EQ(taken(), row.wire) << which;
        if (row.result == refused) {
            EXPECT_EQ(memcmp(&before, &chips, sizeof chips), 0) << which;
        }
    }
}

TEST_F(Chips, AFailedTransferIsToldOnTheErrorOutput) {
    using C = ChipRecords;
    struct Failing {
        const char* name;
        const void* (*record)(C&);
        uint32_t address;
        uint32_t onBoard;
        std::function<int(C&)> operation;
        int result;
    };
    const Failing rows[] = {
        {"AD5640", [](C& c) -> const void* { return &c.dac14; }, 0, 3,
         [](C& c) { return AD5640_setValue(&c.dac14, 1); }, transferFailed},
        {"AD5293", [](C& c) -> const void* { return &c.r2; }, 2, 3, [](C& c) { return AD5293_setWiper(&c.r2, 1); },
         transferFailed},
        {"AD7940", [](C& c) -> const void* { return &c.adc; }, 8, 3,
         [](C& c) { return static_cast<int>(AD7940_getValue(&c.adc)); }, 0},
        {"AD9467", [](C& c) -> const void* { return &c.adcA; }, 10, 3,
         [](C& c) { return AD9467_setTestMode(&c.adcA, 1); }, transferFailed},
        {"AD9914", [](C& c) -> const void* { return &c.dds1B; }, 13, 3, [](C& c) { return AD9914_setFtw(&c.dds1B, 1); },
         transferFailed},
        {"ADF4106", [](C& c) -> const void* { return &c.counterPll; }, 15, 3,
         [](C& c) { return ADF4106_setManualRNConfig(&c.counterPll, 1, 100); }, transferFailed},
        {"ADF5355", [](C& c) -> const void* { return &c.vco; }, 16, 0,
         [](C& c) {
             return ADF5355_selectVco(&c.vco, {5'000'000'000, 0});
         },
         transferFailed},
        {"LTC6950", [](C& c) -> const void* { return &c.distribution; }, 20, 3,
         [](C& c) { return LTC6950_CP_sink(&c.distribution); }, transferFailed},
        {"SRI", [](C& c) -> const void* { return &c.outputs; }, 22, 3,
         [](C& c) { return SRI_applyPreset_async(&c.outputs); }, transferFailed},
        {"TC77", [](C& c) -> const void* { return &c.temperature; }, 24, 3,
         [](C& c) { return static_cast<int>(TC77_getTemperature_async(&c.temperature)); }, 0},
    };
    input_V = 3;
    temperature_degC = 80;
    for (const Failing& row : rows) {
        bus.failTransfers(0, 2); // the bus tries twice
        testing::internal::CaptureStderr();
        EXPECT_EQ(row.operation(chips), row.result) << row.name;
        const std::string told = testing::internal::GetCapturedStderr();
        char expected[200];
        const bool read = row.result == 0;
        snprintf(expected, sizeof expected, "ERROR - SPI %s failed: %s\n\tIC: %p\n\tboard: %u\n\taddress: %u\n",
                 read ? "read" : "write", row.name, row.record(chips), row.onBoard, row.address);
        EXPECT_EQ(told, expected);
    }
    bus.failTransfers(0, UINT64_MAX);
    testing::internal::CaptureStderr();
    EXPECT_EQ(AD7940_getValue(&chips.adc), 0U);
    EXPECT_EQ(AD5293_setWiper(&chips.r1, 77), transferFailed);
    bus.intercept(nullptr);
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(chips.r1.wiper, 77U) << "the next transfer takes it along";
}

TEST_F(Chips, TheDacIsNotCalibratedInPowerDown) {
    AD9914_powerDown(&chips.dds1B);
    taken();
    testing::internal::CaptureStderr();
    EXPECT_EQ(AD9914_calibrateDac(&chips.dds1B), -221);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "AD9914_calibrateDac() error: can't calibrate in power down mode\n");
    EXPECT_EQ(taken(), "");
}
