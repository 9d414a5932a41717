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

} // namespace

// Literal frames from the data sheets, in the order of the rows; a refused value changes and sends nothing.
TEST_F(Chips, OperationsSendTheFramesOfTheDataSheets) {
    using C = ChipRecords;
    static constexpr tvfreq tenMegahertz{10'000'000, 0}, negative{-1, 0}, vco{4'102'500'000, 0},
        tooHigh{655'360'000'000, 0};
    const Frames rows[] = {
        {[](C& c) { return AD5640_setValue16(&c.dac14, 65536); }, 0, "1:FF 3F"},
        {[](C& c) { return AD5640_setOpMode(&c.dac14, 4); }, refused, ""},
        {[](C& c) { return AD5640_setValue(&c.dac16, 0xC0000001); }, 0, "1:FF FF 00"},
        {[](C& c) { return AD5640_setOpMode(&c.dac16, 2); }, 0, "1:FF FF 02"},
        {[](C& c) { return AD5293_setWAResistance(&c.r1, 4'000'000'000); }, 0, "1:00 04 00 00"},
        {[](C& c) { return AD5293_setNormalMode(&c.r2); }, 0, "1:00 00 00 20"},
        {[](C& c) { return AD5293_daisyChain(&c.r2, &c.r1); }, refused, ""},
        {[](C& c) { return AD5432_init(&c.amplitude, 3, 3), 0; }, 0, "1:00 90 | 1:00 10"},
        {[](C& c) { return AD5432_setValue(&c.amplitude, 1024); }, refused, ""},
        {[](C& c) { return AD5760_init(&c.tune, 4, 3), 0; }, 0,
         "1:1E 00 20 | 1:3E 00 20 | 1:3E 00 20 | 1:00 00 10 | 1:01 00 40"},
        {[](C& c) { return AD5760_setValue(&c.tune, 0xABCD); }, 0, "1:D0 BC 1A | 1:01 00 40"},
        {[](C& c) { return AD5760_setValue(&c.tune, 65536); }, refused, ""},
        {[](C& c) { return AD5932_init(&c.sweep, 5, 3), 0; }, 0, "1:FB 0E | 1:99 D1 99 C9"},
        {[](C& c) { return AD5932_setRefFreq(&c.sweep, tenMegahertz); }, 0, "1:00 D8 00 C0"},
        {[](C& c) { return static_cast<int>(AD7940_getValue(&c.adc)); }, 0, "1:read | 1:read"},
        {[](C& c) { return AD9467_init(&c.adcA, 9, 3), 0; }, 0,
         "0:3C 00 00 | 0:18 00 00 | 0:0F 15 00 | 0:04 2C 00 | 0:01 FF 00"},
        {[](C& c) { return AD9467_setTestMode(&c.adcA, 8); }, refused, ""},
        {[](C& c) { return AD9512_init(&c.clocks, 10, 3), 0; }, 0,
         "0:08 3D 00 | 0:00 00 4B 20 | 0:08 3E 00 | 0:00 00 4D 20 | 0:08 3F 00 | 0:00 00 4F 20 | 0:02 40 00 | "
         "0:00 00 51 20 | 0:02 41 00 | 0:00 00 53 20 | 0:01 45 00 | 0:01 5A 00"},
        {[](C& c) { return AD9512_setDivideRatio(&c.clocks, 1, 33); }, refused, "0:00 00 4D 20"},
        {[](C& c) { return AD9512_setDivideRatio(&c.clocks, 4, 32); }, 0, "0:FF 00 53 20"},
        {[](C& c) { return AD9912_init(&c.dds, 11, 3), 0; }, 0, "0:D0 10 00 | 0:FF 01 0C 24"},
        {[](C& c) { return AD9912_powerDown(&c.dds); }, 0, "0:D2 10 00"},
        {[](C& c) { return AD9912_powerUp(&c.dds); }, 0, "0:D0 10 00"},
        {[](C& c) { return AD9912_setFsc(&c.dds, 800); }, 0, "0:20 03 0C 24"},
        {[](C& c) { return AD9912_applyFtwOnly(&c.dds, 0x0102030405060708); }, 0, "0:08 07 06 05 04 03 AB 61"},
        {[](C& c) { return AD9914_init(&c.dds1B, 12, 3, c.dds1B.ioUpdate), 0; }, 0,
         "0:C8 00 01 00 00 | 0:00 01 00 00 01 | 0:1C 19 00 00 02 | 0:20 21 05 00 03"},
        {[](C& c) { return AD9914_setFtw(&c.dds1B, 0x12345678); }, 0,
         "0:78 56 34 12 0B | 0:78 56 34 12 0D | 0:78 56 34 12 0F | 0:78 56 34 12 11 | "
         "0:78 56 34 12 13 | 0:78 56 34 12 15 | 0:78 56 34 12 17 | 0:78 56 34 12 19"},
        {[](C& c) { return ADF4002_init(&c.clockPll, 13, 3, 0), 0; }, 0,
         "0:06 80 1F | 0:04 00 00 | 0:01 01 00 | 0:02 80 1F"},
        {[](C& c) { return ADF4002_setManualRNConfig(&c.clockPll, 2, 25); }, 0, "0:01 19 00 | 0:08 00 00"},
        {[](C& c) { return ADF4002_setManualRNConfig(&c.clockPll, 1, 8192); }, refused, ""},
        {[](C& c) { return ADF4106_init(&c.counterPll, 14, 3), 0; }, 0,
         "0:06 80 1F | 0:04 00 00 | 0:01 04 00 | 0:02 80 1F"},
        {[](C& c) { return ADF4106_setManualRNConfig(&c.counterPll, 16383, 0xFFFFFFFF); }, 0,
         "0:FD FF 1F | 0:FC FF 00 | 0:02 80 DF"},
        {[](C& c) { return ADF4106_setNDivider(&c.counterPll, 1, 2, 24); }, refused, ""},
        {[](C& c) { return ADF4106_setNDivider(&c.counterPll, 64, 2, 16); }, refused, ""},
        {[](C& c) { return ADF4106_setNDivider(&c.counterPll, 1, 8192, 16); }, refused, ""},
        {[](C& c) { return ADF4106_setRDivider(&c.counterPll, 0); }, refused, ""},
        {[](C& c) { return ADF4106_setManualRNConfig(&c.counterPll, 0, 100); }, refused, ""},
        {[](C& c) { return ADF4106_setManualRNConfig(&c.counterPll, 16384, 100); }, refused, ""},
        {[](C& c) { return ADF5355_init(&c.vco, 15), 0; }, 0,
         "0:1C 04 FF FF | 0:0B 30 61 00 | 0:7A 03 C0 00 | 0:29 0A 19 05 | 0:28 04 2D 10 | 0:07 00 00 10 | "
         "0:46 00 00 15 | 0:25 00 80 00 | 0:24 80 00 00 | 0:03 00 00 00 | 0:02 00 00 00 | 0:01 00 00 00 | "
         "0:00 19 20 00"},
        {[](C& c) { return ADF5355_selectVco(&c.vco, vco); }, 0, "0:7A 03 C0 00 | 0:01 00 00 04 | 0:A0 19 20 00"},
        {[](C& c) { return ADF5355_selectVco(&c.vco, tooHigh); }, refused, ""},
        {[](C& c) { return ADF5355_selectVco(&c.vco, negative); }, refused, ""},
        {[](C& c) { return ADF5355_setRfDvidier(&c.vco, 3); }, refused, ""},
        // The reference divider of the last tuning goes out here; the auxiliary modulus, in R2, is never sent.
        {[](C& c) { return ADF5355_powerDown(&c.vco); }, 0, "0:64 80 00 00"},
        {[](C& c) { return HMC624_setAttenuation(&c.invertedAttenuator, 100); }, 0, "2:C0"},
        {[](C& c) { return HMC988_init(&c.divider, 18, 3, 5), 0; }, 0,
         "0:8D 07 | 0:15 01 | 0:1D 75 | 0:25 01 | 0:2D 00 | 0:B5 00 | 0:3D 02"},
        {[](C& c) { return HMC988_setDivider(&c.divider, 64); }, refused, ""},
        {[](C& c) { return LTC6950_init(&c.distribution, 19, 3), 0; }, 0,
         "0:00 04 00 84 80 00 00 01 00 84 80 44 64 00 01 00 00 3B 0F 08 30 04 00 00"},
        {[](C& c) { return MCP4131_setWiperRatio(&c.fan, 1e30); }, 0, "0:7F 00"},
        {[](C& c) { return MCP4131_setWiperRatio(&c.fan, std::nan("")); }, 0, "0:00 00"},
        {[](C& c) { return SRI_setValue(&c.outputs, 0x0102030405060708); }, 0, "0:08 07 06"},
        {[](C& c) { return SRI_changeByte(&c.outputs, 1, 0xA5); }, 0, "0:08 A5 06"},
        {[](C& c) { return SRI_writeValue_async(&c.outputs); }, 0, "0:08 A5 06"},
        {[](C& c) { return SRI_changeByte(&c.outputs, 8, 1); }, 0, ""},
        {[](C& c) { return SRI_setBit(&c.outputs, 64); }, 0, ""},
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
    const struct {
        const char* chip;
        std::function<int(C&)> operation;
        int result;
    } rows[] = {
        {"AD5293", [](C& c) { return AD5293_setWiper(&c.r1, 77); }, transferFailed},
        {"AD9914", [](C& c) { return AD9914_setFtw(&c.dds1B, 1); }, transferFailed},
        {"ADF4106", [](C& c) { return ADF4106_setManualRNConfig(&c.counterPll, 1, 100); }, transferFailed},
        {"SRI", [](C& c) { return SRI_applyPreset_async(&c.outputs); }, transferFailed},
        {"TC77", [](C& c) { return static_cast<int>(TC77_getTemperature_async(&c.temperature)); }, 0},
        {"TC77", [](C& c) { return static_cast<int>(TC77_getTemperature(&c.temperature)); }, 0},
    };
    temperature_degC = 80;
    for (const auto& [chip, operation, result] : rows) {
        bus.failTransfers(0, 2); // the bus tries twice
        testing::internal::CaptureStderr();
        EXPECT_EQ(operation(chips), result) << chip;
        EXPECT_NE(testing::internal::GetCapturedStderr().find(std::string("failed: ") + chip), std::string::npos);
    }
    EXPECT_EQ(chips.r1.wiper, 77U) << "the next transfer takes it along";
}
