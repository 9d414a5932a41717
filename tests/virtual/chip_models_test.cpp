#include "virtual/chips/analog.h"
#include "virtual/chips/clocks.h"
#include "virtual/chips/sensors.h"
#include "virtual/chips/synthesizers.h"

#include <gtest/gtest.h>
#include <vector>

using namespace vi;

namespace {

using Bytes = std::vector<uint8_t>; // as in memory: what comes first on the wire is last

} // namespace

TEST(ChipModels, RefuseWhatTheirDataSheetsDoNotKnow) {
    Ad5640Model dac14(14);
    Ad5640Model dac16(16);
    Ad5760Model dac;
    Ad5432Model dac10;
    Ad5293Chain chain({20e3, 20e3});
    Mcp4131Model potentiometer;
    Hmc624Model attenuator(spiInvertedLatch);
    Ad5932Model sweep;
    FastAdcModel adc(FastAdcModel::Kind::ad9467);
    Ad9512Model clocks;
    Ad9912Model dds;
    Ad9914Model dds32;
    Adf4xxxModel pll(Adf4xxxModel::Kind::adf4106, spiPlain);
    Adf5355Model vco;
    Hmc988Model divider(5);
    Ltc6950Model distribution;
    Ad7940Model slowAdc(3.3, [] { return 1.0; });
    const struct {
        SpiChip* chip;
        uint32_t mode;
        Bytes frame;
        const char* why;
    } rows[] = {
        {&dac14, 0, {1, 0}, "clock phase"},
        {&dac16, 1, {1, 0}, "length of the AD5640"},
        {&dac, 1, {1, 0, 0x10}, "data beside the field"},
        {&dac, 1, {0, 0, 0x90}, "read"},
        {&dac10, 1, {0, 0x20}, "unknown command"},
        {&chain, 1, {0, 4, 0, 0x0C}, "command 3 of the far chip"},
        {&potentiometer, 0, {1, 0x40}, "another register"},
        {&attenuator, 0, {0xFF}, "latch enable the wrong way round"},
        {&sweep, 1, {0x00, 0x0E}, "reserved bits of the control word"},
        {&sweep, 1, {0x00, 0xC0, 0x00, 0xD0}, "high half first"},
        {&adc, 0, {0x20, 0x00, 0x00}, "port settings that do not mirror"},
        {&adc, 0, {0x01, 0x03, 0x00}, "unknown register"},
        {&clocks, 0, {0x00, 0x4B, 0x20}, "two bytes told, one sent"},
        {&clocks, 0, {0x00, 0x00, 0x3D, 0x20}, "runs into an unknown register"},
        {&dds, 0, {0, 0, 0, 0, 0, 0, 0, 0xA6, 0x61}, "word from its low end"},
        {&dds32, 0, {0, 0, 0, 0, 0x1C}, "unknown register"},
        {&pll, 0, {0, 0, 0}, "reference divider 0"},
        {&vco, 0, {0x0D, 0, 0, 0}, "register 13"},
        {&divider, 0, {0x8C, 0x07}, "another chip's id"},
        {&divider, 0, {0x15, 0x03}, "divider code 6"},
        {&distribution, 0, Bytes(25, 0), "beyond the last register"},
        {&slowAdc, 1, {0, 0}, "write to a chip without input"},
    };
    for (const auto& row : rows)
        EXPECT_FALSE(row.chip->send(row.frame, row.mode)) << row.why;
    EXPECT_DOUBLE_EQ(chain.wiperToB_ohm(0), 10e3) << "nothing of a refused frame is done";

    Bytes wrong(3);
    EXPECT_FALSE(slowAdc.receive(wrong, spiClockPhase, 0));
    EXPECT_FALSE(slowAdc.receive(std::span(wrong).first(2), spiPlain, 0));
}
